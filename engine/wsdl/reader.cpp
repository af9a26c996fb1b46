// SPDX-License-Identifier: Apache-2.0
#include "wsdl/reader.h"

#include "error.h"

#include <algorithm>
#include <utility>

namespace qvx::wsdl {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

std::string_view trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// What is open, from the root to the current element. `Skip` is whatever is of no concern, with everything in it.
enum class State {
  Skip,
  Definitions,
  Types,
  Schema,
  Documentation,
  Markup,
  Message,
  PortType,
  Operation,
  MessageUse,
  Binding,
  BoundOperation,
  BoundMessage,
  Service,
  Port
};

class Reader final : public SaxReader {
 public:
  Reader(std::uint32_t document, const Limits& limits, Model& model)
      : SaxReader(model.documents[document], limits), document_(document), model_(model) {}

  Contents contents;

 protected:
  void onStart(const SaxElement& element) override {
    if (skipped_ > 0) {
      ++skipped_;
      return;
    }
    const State next = depth() == 1 ? root(element) : child(states_.back(), element);
    if (next == State::Skip) {
      skipped_ = 1;
      return;
    }
    if (const auto base = element.attribute("base", xmlns::kXml)) bases_.emplace_back(depth(), std::string(*base));
    states_.push_back(next);
  }

  void onEnd() override {
    if (skipped_ > 0) {
      --skipped_;
      return;
    }
    if (!bases_.empty() && bases_.back().first == depth()) bases_.pop_back();
    const State state = states_.back();
    states_.pop_back();
    if (state == State::Documentation) {
      if (documentation_->empty()) *documentation_ = model_.texts.store(trim(text_));
    } else if (state == State::PortType) {
      if (keep_) finish(portType_, model_.portTypes, model_.portTypeIndex, "port type");
    } else if (state == State::Message) {
      if (keep_) finish(message_, model_.messages, model_.messageIndex, "message");
    } else if (state == State::Binding) {
      if (keep_) finish(binding_, model_.bindings, model_.bindingIndex, "binding");
    } else if (state == State::Service) {
      if (keep_) finish(service_, model_.services, model_.serviceIndex, "service");
    }
  }

  void onText(std::string_view text) override {
    // Documentation may hold markup; its texts count.
    if (!states_.empty() && (states_.back() == State::Documentation || states_.back() == State::Markup)) text_ += text;
  }

 private:
  State root(const SaxElement& element) {
    if (element.is(xmlns::kWsdl, "definitions")) {
      target_ = text(element, "targetNamespace");
      if (document_ == 0) {
        model_.name = {target_, text(element, "name")};
        model_.targetNamespace = target_;
      }
      return State::Definitions;
    }
    if (element.is(xmlns::kSchema, "schema") && document_ != 0) {
      contents.isSchema = contents.holdsSchemas = true;
      return State::Schema;
    }
    const std::string name = (element.ns().empty() ? "" : "{" + std::string(element.ns()) + "}") + std::string(element.local());
    if (element.local() == "description" && element.ns().find("wsdl") != std::string_view::npos) {
      throw Error(ErrorCode::UnsupportedVersion,
                  where() + ": the root element is '" + name + "': WSDL 2.0 is not read; ask the service's owner for its WSDL 1.1");
    }
    if (element.local() == "definitions" && element.ns().find("wsdl") != std::string_view::npos) {
      throw Error(ErrorCode::UnsupportedVersion,
                  where() + ": the root element is '" + name + "': only WSDL 1.1 (" + std::string(xmlns::kWsdl) + ") is read");
    }
    if (document_ != 0) {
      contents.isSchema = true;
      if (element.ns() != xmlns::kWsdl)
        model_.remarks.push_back(where() + ": the root element is '" + name + "', neither a WSDL nor a schema; it is passed over");
      return State::Skip;
    }
    std::string hint = "give the address of a WSDL 1.1 document, whose root is 'definitions'";
    if (element.local() == "html" || element.local() == "HTML") hint = "this is a web page: " + hint + "; for many services it ends in ?wsdl";
    if (element.is(xmlns::kSchema, "schema")) hint = "this is an XML Schema: " + hint;
    if (element.local() == "Envelope") hint = "this is a SOAP message: " + hint;
    throw Error(ErrorCode::NotWsdl, where() + ": the root element is '" + name + "', so this is no WSDL document; " + hint);
  }

  State child(State parent, const SaxElement& element) {
    const std::string_view local = element.local();
    const bool wsdl = element.ns() == xmlns::kWsdl;
    switch (parent) {
      case State::Definitions:
        return wsdl ? definition(element) : State::Skip;
      case State::Types:
        if (!element.is(xmlns::kSchema, "schema")) return State::Skip;
        contents.holdsSchemas = true;
        return State::Schema;
      case State::Schema:
        if (element.ns() != xmlns::kSchema || (local != "import" && local != "include" && local != "redefine")) return State::Skip;
        refer(element, "schemaLocation", "xs:");
        return State::Skip;
      case State::Message:
        if (wsdl && local == "part") {
          Part part;
          part.name = text(element, "name");
          if (const auto named = element.attribute("element")) {
            part.reference = qname(*named, element, "element");
          } else if (const auto typed = element.attribute("type")) {
            part.reference = qname(*typed, element, "type");
            part.isType = true;
          }
          message_.parts.push_back(part);
          return State::Skip;
        }
        return document(element, message_.documentation);
      case State::PortType:
        if (wsdl && local == "operation") {
          Operation operation;
          operation.name = operation.key = model_.texts.intern(trim(element.attribute("name").value_or("")));
          operation.place = here();
          portType_.operations.push_back(operation);
          return State::Operation;
        }
        return document(element, portType_.documentation);
      case State::Operation:
        return operationChild(element, portType_.operations.back());
      case State::MessageUse:
        return document(element, use_->documentation);
      case State::Binding:
        return bindingChild(element);
      case State::BoundOperation:
        return boundOperationChild(element, binding_.operations.back());
      case State::BoundMessage:
        return boundMessageChild(element);
      case State::Service:
        if (wsdl && local == "port") {
          Port port;
          port.name = model_.texts.intern(trim(element.attribute("name").value_or("")));
          if (const auto named = element.attribute("binding")) port.binding = qname(*named, element, "binding");
          port.place = here();
          service_.ports.push_back(port);
          return State::Port;
        }
        return document(element, service_.documentation);
      case State::Port: {
        Port& port = service_.ports.back();
        if (local == "address" && protocolOf(element) != Protocol::None) {
          if (port.address.empty()) port.address = model_.texts.intern(trim(element.attribute("location").value_or("")));
          return State::Skip;
        }
        return document(element, port.documentation);
      }
      case State::Documentation:
      case State::Markup:
        return State::Markup;
      case State::Skip:
        break;
    }
    return State::Skip;
  }

  State definition(const SaxElement& element) {
    const std::string_view local = element.local();
    keep_ = true;
    if (local == "types") return State::Types;
    if (local == "import") {
      refer(element, "location", "wsdl:");
      return State::Skip;
    }
    if (local == "documentation") {
      if (document_ != 0) return State::Skip;
      return document(element, model_.documentation);
    }
    if (local == "message") {
      message_ = Message{named(element, "message"), {}, {}, here()};
      return State::Message;
    }
    if (local == "portType") {
      portType_ = PortType{};
      portType_.name = named(element, "portType");
      portType_.place = here();
      return State::PortType;
    }
    if (local == "binding") {
      binding_ = Binding{};
      binding_.name = named(element, "binding");
      binding_.place = here();
      if (const auto type = element.attribute("type")) binding_.type = qname(*type, element, "type");
      return State::Binding;
    }
    if (local == "service") {
      service_ = Service{};
      // A service can do without a name of its own: nothing refers to it.
      service_.name = {target_, text(element, "name")};
      if (service_.name.local.empty()) service_.name.local = model_.name.local.empty() ? model_.texts.intern("Service") : model_.name.local;
      service_.place = here();
      return State::Service;
    }
    return State::Skip;
  }

  State operationChild(const SaxElement& element, Operation& operation) {
    if (element.ns() == xmlns::kWsdl) {
      const std::string_view local = element.local();
      use_ = nullptr;
      if (local == "input") use_ = &operation.input;
      if (local == "output") use_ = &operation.output;
      if (local == "fault") use_ = &operation.faults.emplace_back();
      if (use_ != nullptr && use_->present) {
        remark("operation '" + std::string(operation.name) + "' has more than one " + std::string(local) + "; the first one counts");
        return State::Skip;
      }
      if (use_ != nullptr) {
        use_->present = true;
        use_->name = text(element, "name");
        use_->place = here();
        if (const auto message = element.attribute("message")) use_->message = qname(*message, element, "message");
        return State::MessageUse;
      }
    }
    return document(element, operation.documentation);
  }

  State bindingChild(const SaxElement& element) {
    if (element.is(xmlns::kWsdl, "operation")) {
      BoundOperation operation;
      operation.name = model_.texts.intern(trim(element.attribute("name").value_or("")));
      operation.place = here();
      binding_.operations.push_back(operation);
      return State::BoundOperation;
    }
    if (element.local() == "binding" && protocolOf(element) != Protocol::None) {
      if (binding_.protocol == Protocol::None) {
        binding_.protocol = protocolOf(element);
        binding_.style = text(element, "style");
        binding_.verb = text(element, "verb");
      }
      return State::Skip;
    }
    return document(element, binding_.documentation);
  }

  State boundOperationChild(const SaxElement& element, BoundOperation& operation) {
    if (element.ns() == xmlns::kWsdl && (element.local() == "input" || element.local() == "output")) {
      bound_ = element.local() == "input" ? &operation.input : &operation.output;
      if (bound_->present) return State::Skip;
      bound_->present = true;
      bound_->name = text(element, "name");
      return State::BoundMessage;
    }
    if (element.local() == "operation" && (element.ns() == xmlns::kWsdlSoap11 || element.ns() == xmlns::kWsdlSoap12)) {
      if (const auto action = element.attribute("soapAction")) operation.action = model_.texts.store(trim(*action));
      if (operation.style.empty()) operation.style = text(element, "style");
      return State::Skip;
    }
    return document(element, operation.documentation);
  }

  // soap:body and soap:header lie in the message itself, or in the parts of a mime:multipartRelated.
  State boundMessageChild(const SaxElement& element) {
    if (element.ns() == xmlns::kWsdlMime && (element.local() == "multipartRelated" || element.local() == "part")) return State::BoundMessage;
    if (element.ns() != xmlns::kWsdlSoap11 && element.ns() != xmlns::kWsdlSoap12) return State::Skip;
    if (element.local() == "body") {
      if (const auto parts = element.attribute("parts")) {
        std::vector<std::string_view> names;
        for (std::string_view rest = trim(*parts); !rest.empty();) {
          const std::size_t end = std::min(rest.find_first_of(kBlanks), rest.size());
          names.push_back(model_.texts.intern(rest.substr(0, end)));
          rest = trim(rest.substr(end));
        }
        if (!bound_->parts) bound_->parts = std::move(names);
      }
    } else if (element.local() == "header") {
      if (const auto message = element.attribute("message")) bound_->headers.push_back({qname(*message, element, "message"), text(element, "part")});
    }
    return State::Skip;
  }

  State document(const SaxElement& element, std::string_view& target) {
    if (!element.is(xmlns::kWsdl, "documentation")) return State::Skip;
    documentation_ = &target;
    text_.clear();
    return State::Documentation;
  }

  Name named(const SaxElement& element, const char* what) {
    const std::string_view local = text(element, "name");
    if (local.empty()) {
      keep_ = false;
      remark(std::string("a ") + what + " has no name, so nothing can refer to it; it is left out");
    }
    return {target_, local};
  }

  template <typename Item>
  void finish(Item& item, std::vector<Item>& items, std::unordered_map<Name, std::size_t, NameHash>& index, const char* what) {
    if (!index.emplace(item.name, items.size()).second) {
      remark(std::string(what) + " '" + item.name.text() + "' stands twice; the first one counts");
      return;
    }
    items.push_back(std::move(item));
  }

  void refer(const SaxElement& element, const char* attribute, const char* prefix) {
    const auto location = element.attribute(attribute);
    if (!location || trim(*location).empty()) return;
    Reference reference;
    reference.location = std::string(*location);
    for (const auto& [depth, base] : bases_) reference.base += (reference.base.empty() ? "" : "\n") + base;
    if (const auto own = element.attribute("base", xmlns::kXml)) reference.base += (reference.base.empty() ? "" : "\n") + std::string(*own);
    reference.ns = std::string(element.attribute("namespace").value_or(""));
    reference.element = prefix + std::string(element.local());
    reference.line = line();
    contents.references.push_back(std::move(reference));
  }

  static Protocol protocolOf(const SaxElement& element) {
    if (element.ns() == xmlns::kWsdlSoap11) return Protocol::Soap11;
    if (element.ns() == xmlns::kWsdlSoap12) return Protocol::Soap12;
    return element.ns() == xmlns::kWsdlHttp ? Protocol::Http : Protocol::None;
  }

  std::string_view text(const SaxElement& element, std::string_view attribute) {
    return model_.texts.intern(trim(element.attribute(attribute).value_or("")));
  }

  Name qname(std::string_view value, const SaxElement& element, const char* attribute) {
    value = trim(value);
    const std::size_t colon = value.find(':');
    const std::string_view prefix = colon == std::string_view::npos ? std::string_view() : value.substr(0, colon);
    const auto ns = lookup(prefix);
    if (!ns) {
      throw Error(ErrorCode::BadReference, where() + ": attribute '" + attribute + "' of element '" + std::string(element.local()) + "' is '" +
                                               std::string(value) + "', but the prefix '" + std::string(prefix) +
                                               "' is not declared; declare it with xmlns:" + std::string(prefix));
    }
    return {model_.texts.intern(*ns), model_.texts.intern(colon == std::string_view::npos ? value : value.substr(colon + 1))};
  }

  Place here() const { return {document_, line()}; }
  void remark(const std::string& text) { model_.remarks.push_back(where() + ": " + text); }

  std::uint32_t document_;
  Model& model_;
  std::string_view target_;
  std::vector<State> states_;
  std::size_t skipped_ = 0;  ///< open elements that are of no concern
  std::vector<std::pair<std::size_t, std::string>> bases_;
  bool keep_ = true;
  Message message_;
  PortType portType_;
  Binding binding_;
  Service service_;
  MessageUse* use_ = nullptr;
  BoundMessage* bound_ = nullptr;
  std::string_view* documentation_ = nullptr;
  std::string text_;
};

}  // namespace

Contents readDocument(std::string_view bytes, const std::string& encoding, std::uint32_t document, const Limits& limits, Model& model) {
  Reader reader(document, limits, model);
  reader.read(bytes, encoding);
  return std::move(reader.contents);
}

}  // namespace qvx::wsdl
