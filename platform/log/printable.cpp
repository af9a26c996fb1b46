// SPDX-License-Identifier: Apache-2.0
#include "log/printable.h"

#include <stdint.h>
#include <stdio.h>

namespace qvp {
namespace {

void appendEscape(const char* format, unsigned value, std::string& out) {
  char escape[16];
  const int length = snprintf(escape, sizeof escape, format, value);
  out.append(escape, static_cast<size_t>(length));
}

/// Length of the UTF-8 character at the front of a text (RFC 3629), or 0 when there is none.
size_t decode(std::string_view text, uint32_t& character) {
  const auto byte = [&text](size_t i) { return static_cast<uint32_t>(static_cast<unsigned char>(text[i])); };
  const uint32_t lead = byte(0);
  const size_t length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if ((lead >= 0x80 && lead < 0xC2) || lead > 0xF4 || text.size() < length) return 0;
  character = length == 1 ? lead : lead & (0x7FU >> length);
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0U) != 0x80) return 0;
    character = (character << 6U) | (byte(i) & 0x3FU);
  }
  if (character < kSmallest[length] || character > 0x10FFFF || (character >= 0xD800 && character <= 0xDFFF)) return 0;
  return length;
}

bool isDangerous(uint32_t character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x061C || (character >= 0x200E && character <= 0x200F) ||
         (character >= 0x2028 && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
}

}  // namespace

void appendPrintable(std::string_view text, std::string& out) {
  while (!text.empty()) {
    uint32_t character = 0;
    const size_t length = decode(text, character);
    if (length == 0) {
      appendEscape("\\x%02x", static_cast<unsigned char>(text.front()), out);
    } else if (!isDangerous(character)) {
      out.append(text.substr(0, length));
    } else if (character == '\n' || character == '\r' || character == '\t') {
      out += character == '\n' ? "\\n" : character == '\r' ? "\\r" : "\\t";
    } else {
      appendEscape(character < 0x80 ? "\\x%02x" : "\\u%04x", character, out);
    }
    text.remove_prefix(length == 0 ? 1 : length);
  }
}

}  // namespace qvp
