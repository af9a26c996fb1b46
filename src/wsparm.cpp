// SPDX-License-Identifier: Apache-2.0
#include "wsparm.h"

#include "names.h"
#include "wsdisc.h"

WebServiceParameterImpl::WebServiceParameterImpl(WebServiceDiscoveryImpl& discovery, WSBindingOperation& operation, const QName& name)
    : discovery_(discovery), operation_(operation), logger_(discovery.getLogger()), name_(name) {}

bool WebServiceParameterImpl::readProperties(ObjectStream& stream, QvbString& err) {
  using Self = WebServiceParameterImpl;
  static constexpr PropertyRule<Self> kRules[] = {
      {names::kDocumentation, [](Self& self) -> QvbString& { return self.documentation_; }, nullptr},
      {names::kSchema, [](Self& self) -> QvbString& { return self.schema_; }, nullptr},
      {names::kXml, [](Self& self) -> QvbString& { return self.xml_; }, nullptr},
      {names::kXPath, [](Self& self) -> QvbString& { return self.xpath_; }, nullptr},
  };
  // A wording of its own, so that a line of the log tells a parameter's property from the others'.
  return stream.readProperties(PropertyReader<Self>{kRules, *this, logger_, kParameterPropertyWarning}, err);
}
