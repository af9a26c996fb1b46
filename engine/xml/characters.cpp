// SPDX-License-Identifier: Apache-2.0
#include "xml/characters.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace qvx {

namespace {

bool isXmlCharacter(char32_t c) {
  return (c >= 0x20 && c <= 0xD7FF) || c == '\t' || c == '\n' || c == '\r' || (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

// Whether a character begins here whose end is not there yet.
bool isBeginning(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  const std::size_t length = lead < 0xC2 || lead > 0xF4 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  return text.size() < length && std::all_of(text.begin() + 1, text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80; });
}

/// A truth value for each byte.
using ByteSet = std::array<bool, 256>;

constexpr ByteSet bytesOf(std::string_view characters) {
  ByteSet set{};
  for (const char c : characters) set[static_cast<unsigned char>(c)] = true;
  return set;
}

constexpr ByteSet kSpecialInText = bytesOf("&<>\r");
constexpr ByteSet kSpecialInAttribute = bytesOf("&<>\r\"\t\n");

std::string_view reference(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '\r':
      return "&#13;";
    case '"':
      return "&quot;";
    case '\t':
      return "&#9;";
    default:
      return "&#10;";
  }
}

std::size_t nextSpecial(std::string_view text, std::size_t at, const ByteSet& special) {
  while (at < text.size() && !special[static_cast<unsigned char>(text[at])]) ++at;
  return at;
}

void appendEscaped(std::string& out, std::string_view text, const ByteSet& special) {
  std::size_t done = 0;
  for (std::size_t at = nextSpecial(text, 0, special); at < text.size(); at = nextSpecial(text, done, special)) {
    out.append(text, done, at - done);
    out += reference(text[at]);
    done = at + 1;
  }
  out.append(text, done);
}

}  // namespace

char32_t nextCharacter(std::string_view text, std::size_t& at) {
  const auto lead = static_cast<unsigned char>(text[at++]);
  if (lead < 0x80) return lead;
  const std::size_t more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
  if (lead < 0xC2 || lead > 0xF4 || text.size() - at < more) return kNoCharacter;
  char32_t c = lead & (0x3FU >> more);
  for (std::size_t i = 0; i < more; ++i) {
    const auto byte = static_cast<unsigned char>(text[at + i]);
    if ((byte & 0xC0U) != 0x80) return kNoCharacter;
    c = c << 6 | (byte & 0x3FU);
  }
  constexpr std::array<char32_t, 4> kLeast{0, 0x80, 0x800, 0x10000};
  if (c < kLeast[more] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) return kNoCharacter;
  at += more;
  return c;
}

std::optional<std::string> XmlTextCheck::feed(std::string_view piece) {
  std::string joined;
  if (!cut_.empty()) {
    joined = std::exchange(cut_, {}).append(piece);
    piece = joined;
  }
  for (std::size_t at = 0; at < piece.size(); ++position_) {
    const std::size_t from = at;
    // Decoding is for the few.
    if (piece[at] >= ' ' && piece[at] <= '~') {
      ++at;
      continue;
    }
    const char32_t c = nextCharacter(piece, at);
    if (isXmlCharacter(c)) continue;
    if (c == kNoCharacter) {
      if (!isBeginning(piece.substr(from))) return "the bytes" + where() + " are not UTF-8";
      cut_ = piece.substr(from);
      return std::nullopt;
    }
    std::array<char, 16> number{};
    std::snprintf(number.data(), number.size(), "U+%04X", static_cast<unsigned>(c));
    return "the character " + std::string(number.data()) + where() + " cannot stand in XML";
  }
  return std::nullopt;
}

std::optional<std::string> XmlTextCheck::end() const {
  if (cut_.empty()) return std::nullopt;
  return "the bytes" + where() + " are not UTF-8";
}

std::string XmlTextCheck::where() const {
  return " at position " + std::to_string(position_) + " (characters from 1)";
}

std::optional<std::string> unusableInXml(std::string_view text) {
  XmlTextCheck check;
  std::optional<std::string> problem = check.feed(text);
  return problem ? problem : check.end();
}

std::size_t xmlTextSize(std::string_view text) {
  std::size_t size = text.size();
  for (std::size_t at = nextSpecial(text, 0, kSpecialInText); at < text.size(); at = nextSpecial(text, at + 1, kSpecialInText))
    size += reference(text[at]).size() - 1;
  return size;
}

void appendXmlText(std::string& out, std::string_view text) {
  appendEscaped(out, text, kSpecialInText);
}

void appendXmlAttribute(std::string& out, std::string_view text) {
  appendEscaped(out, text, kSpecialInAttribute);
}

}  // namespace qvx
