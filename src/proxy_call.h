// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_SRC_PROXY_CALL_H
#define QVWS_SRC_PROXY_CALL_H

#include <qvb/string.h>
#include <qvjni/qvjni.h>
#include <qvwlp/qvwlp.h>

#include <stdint.h>

#include <array>
#include <deque>
#include <initializer_list>
#include <memory>

// Everything that is asked of the proxy library goes through this file: making and ending a proxy, and calling its methods.

/// Type strings of requests and answers.
namespace types {
inline constexpr char kNone[] = "";
inline constexpr char kRows[] = {qvwlpRowSet, 0};
inline constexpr char kRowsRows[] = {qvwlpRowSet, qvwlpRowSet, 0};
inline constexpr char kIntegerRowsRows[] = {qvwlpInteger, qvwlpRowSet, qvwlpRowSet, 0};
inline constexpr char kTextText[] = {qvwlpString, qvwlpString, 0};
inline constexpr char kParameterRow[] = {qvwlpString, qvwlpString, qvwlpString, qvwlpString, qvwlpBoolean, 0};
}  // namespace types

/// Value cells of a request. Texts are borrowed: they stay as they are until the call has returned.
namespace cell {
QvwlpValue integer(int64_t value);
QvwlpValue truth(bool value);
QvwlpValue rows(QvwlpRowSet* rows);
/// A text that is there even when it is null: that goes as an empty one.
QvwlpValue text(const QvbString& text);
QvwlpValue text(const char* literal);
/// A text that is absent when it is null or empty.
QvwlpValue textUnlessEmpty(const QvbString& text);
/// An absent cell of a type.
QvwlpValue absent(QvwlpType type);
}  // namespace cell

struct ProxyDestroyer {
  void operator()(QvjniProxy* proxy) const noexcept;
};
using ProxyHandle = std::unique_ptr<QvjniProxy, ProxyDestroyer>;

/// Makes an instance of the web service proxy class. Null on failure; the proxy library has then told the log callback why.
ProxyHandle createProxy(QvjniOptionCallback& option, QvjniLogCallback& log);

struct RowSetDestroyer {
  void operator()(QvwlpRowSet* rows) const noexcept;
};
using RowSetHandle = std::unique_ptr<QvwlpRowSet, RowSetDestroyer>;

/// Rows of a request.
class RequestRows {
 public:
  RequestRows() = default;
  RequestRows(const RequestRows&) = delete;
  RequestRows& operator=(const RequestRows&) = delete;

  /// Makes the row set. False with 444.
  bool create(QvjniProxy* proxy, const char* columnTypes, QvbString& err);
  /// Appends a row. False with 768.
  bool add(std::initializer_list<QvwlpValue> cells, QvbString& err);
  [[nodiscard]] QvwlpRowSet* get() const { return rows_.get(); }
  void destroy() noexcept { rows_.reset(); }
  /// Leaves the row set to the proxy, with which it goes.
  /// @param reason  why it is left; for the reader
  void abandon(const char* reason) noexcept;

 private:
  RowSetHandle rows_;
};

/// One call of a method: its request and its response, which end with it.
class ProxyCall {
 public:
  ProxyCall(QvjniProxy* proxy, const char* method, QvbString& err) : proxy_(proxy), method_(method), err_(err), cells_{} {}
  ProxyCall(const ProxyCall&) = delete;
  ProxyCall& operator=(const ProxyCall&) = delete;
  ~ProxyCall();

  void addInteger(int64_t value) { cells_.at(static_cast<size_t>(count_++)) = cell::integer(value); }
  void addText(const QvbString& text) { cells_.at(static_cast<size_t>(count_++)) = cell::text(text); }
  /// Adds a row set with these columns; its rows follow. False with 444.
  bool addRows(const char* columnTypes);
  /// Adds an absent row set.
  void addNoRows() { cells_.at(static_cast<size_t>(count_++)) = cell::absent(qvwlpRowSet); }
  bool addRow(std::initializer_list<QvwlpValue> cells) { return rows_.add(cells, err_); }
  /// Keeps a text alive as long as the call.
  const QvbString& keep(QvbString text) { return kept_.emplace_back(std::move(text)); }

  /// Calls the method and waits; the rows of the request end with that, whatever the status. False with 1725 or 1726.
  bool send(const char* responseTypes, QvjniInvokeCallback* callback = nullptr);

  [[nodiscard]] QvwlpResponse* response() const { return response_; }
  [[nodiscard]] RequestRows& rows() { return rows_; }
  /// Leaves the response to the proxy, with which it goes.
  /// @param reason  why it is left; for the reader
  void abandonResponse(const char* reason) noexcept;

 private:
  QvjniProxy* proxy_;
  const char* method_;
  QvbString& err_;
  std::array<QvwlpValue, 5> cells_;
  int32_t count_ = 0;
  std::deque<QvbString> kept_;
  RequestRows rows_;
  QvwlpResponse* response_ = nullptr;
};

#endif
