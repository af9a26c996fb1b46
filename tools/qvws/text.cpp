// SPDX-License-Identifier: Apache-2.0
#include "text.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace qvwscli {
namespace {

struct Character {
  std::uint32_t code;
  std::size_t bytes;  // 0 = no UTF-8 here
};

/// Reads the character that begins at `at` (RFC 3629 section 3: no overlong forms, no surrogates, nothing above U+10FFFF).
Character decode(std::string_view text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
  const std::uint8_t first = byte(at);
  if (first < 0x80) return {first, 1};
  const std::size_t bytes = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || at + bytes > text.size()) return {0, 0};
  std::uint32_t code = first & (0x7FU >> bytes);
  for (std::size_t i = 1; i < bytes; ++i) {
    if ((byte(at + i) & 0xC0U) != 0x80) return {0, 0};
    code = code << 6U | (byte(at + i) & 0x3FU);
  }
  const bool overlong = code < (bytes == 4 ? 0x10000U : bytes == 3 ? 0x800U : 0x80U);
  if (overlong || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return {0, 0};
  return {code, bytes};
}

bool drivesTerminal(std::uint32_t c) {
  return c < 0x20 || (c >= 0x7F && c <= 0x9F) || c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x2028 && c <= 0x202E) ||
         (c >= 0x2066 && c <= 0x2069);
}

}  // namespace

std::string safe(std::string_view text, Escape how) {
  std::string out;
  out.reserve(text.size());
  bool blank = false;
  for (std::size_t at = 0; at < text.size();) {
    const char raw = text[at];
    if (how == Escape::Line && (raw == ' ' || raw == '\n' || raw == '\t' || raw == '\r')) {
      blank = !out.empty();
      ++at;
      continue;
    }
    if (blank) out += ' ';
    blank = false;
    const Character c = decode(text, at);
    if (c.bytes == 0) {
      out += "\xEF\xBF\xBD";
      ++at;
      continue;
    }
    if (!drivesTerminal(c.code) || raw == '\n' || raw == '\t') {
      out += text.substr(at, c.bytes);
    } else if (raw != '\r' || at + 1 == text.size() || text[at + 1] != '\n') {  // the CR of a CR LF is left out
      char escaped[16];
      std::snprintf(escaped, sizeof escaped, how == Escape::Xml ? "&#x%X;" : "\\u{%x}", static_cast<unsigned>(c.code));
      out += escaped;
    }
    at += c.bytes;
  }
  return out;
}

std::size_t width(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<std::uint8_t>(c) & 0xC0U) != 0x80; }));
}

}  // namespace qvwscli
