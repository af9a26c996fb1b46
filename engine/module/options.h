// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_MODULE_OPTIONS_H
#define QVX_MODULE_OPTIONS_H

#include "http/transport.h"
#include "security/username_token.h"
#include "soap/sample_message.h"
#include "xml/sax.h"

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace qvx {

/// What the caller and the configuration file set, converted.
struct Options {
  std::string address;
  std::string service;
  std::string port;
  std::optional<std::string> action;       ///< of a call
  std::optional<SoapVersion> soapVersion;  ///< of a call
  UsernameToken token;                     ///< put into calls when it has a user
  std::string configFile;
  std::string catalog;
  Limits limits;
  TransportOptions transport;
  std::unordered_map<std::string, std::string> others;  ///< kept for whoever knows them
};

/// Sets one option. Unknown names are kept and are no error.
/// @throw Error BadOption naming the option when the value does not convert
void setOption(Options& options, std::string_view name, const std::string& value);

/// True for an option that has a meaning here and may stand in a configuration file.
bool isKnownOption(std::string_view name);

/// The known name that is most like this one; empty when none is.
std::string nearestOption(std::string_view name);

}  // namespace qvx

#endif
