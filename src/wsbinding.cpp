// SPDX-License-Identifier: Apache-2.0
#include "wsbinding.h"

#include "names.h"
#include "report.h"
#include "wsdisc.h"
#include "wsiface.h"
#include "wsoper.h"

#include <new>
#include <utility>

WebServiceBindingImpl::WebServiceBindingImpl(WebServiceDiscoveryImpl& discovery, const QName& name)
    : discovery_(discovery), logger_(discovery.getLogger()), name_(name) {}

WebServiceBindingImpl::~WebServiceBindingImpl() {
  operations_.clear();
}

WebServiceOperation* WebServiceBindingImpl::getOperation(const QName& name, QvbString* err) {
  WSBindingOperation* operation = operations_.find(name.toText());
  if (operation == nullptr && err != nullptr) setMessage(*err, kMsgNoSuchOperation, name.getLocalName().asCstr());
  return operation;
}

WebServiceOperation* WebServiceBindingImpl::getOperationAt(int32_t index, QvbString& err) {
  return operations_.at(index, &err);
}
int32_t WebServiceBindingImpl::getOperationCount() {
  return operations_.count();
}

bool WebServiceBindingImpl::discoverBinding(QvbString& err) {
  return discovery_.ask(names::kDiscoverBinding, {&name_}, types::kRowsRows, err, [&](const Answer& answer) {
    return readOwnProperties(answer.rows(0), err) &&
           ObjectStream(answer.rows(1)).readObjects(err, [&](ObjectStream& stream) { return readOperation(stream, err); }) &&
           completeFromInterface(err);
  });
}

bool WebServiceBindingImpl::readOwnProperties(QvwlpRowSet* rows, QvbString& err) {
  struct Reader {
    WebServiceBindingImpl& binding;
    Reference interface;
  };
  static constexpr PropertyRule<Reader> kRules[] = {
      {names::kDocumentation, [](Reader& reader) -> QvbString& { return reader.binding.documentation_; }, nullptr},
      {names::kInterfaceName, [](Reader& reader) -> QvbString& { return reader.interface.localName; }, nullptr},
      {names::kInterfaceNamespace, nullptr,
       [](Reader& reader, const QvbString& value, QvbString& error) {
         WebServiceBindingImpl& binding = reader.binding;
         return reader.interface.complete(value, names::kInterface, binding.interface_, error,
                                          [&](const QName& name) { return binding.discovery_.findInterface(name); });
       }},
      {names::kStyle, nullptr,
       [](Reader& reader, const QvbString& value, QvbString& error) {
         if (value.compare(names::kStyleDocument, false) == 0) return Taken::Yes;
         setMessage(error, kMsgStyleRefused, reader.binding.name_.toText().asCstr(), value.asCstr());
         return Taken::Failed;
       }},
  };
  Reader reader{*this, {}};
  return readPropertyList(rows, PropertyReader<Reader>{kRules, reader, logger_}, err);
}

bool WebServiceBindingImpl::readOperation(ObjectStream& stream, QvbString& err) {
  if (!stream.startsObject({names::kOperation}, names::kBindingOperation, names::kOperation, err)) return false;
  const QName name = stream.row().qname();
  stream.consume();
  return addOperation(name, stream, err);
}

bool WebServiceBindingImpl::addOperation(const QName& name, ObjectStream& stream, QvbString& err) {
  WSBindingOperation* operation = operations_.add(name.toText(), names::kBindingOperation, err, discovery_, *this, name);
  return operation != nullptr && operation->readProperties(stream, err);
}

// A binding may say nothing of operations that it leaves as they are: those are taken from the interface. Whether any are missing is judged by their
// number alone, for a binding that lists as many has listed its own.
bool WebServiceBindingImpl::completeFromInterface(QvbString& err) {
  if (interface_ == nullptr || operations_.count() == interface_->getOperationCount()) return true;
  for (int32_t i = 0; i < interface_->getOperationCount(); ++i) {
    const QName name = interface_->getOperationAt(i, err)->getQName();
    if (operations_.find(name.toText()) != nullptr) continue;
    ObjectStream noRows;
    if (!addOperation(name, noRows, err)) return false;
  }
  return true;
}

WSBindingOperation::WSBindingOperation(WebServiceDiscoveryImpl& discovery, WebServiceBindingImpl& binding, const QName& name)
    : discovery_(discovery), binding_(binding), logger_(discovery.getLogger()), name_(name) {}

QvbString WSBindingOperation::getAction() {
  return interfaceOperation_ != nullptr ? interfaceOperation_->getAction() : QvbString();
}
QvbString WSBindingOperation::getAddress() {
  return interfaceOperation_ != nullptr ? interfaceOperation_->getAddress() : QvbString();
}
WebServiceInterface* WSBindingOperation::getInterface() {
  return binding_.interface();
}

bool WSBindingOperation::readProperties(ObjectStream& stream, QvbString& err) {
  if (WebServiceInterfaceImpl* interface = binding_.interface(); interface != nullptr) {
    interfaceOperation_ = interface->findOperation(name_);
    if (interfaceOperation_ == nullptr) {
      setMessage(err, kMsgNotInInterface, names::kBindingOperation, name_.toText().asCstr(), names::kInterface,
                 interface->getQName().toText().asCstr());
      return false;
    }
  }
  using Self = WSBindingOperation;
  // Action and address go to the interface's operation, which the bindings share; without one there is nowhere to keep them.
  static constexpr PropertyRule<Self> kRules[] = {
      {names::kDocumentation, [](Self& self) -> QvbString& { return self.documentation_; }, nullptr},
      {names::kAction, nullptr,
       [](Self& self, const QvbString& value, QvbString&) {
         if (self.interfaceOperation_ != nullptr) self.interfaceOperation_->setAction(value);
         return Taken::Yes;
       }},
      {names::kAddress, nullptr,
       [](Self& self, const QvbString& value, QvbString&) {
         if (self.interfaceOperation_ != nullptr) self.interfaceOperation_->setAddress(value);
         return Taken::Yes;
       }},
  };
  return stream.readProperties(PropertyReader<Self>{kRules, *this, logger_}, err);
}

WebServiceParameter* WSBindingOperation::parameter(Slot& slot, QvbString& err) {
  if (slot.parameter == nullptr) discoverParameters(err);
  slot.handedOut = slot.parameter != nullptr;
  return slot.parameter.get();
}

void WSBindingOperation::discoverParameters(QvbString& err) {
  const QName binding = binding_.getQName();
  discovery_.ask(names::kDiscoverParameters, {&binding, &name_}, types::kRows, err, [&](const Answer& answer) {
    return ObjectStream(answer.rows(0)).readObjects(err, [&](ObjectStream& stream) { return readParameter(stream, err); });
  });
}

bool WSBindingOperation::readParameter(ObjectStream& stream, QvbString& err) {
  if (!stream.startsObject({names::kInput, names::kOutput, names::kFault}, names::kOperationParameter, names::kParameter, err)) return false;
  const bool isInput = stream.row().is(1, names::kInput);
  const bool isOutput = stream.row().is(1, names::kOutput);
  std::unique_ptr<WebServiceParameterImpl> parameter(new (std::nothrow) WebServiceParameterImpl(discovery_, *this, stream.row().qname()));
  if (parameter == nullptr) {
    setMessage(err, kMsgOutOfMemory);
    return false;
  }
  stream.consume();
  if (!parameter->readProperties(stream, err)) return false;
  // Faults are read to get past them, and dropped: an operation has an input and an output.
  if (isInput) replace(input_, std::move(parameter));
  if (isOutput) replace(output_, std::move(parameter));
  return true;
}

// A host that has the earlier parameter may use it as long as the operation lives.
void WSBindingOperation::replace(Slot& slot, std::unique_ptr<WebServiceParameterImpl> parameter) {
  if (slot.handedOut) replaced_.push_back(std::move(slot.parameter));
  slot.parameter = std::move(parameter);
  slot.handedOut = false;
}
