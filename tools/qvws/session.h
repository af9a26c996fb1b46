// SPDX-License-Identifier: Apache-2.0
#ifndef QVWSCLI_SESSION_H
#define QVWSCLI_SESSION_H

#include <qvws/qvws.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvwscli {

/// Writes a message to standard error, fit for a terminal: "qvws: " and its lines, the later ones indented.
void complain(const std::string& text);

/// A text for the library.
QvbString text(std::string_view bytes);

/// What the command line asks a client to be told.
struct Request {
  std::string wsdl;
  std::vector<std::string> options;     ///< KEY=VALUE
  std::vector<std::string> namespaces;  ///< PREFIX=URI
};

/// Who logs in: a user with a password, or a label of the stored credentials; or nobody.
struct Login {
  QvbString user;
  QvbString password;
  QvbString domain;
  [[nodiscard]] bool isGiven() const { return !user.isNull() || !domain.isNull(); }
};

/// Splits NAME=VALUE; throws Failure, which does not repeat the text, for what has no name may be a secret.
std::pair<std::string_view, std::string_view> split(const std::string& pair, const char* option, const char* form);

/// Refuses a URL with a password in it.
void checkUrl(std::string_view url);

/// A client of the library.
class Client {
 public:
  Client();

  [[nodiscard]] WebServiceClient* operator->() const { return client_.get(); }

  void setOption(const char* name, const QvbString& value);
  /// Tells it what the command line said, options after those that are set already.
  void tell(const Request& request);
  /// Sets the login's options; `prefix` is that of their names.
  void logIn(const Login& login, const std::string& prefix = "WSCP_");

 private:
  struct Release {
    void operator()(WebServiceClient* client) const { client->Release(); }
  };
  std::unique_ptr<WebServiceClient, Release> client_;
};

/// A client and what it discovered, in the order that ending them takes.
class Session {
 public:
  /// Discovers the document that a request names; throws Failure.
  /// @param login  used only when the server of the document refuses to hand it out without
  explicit Session(const Request& request, const Login& login = {});

  [[nodiscard]] WebServiceDiscovery& discovery() const { return *discovery_; }

 private:
  struct ReleaseDiscovery {
    void operator()(WebServiceDiscovery* discovery) const { discovery->release(); }
  };

  void discover(const Request& request, const Login& login);

  std::optional<Client> client_;
  std::unique_ptr<WebServiceDiscovery, ReleaseDiscovery> discovery_;
};

}  // namespace qvwscli

#endif
