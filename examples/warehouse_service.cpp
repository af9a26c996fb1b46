// SPDX-License-Identifier: Apache-2.0
// A small SOAP 1.1 service on loopback: qvws-warehouse WSDL-FILE. Prints its port on a line, and ends on SIGTERM and SIGINT.
#include <httplib.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xpath.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace {

// What the service does.

/// A request, an answer or a fault's detail: an element of the warehouse's namespace whose children hold text.
struct Element {
  std::string name;
  std::map<std::string, std::string> fields;

  [[nodiscard]] const std::string& text(const std::string& field) const;
  [[nodiscard]] int number(const std::string& field, int most) const;
};

/// What an operation throws when the caller asks for something that cannot be.
struct Fault {
  std::string text;
  Element detail = {};  ///< none when its name is empty
};

const std::string& Element::text(const std::string& field) const {
  const auto found = fields.find(field);
  if (found == fields.end()) throw Fault{"'" + field + "' is missing in '" + name + "'"};
  return found->second;
}

int Element::number(const std::string& field, int most) const {
  const std::string& digits = text(field);
  const bool isNumber = !digits.empty() && digits.size() < 9 && digits.find_first_not_of("0123456789") == std::string::npos;
  if (!isNumber || std::stoi(digits) > most)
    throw Fault{"'" + field + "' wants a number from 0 to " + std::to_string(most) + ", not '" + digits + "'"};
  return std::stoi(digits);
}

/// The operations. Several threads may call at once.
class Warehouse {
 public:
  Element answer(const Element& request) {
    std::unique_lock lock(mutex_);
    if (request.name == "getStock") return amount("getStockResponse", request, pieces(request));
    if (request.name == "receive") return receive(request);
    if (request.name == "reserve") return reserve(request);
    if (request.name == "countAll") return countAll(request, lock);
    throw Fault{"'" + request.name + "' is none of the warehouse's requests"};
  }
  /// Ends the counting that is under way.
  void close() {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    closing_.notify_all();
  }

 private:
  static constexpr int kMostPieces = 1000000;

  static Element amount(const char* name, const Element& request, int pieces) {
    return {name, {{"article", request.text("article")}, {"pieces", std::to_string(pieces)}}};
  }
  int& pieces(const Element& request) {
    const auto found = stock_.find(request.text("article"));
    if (found == stock_.end()) throw Fault{"There is no article '" + request.text("article") + "'"};
    return found->second;
  }
  Element receive(const Element& request) {
    const int more = request.number("pieces", kMostPieces);
    int& there = stock_[request.text("article")];
    if (there > kMostPieces - more) throw Fault{"The warehouse is too small for that"};
    return amount("receiveResponse", request, there += more);
  }
  Element reserve(const Element& request) {
    int& there = pieces(request);
    const int wanted = request.number("pieces", kMostPieces);
    if (wanted > there) throw Fault{"Too few pieces of '" + request.text("article") + "'", amount("notEnough", request, there)};
    return amount("reserveResponse", request, there -= wanted);
  }
  Element countAll(const Element& request, std::unique_lock<std::mutex>& lock) {
    const std::chrono::seconds wait(request.fields.contains("seconds") ? request.number("seconds", 60) : 0);
    closing_.wait_for(lock, wait, [this] { return closed_; });
    long sum = 0;
    for (const auto& [article, pieces] : stock_) sum += pieces;
    return {"countAllResponse", {{"pieces", std::to_string(sum)}}};
  }

  std::mutex mutex_;
  std::condition_variable closing_;
  bool closed_ = false;
  std::map<std::string, int> stock_ = {{"bolt", 1200}, {"lamp", 7}, {"washer", 300}};
};

// How it travels.

const xmlChar* xml(const char* text) {
  return reinterpret_cast<const xmlChar*>(text);
}
const xmlChar* const kSoap = xml("http://schemas.xmlsoap.org/soap/envelope/");
const xmlChar* const kWarehouse = xml("http://example.com/warehouse");

using Document = std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)>;

std::string taken(xmlChar* text) {
  const std::unique_ptr<xmlChar, void (*)(void*)> owner(text, [](void* it) { xmlFree(it); });
  return text == nullptr ? "" : reinterpret_cast<const char*>(text);
}

std::string serialized(const Document& document) {
  xmlChar* text = nullptr;
  int size = 0;
  xmlDocDumpMemoryEnc(document.get(), &text, &size, "UTF-8");
  return taken(text);
}

bool isOf(const xmlNode* node, const xmlChar* ns) {
  return node != nullptr && node->ns != nullptr && xmlStrEqual(node->ns->href, ns) != 0;
}

/// The request in an envelope.
Element read(const std::string& envelope) {
  const Document document(xmlReadMemory(envelope.data(), static_cast<int>(envelope.size()), nullptr, nullptr, XML_PARSE_NONET | XML_PARSE_NOERROR),
                          xmlFreeDoc);
  xmlNode* root = document == nullptr || document->intSubset != nullptr ? nullptr : xmlDocGetRootElement(document.get());  // no DTD in SOAP
  xmlNode* body = isOf(root, kSoap) ? xmlLastElementChild(root) : nullptr;
  xmlNode* payload = isOf(body, kSoap) && xmlStrEqual(body->name, xml("Body")) != 0 ? xmlFirstElementChild(body) : nullptr;
  if (!isOf(payload, kWarehouse)) throw Fault{"This is no SOAP 1.1 envelope with a request to the warehouse"};

  Element request{reinterpret_cast<const char*>(payload->name), {}};
  for (xmlNode* field = xmlFirstElementChild(payload); field != nullptr; field = xmlNextElementSibling(field))
    if (isOf(field, kWarehouse)) request.fields[reinterpret_cast<const char*>(field->name)] = taken(xmlNodeGetContent(field));
  return request;
}

xmlNode* add(xmlNode* parent, const char* name, const char* text = nullptr) {
  xmlNode* node = xmlNewTextChild(parent, nullptr, xml(name), xml(text));
  node->ns = nullptr;  // libxml2 gives it that of its parent
  return node;
}

void add(xmlNode* parent, const Element& element) {
  xmlNode* node = add(parent, element.name.c_str());
  xmlSetNs(node, xmlNewNs(node, kWarehouse, xml("w")));
  for (const auto& [name, value] : element.fields) xmlSetNs(add(node, name.c_str(), value.c_str()), node->ns);
}

void add(xmlNode* parent, const Fault& fault) {
  xmlNode* node = add(parent, "Fault");
  xmlSetNs(node, parent->ns);
  add(node, "faultcode", "soap:Client");
  add(node, "faultstring", fault.text.c_str());
  if (!fault.detail.name.empty()) add(add(node, "detail"), fault.detail);
}

/// The envelope around an answer or a fault.
template <typename Content>
std::string written(const Content& content) {
  const Document document(xmlNewDoc(xml("1.0")), xmlFreeDoc);
  xmlNode* root = xmlNewDocNode(document.get(), nullptr, xml("Envelope"), nullptr);
  xmlDocSetRootElement(document.get(), root);
  xmlSetNs(root, xmlNewNs(root, kSoap, xml("soap")));
  add(xmlNewChild(root, root->ns, xml("Body"), nullptr), content);
  return serialized(document);
}

/// The WSDL document of a file with the address of this service in it; empty when it cannot be had.
std::string wsdlAt(const char* path, const std::string& address) {
  const Document document(xmlReadFile(path, nullptr, XML_PARSE_NONET), xmlFreeDoc);
  if (document == nullptr) return "";
  const std::unique_ptr<xmlXPathContext, decltype(&xmlXPathFreeContext)> context(xmlXPathNewContext(document.get()), xmlXPathFreeContext);
  const std::unique_ptr<xmlXPathObject, decltype(&xmlXPathFreeObject)> found(
      xmlXPathEvalExpression(xml("//*[local-name() = 'port']/*[local-name() = 'address']"), context.get()), xmlXPathFreeObject);
  if (found == nullptr || found->nodesetval == nullptr || found->nodesetval->nodeNr == 0) return "";
  xmlSetProp(found->nodesetval->nodeTab[0], xml("location"), xml(address.c_str()));
  return serialized(document);
}

}  // namespace

int main(int argc, char** argv) {
  // Blocked before there are threads, so that main alone receives them.
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGTERM);
  sigaddset(&ends, SIGINT);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);

  Warehouse warehouse;
  httplib::Server server;
  const int port = server.bind_to_any_port("127.0.0.1");
  const std::string wsdl = argc == 2 && port > 0 ? wsdlAt(argv[1], "http://127.0.0.1:" + std::to_string(port) + "/warehouse") : "";
  if (wsdl.empty()) return std::fprintf(stderr, "usage: qvws-warehouse WSDL-FILE, which has to be a WSDL with a port; and 127.0.0.1 a free one\n"), 2;

  server.set_tcp_nodelay(true);
  server.Get("/warehouse", [&](const httplib::Request& request, httplib::Response& response) {
    if (request.has_param("wsdl")) return response.set_content(wsdl, "text/xml; charset=utf-8");
    response.status = 404;
  });
  server.Post("/warehouse", [&](const httplib::Request& request, httplib::Response& response) {
    std::string envelope;
    try {
      envelope = written(warehouse.answer(read(request.body)));
    } catch (const Fault& fault) {
      envelope = written(fault);
      response.status = 500;  // as SOAP 1.1 section 6.2 wants it
    }
    response.set_content(envelope, "text/xml; charset=utf-8");
  });

  std::thread listener([&] { server.listen_after_bind(); });
  while (!server.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));  // stop() does nothing before
  std::printf("%d\n", port);
  std::fflush(stdout);
  int signal = 0;
  sigwait(&ends, &signal);
  warehouse.close();
  server.stop();
  listener.join();
  return 0;
}
