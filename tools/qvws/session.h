// SPDX-License-Identifier: Apache-2.0
#ifndef QVWSCLI_SESSION_H
#define QVWSCLI_SESSION_H

#include <qvws/qvws.h>

#include <memory>
#include <string>
#include <vector>

namespace qvwscli {

/// Writes a message to standard error, fit for a terminal: "qvws: " and its lines, the later ones indented.
void complain(const std::string& text);

/// What the command line asks a client to be told.
struct Request {
  std::string wsdl;
  std::vector<std::string> options;     ///< KEY=VALUE
  std::vector<std::string> namespaces;  ///< PREFIX=URI
};

/// A client and what it discovered, in the order that ending them takes.
class Session {
 public:
  /// Discovers the document that a request names; throws Failure.
  explicit Session(const Request& request);

  [[nodiscard]] WebServiceDiscovery& discovery() const { return *discovery_; }

 private:
  struct ReleaseClient {
    void operator()(WebServiceClient* client) const { client->Release(); }
  };
  struct ReleaseDiscovery {
    void operator()(WebServiceDiscovery* discovery) const { discovery->release(); }
  };

  std::unique_ptr<WebServiceClient, ReleaseClient> client_;
  std::unique_ptr<WebServiceDiscovery, ReleaseDiscovery> discovery_;
};

}  // namespace qvwscli

#endif
