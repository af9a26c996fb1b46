// SPDX-License-Identifier: Apache-2.0
#include "base/wipe.h"

#include <qvb/string.h>

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <functional>
#include <new>
#include <string_view>

namespace {

constexpr int64_t kMaxLength = 2147483646;

bool isBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

int32_t checkedLength(size_t length) {
  if (length > static_cast<size_t>(kMaxLength)) throw std::bad_alloc();
  return static_cast<int32_t>(length);
}

int32_t compareBytes(const char* left, int32_t leftLength, const char* right, size_t rightLength) {
  const auto length = static_cast<size_t>(leftLength);
  const int order = memcmp(left, right, std::min(length, rightLength));
  if (order != 0) return order < 0 ? -1 : 1;
  if (length == rightLength) return 0;
  return length < rightLength ? -1 : 1;
}

}  // namespace

QvbString::QvbString(const char* text) : QvbString() {
  assign(text);
}
QvbString::QvbString(const char* text, int32_t length) : QvbString() {
  assign(text, length);
}
QvbString::QvbString(const QvbString& other) : QvbString() {
  replace(other.text_, other.length_);
}
QvbString::QvbString(QvbString&& other) noexcept : QvbString() {
  takeFrom(other);
}
QvbString::~QvbString() {
  setNull();
}

QvbString& QvbString::operator=(const QvbString& other) {
  if (this != &other) replace(other.text_, other.length_);
  return *this;
}

QvbString& QvbString::operator=(QvbString&& other) noexcept {
  if (this != &other) {
    setNull();
    takeFrom(other);
  }
  return *this;
}

void QvbString::setNull() noexcept {
  if (text_ == nullptr) return;
  // The whole block: what an earlier, longer value left behind goes as well.
  qvp::wipe(text_, static_cast<size_t>(capacity_) + 1);
  if (onHeap()) free(text_);
  text_ = nullptr;
  length_ = 0;
  capacity_ = 0;
}

int32_t QvbString::compare(const QvbString& other, bool /*collation*/) const noexcept {
  if (isNull() || other.isNull()) return static_cast<int32_t>(other.isNull()) - static_cast<int32_t>(isNull());
  return compareBytes(text_, length_, other.text_, static_cast<size_t>(other.length_));
}

int32_t QvbString::compare(const char* other, bool /*collation*/) const noexcept {
  if (isNull() || other == nullptr) return static_cast<int32_t>(other == nullptr) - static_cast<int32_t>(isNull());
  return compareBytes(text_, length_, other, strlen(other));
}

int32_t QvbString::find(const char* needle, int32_t from) const noexcept {
  if (isNull() || needle == nullptr) return -1;
  const std::string_view text(text_, static_cast<size_t>(length_));
  const size_t at = text.find(needle, static_cast<size_t>(std::max(from, 0)));
  return at == std::string_view::npos ? -1 : static_cast<int32_t>(at);
}

QvbString QvbString::mid(int32_t start, int32_t count) const {
  if (isNull()) return {};
  const int32_t first = std::clamp(start, 0, length_);
  const int32_t rest = length_ - first;
  return {text_ + first, count < 0 ? rest : std::min(count, rest)};
}

QvbString& QvbString::trim(bool left, bool right) noexcept {
  if (isNull()) return *this;
  int32_t first = 0;
  int32_t end = length_;
  while (right && end > first && isBlank(text_[end - 1])) --end;
  while (left && first < end && isBlank(text_[first])) ++first;
  memmove(text_, text_ + first, static_cast<size_t>(end - first));
  length_ = end - first;
  text_[length_] = '\0';
  return *this;
}

QvbString& QvbString::append(const QvbString& text) {
  return append(text.text_, text.length_);
}

QvbString& QvbString::append(const char* text) {
  if (text == nullptr) return *this;
  return append(text, checkedLength(strlen(text)));
}

QvbString& QvbString::append(const char* text, int32_t length) {
  if (text == nullptr) return *this;
  const int32_t count = std::max(length, 0);
  // A source inside this text moves along with it.
  const bool inside = text_ != nullptr && !std::less<>()(text, static_cast<const char*>(text_)) && std::less<>()(text, text_ + capacity_ + 1);
  const ptrdiff_t offset = inside ? text - text_ : 0;
  reserve(static_cast<int64_t>(length_) + count);
  memmove(text_ + length_, inside ? text_ + offset : text, static_cast<size_t>(count));
  length_ += count;
  text_[length_] = '\0';
  return *this;
}

QvbString& QvbString::assign(const char* text) {
  replace(text, text == nullptr ? 0 : checkedLength(strlen(text)));
  return *this;
}

QvbString& QvbString::assign(const char* text, int32_t length) {
  replace(text, std::max(length, 0));
  return *this;
}

QvbString& QvbString::assign(int32_t value) {
  return assign(static_cast<int64_t>(value));
}

QvbString& QvbString::assign(int64_t value) {
  char digits[24];
  const char* end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  return assign(digits, static_cast<int32_t>(end - digits));
}

void QvbString::replace(const char* text, int32_t length) {
  if (text == nullptr) {
    setNull();
    return;
  }
  if (text_ != nullptr && length <= capacity_) {
    memmove(text_, text, static_cast<size_t>(length));
    length_ = length;
    text_[length] = '\0';
    return;
  }
  // Built beside the old text, which may hold the source and stays when there is no memory.
  QvbString fresh;
  fresh.reserve(length);
  memcpy(fresh.text_, text, static_cast<size_t>(length));
  fresh.length_ = length;
  fresh.text_[length] = '\0';
  setNull();
  takeFrom(fresh);
}

/// Moves another text into this one, which is null.
void QvbString::takeFrom(QvbString& other) noexcept {
  if (other.onHeap()) {
    text_ = other.text_;
    length_ = other.length_;
    capacity_ = other.capacity_;
    other.text_ = nullptr;
    other.length_ = 0;
    other.capacity_ = 0;
  } else if (!other.isNull()) {
    memcpy(inline_, other.inline_, sizeof inline_);
    text_ = inline_;
    length_ = other.length_;
    capacity_ = kInlineCapacity;
    other.setNull();
  }
}

/// Makes room for `bytes` before the NUL and the text non-null; what it holds stays.
void QvbString::reserve(int64_t bytes) {
  if (bytes > kMaxLength) throw std::bad_alloc();
  if (text_ == nullptr && bytes <= kInlineCapacity) {
    text_ = inline_;
    text_[0] = '\0';
    capacity_ = kInlineCapacity;
    return;
  }
  if (text_ != nullptr && bytes <= capacity_) return;
  // A text that grows doubles; a fresh one fits.
  const int64_t capacity = text_ == nullptr ? bytes : std::min(std::max(bytes, static_cast<int64_t>(capacity_) * 2), kMaxLength);
  char* block = static_cast<char*>(malloc(static_cast<size_t>(capacity) + 1));
  if (block == nullptr) throw std::bad_alloc();
  const int32_t length = length_;
  memcpy(block, asCstr(), static_cast<size_t>(length) + 1);
  setNull();
  text_ = block;
  length_ = length;
  capacity_ = static_cast<int32_t>(capacity);
}
