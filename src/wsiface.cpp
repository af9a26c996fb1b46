// SPDX-License-Identifier: Apache-2.0
#include "wsiface.h"

#include "names.h"
#include "report.h"
#include "wsdisc.h"

#include <memory>
#include <new>
#include <utility>

WebServiceInterfaceImpl::WebServiceInterfaceImpl(WebServiceDiscoveryImpl& discovery, const QName& name)
    : discovery_(discovery), logger_(discovery.getLogger()), name_(name) {}

WebServiceInterfaceImpl::~WebServiceInterfaceImpl() {
  operations_.clear();
  bindings_.clear();
}

bool WebServiceInterfaceImpl::discoverInterface(QvbString& err) {
  return discovery_.ask(names::kDiscoverInterface, {&name_}, types::kRowsRows, err, [&](const Answer& answer) {
    ObjectStream stream(answer.rows(1));
    return readOwnProperties(answer.rows(0), err) && stream.readObjects(err, [&] { return readOperation(stream, err); });
  });
}

bool WebServiceInterfaceImpl::readOwnProperties(QvwlpRowSet* rows, QvbString& err) {
  using Self = WebServiceInterfaceImpl;
  static constexpr PropertyRule<Self> kRules[] = {
      {names::kDocumentation, [](Self& self) -> QvbString& { return self.documentation_; }, nullptr},
  };
  return readPropertyList(rows, PropertyReader<Self>{kRules, *this, logger_}, err);
}

bool WebServiceInterfaceImpl::readOperation(ObjectStream& stream, QvbString& err) {
  if (!stream.row().is(1, names::kOperation)) {
    setMessage(err, kMsgUnexpectedRow, static_cast<const char*>(names::kInterfaceOperation), static_cast<const char*>(names::kOperation));
    return false;
  }
  const QName name = stream.row().qname();
  std::unique_ptr<WebServiceOperationImpl> created(new (std::nothrow) WebServiceOperationImpl(discovery_, *this, name));
  if (created == nullptr) {
    setMessage(err, kMsgOutOfMemory);
    return false;
  }
  WebServiceOperationImpl& operation = *created;
  if (!operations_.insert(name.toText(), std::move(created), names::kInterfaceOperation, err)) return false;
  stream.consume();
  return operation.readProperties(stream, err);
}
