// SPDX-License-Identifier: Apache-2.0
// A first host: prints the operations of a WSDL document.
#include <qvws/qvws.h>

#include <cstdio>

int main(int argc, char** argv) {
  QvbString err;
  WebServiceClient* client = qvwsCreateWebServiceClient(&err);
  if (client == nullptr) return std::fprintf(stderr, "%s\n", err.asCstr()), 1;

  client->SetOption("WSCP_ADDRESS", argc > 1 ? argv[1] : "examples/wsdl/orders.wsdl", err);
  WebServiceDiscovery* discovery = client->Discover(err);
  if (discovery == nullptr) std::fprintf(stderr, "%s\n", err.asCstr());

  for (int i = 0; discovery != nullptr && i < discovery->getBindingCount(); ++i) {
    WebServiceBinding* binding = discovery->getBindingAt(i, &err);
    for (int k = 0; k < binding->getOperationCount(); ++k) {
      WebServiceOperation* operation = binding->getOperationAt(k, err);
      std::printf("%s at %s\n", operation->getQName().toText().asCstr(), operation->getAddress().asCstr());
    }
  }
  const bool failed = discovery == nullptr;
  if (!failed) discovery->release();
  client->Release();
  return failed ? 1 : 0;
}
