// SPDX-License-Identifier: Apache-2.0
#include "xml/characters.h"

#include <array>
#include <cstdio>

namespace qvx {

namespace {

// Without those of the C0 controls that XML takes, which are looked at apart.
bool isXmlCharacter(char32_t c) {
  return (c >= 0x20 && c <= 0xD7FF) || c == '\t' || c == '\n' || c == '\r' || (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

// The reference that a character needs; empty for one that may stand as it is.
std::string_view reference(char c, bool inAttribute) {
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
      return inAttribute ? "&quot;" : "";
    case '\t':
      return inAttribute ? "&#9;" : "";
    case '\n':
      return inAttribute ? "&#10;" : "";
    default:
      return "";
  }
}

void appendEscaped(std::string& out, std::string_view text, bool inAttribute) {
  std::size_t done = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::string_view instead = reference(text[i], inAttribute);
    if (instead.empty()) continue;
    out.append(text, done, i - done);
    out += instead;
    done = i + 1;
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

std::optional<std::string> unusableInXml(std::string_view text) {
  std::size_t position = 1;
  for (std::size_t at = 0; at < text.size(); ++position) {
    const char32_t c = nextCharacter(text, at);
    if (isXmlCharacter(c)) continue;
    const std::string where = " at position " + std::to_string(position) + " (characters from 1)";
    if (c == kNoCharacter) return "the bytes" + where + " are not UTF-8";
    std::array<char, 16> number{};
    std::snprintf(number.data(), number.size(), "U+%04X", static_cast<unsigned>(c));
    return "the character " + std::string(number.data()) + where + " cannot stand in XML";
  }
  return std::nullopt;
}

void appendXmlText(std::string& out, std::string_view text) {
  appendEscaped(out, text, false);
}

void appendXmlAttribute(std::string& out, std::string_view text) {
  appendEscaped(out, text, true);
}

}  // namespace qvx
