// SPDX-License-Identifier: Apache-2.0
#ifndef QVWSCLI_TEXT_H
#define QVWSCLI_TEXT_H

#include <qvb/string.h>

#include <string>
#include <string_view>

namespace qvwscli {

/// The bytes of a text; empty for a null one.
inline std::string_view view(const QvbString& text) {
  return {text.asCstr(), static_cast<std::size_t>(text.length())};
}

enum class Escape {
  Lines,  ///< line breaks and tabs stay
  Line,   ///< one line: runs of white space become one blank
  Xml     ///< as Lines, and what is escaped becomes a character reference, so that XML stays XML
};

/// A text that may come from a network, made fit for a terminal: control characters (C0, DEL, C1) and those that reorder or break lines (Unicode's
/// bidirectional controls, its line and paragraph separators) are written as escapes, bytes that are no UTF-8 as U+FFFD.
std::string safe(std::string_view text, Escape how);

/// Characters of a UTF-8 text, for aligning columns.
std::size_t width(std::string_view text);

}  // namespace qvwscli

#endif
