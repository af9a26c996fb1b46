// SPDX-License-Identifier: Apache-2.0
#include "answer.h"
#include "names.h"
#include "proxy_call.h"
#include "report.h"
#include "wsclient.h"
#include "wsuri.h"

#include <stddef.h>

#include <memory>
#include <new>

namespace {

/// What the proxy is given to poll while a call waits.
struct InvokeRecord {
  QvjniInvokeCallback head;
  WebServiceClientImpl* client;
  WebServiceInvokeCallback* callback;
};

static_assert(offsetof(InvokeRecord, head) == 0 && offsetof(InvokeRecord, client) == 16 && offsetof(InvokeRecord, callback) == 24 &&
                  sizeof(InvokeRecord) == 32,
              "the head, then what the library needs to know when it is polled");

int32_t pollCallback(QvjniInvokeCallback* head) {
  const auto& record = *reinterpret_cast<InvokeRecord*>(head);
  try {
    return record.callback->isCancelled() ? 1 : 0;
  } catch (...) {
    // A host's mistake: the call ends instead of an exception crossing the proxy library.
    record.client->getLogger().log(qvlogError, __FILE__, __LINE__, "The invoke callback threw an exception: the call is stopped.");
    return 1;
  }
}

}  // namespace

bool WebServiceClientImpl::Invoke(WebServiceInvokeCallback* callback, QvbString& err) {
  // The callback is asked for its option once, and before anything else happens.
  InvokeRecord record{{callback != nullptr ? callback->getOption() : 0, pollCallback}, this, callback};
  QvjniProxy* proxy = Connect(false, err);
  if (proxy == nullptr || !sendParameters(proxy, err)) return false;

  ProxyCall call(proxy, names::kInvoke, err);
  Answer answer;
  if (!addRequestValues(call) || !call.send(types::kRowsRows, callback != nullptr ? &record.head : nullptr) || !answer.read(call, err)) return false;
  const RowSetHandle results = answer.takeRows(1);
  return storeOutputs(answer.rows(0), err) && storeResponseValues(results.get(), err);
}

/// Tells the proxy of the bound values, if there are any.
bool WebServiceClientImpl::sendParameters(QvjniProxy* proxy, QvbString& err) {
  if (inputValues_.empty() && outputValues_.empty()) return true;
  ProxyCall call(proxy, names::kSetParameters, err);
  if (!call.addRows(types::kParameterRow)) return false;
  for (Bindings* bindings : {&inputValues_, &outputValues_}) {
    for (const auto& [name, binding] : *bindings) {
      // A host may bind a null value. There is nothing to say of it to the proxy.
      if (binding->value == nullptr) continue;
      if (static_cast<WebServiceParmValueImpl*>(binding->value.get())->writeRows(call.rows(), *binding, err)) continue;
      call.rows().abandon("rows that a value could not complete have always been left to the proxy, with which they go");
      return false;
    }
  }
  return call.send(types::kNone);
}

/// Adds the request values to a call: a row each, or an absent row set when there are none.
bool WebServiceClientImpl::addRequestValues(ProxyCall& call) {
  if (requestValues_.empty()) {
    call.addNoRows();
    return true;
  }
  if (!call.addRows(types::kTextText)) return false;
  for (const auto& [name, values] : requestValues_) {
    for (const QvbString& value : values) {
      if (!call.addRow({cell::text(name), cell::text(value)})) return false;
    }
  }
  return true;
}

/// Puts the answered texts into the bound outputs. What has been stored before a failure stays.
bool WebServiceClientImpl::storeOutputs(QvwlpRowSet* rowSet, QvbString& err) {
  AnswerRows rows(rowSet);
  for (int32_t i = 0; i < rows.count(); ++i) {
    if (!rows.fetch(err)) return false;
    const QvbString key = QName(rows.row().text(1), rows.row().text(2)).toText();
    const auto output = outputValues_.find(key);
    // A null value takes no text: nothing is bound for it either.
    if (output == outputValues_.end() || output->second->value == nullptr) {
      logger_->logMessage(qvlogInfo, __FILE__, __LINE__, kMsgOutputNotBound, key.asCstr());
      continue;
    }
    if (!output->second->value->setProperty(names::kStringValue, rows.row().text(3), err)) return false;
  }
  return true;
}

/// Replaces the response values by those of an answer, of which there are none without a row set.
bool WebServiceClientImpl::storeResponseValues(QvwlpRowSet* rowSet, QvbString& err) {
  responseValues_.clear();
  AnswerRows rows(rowSet);
  for (int32_t i = 0; i < rows.count(); ++i) {
    if (!rows.fetch(err)) return false;
    appendValue(responseValues_, rows.row().text(1), rows.row().text(2));
  }
  return true;
}

bool WebServiceClientImpl::Reset(QvbString& err) {
  // The values are unbound first, so also when the proxy cannot be reached. Nothing else of the client is forgotten.
  unbindAll(inputValues_);
  unbindAll(outputValues_);
  QvjniProxy* proxy = Connect(false, err);
  if (proxy == nullptr) return false;
  ProxyCall call(proxy, names::kReset, err);
  if (!call.send(types::kNone)) {
    call.abandonResponse("that of a failed reset has always been left to the proxy, with which it goes");
    return false;
  }
  err.setNull();
  return true;
}

QvbStringCursor* WebServiceClientImpl::DiscoverURI(const QvbString& uri, QvbString& err) {
  QvjniProxy* proxy = Connect(false, err);
  if (proxy == nullptr) return nullptr;
  ProxyCall call(proxy, names::kDiscoverUri, err);
  call.addText(uri);
  if (!call.send(types::kRows)) return nullptr;
  std::unique_ptr<WSUriVariables, Releaser> variables(new (std::nothrow) WSUriVariables);
  if (variables == nullptr) {
    setMessage(err, kMsgOutOfMemory);
    return nullptr;
  }
  Answer answer;
  if (!answer.read(call, err)) return nullptr;
  AnswerRows rows(answer.rows(0));
  // The number of rows is asked for again after each one.
  for (int32_t i = 0; i < rows.count(); ++i, rows.recount()) {
    if (!rows.fetch(err)) return nullptr;
    variables->append(rows.row().text(1));
  }
  return variables.release();
}
