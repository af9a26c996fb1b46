// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_SCHEMA_SCHEMA_TEXT_H
#define QVX_SCHEMA_SCHEMA_TEXT_H

#include "xml/characters.h"

#include <libxml/tree.h>

#include <string>
#include <string_view>

namespace qvx::schema {

inline std::string escapedText(std::string_view text) {
  std::string out;
  appendXmlText(out, text);
  return out;
}

inline std::string escapedAttribute(std::string_view text) {
  std::string out;
  appendXmlAttribute(out, text);
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
