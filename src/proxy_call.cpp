// SPDX-License-Identifier: Apache-2.0
#include "proxy_call.h"

#include "names.h"
#include "report.h"
#include "wsclient.h"

#include <string.h>

namespace cell {

QvwlpValue absent(QvwlpType type) {
  QvwlpValue value{};
  value.type = type;
  return value;
}

QvwlpValue integer(int64_t number) {
  QvwlpValue value = absent(qvwlpInteger);
  value.present = 1;
  value.data.integer = number;
  return value;
}

QvwlpValue truth(bool truth) {
  QvwlpValue value = absent(qvwlpBoolean);
  value.present = 1;
  value.data.truth = truth ? 1 : 0;
  return value;
}

QvwlpValue rows(QvwlpRowSet* rows) {
  QvwlpValue value = absent(qvwlpRowSet);
  value.present = 1;
  value.data.rowSet = rows;
  return value;
}

QvwlpValue text(const QvbString& text) {
  QvwlpValue value = absent(qvwlpString);
  value.present = 1;
  value.data.text = text.asCstr();
  value.length = text.length();
  return value;
}

QvwlpValue text(const char* literal) {
  QvwlpValue value = absent(qvwlpString);
  value.present = 1;
  value.data.text = literal;
  value.length = static_cast<int32_t>(strlen(literal));
  return value;
}

QvwlpValue textUnlessEmpty(const QvbString& value) {
  return value.length() > 0 ? text(value) : absent(qvwlpString);
}

}  // namespace cell

void ProxyDestroyer::operator()(QvjniProxy* proxy) const noexcept {
  qvjniProxyDestroy(proxy);
}

ProxyHandle createProxy(QvjniOptionCallback& option, QvjniLogCallback& log) {
  QvjniProxy* proxy = nullptr;
  if (qvjniProxyCreate(names::kProxyArchive, names::kProxyInterface, names::kProxyClass, &option, &log, &proxy) != qvwlpOk) return nullptr;
  return ProxyHandle(proxy);
}

void WebServiceClientImpl::ReportProxyError(const char* method, int32_t status, QvwlpResponse* response, QvbString& err) {
  if (status != qvwlpFailed) {
    setMessage(err, kMsgCallFailed, method, status);
    return;
  }
  int32_t code = 0;
  const char* text = "";
  int32_t length = 0;
  qvwlpError_code(response, &code);
  qvwlpError_text(response, &text, &length);
  setMessage(err, kMsgProxyError, method, code, text);
}

bool RequestRows::create(QvjniProxy* proxy, const char* columnTypes, QvbString& err) {
  rows_.reset(qvjniProxyRowSetCreate(proxy, columnTypes));
  if (rows_ != nullptr) return true;
  setMessage(err, kMsgOutOfMemory);
  return false;
}

bool RequestRows::add(std::initializer_list<QvwlpValue> cells, QvbString& err) {
  const int32_t status = qvwlpRowSet_addRow(rows_.get(), cells.begin());
  if (status == qvwlpOk) return true;
  setMessage(err, kMsgRowNotTaken, status);
  return false;
}

void RowSetDestroyer::operator()(QvwlpRowSet* rows) const noexcept {
  qvwlpRowSet_destroy(rows);
}

void RequestRows::abandon(const char* /*reason*/) noexcept {
  (void)rows_.release();
}

ProxyCall::~ProxyCall() {
  rows_.destroy();
  if (response_ != nullptr) qvwlpResponse_destroy(response_);
}

bool ProxyCall::addRows(const char* columnTypes) {
  if (!rows_.create(proxy_, columnTypes, err_)) return false;
  cells_.at(static_cast<size_t>(count_++)) = cell::rows(rows_.get());
  return true;
}

bool ProxyCall::send(const char* responseTypes, QvjniInvokeCallback* callback) {
  const int32_t status =
      qvjniProxyCall(proxy_, callback, names::kProxyInterface, method_, responseTypes, count_, count_ > 0 ? cells_.data() : nullptr, &response_);
  rows_.destroy();
  if (status == qvwlpOk) return true;
  WebServiceClientImpl::ReportProxyError(method_, status, response_, err_);
  return false;
}

void ProxyCall::abandonResponse(const char* /*reason*/) noexcept {
  response_ = nullptr;
}
