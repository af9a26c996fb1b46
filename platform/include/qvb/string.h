// SPDX-License-Identifier: Apache-2.0
#ifndef QVB_STRING_H
#define QVB_STRING_H

#include <qvb/export.h>

#include <stddef.h>
#include <stdint.h>

/// A text: UTF-8 bytes followed by a NUL, or the null state, which differs from the empty text.
///
/// A null text has length 0 and reads as "" through asCstr(); isNull() alone tells it from an empty one. Copies of a null text stay null. Lengths
/// and positions count bytes, not characters. The bytes are not checked to be valid UTF-8.
///
/// Before memory goes back to the allocator its bytes are cleared, so that a password held in a text does not outlive it.
///
/// @par Failure  An operation that needs memory and gets none throws `std::bad_alloc`, as does one whose result would be longer than
///               2 147 483 646 bytes; the text is then what it was before.
/// @par Threads  A text may be read by several threads at once, and changed by one.
/// @par Layout   32 bytes: text pointer at 0, length at 8, capacity at 12, room for a short text at 16.
class QVB_API QvbString {
 public:
  /// The null text.
  QvbString() noexcept : text_(nullptr), length_(0), capacity_(0), inline_{} {}
  /// A copy of a NUL-terminated text; a null pointer gives the null text.
  QvbString(const char* text);  // NOLINT(google-explicit-constructor): a literal is a text wherever a text is asked for
  /// A copy of `length` bytes at `text`; a null pointer gives the null text, a negative length counts as 0.
  QvbString(const char* text, int32_t length);
  QvbString(const QvbString& other);
  QvbString(QvbString&& other) noexcept;  ///< `other` is null afterwards
  ~QvbString();
  QvbString& operator=(const QvbString& other);
  QvbString& operator=(QvbString&& other) noexcept;  ///< `other` is null afterwards, unless it is this text

  /// Makes this the null text.
  void setNull() noexcept;
  [[nodiscard]] bool isNull() const noexcept { return text_ == nullptr; }
  /// Bytes without the terminating NUL; 0 for a null text.
  [[nodiscard]] int32_t length() const noexcept { return length_; }
  /// The bytes, NUL-terminated, valid until the text changes; "" for a null text.
  [[nodiscard]] const char* asCstr() const noexcept { return text_ != nullptr ? text_ : ""; }
  /// Bytes that asCstr() points to, with the terminating NUL; 1 for a null text.
  [[nodiscard]] int32_t cStrSize() const noexcept { return length_ + 1; }

  /// Orders two texts.
  ///
  /// Bytes compare as unsigned values and a text sorts before its own extensions. The null text sorts before every other, the empty text included,
  /// and equals only itself. This library orders alike under both values of the flag.
  ///
  /// @param[in] other      the text to compare with; a null pointer stands for the null text
  /// @param[in] collation  which of the base library's two orders is meant; callers pass the one they were given for a key, so that a base
  ///                       library with two different orders finds and sorts as the caller expects
  /// @return negative, 0 or positive as this text sorts before, with or after `other`
  [[nodiscard]] int32_t compare(const QvbString& other, bool collation) const noexcept;
  [[nodiscard]] int32_t compare(const char* other, bool collation) const noexcept;

  /// Position of the first `needle` at or after byte `from`, or -1. The empty needle is found at `from` when that lies within the text; a
  /// null pointer is never found, and in a null text nothing is. A negative `from` counts as 0.
  [[nodiscard]] int32_t find(const char* needle, int32_t from = 0) const noexcept;
  /// Up to `count` bytes from byte `start` (all that follow when `count` is negative). A null text gives a null text; a start outside the text gives
  /// an empty one; a negative start counts as 0.
  [[nodiscard]] QvbString mid(int32_t start, int32_t count = -1) const;
  /// Removes blanks (space, tab, carriage return, line feed, form feed, vertical tab) at the chosen ends, in place. A null text stays null.
  QvbString& trim(bool left, bool right) noexcept;

  /// Appends a text. Appending a null text, or a null pointer, changes nothing; appending to a null text makes it non-null, also when what is
  /// appended is empty.
  QvbString& append(const QvbString& text);
  QvbString& append(const char* text);
  QvbString& append(const char* text, int32_t length);

  /// Replaces the text; the arguments mean what they do in the constructors. The source may lie inside this text.
  QvbString& assign(const char* text);
  QvbString& assign(const char* text, int32_t length);
  /// Replaces the text by a number's decimal digits, with a leading "-" when it is negative.
  QvbString& assign(int32_t value);
  QvbString& assign(int64_t value);

 private:
  friend struct QvbStringLayout;
  enum : int32_t { kInlineCapacity = 15 };

  [[nodiscard]] bool onHeap() const noexcept { return text_ != nullptr && text_ != inline_; }
  void replace(const char* text, int32_t length);
  void takeFrom(QvbString& other) noexcept;
  void reserve(int64_t bytes);

  char* text_;        // null, inline_, or a heap block of capacity_ + 1 bytes
  int32_t length_;    // bytes before the NUL
  int32_t capacity_;  // bytes that fit before the NUL; 0 while null
  char inline_[16];   // a text of up to 15 bytes lives here
};

/// Checks what hosts and libraries share.
struct QvbStringLayout {
  static_assert(sizeof(QvbString) == 32 && alignof(QvbString) == 8, "the size of a text");
  static_assert(offsetof(QvbString, text_) == 0 && offsetof(QvbString, length_) == 8 && offsetof(QvbString, capacity_) == 12 &&
                    offsetof(QvbString, inline_) == 16,
                "the order of its members");
  static_assert(sizeof(bool) == 1, "truth values are one byte");
};

#endif
