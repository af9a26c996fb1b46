// SPDX-License-Identifier: Apache-2.0
#ifndef QVP_LOG_PRINTABLE_H
#define QVP_LOG_PRINTABLE_H

#include <string>
#include <string_view>

namespace qvp {

/// Appends a text with everything in it escaped that could drive a terminal, forge a line or turn the reading order: control characters (C0, DEL,
/// C1), line and paragraph separators, bidirectional controls, and bytes that are not UTF-8.
void appendPrintable(std::string_view text, std::string& out);

}  // namespace qvp

#endif
