// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_MODULE_ROWS_H
#define QVX_MODULE_ROWS_H

#include <qvjni/module.h>

#include <cstring>
#include <limits>
#include <new>
#include <string_view>

namespace qvx {

/// Column types of the row sets in answers.
inline constexpr const char* kTwoTexts = "\x0b\x0b";
inline constexpr const char* kThreeTexts = "\x0b\x0b\x0b";

/// Writes rows in place. Texts are borrowed, so they have to be NUL-terminated and outlive the answer, unless they are copied into it.
class Rows {
 public:
  Rows(QvjniAnswer& answer, const char* columns) : answer_(answer), rows_(answer.addRows(columns)) {
    if (rows_ == nullptr) throw std::bad_alloc();
  }

  void add(const char* name, std::string_view value) {
    QvwlpValue* const cells = next();
    put(cells[0], name);
    put(cells[1], value);
  }
  /// A row of one column.
  void single(std::string_view value) { put(next()[0], value); }
  /// The row that starts an object.
  void object(const char* kind, std::string_view second, std::string_view third) {
    QvwlpValue* const cells = next();
    put(cells[0], kind);
    put(cells[1], second);
    put(cells[2], third);
  }
  void header(const char* kind, std::string_view name) {
    QvwlpValue* const cells = next();
    put(cells[0], kind);
    put(cells[1], name);
  }
  /// A row of the object that was started last.
  void property(const char* name, std::string_view value) {
    QvwlpValue* const cells = next();
    put(cells[1], name);
    put(cells[2], value);
  }
  /// A named value; one without a text has an absent cell.
  void value(std::string_view ns, std::string_view local, std::string_view text) {
    QvwlpValue* const cells = next();
    put(cells[0], ns);
    put(cells[1], local);
    if (text.data() != nullptr) put(cells[2], text);
  }
  /// A copy that lives as long as the answer.
  std::string_view copy(std::string_view text, std::string_view more = {}) {
    const std::size_t size = text.size() + more.size();
    auto* const memory = static_cast<char*>(answer_.allocate(size + 1));
    if (memory == nullptr) throw std::bad_alloc();
    if (!text.empty()) std::memcpy(memory, text.data(), text.size());
    if (!more.empty()) std::memcpy(memory + text.size(), more.data(), more.size());
    memory[size] = '\0';
    return {memory, size};
  }

 private:
  QvwlpValue* next() {
    QvwlpValue* const cells = rows_->newRow();
    if (cells == nullptr) throw std::bad_alloc();
    return cells;
  }
  static void put(QvwlpValue& cell, std::string_view text) {
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) throw std::bad_alloc();
    cell.data.text = text.data() == nullptr ? "" : text.data();
    cell.length = static_cast<std::int32_t>(text.size());
    cell.present = 1;
  }

  QvjniAnswer& answer_;
  QvjniAnswerRows* rows_;
};

}  // namespace qvx

#endif
