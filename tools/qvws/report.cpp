// SPDX-License-Identifier: Apache-2.0
#include "report.h"

#include "session.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <tuple>
#include <utility>

namespace qvwscli {
namespace {

constexpr std::size_t kMostPadding = 40;
constexpr std::size_t kMostDocumentation = 100;

Json json(const QvbString& text) {
  return text.isNull() ? Json() : Json(std::string(view(text)));
}
Json json(const QName& name) {
  return json(name.toText());
}

template <typename Object>
Json nameOf(Object* object) {
  return object == nullptr ? Json() : json(object->getQName());
}

/// A binding does not say which interface it is of; its operations do.
Json interfaceOf(WebServiceBinding& binding) {
  QvbString ignored;
  WebServiceOperation* first = binding.getOperationAt(0, ignored);
  return first == nullptr ? Json() : nameOf(first->getInterface());
}

Json endpoint(WebServiceEndpoint& endpoint) {
  return {{"name", json(endpoint.getName())}, {"documentation", json(endpoint.getDocumentation())}, {"binding", nameOf(endpoint.getBinding())}};
}

Json service(WebServiceService& service) {
  Json endpoints = Json::array();
  QvbString ignored;
  for (int32_t i = 0; i < service.getEndpointCount(); ++i) endpoints.push_back(endpoint(*service.getEndpointAt(i, &ignored)));
  return {{"name", json(service.getQName())},
          {"documentation", json(service.getDocumentation())},
          {"interface", nameOf(service.getInterface())},
          {"endpoints", std::move(endpoints)}};
}

Json interface(WebServiceInterface& interface) {
  Json operations = Json::array();
  QvbString ignored;
  for (int32_t i = 0; i < interface.getOperationCount(); ++i) {
    WebServiceOperation* operation = interface.getOperationAt(i, ignored);
    operations.push_back({{"name", json(operation->getQName())}, {"documentation", json(operation->getDocumentation())}});
  }
  return {{"name", json(interface.getQName())}, {"documentation", json(interface.getDocumentation())}, {"operations", std::move(operations)}};
}

Json parameter(WebServiceParameter* parameter) {
  if (parameter == nullptr) return {};
  return {{"name", json(parameter->getQName())},
          {"documentation", json(parameter->getDocumentation())},
          {"schema", json(parameter->getSchema())},
          {"xml", json(parameter->getXML())}};
}

// From here on: text for people, rendered from those objects.

/// A member's text on one line; empty when it is null.
std::string line(const Json& object, const char* member) {
  const auto at = object.find(member);
  return at == object.end() || !at->is_string() ? std::string() : safe(at->get_ref<const std::string&>(), Escape::Line);
}

std::string_view namespaceOf(std::string_view name) {
  return name.substr(0, name.rfind('}') + 1);
}

/// The start of a documentation, after two blanks.
std::string summary(const Json& object) {
  std::string text = line(object, "documentation");
  if (text.empty()) return text;
  std::size_t characters = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if ((static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80 || ++characters <= kMostDocumentation) continue;
    text = text.substr(0, at) + "...";
    break;
  }
  return "  " + text;
}

/// Lines of a name and a remark, the remarks in one column; names lose the namespace they share with their parent.
std::string operationLines(const Json& parent, const char* remark) {
  const std::string parentName = line(parent, "name");
  const std::string_view shared = namespaceOf(parentName);
  std::vector<std::pair<std::string, std::string>> lines;
  std::size_t column = 0;
  for (const Json& operation : parent["operations"]) {
    std::string name = line(operation, "name");
    if (namespaceOf(name) == shared) name.erase(0, shared.size());
    column = std::max(column, std::min(width(name), kMostPadding));
    lines.emplace_back(std::move(name), remark == nullptr ? summary(operation) : "  " + line(operation, remark));
  }
  std::string out;
  for (auto& [name, text] : lines) {
    if (width(name) < column && text.size() > 2) name.append(column - width(name), ' ');
    out += "  " + name + (text.size() > 2 ? text : "") + "\n";
  }
  return out;
}

std::string count(const Json& list, const std::string& one) {
  return std::to_string(list.size()) + " " + one + (list.size() == 1 ? "" : "s");
}

/// The rows of a description: a name, and a value when there is one.
class Rows {
 public:
  Rows(std::string& out, int indent) : out_(out), indent_(static_cast<std::size_t>(indent), ' ') {}

  void add(const std::string& name, const std::string& value) {
    if (!value.empty()) out_ += indent_ + name + std::string(name.size() < kNames ? kNames - name.size() : 1, ' ') + value + "\n";
  }
  void addMember(const Json& object, const char* member) { add(member, line(object, member)); }
  /// All lines of a documentation.
  void documentation(const Json& object) {
    const Json& text = object["documentation"];
    if (!text.is_string()) return;
    std::string lines;
    std::string rest = safe(text.get_ref<const std::string&>(), Escape::Lines);
    while (!rest.empty()) {
      const std::size_t end = rest.find('\n');
      const std::string trimmed = safe(rest.substr(0, end), Escape::Line);
      if (!lines.empty()) lines += "\n" + (trimmed.empty() ? "" : indent_ + std::string(kNames, ' '));
      lines += trimmed;
      rest.erase(0, end == std::string::npos ? end : end + 1);
    }
    add("documentation", lines);
  }

 private:
  static constexpr std::size_t kNames = 15;
  std::string& out_;
  std::string indent_;
};

void describeOperation(std::string& out, int indent, const Json& operation, const Shown& shown) {
  Rows rows(out, indent);
  rows.documentation(operation);
  for (const char* member : {"interface", "binding", "action", "address"}) rows.addMember(operation, member);
  for (const char* direction : {"input", "output"}) {
    const auto parameter = operation.find(direction);
    if (parameter == operation.end()) continue;
    rows.add(direction, parameter->is_object() ? line(*parameter, "name") : "none");
    if (parameter->is_object()) Rows(out, indent + 2).documentation(*parameter);
  }
  // The texts stand by themselves, so that they can be cut out as they are.
  for (const char* direction : {"input", "output"}) {
    const auto parameter = operation.find(direction);
    if (parameter == operation.end() || !parameter->is_object()) continue;
    for (const auto& [member, word, wanted] : {std::tuple("schema", "schema", shown.schema), std::tuple("xml", "sample", shown.sample)}) {
      const Json& text = (*parameter)[member];
      if (!wanted || !text.is_string()) continue;
      out += "\n" + std::string(direction) + " " + word + ":\n" + safe(text.get_ref<const std::string&>(), Escape::Xml);
      if (out.back() != '\n') out += '\n';
    }
  }
}

void describeThing(std::string& out, const std::string& kind, const Json& thing, const Shown& shown) {
  out += kind + " " + line(thing, "name") + "\n";
  if (kind == "operation") return describeOperation(out, 2, thing, shown);
  Rows rows(out, 2);
  rows.documentation(thing);
  for (const char* member : {"service", "interface", "binding"}) rows.addMember(thing, member);
  for (const Json& endpoint : thing.value("endpoints", Json::array())) {
    out += "  endpoint " + line(endpoint, "name") + "\n";
    Rows below(out, 4);
    below.documentation(endpoint);
    below.addMember(endpoint, "binding");
  }
  const auto operations = thing.find("operations");
  if (operations == thing.end()) return;
  for (const Json& operation : *operations) {
    out += "  operation " + line(operation, "name") + "\n";
    describeOperation(out, 4, operation, shown);
  }
}

constexpr std::array<std::pair<const char*, const char*>, 3> kParts = {
    {{"services", "service"}, {"bindings", "binding"}, {"interfaces", "interface"}}};

}  // namespace

void Reader::addParameters(Json& to, WebServiceOperation& operation) {
  if (!parameters_) return;
  for (const auto& [member, get] :
       {std::pair("input", &WebServiceOperation::getInputParameter), std::pair("output", &WebServiceOperation::getOutputParameter)}) {
    QvbString err;
    WebServiceParameter* found = (operation.*get)(err);
    to[member] = parameter(found);
    if (found != nullptr || err.isNull()) continue;
    const std::string text = "the " + std::string(member) + " of " + std::string(view(operation.getQName().toText())) + ": " + std::string(view(err));
    if (!failure_) failure_.emplace(exitCodeOf(view(err)), text);
    complain(text);
  }
}

Json Reader::operation(WebServiceOperation& operation) {
  Json object = {{"name", json(operation.getQName())},
                 {"documentation", json(operation.getDocumentation())},
                 {"action", json(operation.getAction())},
                 {"address", json(operation.getAddress())}};
  addParameters(object, operation);
  return object;
}

Json Reader::binding(WebServiceBinding& binding) {
  Json operations = Json::array();
  QvbString ignored;
  for (int32_t i = 0; i < binding.getOperationCount(); ++i) operations.push_back(operation(*binding.getOperationAt(i, ignored)));
  return {{"name", json(binding.getQName())},
          {"documentation", json(binding.getDocumentation())},
          {"interface", interfaceOf(binding)},
          {"operations", std::move(operations)}};
}

Json Reader::all(const std::string& location) {
  QvbString ignored;
  Json services = Json::array();
  for (int32_t i = 0; i < discovery_.getServiceCount(); ++i) services.push_back(service(*discovery_.getServiceAt(i, &ignored)));
  Json bindings = Json::array();
  for (int32_t i = 0; i < discovery_.getBindingCount(); ++i) bindings.push_back(binding(*discovery_.getBindingAt(i, &ignored)));
  Json interfaces = Json::array();
  for (int32_t i = 0; i < discovery_.getInterfaceCount(); ++i) interfaces.push_back(interface(*discovery_.getInterfaceAt(i, &ignored)));
  return {{"location", location},
          {"version", json(discovery_.getVersion())},
          {"documentation", json(discovery_.getDocumentation())},
          {"services", std::move(services)},
          {"bindings", std::move(bindings)},
          {"interfaces", std::move(interfaces)}};
}

Json Reader::one(const Thing& thing) {
  Json object = {{"kind", thing.kind}};
  if (thing.operation != nullptr) {
    WebServiceOperation& operation = *thing.operation;
    QvbString documentation = operation.getDocumentation();
    // What a binding leaves unsaid its interface may say.
    if (documentation.isNull() && thing.interface != nullptr) {
      WebServiceOperation* own = thing.interface->getOperation(operation.getQName());
      if (own != nullptr) documentation = own->getDocumentation();
    }
    object.update({{"name", json(operation.getQName())},
                   {"documentation", json(documentation)},
                   {"interface", nameOf(thing.interface)},
                   {"binding", nameOf(thing.binding)},
                   {"action", json(operation.getAction())},
                   {"address", json(operation.getAddress())}});
    addParameters(object, operation);
    // Its parents are its interface, if any, and every binding that offers it.
    if (!thing.bindingNamed && thing.parents.size() > (thing.interface == nullptr ? 1U : 2U)) {
      complain("note: several bindings offer this operation, and " + std::string(view(thing.binding->getQName().toText())) +
               " is described; BINDING/" + thing.localName + " names another, --option WSCP_PORT=PORT takes one port's action and address");
    }
  } else if (thing.endpoint != nullptr) {
    object.update(endpoint(*thing.endpoint));
    object["service"] = nameOf(thing.endpoint->getService());
  } else if (thing.service != nullptr) {
    object.update(service(*thing.service));
  } else if (thing.binding != nullptr) {
    object.update(binding(*thing.binding));
  } else {
    object.update(interface(*thing.interface));
  }
  return object;
}

std::string jsonText(const Json& object) {
  return object.dump(2, ' ', true, Json::error_handler_t::replace) + "\n";
}

std::string overview(const Json& all) {
  const std::string version = line(all, "version");
  std::string out = line(all, "location") + ": " + (version.empty() ? "" : "WSDL " + version + ", ") + count(all["services"], "service") + ", " +
                    count(all["bindings"], "binding") + ", " + count(all["interfaces"], "interface") + "\n";
  const std::string documentation = summary(all);
  if (!documentation.empty()) out += documentation + "\n";
  for (const Json& service : all["services"]) {
    out += "\nservice " + line(service, "name") + "\n";
    const std::string text = summary(service);
    if (!text.empty()) out += text + "\n";
    for (const Json& endpoint : service["endpoints"]) {
      const std::string binding = line(endpoint, "binding");
      out += "  endpoint " + line(endpoint, "name") + (binding.empty() ? "" : ", binding " + binding) + "\n";
    }
  }
  for (const Json& binding : all["bindings"]) {
    const std::string interface = line(binding, "interface");
    out += "\nbinding " + line(binding, "name") + (interface.empty() ? "" : ", interface " + interface) + "\n" + operationLines(binding, "action");
  }
  for (const Json& interface : all["interfaces"]) out += "\ninterface " + line(interface, "name") + "\n" + operationLines(interface, nullptr);
  return out;
}

std::string description(const Json& object, const Shown& shown) {
  std::string out;
  const auto kind = object.find("kind");
  if (kind != object.end()) {
    describeThing(out, kind->get<std::string>(), object, shown);
    return out;
  }
  out = "description " + line(object, "location") + "\n";
  Rows rows(out, 2);
  rows.addMember(object, "version");
  rows.documentation(object);
  for (const auto& [part, word] : kParts) {
    for (const Json& thing : object[part]) {
      out += "\n";
      describeThing(out, word, thing, shown);
    }
  }
  return out;
}

}  // namespace qvwscli
