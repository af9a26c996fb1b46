// SPDX-License-Identifier: Apache-2.0
#ifndef QVB_DATAVAR_H
#define QVB_DATAVAR_H

#include <qvb/export.h>
#include <qvb/string.h>

#include <stddef.h>
#include <stdint.h>

/// What a QvbDatavar holds. The codes 1 and 2 are fixed; they are what setType() takes.
enum qvbType : int32_t {
  qvbTypeNull = 0,     ///< no value
  qvbTypeBoolean = 1,  ///< true or false
  qvbTypeInteger = 2,  ///< a 32-bit signed whole number
  qvbTypeText = 3      ///< a text
};

/// A value that is null, a truth value, a whole number or a text, and converts between them.
///
/// A text converts to a *boolean* when, blanks at both ends aside, it is one of `true`, `yes`, `1` (true) or `false`, `no`, `0` (false), in any
/// mixture of upper and lower case. It converts to an *integer* when, blanks at both ends aside, it is an optional `+` or `-` followed by one or more
/// decimal digits whose value lies within 32 signed bits. Everything else fails, the empty text included: `on`, `0x10`, `1.0`, `1e3`, `2147483648`. A
/// blank is a space, tab, carriage return, line feed, form feed or vertical tab.
///
/// @par Threads  One thread at a time.
/// @par Layout   48 bytes: type at 0, integer or truth value at 8, text at 16.
class QVB_API QvbDatavar {
 public:
  QvbDatavar() noexcept = default;

  [[nodiscard]] bool isNull() const noexcept { return type_ == qvbTypeNull; }
  [[nodiscard]] qvbType getType() const noexcept { return type_; }

  /// Takes a copy of a text; a null text makes the value null.
  void assign(const QvbString& text);

  /// Converts the value in place.
  ///
  /// A null value converts to nothing but qvbTypeNull. Between boolean and integer, true is 1, false is 0, and of the integers only 0 and 1 are
  /// booleans. Every value converts to text, as asString() reads it, and to null.
  /// @return false when the value does not convert; it is then unchanged
  [[nodiscard]] bool setType(qvbType type);

  /// The value as a truth value, by setType()'s rules, without changing it.
  /// @param[out] converted  whether it converts; may be null
  /// @return the truth value; false when it does not convert
  [[nodiscard]] bool asBool(bool* converted = nullptr) const noexcept;
  /// The value as a whole number, likewise; 0 when it does not convert.
  [[nodiscard]] int32_t asInteger(bool* converted = nullptr) const noexcept;
  /// The value as a text: null for a null value, "true" or "false", decimal digits, or the text itself.
  [[nodiscard]] QvbString asString() const;

 private:
  friend struct QvbDatavarLayout;
  qvbType type_ = qvbTypeNull;
  int64_t integer_ = 0;  // the number, or 1 and 0 for true and false; 0 otherwise
  QvbString text_;       // null unless the type is text
};

/// Checks what hosts and libraries share.
struct QvbDatavarLayout {
  static_assert(sizeof(QvbDatavar) == 48 && alignof(QvbDatavar) == 8 && sizeof(qvbType) == 4, "the size of a value");
  static_assert(offsetof(QvbDatavar, type_) == 0 && offsetof(QvbDatavar, integer_) == 8 && offsetof(QvbDatavar, text_) == 16,
                "the order of its members");
};

#endif
