// SPDX-License-Identifier: Apache-2.0
#include "wsclient.h"

#include "names.h"
#include "report.h"

#include <qvws/qvws.h>

#include <stdlib.h>

#include <new>
#include <utility>

extern "C" WebServiceClient* qvwsCreateWebServiceClient(QvbString* err) {
  auto* client = new (std::nothrow) WebServiceClientImpl;
  if (client == nullptr) {
    setMessage(*err, kMsgOutOfMemory);
    return nullptr;
  }
  err->setNull();
  return client;
}

// Each map has the comparison that hosts have come to rely on; the two kinds differ on purpose.
WebServiceClientImpl::WebServiceClientImpl()
    : namespaces_(KeyOrder{true}),
      requestValues_(false),
      options_(KeyOrder{false}),
      inputValues_(true),
      outputValues_(true),
      responseValues_(false),
      logger_(qvlogGetLogger(names::kLogger)) {}

// The proxy is ended without a word to it: that is the whole teardown of its side.
WebServiceClientImpl::~WebServiceClientImpl() {
  unbindAll(inputValues_);
  unbindAll(outputValues_);
  free(optionBuffer_);
  proxy_.reset();
}

bool WebServiceClientImpl::AddRequestValue(const QvbString& name, const QvbString& value, QvbString& err) {
  err.setNull();
  appendValue(requestValues_, name, value);
  return true;
}

bool WebServiceClientImpl::SetRequestValue(const QvbString& name, const QvbString& value, QvbString& err) {
  err.setNull();
  std::vector<QvbString> single{value};
  requestValues_.tryEmplace(name).first->second.swap(single);
  return true;
}

bool WebServiceClientImpl::SetInputParmValue(const QvbString& name, WebServiceParmValue* value, QvbString& err) {
  return bind(inputValues_, name, value, WebServiceParmValueImpl::kBoundInput, err);
}

bool WebServiceClientImpl::SetOutputParmValue(const QvbString& name, WebServiceParmValue* value, QvbString& err) {
  return bind(outputValues_, name, value, WebServiceParmValueImpl::kBoundOutput, err);
}

bool WebServiceClientImpl::bind(Bindings& bindings, const QvbString& name, WebServiceParmValue* value, int32_t direction, QvbString& err) {
  const auto old = bindings.find(name);
  if (old != bindings.end()) bindings.erase(old);  // before the new one is stored: the same value bound again would be released here

  std::unique_ptr<ParmBinding> binding(new (std::nothrow) ParmBinding);
  if (binding == nullptr) {
    setMessage(err, kMsgOutOfMemory);
    return false;
  }
  binding->name = name;
  // The value changes hands last, so that it is still the host's if anything before throws.
  const auto entry = bindings.tryEmplace(name, std::move(binding)).first;
  entry->second->value.reset(value);
  if (value != nullptr) static_cast<WebServiceParmValueImpl*>(value)->setDirection(direction);
  return true;
}

void WebServiceClientImpl::unbindAll(Bindings& bindings) {
  while (!bindings.empty()) bindings.takeFirst();
}

void WebServiceClientImpl::appendValue(ValueLists& lists, const QvbString& name, QvbString value) {
  const auto entry = lists.find(name);
  if (entry != lists.end()) {
    entry->second.push_back(std::move(value));
    return;
  }
  std::vector<QvbString> single;  // a name never stands without a value, not even when memory runs out
  single.push_back(std::move(value));
  lists.tryEmplace(name, std::move(single));
}

bool WebServiceClientImpl::firstValue(ValueLists& lists, const QvbString& name, QvbString& value) {
  return valueAt(lists, name, 0, value);
}

bool WebServiceClientImpl::valueAt(ValueLists& lists, const QvbString& name, int32_t index, QvbString& value) {
  const auto entry = lists.find(name);
  if (entry == lists.end() || index >= static_cast<int32_t>(entry->second.size())) {
    value.setNull();
    return false;
  }
  // A negative index reads the first value: hosts have always been given that.
  value = entry->second[index > 0 ? static_cast<size_t>(index) : 0];
  return true;
}

bool WebServiceClientImpl::GetRequestValue(const QvbString& name, QvbString& value) {
  return firstValue(requestValues_, name, value);
}
int32_t WebServiceClientImpl::GetRequestValueCount() {
  return requestValues_.count();
}
bool WebServiceClientImpl::GetRequestValueAt(const QvbString& name, int32_t index, QvbString& value) {
  return valueAt(requestValues_, name, index, value);
}

bool WebServiceClientImpl::GetResponseValue(const QvbString& name, QvbString& value) {
  return firstValue(responseValues_, name, value);
}
int32_t WebServiceClientImpl::GetResponseValueCount() {
  return responseValues_.count();
}
bool WebServiceClientImpl::GetResponseValueAt(const QvbString& name, int32_t index, QvbString& value) {
  return valueAt(responseValues_, name, index, value);
}

bool WebServiceClientImpl::GetResponseValueByIndex(int32_t nameIndex, int32_t valueIndex, QvbString* name, QvbString& value) {
  const auto entry = responseValues_.at(nameIndex);
  if (entry == responseValues_.end()) {
    value.setNull();
    return false;
  }
  if (name != nullptr) *name = entry->first;
  return GetResponseValueAt(entry->first, valueIndex, value);
}

bool WebServiceClientImpl::GetOption(const QvbString& name, QvbString& value) {
  const auto option = options_.find(name);
  if (option == options_.end()) {
    value.setNull();
    return false;
  }
  value = option->second.asString();
  return true;
}

bool WebServiceClientImpl::SetOption(const QvbString& name, const QvbString& value, QvbString& err) {
  struct Typed {
    const char* option;
    qvbType type;
    const char* typeName;
  };
  static constexpr Typed kTyped[] = {{names::kSecurityDigest, qvbTypeBoolean, "boolean"},
                                     {names::kSecurityMust, qvbTypeBoolean, "boolean"},
                                     {names::kProxyPort, qvbTypeInteger, "integer"}};
  QvbDatavar datavar;
  if (!value.isNull()) {  // a null value clears the option, whatever its type
    datavar.assign(value);
    for (const Typed& typed : kTyped) {
      // These names are tested with the other comparison than the map's, on purpose.
      if (name.compare(typed.option, true) != 0) continue;
      if (!datavar.setType(typed.type)) {
        setMessage(err, kMsgOptionType, value.asCstr(), typed.typeName);
        return false;
      }
      break;
    }
  }
  options_.insert_or_assign(name, std::move(datavar));  // a copy could stop half way
  err.setNull();
  return true;
}

bool WebServiceClientImpl::AddNamespace(const QvbString& prefix, const QvbString& uri, QvbString& err) {
  const auto [binding, added] = namespaces_.try_emplace(prefix, uri);
  if (added) return true;
  if (binding->second.compare(uri, true) != 0) {
    setMessage(err, kMsgPrefixBound, prefix.asCstr(), binding->second.asCstr(), uri.asCstr());
    return false;
  }
  binding->second = uri;
  return true;
}
