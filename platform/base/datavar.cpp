// SPDX-License-Identifier: Apache-2.0
#include <qvb/datavar.h>

#include <limits>
#include <string_view>

namespace {

std::string_view trimmed(const QvbString& text) {
  constexpr std::string_view kBlanks = " \t\r\n\f\v";
  const std::string_view view(text.asCstr(), static_cast<size_t>(text.length()));
  const size_t first = view.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return view.substr(first, view.find_last_not_of(kBlanks) - first + 1);
}

/// Compares with a word in lower case, without regard to the case of ASCII letters and to no locale.
bool isWord(std::string_view text, std::string_view word) {
  if (text.size() != word.size()) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i] >= 'A' && text[i] <= 'Z' ? static_cast<char>(text[i] - 'A' + 'a') : text[i];
    if (c != word[i]) return false;
  }
  return true;
}

bool toBoolean(const QvbString& text, bool& value) {
  const std::string_view word = trimmed(text);
  value = isWord(word, "true") || isWord(word, "yes") || word == "1";
  return value || isWord(word, "false") || isWord(word, "no") || word == "0";
}

bool toInteger(const QvbString& text, int32_t& value) {
  std::string_view digits = trimmed(text);
  const bool negative = !digits.empty() && digits.front() == '-';
  if (negative || (!digits.empty() && digits.front() == '+')) digits.remove_prefix(1);
  if (digits.empty()) return false;
  int64_t number = 0;
  for (const char c : digits) {
    if (c < '0' || c > '9') return false;
    number = number * 10 + (negative ? '0' - c : c - '0');
    if (number < std::numeric_limits<int32_t>::min() || number > std::numeric_limits<int32_t>::max()) return false;
  }
  value = static_cast<int32_t>(number);
  return true;
}

}  // namespace

void QvbDatavar::assign(const QvbString& text) {
  text_ = text;
  type_ = text.isNull() ? qvbTypeNull : qvbTypeText;
  integer_ = 0;
}

bool QvbDatavar::setType(qvbType type) {
  if (type == type_) return true;
  bool converted = false;
  int64_t integer = 0;
  switch (type) {
    case qvbTypeNull:
      break;
    case qvbTypeBoolean:
      integer = asBool(&converted) ? 1 : 0;
      if (!converted) return false;
      break;
    case qvbTypeInteger:
      integer = asInteger(&converted);
      if (!converted) return false;
      break;
    case qvbTypeText:
      if (isNull()) return false;
      text_ = asString();
      type_ = type;
      integer_ = 0;
      return true;
    default:
      return false;
  }
  text_.setNull();
  type_ = type;
  integer_ = integer;
  return true;
}

bool QvbDatavar::asBool(bool* converted) const noexcept {
  bool value = integer_ == 1;
  const bool fits = type_ == qvbTypeText ? toBoolean(text_, value) : !isNull() && (integer_ == 0 || integer_ == 1);
  if (converted != nullptr) *converted = fits;
  return fits && value;
}

int32_t QvbDatavar::asInteger(bool* converted) const noexcept {
  auto value = static_cast<int32_t>(integer_);
  const bool fits = type_ == qvbTypeText ? toInteger(text_, value) : !isNull();
  if (converted != nullptr) *converted = fits;
  return fits ? value : 0;
}

QvbString QvbDatavar::asString() const {
  switch (type_) {
    case qvbTypeBoolean:
      return integer_ != 0 ? "true" : "false";
    case qvbTypeInteger: {
      QvbString digits;
      digits.assign(integer_);
      return digits;
    }
    case qvbTypeText:
      return text_;
    default:
      return {};
  }
}
