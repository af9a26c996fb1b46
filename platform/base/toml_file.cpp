// SPDX-License-Identifier: Apache-2.0
#include "base/toml_file.h"

#include <charconv>

#define TOML_HEADER_ONLY 1
#include "base/wipe.h"

#include <toml++/toml.h>

namespace qvp {
namespace {

void visitValue(std::string_view table, std::string_view key, toml::node& node, const TomlVisitor& visit) {
  if (auto* text = node.as_string()) {
    visit(table, key, text->get());
    wipe(text->get());
  } else if (const auto* truth = node.as_boolean()) {
    visit(table, key, truth->get() ? "true" : "false");
  } else if (const auto* integer = node.as_integer()) {
    visit(table, key, std::to_string(integer->get()));
  } else if (const auto* number = node.as_floating_point()) {
    char digits[64];
    const auto end = std::to_chars(digits, digits + sizeof digits, number->get()).ptr;
    visit(table, key, std::string_view(digits, static_cast<size_t>(end - digits)));
  }
}

}  // namespace

bool readToml(std::string_view document, const std::string& path, bool quote, const TomlVisitor& visit, std::string& error) {
  try {
    toml::table root = toml::parse(document);
    for (auto&& [key, node] : root) {
      if (auto* table = node.as_table()) {
        for (auto&& [inner, value] : *table) visitValue(key.str(), inner.str(), value, visit);
      } else {
        visitValue({}, key.str(), node, visit);
      }
    }
    return true;
  } catch (const toml::parse_error& problem) {
    const auto& at = problem.source().begin;
    error = path + ", line " + std::to_string(at.line) + ", column " + std::to_string(at.column) + ": ";
    error += quote ? problem.description() : std::string_view("not valid TOML");
    return false;
  }
}

}  // namespace qvp
