// SPDX-License-Identifier: Apache-2.0
#include "wsiface.h"

#include "names.h"
#include "wsdisc.h"

WebServiceInterfaceImpl::WebServiceInterfaceImpl(WebServiceDiscoveryImpl& discovery, const QName& name)
    : discovery_(discovery), logger_(discovery.getLogger()), name_(name) {}

WebServiceInterfaceImpl::~WebServiceInterfaceImpl() {
  operations_.clear();
  bindings_.clear();
}

bool WebServiceInterfaceImpl::discoverInterface(QvbString& err) {
  return discovery_.ask(names::kDiscoverInterface, {&name_}, types::kRowsRows, err, [&](const Answer& answer) {
    return readOwnProperties(answer.rows(0), err) &&
           ObjectStream(answer.rows(1)).readObjects(err, [&](ObjectStream& stream) { return readOperation(stream, err); });
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
  if (!stream.startsObject({names::kOperation}, names::kInterfaceOperation, names::kOperation, err)) return false;
  const QName name = stream.row().qname();
  WebServiceOperationImpl* operation = operations_.add(name.toText(), names::kInterfaceOperation, err, discovery_, *this, name);
  if (operation == nullptr) return false;
  stream.consume();
  return operation->readProperties(stream, err);
}
