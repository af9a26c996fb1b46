// SPDX-License-Identifier: Apache-2.0
#include "uri/uri_template.h"

#include "error.h"
#include "xml/characters.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace qvx {

namespace {

/// How an operator expands (RFC 6570 appendix A).
struct Operator {
  char sign;  ///< a blank for none
  std::string_view first;
  char separator;
  bool named;
  std::string_view ifEmpty;
  bool reserved;  ///< reserved characters and percent-encoded ones stay as they are
};

constexpr std::array kOperators{
    Operator{' ', "", ',', false, "", false},  Operator{'+', "", ',', false, "", true},   Operator{'#', "#", ',', false, "", true},
    Operator{'.', ".", '.', false, "", false}, Operator{'/', "/", '/', false, "", false}, Operator{';', ";", ';', true, "", false},
    Operator{'?', "?", '&', true, "=", false}, Operator{'&', "&", '&', true, "=", false},
};

const Operator* findOperator(char sign) {
  const auto* const found = std::find_if(kOperators.begin(), kOperators.end(), [&](const Operator& one) { return one.sign == sign; });
  return found == kOperators.end() ? nullptr : found;
}

bool isAlphanumeric(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool isUnreserved(char c) {
  return isAlphanumeric(c) || c == '-' || c == '.' || c == '_' || c == '~';
}

bool isReserved(char c) {
  return std::string_view(":/?#[]@!$&'()*+,;=").find(c) != std::string_view::npos;
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool isPercentEncoded(std::string_view text, std::size_t at) {
  return text.size() - at > 2 && text[at] == '%' && hexDigit(text[at + 1]) >= 0 && hexDigit(text[at + 2]) >= 0;
}

// ucschar and iprivate of RFC 3987.
bool isInternational(char32_t c) {
  if (c >= 0x10000) return c <= 0x10FFFF && (c & 0xFFFFU) <= 0xFFFD && !(c >= 0xE0000 && c < 0xE1000);
  return (c >= 0xA0 && c <= 0xD7FF) || (c >= 0xE000 && c <= 0xFDCF) || (c >= 0xFDF0 && c <= 0xFFEF);
}

void appendEncoded(std::string& out, std::string_view text, bool reserved) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (isUnreserved(c) || (reserved && (isReserved(c) || isPercentEncoded(text, i)))) {
      out += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      out += '%';
      out += kDigits[byte >> 4U];
      out += kDigits[byte & 0xFU];
    }
  }
}

// The first characters of a value. Where percent-encoded octets stay as they are, those of one character count as one (RFC 6570 section 2.4.1).
std::string_view firstCharacters(std::string_view text, int most, bool reserved) {
  std::size_t at = 0;
  for (; most > 0 && at < text.size(); --most) {
    if (!reserved || !isPercentEncoded(text, at)) {
      nextCharacter(text, at);
      continue;
    }
    std::string octets;
    for (std::size_t i = at; octets.size() < 4 && i < text.size() && isPercentEncoded(text, i); i += 3)
      octets += static_cast<char>(hexDigit(text[i + 1]) * 16 + hexDigit(text[i + 2]));
    std::size_t count = 0;
    nextCharacter(octets, count);
    at += count * 3;
  }
  return text.substr(0, at);
}

[[noreturn]] void refuse(std::size_t position, const std::string& why) {
  throw Error(ErrorCode::BadRequest, "the URI template is malformed at position " + std::to_string(position) + " (characters from 1): " + why);
}

std::string quoted(std::string_view text) {
  return "\"" + std::string(text) + "\"";
}

/// Walks a template and keeps count of the characters.
class Cursor {
 public:
  explicit Cursor(std::string_view text) : text_(text) {}

  [[nodiscard]] bool atEnd() const { return at_ == text_.size(); }
  [[nodiscard]] char peek() const { return atEnd() ? '\0' : text_[at_]; }
  [[nodiscard]] std::size_t position() const { return position_; }
  [[nodiscard]] bool atPercentEncoded() const { return isPercentEncoded(text_, at_); }

  bool skip(char c) {
    if (atEnd() || peek() != c) return false;
    take();
    return true;
  }

  std::pair<char32_t, std::string_view> take() {
    const std::size_t from = at_;
    const char32_t c = nextCharacter(text_, at_);
    ++position_;
    return {c, text_.substr(from, at_ - from)};
  }

 private:
  std::string_view text_;
  std::size_t at_ = 0;
  std::size_t position_ = 1;
};

std::string readLiteral(Cursor& cursor) {
  std::string out;
  while (!cursor.atEnd() && cursor.peek() != '{') {
    const std::size_t position = cursor.position();
    if (cursor.peek() == '}') refuse(position, R"("}" without a "{" before it)");
    if (cursor.peek() == '%' && !cursor.atPercentEncoded())
      refuse(position, R"("%" without two hexadecimal digits behind it; write "%25" for the sign itself)");
    const auto [c, bytes] = cursor.take();
    if (c == kNoCharacter) refuse(position, "the bytes are not UTF-8");
    // The apostrophe is a sub-delimiter of URIs and was left out of the grammar by an oversight.
    const bool allowed =
        c < 0x80 ? c > 0x20 && c < 0x7F && std::string_view("\"<>\\^`|").find(static_cast<char>(c)) == std::string_view::npos : isInternational(c);
    if (!allowed) {
      if (c > 0x20 && c < 0x7F) refuse(position, quoted(bytes) + " cannot stand in a URI; write it percent-encoded");
      refuse(position, std::string(c == ' '   ? "a blank"
                                   : c < 0xA0 ? "a control character"
                                              : "a character that is not assigned") +
                           " cannot stand in a URI; write it percent-encoded");
    }
    // Also "%": the digits behind it follow as they are.
    if (c < 0x80) {
      out += bytes;
    } else {
      appendEncoded(out, bytes, true);
    }
  }
  return out;
}

bool isNameCharacter(const Cursor& cursor) {
  return isAlphanumeric(cursor.peek()) || cursor.peek() == '_' || cursor.atPercentEncoded();
}

[[noreturn]] void refuseInExpression(Cursor& cursor, std::size_t begin, const std::string& expected) {
  if (cursor.atEnd()) refuse(begin, R"("{" without a "}" behind it)");
  const std::size_t position = cursor.position();
  const auto [c, bytes] = cursor.take();
  refuse(position, expected + ", not " + (c == kNoCharacter ? "bytes that are no UTF-8" : quoted(bytes)));
}

// RFC 6570 section 2.3.
std::string readName(Cursor& cursor, std::size_t begin) {
  std::string name;
  bool first = true;
  do {
    if (!first) name += '.';
    first = false;
    if (!isNameCharacter(cursor))
      refuseInExpression(cursor, begin, "here has to be a letter, a digit, \"_\" or a percent-encoded octet of a variable's name");
    for (; !cursor.atEnd() && isNameCharacter(cursor);) {
      for (int octet = cursor.peek() == '%' ? 3 : 1; octet > 0; --octet) name += cursor.take().second;
    }
  } while (cursor.skip('.'));
  return name;
}

int readPrefix(Cursor& cursor, std::size_t begin) {
  const std::size_t position = cursor.position();
  int prefix = 0;
  while (cursor.peek() >= '0' && cursor.peek() <= '9') {
    prefix = std::min(prefix * 10 + (cursor.take().second[0] - '0'), 10000);
    if (prefix == 0 || prefix > 9999) refuse(position, "the length of a prefix is a number from 1 to 9999 without leading zeros");
  }
  if (prefix == 0) refuseInExpression(cursor, begin, "here has to be the length of a prefix, a number from 1 to 9999");
  return prefix;
}

char readOperator(Cursor& cursor) {
  const char sign = cursor.peek();
  const std::size_t position = cursor.position();
  if (sign == '\0') return ' ';
  if (std::string_view("=,!@|").find(sign) != std::string_view::npos)
    refuse(position, "the operator " + quoted({&sign, 1}) + " is reserved and means nothing yet");
  if (sign == ' ' || findOperator(sign) == nullptr) return ' ';
  cursor.take();
  return sign;
}

/// Appends what an expression comes to, value by value.
class Expansion {
 public:
  Expansion(std::string& out, const Operator& rules) : out_(out), rules_(rules) {}

  void append(const std::string& name, int prefix, const std::string& value) {
    begin();
    const std::string_view used = prefix > 0 ? firstCharacters(value, prefix, rules_.reserved) : std::string_view(value);
    if (rules_.named) nameOf(name, used.empty());
    encoded(used);
  }

  void append(const std::string& name, bool explode, const UriTemplate::List& values) {
    bool first = true;
    for (const std::string& value : values) {
      next(explode, first);
      if (rules_.named && (explode || first)) nameOf(name, explode && value.empty());
      encoded(value);
      first = false;
    }
  }

  void append(const std::string& name, bool explode, const UriTemplate::Pairs& pairs) {
    bool first = true;
    for (const auto& [key, value] : pairs) {
      next(explode, first);
      if (rules_.named && !explode && first) nameOf(name, false);
      first = false;
      encoded(key);
      if (!explode) {
        out_ += ',';
      } else if (rules_.named && value.empty()) {
        out_ += rules_.ifEmpty;
      } else {
        out_ += '=';
      }
      encoded(value);
    }
  }

 private:
  std::string& out_;
  const Operator& rules_;
  bool first_ = true;

  // Before a value that stands for itself.
  void begin() {
    if (first_) {
      out_ += rules_.first;
    } else {
      out_ += rules_.separator;
    }
    first_ = false;
  }

  // Before a member of a value.
  void next(bool explode, bool first) {
    if (explode || first) {
      begin();
    } else {
      out_ += ',';
    }
  }

  void nameOf(const std::string& name, bool empty) {
    out_ += name;
    out_ += empty ? rules_.ifEmpty : "=";
  }

  void encoded(std::string_view text) { appendEncoded(out_, text, rules_.reserved); }
};

}  // namespace

UriTemplate::UriTemplate(std::string_view text) {
  for (Cursor cursor(text); !cursor.atEnd();) {
    Part& part = parts_.emplace_back();
    const std::size_t begin = cursor.position();
    if (!cursor.skip('{')) {
      part.literal = readLiteral(cursor);
      continue;
    }
    if (cursor.peek() == '}') refuse(begin, "the expression \"{}\" is empty");
    part.op = readOperator(cursor);
    do {
      Variable& variable = part.variables.emplace_back();
      variable.name = readName(cursor, begin);
      if (cursor.skip(':')) {
        variable.prefix = readPrefix(cursor, begin);
      } else {
        variable.explode = cursor.skip('*');
      }
      if (std::find(variables_.begin(), variables_.end(), variable.name) == variables_.end()) variables_.push_back(variable.name);
    } while (cursor.skip(','));
    if (!cursor.skip('}')) refuseInExpression(cursor, begin, R"(behind a variable has to be ":" and a number, "*", "," or "}")");
  }
}

std::string UriTemplate::expand(const std::function<Value(const std::string& name)>& value) const {
  std::string out;
  for (const Part& part : parts_) {
    out += part.literal;
    const Operator* const rules = findOperator(part.op);
    if (rules == nullptr) continue;
    Expansion expansion(out, *rules);
    for (const Variable& variable : part.variables) {
      const Value given = value(variable.name);
      if (const auto* const text = std::get_if<std::string>(&given)) {
        expansion.append(variable.name, variable.prefix, *text);
        continue;
      }
      const auto* const list = std::get_if<List>(&given);
      const auto* const pairs = std::get_if<Pairs>(&given);
      // Those without a member are undefined (RFC 6570 section 2.3).
      if ((list == nullptr || list->empty()) && (pairs == nullptr || pairs->empty())) continue;
      if (variable.prefix > 0) {
        throw Error(ErrorCode::BadRequest, "the URI template takes the first " + std::to_string(variable.prefix) + " characters of '" +
                                               variable.name + "', which has several values; give it one value");
      }
      if (list != nullptr) {
        expansion.append(variable.name, variable.explode, *list);
      } else {
        expansion.append(variable.name, variable.explode, *pairs);
      }
    }
  }
  return out;
}

}  // namespace qvx
