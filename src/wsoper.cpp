// SPDX-License-Identifier: Apache-2.0
#include "wsoper.h"

#include "names.h"
#include "wsdisc.h"
#include "wsiface.h"

WebServiceOperationImpl::WebServiceOperationImpl(WebServiceDiscoveryImpl& discovery, WebServiceInterfaceImpl& interface, const QName& name)
    : discovery_(discovery), interface_(interface), logger_(discovery.getLogger()), name_(name) {}

WebServiceInterface* WebServiceOperationImpl::getInterface() {
  return &interface_;
}

// Parameters are a binding's matter: how a message looks depends on it.
WebServiceParameter* WebServiceOperationImpl::getInputParameter(QvbString& err) {
  err.setNull();
  return nullptr;
}

WebServiceParameter* WebServiceOperationImpl::getOutputParameter(QvbString& err) {
  err.setNull();
  return nullptr;
}

bool WebServiceOperationImpl::readProperties(ObjectStream& stream, QvbString& err) {
  using Self = WebServiceOperationImpl;
  static constexpr PropertyRule<Self> kRules[] = {
      {names::kDocumentation, [](Self& self) -> QvbString& { return self.documentation_; }, nullptr},
  };
  return stream.readProperties(PropertyReader<Self>{kRules, *this, logger_}, err);
}
