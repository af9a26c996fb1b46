// SPDX-License-Identifier: Apache-2.0
#include "xml/parser_glue.h"

#include "error.h"

#include <mutex>

namespace qvx {

void initialiseParser() {
  static std::once_flag initialised;
  std::call_once(initialised, xmlInitParser);
}

std::string complaintText(const xmlError& error) {
  std::string text = error.message == nullptr ? "not well-formed" : error.message;
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  return text;
}

void checkElementLimits(const Limits& limits, std::size_t depth, std::size_t attributes, std::string_view local, const std::string& where) {
  if (depth > limits.depth) {
    throw Error(ErrorCode::LimitExceeded, where + ": elements are nested deeper than " + std::to_string(limits.depth) +
                                              "; raise limits.depth in the configuration file if the document is right");
  }
  if (attributes > limits.attributes) {
    throw Error(ErrorCode::LimitExceeded, where + ": element '" + std::string(local) + "' has more than " + std::to_string(limits.attributes) +
                                              " attributes; raise limits.attributes in the configuration file if the document is right");
  }
}

}  // namespace qvx
