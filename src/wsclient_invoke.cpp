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
#include <type_traits>
#include <utility>

/// What the proxy is given to poll: the head that it knows, and whom the poll function asks.
struct WebServiceClientImpl::InvokeRecord {
  QvjniInvokeCallback head;
  WebServiceClientImpl* client;
  WebServiceInvokeCallback* callback;

  static int32_t poll(QvjniInvokeCallback* head) { return reinterpret_cast<InvokeRecord*>(head)->callback->isCancelled() ? 1 : 0; }

  static void checkLayout() {
    static_assert(std::is_standard_layout_v<InvokeRecord> && offsetof(InvokeRecord, head.option) == 0 && offsetof(InvokeRecord, head.poll) == 8 &&
                      offsetof(InvokeRecord, client) == 16 && offsetof(InvokeRecord, callback) == 24 && sizeof(InvokeRecord) == 32,
                  "option, poll, client, callback: the proxy is given the address of the whole");
  }
};

bool WebServiceClientImpl::Invoke(WebServiceInvokeCallback* callback, QvbString& err) {
  InvokeRecord record{{0, &InvokeRecord::poll}, this, callback};
  if (callback != nullptr) record.head.option = callback->getOption();
  QvjniProxy* proxy = Connect(false, err);
  if (proxy == nullptr) return false;
  if (!(inputValues_.empty() && outputValues_.empty()) && !sendParameters(proxy, err)) return false;

  ProxyCall call(proxy, names::kInvoke, err);
  if (!addRequestValues(call)) return false;
  if (!call.send(types::kRowsRows, callback != nullptr ? &record.head : nullptr)) return false;
  call.rows().destroy();
  Answer answer;
  if (!answer.read(call, err)) return false;
  // Taken out first: it is read last, and ends before the response.
  const OwnRows results = answer.takeRows(1);
  if (!takeOutputs(answer.rows(0), err)) return false;
  responseValues_.clear();
  return takeResults(results.get(), err);
}

bool WebServiceClientImpl::sendParameters(QvjniProxy* proxy, QvbString& err) {
  ProxyCall call(proxy, names::kSetParameters, err);
  if (!call.addRows(types::kParameterRow)) return false;
  for (Bindings* bindings : {&inputValues_, &outputValues_}) {
    for (auto& [name, binding] : *bindings) {
      auto* value = static_cast<WebServiceParmValueImpl*>(binding->value.get());
      if (value == nullptr) continue;  // a host may bind nothing to a name; then there is nothing to tell of it
      if (value->writeRows(call.rows(), *binding, err)) continue;
      call.rows().abandon("the rows of a value that cannot be described are left alone, as they always were");
      return false;
    }
  }
  return call.send(types::kNone);
}

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

bool WebServiceClientImpl::takeOutputs(QvwlpRowSet* rowSet, QvbString& err) {
  AnswerRows rows(rowSet);
  for (int32_t i = 0; i < rows.count(); ++i) {
    if (!rows.fetch(err)) return false;
    const AnswerRow& row = rows.row();
    const QvbString key = QName(row.text(1), row.text(2)).toText();
    const auto output = outputValues_.find(key);
    if (output == outputValues_.end()) {
      logger_->logMessage(qvlogInfo, __FILE__, __LINE__, kMsgUnknownOutput, key.asCstr());
      continue;
    }
    WebServiceParmValue* value = output->second->value.get();
    if (value != nullptr && !value->setProperty(names::kStringValue, row.text(3), err)) return false;
  }
  return true;
}

bool WebServiceClientImpl::takeResults(QvwlpRowSet* rowSet, QvbString& err) {
  AnswerRows rows(rowSet);
  for (int32_t i = 0; i < rows.count(); ++i) {
    if (!rows.fetch(err)) return false;
    append(responseValues_, rows.row().text(1), rows.row().text(2));
  }
  return true;
}

bool WebServiceClientImpl::Reset(QvbString& err) {
  unbindAll(inputValues_);
  unbindAll(outputValues_);
  QvjniProxy* proxy = Connect(false, err);
  if (proxy == nullptr) return false;
  ProxyCall call(proxy, names::kReset, err);
  if (!call.send(types::kNone)) {
    call.abandonResponse("a failed reset leaves its response to the proxy, as it always did");
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
  // The number of rows is asked for again after each one, as ever.
  QvwlpRowSet* rowSet = answer.rows(0);
  AnswerRows rows(rowSet);
  for (int32_t i = 0; i < rows.count(); ++i, rows.recount()) {
    if (!rows.fetch(err)) return nullptr;
    variables->append(rows.row().text(1));
  }
  return variables.release();
}
