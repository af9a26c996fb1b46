// SPDX-License-Identifier: Apache-2.0
// A first call: asks examples/warehouse_service.cpp, at the address given, how many pieces of an article it has.
#include <qvws/qvws.h>

#include <cstdio>

namespace {

constexpr char kRequest[] = "{http://example.com/warehouse}getStock";
constexpr char kAnswer[] = "{http://example.com/warehouse}getStockResponse";

/// A text bound with SetInputParmValue() or SetOutputParmValue(): the client's, who releases it. Null when there is no memory.
WebServiceParmValue* bound(WebServiceClient& client, decltype(&WebServiceClient::SetInputParmValue) bind, const char* name, QvbString& err) {
  WebServiceParmValue* value = qvwsCreateWebServiceParmValue(WSPStyle::String, &err);
  if (value == nullptr || (client.*bind)(name, value, err)) return value;
  value->release();
  return nullptr;
}

bool call(WebServiceClient& client, const char* address, QvbString& err) {
  client.SetOption("WSCP_ADDRESS", address, err);
  client.SetOption("WSCP_ACTION", "http://example.com/warehouse/GetStock", err);

  WebServiceParmValue* input = bound(client, &WebServiceClient::SetInputParmValue, kRequest, err);
  WebServiceParmValue* output = bound(client, &WebServiceClient::SetOutputParmValue, kAnswer, err);
  if (input == nullptr || output == nullptr) return false;
  input->setProperty("wsps.string.value", "<getStock xmlns='http://example.com/warehouse'><article>lamp</article></getStock>", err);
  if (!client.Invoke(nullptr, err)) return false;

  QvbString answer;
  QvbString status;
  output->getProperty("wsps.string.value", answer);
  client.GetResponseValue("HTTP_STATUS", status);
  std::printf("HTTP status %s\n%s\n", status.asCstr(), answer.asCstr());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  QvbString err;
  WebServiceClient* client = argc == 2 ? qvwsCreateWebServiceClient(&err) : nullptr;
  const bool done = client != nullptr && call(*client, argv[1], err);
  if (!done) std::fprintf(stderr, "%s\n", argc == 2 ? err.asCstr() : "usage: first_call ADDRESS");
  if (client != nullptr) client->Release();
  return done ? 0 : 1;
}
