// SPDX-License-Identifier: Apache-2.0
#include "wsdl/discovery.h"

#include "error.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace qvx::wsdl {

namespace {

// How many operations of one name are compared with each other: nobody has more, and hostile documents must not cost more than their size.
constexpr std::size_t kCompared = 32;

bool matches(const Name& name, const std::string& wanted) {
  return name.local == wanted || name.text() == wanted;
}

std::string list(const std::vector<std::string>& names) {
  constexpr std::size_t kShown = 50;
  if (names.empty()) return "there is none";
  std::string text = "there are: ";
  for (std::size_t i = 0; i < names.size() && i < kShown; ++i) text += (i == 0 ? "" : ", ") + names[i];
  return names.size() > kShown ? text + ", and " + std::to_string(names.size() - kShown) + " more" : text;
}

bool sameMessages(const Operation& a, const Operation& b) {
  return a.input.present == b.input.present && a.output.present == b.output.present && a.input.message == b.input.message &&
         a.output.message == b.output.message && a.input.name == b.input.name && a.output.name == b.output.name;
}

// A binding's operation may name its messages by the names that WSDL 1.1 section 2.4.5 gives to messages without one.
bool sameUse(std::string_view bound, const MessageUse& use, std::string_view operation, std::string_view suffix) {
  if (bound.empty() || !use.present) return bound.empty();
  if (!use.name.empty()) return bound == use.name;
  return bound.size() == operation.size() + suffix.size() && bound.substr(0, operation.size()) == operation &&
         bound.substr(operation.size()) == suffix;
}

}  // namespace

Discovery::Discovery(std::unique_ptr<Loaded> loaded, const std::string& service, const std::string& port) : loaded_(std::move(loaded)) {
  nameOperations();
  select(service, port);
  warnOfMissingMessages();
}

void Discovery::nameOperations() {
  Model& model = loaded_->model;
  for (PortType& type : model.portTypes) {
    std::vector<Operation> kept;
    kept.reserve(type.operations.size());
    std::unordered_set<std::string_view> plain;
    for (const Operation& operation : type.operations) plain.insert(operation.name);
    std::unordered_map<std::string_view, std::size_t> numbers;
    for (Operation& operation : type.operations) {
      if (operation.name.empty()) {
        model.remarks.push_back(model.where(operation.place) + ": an operation of port type '" + type.name.text() + "' has no name; it is left out");
        continue;
      }
      bool twice = false;
      std::vector<std::size_t>& same = type.byName[operation.name];
      // More than a few signatures of one name are not compared: then each counts.
      for (std::size_t i = 0; i < same.size() && i < kCompared && !twice; ++i) twice = sameMessages(kept[same[i]], operation);
      if (twice) {
        model.remarks.push_back(model.where(operation.place) + ": operation '" + std::string(operation.name) +
                                "' stands twice; the first one counts");
        continue;
      }
      if (!same.empty()) {
        std::string key;
        if (!operation.input.name.empty()) key = std::string(operation.name) + "." + std::string(operation.input.name);
        std::size_t& number = numbers.try_emplace(operation.name, 1).first->second;
        while (key.empty() || type.byKey.count(key) != 0 || plain.count(key) != 0) key = std::string(operation.name) + "." + std::to_string(++number);
        operation.key = model.texts.store(key);
      }
      type.byKey.emplace(operation.key, kept.size());
      same.push_back(kept.size());
      kept.push_back(std::move(operation));
    }
    type.operations = std::move(kept);
  }
}

void Discovery::select(const std::string& wantedService, const std::string& wantedPort) {
  Model& model = loaded_->model;
  for (Service& service : model.services) {
    std::unordered_set<std::string_view> names;
    std::vector<Port> ports;
    ports.reserve(service.ports.size());
    for (Port& port : service.ports) {
      if (port.name.empty()) port.name = model.texts.intern("Port" + std::to_string(ports.size() + 1));
      if (!names.insert(port.name).second) {
        model.remarks.push_back(model.where(port.place) + ": port '" + std::string(port.name) + "' stands twice; the first one counts");
        continue;
      }
      ports.push_back(port);
    }
    service.ports = std::move(ports);
  }

  const bool narrowed = !wantedService.empty() || !wantedPort.empty();
  std::vector<std::string> names;
  for (const Service& service : model.services) {
    names.push_back(service.name.text());
    if (wantedService.empty() || matches(service.name, wantedService)) services_.push_back(&service);
  }
  if (services_.empty() && !wantedService.empty()) {
    throw Error(ErrorCode::UnknownName, model.documents[0] + ": no service '" + wantedService + "' (WSCP_SERVICE); " + list(names));
  }
  if (!wantedPort.empty()) {
    names.clear();
    std::vector<std::string> owners;
    const Service* owner = nullptr;
    for (const Service* service : services_) {
      for (const Port& port : service->ports) {
        names.emplace_back(port.name);
        if (!matches({service->name.ns, port.name}, wantedPort)) continue;
        owners.push_back(service->name.text());
        owner = service;
        onlyPort_ = &port;
      }
    }
    if (owner == nullptr) throw Error(ErrorCode::UnknownName, model.documents[0] + ": no port '" + wantedPort + "' (WSCP_PORT); " + list(names));
    if (owners.size() > 1) {
      throw Error(ErrorCode::UnknownName, model.documents[0] + ": several services have a port '" + wantedPort +
                                              "' (WSCP_PORT); choose one with WSCP_SERVICE, " + list(owners));
    }
    services_ = {owner};
  }

  std::vector<const Binding*> candidates;
  std::unordered_set<const Binding*> used;
  for (const Service* service : services_) {
    for (const Port& port : service->ports) {
      if (port.binding.empty() || (onlyPort_ != nullptr && onlyPort_ != &port)) continue;
      const auto found = model.bindingIndex.find(port.binding);
      if (found == model.bindingIndex.end()) {
        throw Error(ErrorCode::BadReference, model.where(port.place) + ": port '" + std::string(port.name) + "' uses the binding '" +
                                                 port.binding.text() + "', which is defined nowhere; define it, or check the prefix and the imports");
      }
      const Binding* const binding = &model.bindings[found->second];
      if (used.insert(binding).second && narrowed) candidates.push_back(binding);
      if (!port.address.empty()) addresses_.emplace(binding, port.address);
    }
  }
  if (!narrowed) {
    for (const Binding& binding : model.bindings) candidates.push_back(&binding);
  }
  const bool any = std::any_of(candidates.begin(), candidates.end(), [&](const Binding* binding) { return usable(*binding); });
  for (const Binding* binding : candidates) {
    if (any && !usable(*binding)) {
      model.remarks.push_back(model.where(binding->place) + ": binding '" + binding->name.text() +
                              "' and the ports that use it are left out, because only document "
                              "style can be used and it is '" +
                              std::string(styleOf(*binding)) + "'");
      continue;
    }
    bindings_.push_back(binding);
    bindingIndex_.emplace(binding->name, binding);
  }
  std::unordered_set<const PortType*> listed;
  for (const Binding* binding : bindings_) {
    const auto found = model.portTypeIndex.find(binding->type);
    if (found == model.portTypeIndex.end()) {
      if (!usable(*binding)) continue;
      throw Error(ErrorCode::BadReference, model.where(binding->place) + ": binding '" + binding->name.text() + "' is of port type '" +
                                               binding->type.text() + "', which is defined nowhere; define it, or check the prefix and the imports");
    }
    listed.insert(&model.portTypes[found->second]);
  }
  for (const PortType& type : model.portTypes) {
    if (narrowed && listed.count(&type) == 0) continue;
    interfaces_.push_back(&type);
    interfaceIndex_.emplace(type.name, &type);
  }
  for (const Service* service : services_) serviceIndex_.emplace(service->name, service);
}

// An operation can be listed without its messages, but not described: who lists is told, and may never ask for more.
void Discovery::warnOfMissingMessages() {
  constexpr std::size_t kMost = 20;
  Model& model = loaded_->model;
  const auto check = [&](const Operation& operation, const MessageUse& use) {
    if (!use.present || use.message.empty() || model.messageIndex.count(use.message) != 0 || model.warnings.size() > kMost) return;
    model.warnings.push_back(model.warnings.size() == kMost
                                 ? model.documents[0] + ": further messages are defined nowhere"
                                 : model.where(use.place) + ": the message '" + use.message.text() + "' of operation '" +
                                       std::string(operation.name) +
                                       "' is defined nowhere, so the operation cannot be described; define it, or check the "
                                       "prefix and the imports");
  };
  for (const PortType* type : interfaces_) {
    for (const Operation& operation : type->operations) {
      check(operation, operation.input);
      check(operation, operation.output);
      for (const MessageUse& fault : operation.faults) check(operation, fault);
    }
  }
}

const PortType& Discovery::interface(const Name& name) const {
  const auto found = interfaceIndex_.find(name);
  if (found == interfaceIndex_.end()) throw Error(ErrorCode::UnknownName, model().documents[0] + ": no interface '" + name.text() + "'");
  return *found->second;
}

const Binding& Discovery::binding(const Name& name) const {
  const auto found = bindingIndex_.find(name);
  if (found == bindingIndex_.end()) throw Error(ErrorCode::UnknownName, model().documents[0] + ": no binding '" + name.text() + "'");
  return *found->second;
}

const Service& Discovery::service(const Name& name) const {
  const auto found = serviceIndex_.find(name);
  if (found == serviceIndex_.end()) throw Error(ErrorCode::UnknownName, model().documents[0] + ": no service '" + name.text() + "'");
  return *found->second;
}

std::vector<const Port*> Discovery::ports(const Service& service) const {
  std::vector<const Port*> shown;
  for (const Port& port : service.ports) {
    if (onlyPort_ != nullptr && onlyPort_ != &port) continue;
    if (port.binding.empty() || bindingIndex_.count(port.binding) != 0) shown.push_back(&port);
  }
  return shown;
}

const PortType* Discovery::interfaceOf(const Binding& binding) const {
  const auto found = interfaceIndex_.find(binding.type);
  return found == interfaceIndex_.end() ? nullptr : found->second;
}

const PortType* Discovery::interfaceOf(const Service& service) const {
  const PortType* common = nullptr;
  for (const Port* port : ports(service)) {
    if (port->binding.empty()) continue;
    const PortType* const type = interfaceOf(*bindingIndex_.at(port->binding));
    if (type == nullptr || (common != nullptr && common != type)) return nullptr;
    common = type;
  }
  return common;
}

std::string_view Discovery::styleOf(const Binding& binding) const {
  if (binding.protocol == Protocol::Http) return binding.verb.empty() ? std::string_view("HTTP") : binding.verb;
  if (binding.protocol == Protocol::None) return "not SOAP";
  const std::string_view fallback = binding.style.empty() ? std::string_view("document") : binding.style;
  if (binding.operations.empty()) return fallback;
  // An operation's own style wins. One operation of document style makes a binding of use; the others are left out.
  std::string_view other;
  for (const BoundOperation& operation : binding.operations) {
    const std::string_view style = operation.style.empty() ? fallback : operation.style;
    if (style == "document") return style;
    if (other.empty()) other = style;
  }
  return other;
}

const std::vector<Discovery::BoundView>& Discovery::operations(const Binding& binding) {
  const auto [slot, fresh] = matched_.try_emplace(&binding);
  std::vector<BoundView>& views = slot->second;
  if (!fresh) return views;
  Model& model = loaded_->model;
  const PortType* const type = interfaceOf(binding);
  if (type == nullptr) return views;
  const std::string_view fallback = binding.style.empty() ? std::string_view("document") : binding.style;
  std::unordered_set<std::size_t> taken;
  std::unordered_map<std::string_view, std::size_t> firstFree;
  for (const BoundOperation& bound : binding.operations) {
    const auto leave = [&](const std::string& why) {
      model.remarks.push_back(model.where(bound.place) + ": operation '" + std::string(bound.name) + "' of binding '" + binding.name.text() +
                              "' is left out, because " + why);
    };
    const std::string_view style = bound.style.empty() ? fallback : bound.style;
    if (style != "document") {
      leave("its style is '" + std::string(style) + "'");
      continue;
    }
    const auto found = type->byName.find(bound.name);
    if (found == type->byName.end()) {
      leave("port type '" + type->name.text() + "' has no such operation");
      continue;
    }
    const std::vector<std::size_t>& same = found->second;
    std::size_t& first = firstFree[bound.name];
    while (first < same.size() && taken.count(same[first]) != 0) ++first;
    std::optional<std::size_t> best;
    // The first one whose messages have the right names, else the first one.
    for (std::size_t i = first; i < same.size() && i < first + kCompared; ++i) {
      if (taken.count(same[i]) != 0) continue;
      const Operation& operation = type->operations[same[i]];
      const bool fits = sameUse(bound.input.name, operation.input, operation.name, operation.output.present ? "Request" : "") &&
                        sameUse(bound.output.name, operation.output, operation.name, "Response");
      if (!best || fits) best = same[i];
      if (fits) break;
    }
    if (!best) {
      leave("it stands twice; the first one counts");
      continue;
    }
    taken.insert(*best);
    boundAs_[&binding].emplace(&type->operations[*best], &bound);
    views.push_back({&bound, &type->operations[*best]});
  }
  return views;
}

std::string_view Discovery::addressOf(const Binding& binding) const {
  const auto found = addresses_.find(&binding);
  return found == addresses_.end() ? std::string_view() : found->second;
}

const Message* Discovery::message(const MessageUse& use) const {
  const Model& all = loaded_->model;
  if (use.message.empty()) return nullptr;
  const auto found = all.messageIndex.find(use.message);
  if (found == all.messageIndex.end()) {
    throw Error(ErrorCode::BadReference, all.where(use.place) + ": the message '" + use.message.text() +
                                             "' is defined nowhere; define it, or check the prefix and the imports");
  }
  return &all.messages[found->second];
}

std::vector<MessagePart> Discovery::partsOf(const Message& message, const BoundMessage* bound) const {
  std::vector<MessagePart> parts;
  for (const Part& part : message.parts) {
    if (part.reference.empty()) continue;
    if (bound != nullptr) {
      if (bound->parts && std::find(bound->parts->begin(), bound->parts->end(), part.name) == bound->parts->end()) continue;
      // A part that travels in the header is not in the body as well, unless it is listed there.
      const bool header = std::any_of(bound->headers.begin(), bound->headers.end(),
                                      [&](const HeaderUse& use) { return use.message == message.name && use.part == part.name; });
      if (!bound->parts && header) continue;
    }
    parts.push_back({std::string(part.name), part.reference.owned(), part.isType});
  }
  return parts;
}

std::vector<Discovery::Described> Discovery::describe(const Binding& binding, const Name& name) {
  const Model& all = loaded_->model;
  const PortType* const type = interfaceOf(binding);
  if (type == nullptr) return {};
  const auto found = type->byKey.find(name.local);
  if (found == type->byKey.end() || name.ns != type->name.ns) {
    throw Error(ErrorCode::UnknownName, all.documents[0] + ": no operation '" + name.text() + "' in interface '" + type->name.text() + "'");
  }
  const Operation& operation = type->operations[found->second];
  operations(binding);
  const auto& boundOperations = boundAs_[&binding];
  const auto at = boundOperations.find(&operation);
  // What the interface has and the binding does not bind cannot be sent, so there is nothing to describe.
  if (at == boundOperations.end()) return {};
  const BoundOperation& bound = *at->second;
  if (schemas_ == nullptr) schemas_ = std::make_unique<SchemaSet>(loaded_->documents);

  std::vector<Described> described;
  const auto add = [&](const char* kind, const MessageUse& use, const BoundMessage* sides) {
    MessageShape shape;
    shape.version = binding.protocol == Protocol::Soap12 ? SoapVersion::Soap12 : SoapVersion::Soap11;
    shape.isFault = sides == nullptr;
    const Message* const sent = message(use);
    shape.message = sent == nullptr ? QualifiedName{std::string(type->name.ns), std::string(operation.name)} : sent->name.owned();
    if (sent != nullptr) shape.body = partsOf(*sent, sides);
    if (sides != nullptr) {
      for (const HeaderUse& header : sides->headers) {
        const auto defined = all.messageIndex.find(header.message);
        if (defined == all.messageIndex.end()) {
          throw Error(ErrorCode::BadReference, all.where(bound.place) + ": a header of operation '" + std::string(operation.name) +
                                                   "' uses the message '" + header.message.text() +
                                                   "', which is defined nowhere; define it, or check the prefix and the imports");
        }
        for (const Part& part : all.messages[defined->second].parts) {
          if (part.name == header.part && !part.reference.empty())
            shape.headers.push_back({std::string(part.name), part.reference.owned(), part.isType});
        }
      }
    }
    std::string_view documentation = use.documentation;
    if (documentation.empty() && sent != nullptr) documentation = sent->documentation;
    described.push_back({kind, std::string(documentation), describeMessage(shape, *schemas_)});
  };
  if (operation.input.present) add("Input", operation.input, &bound.input);
  if (operation.output.present) add("Output", operation.output, &bound.output);
  for (const MessageUse& fault : operation.faults) add("Fault", fault, nullptr);
  return described;
}

std::vector<std::string> Discovery::takeWarnings() {
  return std::exchange(loaded_->model.warnings, {});
}

std::vector<std::string> Discovery::takeRemarks() {
  return std::exchange(loaded_->model.remarks, {});
}

}  // namespace qvx::wsdl
