// SPDX-License-Identifier: Apache-2.0
#include "module/config_file.h"

#include "error.h"
#include "http/header.h"
#include "module/nearest.h"

#include <toml++/toml.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

namespace qvx {

namespace {

class ConfigReader {
 public:
  ConfigReader(std::string path, Options& options) : path_(std::move(path)), options_(options) {}

  void read() {
    toml::table table;
    try {
      table = toml::parse_file(path_);
    } catch (const toml::parse_error& error) {
      const auto line = error.source().begin.line;
      throw Error(ErrorCode::BadConfig, path_ + (line > 0 ? ", line " + std::to_string(line) : std::string()) +
                                            ": the configuration file cannot be used (" + std::string(error.description()) +
                                            "); correct it, or name another one");
    }
    for (const auto& [key, node] : table) {
      const std::string_view name = key.str();
      if (name == "catalog") {
        // Relative to the file that says so.
        options_.catalog = (std::filesystem::path(path_).parent_path() / text(name, node)).string();
      } else if (name == "limits") {
        limits(section(name, node));
      } else if (name == "headers") {
        headers(section(name, node));
      } else if (name == "options") {
        settings(section(name, node));
      } else {
        unknown(name, key, nearest(name, {"catalog", "limits", "headers", "options"}));
      }
    }
  }

 private:
  [[nodiscard]] std::string where(const toml::source_region& source) const { return path_ + ", line " + std::to_string(source.begin.line); }

  [[noreturn]] void unknown(std::string_view name, const toml::key& key, const std::string& near) const {
    throw Error(ErrorCode::BadConfig, where(key.source()) + ": the key '" + std::string(name) + "' is unknown" +
                                          (near.empty() ? "; remove it" : "; is '" + near + "' meant?"));
  }
  [[noreturn]] void mistyped(std::string_view name, const toml::node& node, const char* needed) const {
    throw Error(ErrorCode::BadConfig, where(node.source()) + ": the key '" + std::string(name) + "' needs " + needed);
  }
  [[nodiscard]] std::string text(std::string_view name, const toml::node& node) const {
    const auto value = node.value_exact<std::string>();
    if (!value) mistyped(name, node, "a string");
    return *value;
  }
  [[nodiscard]] const toml::table& section(std::string_view name, const toml::node& node) const {
    if (!node.is_table()) mistyped(name, node, "a table");
    return *node.as_table();
  }

  void limits(const toml::table& table) {
    for (const auto& [key, node] : table) {
      const std::string_view name = key.str();
      std::size_t* target = nullptr;
      if (name == "document_bytes") target = &options_.limits.documentBytes;
      if (name == "total_bytes") target = &options_.limits.totalBytes;
      if (name == "depth") target = &options_.limits.depth;
      if (name == "attributes") target = &options_.limits.attributes;
      if (name == "documents") target = &options_.limits.documents;
      if (name == "reply_bytes") target = &options_.limits.replyBytes;
      if (target == nullptr) unknown(name, key, nearest(name, {"document_bytes", "total_bytes", "depth", "attributes", "documents", "reply_bytes"}));
      const auto value = node.value_exact<std::int64_t>();
      if (!value || *value < 1 || *value > std::numeric_limits<std::int32_t>::max()) mistyped(name, node, "a whole number from 1 to 2147483647");
      *target = static_cast<std::size_t>(*value);
    }
  }

  void headers(const toml::table& table) {
    for (const auto& [key, node] : table) {
      const std::string name(key.str());
      const std::string value = text(name, node);
      if (!isHeader(name, value)) mistyped(name, node, "a header's name and a value without line breaks");
      options_.transport.headers.push_back(headerLine(name, value));
    }
  }

  void settings(const toml::table& table) {
    for (const auto& [key, node] : table) {
      const std::string_view name = key.str();
      const bool elsewhere = name == "WSCP_ADDRESS" || name == "WSCP_CONFIG" || name == "WSCP_WSDL_CONFIG";
      if (!isKnownOption(name) || elsewhere) unknown(name, key, elsewhere ? std::string() : nearestOption(name));
      std::string value;
      if (node.is_string()) {
        value = text(name, node);
      } else if (const auto number = node.value_exact<std::int64_t>()) {
        value = std::to_string(*number);
      } else if (const auto truth = node.value_exact<bool>()) {
        value = *truth ? "true" : "false";
      } else {
        mistyped(name, node, "a string, a whole number or a truth value");
      }
      try {
        setOption(options_, name, value);
      } catch (const Error& error) {
        throw Error(ErrorCode::BadConfig, where(node.source()) + ": " + error.what());
      }
    }
  }

  std::string path_;
  Options& options_;
};

}  // namespace

void readConfigFile(const std::string& path, Options& options) {
  ConfigReader(path, options).read();
}

}  // namespace qvx
