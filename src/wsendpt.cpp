// SPDX-License-Identifier: Apache-2.0
#include "wsendpt.h"

#include "names.h"
#include "wsbinding.h"
#include "wsdisc.h"
#include "wsservice.h"

#include <utility>

WebServiceEndpointImpl::WebServiceEndpointImpl(WebServiceDiscoveryImpl& discovery, WebServiceServiceImpl& service, QvbString name)
    : discovery_(discovery), service_(service), logger_(discovery.getLogger()), name_(std::move(name)) {}

WebServiceBinding* WebServiceEndpointImpl::getBinding() {
  return binding_;
}
WebServiceService* WebServiceEndpointImpl::getService() {
  return &service_;
}

bool WebServiceEndpointImpl::readProperties(ObjectStream& stream, QvbString& err) {
  struct Reader {
    WebServiceEndpointImpl& endpoint;
    Reference binding;
  };
  static constexpr PropertyRule<Reader> kRules[] = {
      {names::kBindingName, [](Reader& reader) -> QvbString& { return reader.binding.localName; }, nullptr},
      {names::kBindingNamespace, nullptr,
       [](Reader& reader, const QvbString& value, QvbString& error) {
         WebServiceEndpointImpl& endpoint = reader.endpoint;
         return reader.binding.complete(value, names::kBinding, endpoint.binding_, error,
                                        [&](const QName& name) { return endpoint.discovery_.findBinding(name, &error); });
       }},
      {names::kDocumentation, [](Reader& reader) -> QvbString& { return reader.endpoint.documentation_; }, nullptr},
  };
  Reader reader{*this, {}};
  return stream.readProperties(PropertyReader<Reader>{kRules, reader, logger_}, err);
}
