// SPDX-License-Identifier: Apache-2.0
#include "module/options.h"

#include "error.h"
#include "module/nearest.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <system_error>
#include <variant>
#include <vector>

namespace qvx {

namespace {

using TextMember = std::string Options::*;
using OptionalMember = std::optional<std::string> Options::*;
using VersionMember = std::optional<SoapVersion> Options::*;
using TransportText = std::string TransportOptions::*;
using TransportNumber = std::int64_t TransportOptions::*;
using TransportTruth = bool TransportOptions::*;
using TokenText = std::string UsernameToken::*;
using TokenTruth = bool UsernameToken::*;

struct Known {
  std::string_view name;
  std::variant<TextMember, OptionalMember, VersionMember, TransportText, TransportNumber, TransportTruth, TokenText, TokenTruth> target;
  std::int64_t max = 0;  ///< of a number; the least is 0
};

constexpr std::int64_t kMostSeconds = 1'000'000;

constexpr std::array<Known, 29> kKnown{{
    {"WSCP_ADDRESS", &Options::address},
    {"WSCP_ACTION", &Options::action},
    {"WSCP_SOAP_VERSION", &Options::soapVersion},
    {"WSCP_SERVICE", &Options::service},
    {"WSCP_PORT", &Options::port},
    {"WSCP_CONFIG", &Options::configFile},
    {"WSCP_WSDL_CONFIG", &Options::configFile},
    {"HTTP_REQUEST_TIMEOUT", &TransportOptions::requestSeconds, kMostSeconds},
    {"WSCP_CONNECT_TIMEOUT", &TransportOptions::connectSeconds, kMostSeconds},
    {"WSCP_USER", &TransportOptions::user},
    {"WSCP_PASS", &TransportOptions::password},
    {"WSCP_DOMAIN", &TransportOptions::domain},
    {"WSCP_AUTH", &TransportOptions::authentication},
    {"WSCP_PROXY_HOST", &TransportOptions::proxyHost},
    {"WSCP_PROXY_PORT", &TransportOptions::proxyPort, 65535},
    {"WSCP_PROXY_USER", &TransportOptions::proxyUser},
    {"WSCP_PROXY_PASS", &TransportOptions::proxyPassword},
    {"WSCP_PROXY_DOMAIN", &TransportOptions::proxyDomain},
    {"WSCP_NO_PROXY", &TransportOptions::noProxy},
    {"WSCP_TLS_CA_FILE", &TransportOptions::caFile},
    {"WSCP_TLS_CERT_FILE", &TransportOptions::certificateFile},
    {"WSCP_TLS_KEY_FILE", &TransportOptions::keyFile},
    {"WSCP_TLS_INSECURE", &TransportOptions::insecure},
    {"WSCP_REDIRECTS", &TransportOptions::redirects, 50},
    {"WSCP_WS-SECURITY_USER", &UsernameToken::user},
    {"WSCP_WS-SECURITY_PASS", &UsernameToken::password},
    {"WSCP_WS-SECURITY_DOMAIN", &UsernameToken::domain},
    {"WSCP_WS-SECURITY_DIGEST", &UsernameToken::digest},
    {"WSCP_WS-SECURITY_MUST", &UsernameToken::mustUnderstand},
}};

const Known* find(std::string_view name) {
  const auto found = std::find_if(kKnown.begin(), kKnown.end(), [&](const Known& known) { return known.name == name; });
  return found == kKnown.end() ? nullptr : &*found;
}

std::string lowered(std::string_view text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())) != 0) text.remove_prefix(1);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0) text.remove_suffix(1);
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return out;
}

class Setter {
 public:
  Setter(Options& all, const Known& one, const std::string& text) : options(all), known(one), value(text) {}

  void operator()(TextMember member) const { options.*member = value; }
  void operator()(OptionalMember member) const { options.*member = value; }
  void operator()(TokenText member) const { options.token.*member = value; }
  void operator()(VersionMember member) const {
    const std::string version = lowered(value);
    if (version.empty()) {
      options.*member = std::nullopt;
    } else if (version == "1.1" || version == "1.2") {
      options.*member = version == "1.1" ? SoapVersion::Soap11 : SoapVersion::Soap12;
    } else {
      throw Error(ErrorCode::BadOption, "Option 'WSCP_SOAP_VERSION' is '" + value + "'; use 1.1 or 1.2");
    }
  }
  void operator()(TransportText member) const {
    if (known.name != "WSCP_AUTH") {
      options.transport.*member = value;
      return;
    }
    const std::string kind = lowered(value);
    for (const char* const one : {"", "basic", "digest", "ntlm", "negotiate", "any"}) {
      if (kind == one) {
        options.transport.*member = kind;
        return;
      }
    }
    throw Error(ErrorCode::BadOption, "Option 'WSCP_AUTH' is '" + value + "'; use basic, digest, ntlm, negotiate or any");
  }
  void operator()(TransportNumber member) const {
    const std::string text = lowered(value);
    if (text.empty()) return;
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < 0 || number > known.max) {
      throw Error(ErrorCode::BadOption, "Option '" + std::string(known.name) + "' is '" + value + "', but a whole number from 0 to " +
                                            std::to_string(known.max) + " is needed");
    }
    options.transport.*member = number;
  }
  void operator()(TransportTruth member) const { truth(options.transport.*member); }
  void operator()(TokenTruth member) const { truth(options.token.*member); }

 private:
  void truth(bool& target) const {
    const std::string text = lowered(value);
    if (text.empty()) return;
    const bool yes = text == "true" || text == "yes" || text == "1";
    if (!yes && text != "false" && text != "no" && text != "0") {
      throw Error(ErrorCode::BadOption, "Option '" + std::string(known.name) + "' is '" + value + "', but true or false is needed");
    }
    target = yes;
  }

  Options& options;
  const Known& known;
  const std::string& value;
};

}  // namespace

void setOption(Options& options, std::string_view name, const std::string& value) {
  const Known* const known = find(name);
  if (known == nullptr) {
    options.others[std::string(name)] = value;
    return;
  }
  std::visit(Setter(options, *known, value), known->target);
}

bool isKnownOption(std::string_view name) {
  return find(name) != nullptr;
}

std::string nearestOption(std::string_view name) {
  std::vector<std::string_view> names;
  names.reserve(kKnown.size());
  for (const Known& known : kKnown) names.push_back(known.name);
  return nearest(name, names);
}

}  // namespace qvx
