// SPDX-License-Identifier: Apache-2.0
#include "session.h"

#include "exit_code.h"
#include "text.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string_view>
#include <utility>

namespace qvwscli {
namespace {

void require(bool succeeded, const QvbString& err) {
  if (!succeeded) throw Failure(exitCodeOf(view(err)), std::string(view(err)));
}

/// Options that a command line may not carry: passwords, and what has an argument of its own.
void checkOption(std::string_view given, std::string_view value) {
  std::string key(given);
  std::transform(key.begin(), key.end(), key.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  if (key.empty()) throw Failure(ExitCode::Usage, "--option wants KEY=VALUE, and the key is empty");
  if (key == "WSCP_ADDRESS")
    throw Failure(ExitCode::Usage, "WSCP_ADDRESS is not set by --option: it is the argument WSDL, or --address where there is one");
  if (key == "WSCP_PROXY_HOST" && value.find('@') != std::string_view::npos) {
    throw Failure(ExitCode::Usage,
                  "WSCP_PROXY_HOST is a host alone; store user and password in the credentials file: --option WSCP_PROXY_DOMAIN=LABEL");
  }
  const std::size_t password = key.find("PASS");
  if (password == std::string::npos) return;
  throw Failure(ExitCode::Usage,
                std::string(given) +
                    " is refused as an argument: every user of the machine can read argument lists\n"
                    "store the password in the credentials file (~/.config/qvws/credentials.toml, mode 600) under a label of your choice:\n"
                    "[\"LABEL\"]\n"
                    "user = \"...\"\n"
                    "password = \"...\"\n"
                    "and name the label: --option " +
                    key.substr(0, password) + "DOMAIN=LABEL");
}

}  // namespace

QvbString text(std::string_view bytes) {
  return {bytes.data(), static_cast<std::int32_t>(bytes.size())};
}

std::pair<std::string_view, std::string_view> split(const std::string& pair, const char* option, const char* form) {
  const std::size_t at = pair.find('=');
  // The text itself is not repeated: what has no name may be a secret.
  if (at == std::string::npos)
    throw Failure(ExitCode::Usage, std::string(option) + " wants " + form + ", and there is no \"=\" in what it was given");
  const std::string_view whole = pair;
  return {whole.substr(0, at), whole.substr(at + 1)};
}

void checkUrl(std::string_view url) {
  const std::size_t scheme = url.find("://");
  if (scheme == std::string_view::npos) return;
  const std::string_view authority = url.substr(scheme + 3, url.find_first_of("/?#", scheme + 3) - (scheme + 3));
  const std::size_t at = authority.rfind('@');
  if (at != std::string_view::npos && authority.substr(0, at).find(':') != std::string_view::npos) {
    throw Failure(ExitCode::Usage,
                  "the URL has a password in it, which is refused: every user of the machine can read argument lists\n"
                  "store user and password in the credentials file and give their label: --option WSCP_DOMAIN=LABEL");
  }
}

void complain(const std::string& message) {
  std::string out = "qvws: ";
  for (const char c : safe(message, Escape::Lines)) {
    out += c;
    // Only the first line carries the name, so no text from elsewhere can pass for a message of its own.
    if (c == '\n') out += "      ";
  }
  while (out.back() == '\n' || out.back() == ' ') out.pop_back();
  out += '\n';
  // A message that cannot be written has nowhere else to go; the exit code still tells.
  (void)std::fwrite(out.data(), 1, out.size(), stderr);
}

Client::Client() {
  QvbString err;
  client_.reset(qvwsCreateWebServiceClient(&err));
  require(client_ != nullptr, err);
}

void Client::setOption(const char* name, const QvbString& value) {
  QvbString err;
  require(client_->SetOption(name, value, err), err);
}

void Client::tell(const Request& request) {
  QvbString err;
  for (const std::string& option : request.options) {
    const auto [key, value] = split(option, "--option", "KEY=VALUE");
    checkOption(key, value);
    require(client_->SetOption(text(key), text(value), err), err);
  }
  for (const std::string& binding : request.namespaces) {
    const auto [prefix, uri] = split(binding, "--namespace", "PREFIX=URI");
    if (uri.empty()) throw Failure(ExitCode::Usage, "--namespace wants PREFIX=URI, and the URI is empty");
    require(client_->AddNamespace(text(prefix), text(uri), err), err);
  }
}

void Client::logIn(const Login& login, const std::string& prefix) {
  if (!login.user.isNull()) {
    setOption((prefix + "USER").c_str(), login.user);
    setOption((prefix + "PASS").c_str(), login.password);
  }
  if (!login.domain.isNull()) setOption((prefix + "DOMAIN").c_str(), login.domain);
}

Session::Session(const Request& request, const Login& login) {
  if (request.wsdl.empty()) throw Failure(ExitCode::Usage, "the argument WSDL is empty: give a file or a URL");
  checkUrl(request.wsdl);
  try {
    discover(request, {});
  } catch (const Failure& failure) {
    // The login is meant for the service, which may be elsewhere: the description's server gets it only when it asks.
    if (!login.isGiven() || failure.code() != ExitCode::Authentication) throw;
    discover(request, login);
  }
}

void Session::discover(const Request& request, const Login& login) {
  client_.emplace();
  client_->tell(request);
  client_->logIn(login);
  client_->setOption("WSCP_ADDRESS", text(request.wsdl));
  QvbString err;
  discovery_.reset((*client_)->Discover(err));
  require(discovery_ != nullptr, err);
}

}  // namespace qvwscli
