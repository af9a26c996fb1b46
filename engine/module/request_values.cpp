// SPDX-License-Identifier: Apache-2.0
#include "module/request_values.h"

#include "error.h"
#include "http/header.h"
#include "module/request_rows.h"

#include <algorithm>
#include <utility>

namespace qvx {

namespace {

std::string header(std::string_view name, std::string_view value) {
  // What frames the message is the transport's to say: another length or coding would let one request pass for two.
  const bool framing = sameHeader(name, "Content-Length") || sameHeader(name, "Transfer-Encoding");
  if (framing || !isHeader(name, value)) {
    throw Error(ErrorCode::BadRequest, "The request value '" + std::string(kHeaderPrefix) + std::string(name) +
                                           "' cannot be sent as an HTTP header; " +
                                           (framing ? "the length is told without it" : "use a header's name, and a value without line breaks"));
  }
  return headerLine(name, value);
}

}  // namespace

RequestValues::RequestValues(const QvwlpValue& rows) {
  forRows(rows, "\x0b\x0b", [&](const QvwlpValue* cells) {
    const std::string_view name = text(cells[0]);
    const std::string_view value = text(cells[1]);
    if (name.substr(0, kHeaderPrefix.size()) == kHeaderPrefix) {
      headers_.push_back(header(name.substr(kHeaderPrefix.size()), value));
    } else {
      const auto known = std::find_if(variables_.begin(), variables_.end(), [&](const Variable& one) { return one.name == name; });
      if (known != variables_.end()) {
        known->values.emplace_back(value);
      } else {
        variables_.push_back({std::string(name), {std::string(value)}});
      }
    }
  });
}

std::string RequestValues::fill(const std::string& address) const {
  const UriTemplate parsed(address);
  const auto& names = parsed.variables();
  for (const Variable& variable : variables_) {
    if (std::find(names.begin(), names.end(), variable.name) != names.end()) continue;
    std::string known;
    for (const std::string& name : names) known += (known.empty() ? "" : ", ") + name;
    throw Error(ErrorCode::BadRequest, "The request value '" + variable.name + "' is neither a variable of the address (" +
                                           (known.empty() ? "it has none" : known) + ") nor " + std::string(kHeaderPrefix) + "<Name>");
  }
  return parsed.expand([this](const std::string& name) -> UriTemplate::Value {
    const auto found = std::find_if(variables_.begin(), variables_.end(), [&](const Variable& one) { return one.name == name; });
    if (found == variables_.end()) return {};
    if (found->values.size() == 1) return found->values.front();
    return found->values;
  });
}

}  // namespace qvx
