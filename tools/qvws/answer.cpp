// SPDX-License-Identifier: Apache-2.0
#include "answer.h"

#include "text.h"

#include <string>

namespace qvwscli {

Json responseValues(WebServiceClient& client) {
  Json values = Json::object();
  for (int32_t i = 0; i < client.GetResponseValueCount(); ++i) {
    QvbString name;
    QvbString value;
    for (int32_t k = 0; client.GetResponseValueByIndex(i, k, &name, value); ++k) {
      values[std::string(view(name))].push_back(value.isNull() ? Json() : Json(std::string(view(value))));
    }
  }
  return values;
}

Json faultOf(std::string_view message) {
  Json fault = {{"code", nullptr}, {"subcodes", Json::array()}, {"reason", nullptr}, {"actor", nullptr}, {"role", nullptr}, {"detail", nullptr}};
  constexpr std::pair<std::string_view, const char*> kLines[] = {{"Code: ", "code"},   {"Subcode: ", "subcodes"}, {"Reason: ", "reason"},
                                                                 {"Actor: ", "actor"}, {"Role: ", "role"},        {"Detail: ", "detail"}};
  const char* last = nullptr;
  for (std::size_t at = message.find('\n'); at != std::string_view::npos;) {
    const std::size_t end = message.find('\n', ++at);
    const std::string_view line = message.substr(at, end == std::string_view::npos ? end : end - at);
    const char* member = nullptr;
    for (const auto& [begin, name] : kLines) {
      if (line.substr(0, begin.size()) != begin) continue;
      member = name;
      if (fault[name].is_array()) {
        fault[name].push_back(line.substr(begin.size()));
      } else if (fault[name].is_null()) {
        const bool rest = std::string_view(name) == "detail";
        fault[name] = rest ? message.substr(at + begin.size()) : line.substr(begin.size());
        if (rest) return fault;
      }
      break;
    }
    // A reason may have several lines.
    if (member == nullptr && last != nullptr && fault[last].is_string()) fault[last] = fault[last].get<std::string>() + "\n" + std::string(line);
    if (member != nullptr) last = member;
    at = end;
  }
  return fault;
}

}  // namespace qvwscli
