// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_SCHEMA_SCHEMA_TEXT_H
#define QVX_SCHEMA_SCHEMA_TEXT_H

#include <libxml/tree.h>

#include <string>
#include <string_view>

namespace qvx::schema {

inline void appendEscaped(std::string_view text, bool quotes, std::string& out) {
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '\r':
        out += "&#13;";
        break;
      case '"':
        out += quotes ? "&quot;" : "\"";
        break;
      case '\n':
        out += quotes ? "&#10;" : "\n";
        break;
      case '\t':
        out += quotes ? "&#9;" : "\t";
        break;
      default:
        out += c;
    }
  }
}

inline std::string escapedText(std::string_view text) {
  std::string out;
  appendEscaped(text, false, out);
  return out;
}

inline std::string escapedAttribute(std::string_view text) {
  std::string out;
  appendEscaped(text, true, out);
  return out;
}

/// The text as an XML name without a colon: the name of a part need not be one.
inline std::string elementName(std::string_view text) {
  std::string name(text);
  if (xmlValidateNCName(reinterpret_cast<const xmlChar*>(name.c_str()), 0) == 0) return name;
  std::string out = "_";
  for (const char c : name) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '.';
    out += plain ? c : '_';
  }
  return out;
}

}  // namespace qvx::schema

#endif
