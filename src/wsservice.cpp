// SPDX-License-Identifier: Apache-2.0
#include "wsservice.h"

#include "names.h"
#include "report.h"
#include "wsdisc.h"
#include "wsiface.h"

#include <memory>
#include <new>
#include <utility>

WebServiceServiceImpl::WebServiceServiceImpl(WebServiceDiscoveryImpl& discovery, const QName& name)
    : discovery_(discovery), logger_(discovery.getLogger()), name_(name) {}

WebServiceInterface* WebServiceServiceImpl::getInterface() {
  return interface_;
}

bool WebServiceServiceImpl::discoverService(QvbString& err) {
  return discovery_.ask(names::kDiscoverService, {&name_}, types::kRowsRows, err, [&](const Answer& answer) {
    ObjectStream stream(answer.rows(1));
    return readOwnProperties(answer.rows(0), err) && stream.readObjects(err, [&] { return readEndpoint(stream, err); });
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
  if (!stream.row().is(1, names::kEndpoint)) {
    setMessage(err, kMsgUnexpectedRow, static_cast<const char*>(names::kServiceEndpoint), static_cast<const char*>(names::kEndpoint));
    return false;
  }
  const QvbString name = stream.row().text(2);
  std::unique_ptr<WebServiceEndpointImpl> created(new (std::nothrow) WebServiceEndpointImpl(discovery_, *this, name));
  if (created == nullptr) {
    setMessage(err, kMsgOutOfMemory);
    return false;
  }
  WebServiceEndpointImpl& endpoint = *created;
  if (!endpoints_.insert(name, std::move(created), names::kEndpoint, err)) return false;
  stream.consume();
  return endpoint.readProperties(stream, err);
}
