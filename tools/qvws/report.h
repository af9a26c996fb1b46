// SPDX-License-Identifier: Apache-2.0
#ifndef QVWSCLI_REPORT_H
#define QVWSCLI_REPORT_H

#include "exit_code.h"
#include "lookup.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace qvwscli {

using Json = nlohmann::ordered_json;

/// Reads a discovery into the objects that `--json` prints and everything else is rendered from.
class Reader {
 public:
  /// @param parameters  whether to ask for the input and output of every operation that is read
  Reader(WebServiceDiscovery& discovery, bool parameters) : discovery_(discovery), parameters_(parameters) {}

  /// The whole description.
  Json all(const std::string& location);
  /// One thing, with its kind.
  Json one(const Thing& thing);
  /// The first parameter that could not be had; the others are read all the same.
  [[nodiscard]] const std::optional<Failure>& failure() const { return failure_; }

 private:
  Json operation(WebServiceOperation& operation);
  Json binding(WebServiceBinding& binding);
  void addParameters(Json& to, WebServiceOperation& operation);

  WebServiceDiscovery& discovery_;
  bool parameters_;
  std::optional<Failure> failure_;
};

/// The JSON text of an object, in ASCII: everything else is escaped, what is no UTF-8 becomes U+FFFD.
std::string jsonText(const Json& object);

/// A whole description, an overview for people.
std::string overview(const Json& all);

/// Which texts of the parameters a description shows.
struct Shown {
  bool parameters = false;
  bool schema = false;
  bool sample = false;
};

/// A whole description or one thing, in full for people.
std::string description(const Json& object, const Shown& shown);

}  // namespace qvwscli

#endif
