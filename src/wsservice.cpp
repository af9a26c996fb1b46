// SPDX-License-Identifier: Apache-2.0
#include "wsservice.h"

#include "names.h"
#include "wsdisc.h"
#include "wsiface.h"

WebServiceServiceImpl::WebServiceServiceImpl(WebServiceDiscoveryImpl& discovery, const QName& name)
    : discovery_(discovery), logger_(discovery.getLogger()), name_(name) {}

WebServiceInterface* WebServiceServiceImpl::getInterface() {
  return interface_;
}

bool WebServiceServiceImpl::discoverService(QvbString& err) {
  return discovery_.ask(names::kDiscoverService, {&name_}, types::kRowsRows, err, [&](const Answer& answer) {
    return readOwnProperties(answer.rows(0), err) &&
           ObjectStream(answer.rows(1)).readObjects(err, [&](ObjectStream& stream) { return readEndpoint(stream, err); });
  });
}

bool WebServiceServiceImpl::readOwnProperties(QvwlpRowSet* rows, QvbString& err) {
  struct Reader {
    WebServiceServiceImpl& service;
    Reference interface;
  };
  static constexpr PropertyRule<Reader> kRules[] = {
      {names::kDocumentation, [](Reader& reader) -> QvbString& { return reader.service.documentation_; }, nullptr},
      {names::kInterfaceName, [](Reader& reader) -> QvbString& { return reader.interface.localName; }, nullptr},
      {names::kInterfaceNamespace, nullptr,
       [](Reader& reader, const QvbString& value, QvbString& error) {
         WebServiceServiceImpl& service = reader.service;
         return reader.interface.complete(value, names::kInterface, service.interface_, error,
                                          [&](const QName& name) { return service.discovery_.findInterface(name); });
       }},
  };
  Reader reader{*this, {}};
  return readPropertyList(rows, PropertyReader<Reader>{kRules, reader, logger_}, err);
}

bool WebServiceServiceImpl::readEndpoint(ObjectStream& stream, QvbString& err) {
  if (!stream.startsObject({names::kEndpoint}, names::kServiceEndpoint, names::kEndpoint, err)) return false;
  const QvbString name = stream.row().text(2);
  WebServiceEndpointImpl* endpoint = endpoints_.add(name, names::kEndpoint, err, discovery_, *this, name);
  if (endpoint == nullptr) return false;
  stream.consume();
  return endpoint->readProperties(stream, err);
}
