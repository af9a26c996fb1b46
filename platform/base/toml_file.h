// SPDX-License-Identifier: Apache-2.0
#ifndef QVP_BASE_TOML_FILE_H
#define QVP_BASE_TOML_FILE_H

#include <functional>
#include <string>
#include <string_view>

namespace qvp {

/// A value of a TOML document: its table's name (empty at top level), its key and its text.
using TomlVisitor = std::function<void(std::string_view table, std::string_view key, std::string_view text)>;

/// Reads a TOML document of plain values and one level of tables; other values are passed over. The parsed tree is wiped afterwards.
/// @param[in]  quote  whether an error may tell what stands in the document
/// @param[out] error  on failure what is wrong, with path and line
bool readToml(std::string_view document, const std::string& path, bool quote, const TomlVisitor& visit, std::string& error);

}  // namespace qvp

#endif
