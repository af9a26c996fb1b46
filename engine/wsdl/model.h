// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_WSDL_MODEL_H
#define QVX_WSDL_MODEL_H

#include "names.h"
#include "xml/text_pool.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace qvx::wsdl {

/// A qualified name whose parts lie in a TextPool.
struct Name {
  std::string_view ns;
  std::string_view local;

  friend bool operator==(const Name&, const Name&) = default;
  [[nodiscard]] bool empty() const noexcept { return local.empty(); }
  [[nodiscard]] QualifiedName owned() const { return {std::string(ns), std::string(local)}; }
  [[nodiscard]] std::string text() const { return owned().text(); }
};

struct NameHash {
  std::size_t operator()(const Name& name) const noexcept {
    const std::hash<std::string_view> hash;
    return hash(name.local) * 31 + hash(name.ns);
  }
};

/// Where something stands.
struct Place {
  std::uint32_t document = 0;
  std::uint32_t line = 0;
};

struct Part {
  std::string_view name;
  Name reference;  ///< the element, or the type; empty when the part names neither
  bool isType = false;
};

struct Message {
  Name name;
  std::string_view documentation;
  std::vector<Part> parts;
  Place place;
};

/// What an operation of a port type says of one message.
struct MessageUse {
  bool present = false;
  std::string_view name;
  Name message;
  std::string_view documentation;
  Place place;
};

struct Operation {
  std::string_view name;
  std::string_view key;  ///< `name`, or what tells an overloaded one from the others
  std::string_view documentation;
  MessageUse input;
  MessageUse output;
  std::vector<MessageUse> faults;
  Place place;
};

struct PortType {
  Name name;
  std::string_view documentation;
  std::vector<Operation> operations;
  std::unordered_map<std::string_view, std::size_t> byKey;
  std::unordered_map<std::string_view, std::vector<std::size_t>> byName;  ///< all that share a name, in document order
  Place place;
};

struct HeaderUse {
  Name message;
  std::string_view part;
};

/// What an operation of a binding says of one message.
struct BoundMessage {
  bool present = false;
  std::string_view name;
  std::optional<std::vector<std::string_view>> parts;  ///< of the body, when listed
  std::vector<HeaderUse> headers;
};

struct BoundOperation {
  std::string_view name;
  std::string_view documentation;
  std::string_view style;  ///< its own; empty when it has none
  std::optional<std::string_view> action;
  BoundMessage input;
  BoundMessage output;
  Place place;
};

enum class Protocol { None, Soap11, Soap12, Http };

struct Binding {
  Name name;
  Name type;
  std::string_view documentation;
  Protocol protocol = Protocol::None;
  std::string_view style;  ///< of the extension element; empty when not given
  std::string_view verb;   ///< of an HTTP binding
  std::vector<BoundOperation> operations;
  Place place;
};

struct Port {
  std::string_view name;
  Name binding;
  std::string_view documentation;
  std::string_view address;
  Place place;
};

struct Service {
  Name name;
  std::string_view documentation;
  std::vector<Port> ports;
  Place place;
};

/// Everything that a WSDL document and its imports define.
struct Model {
  TextPool texts;
  Name name;                           ///< of the first document
  std::string_view targetNamespace;    ///< of the first document
  std::string_view documentation;      ///< of the first document
  std::vector<std::string> documents;  ///< where each lies, for messages
  std::vector<Message> messages;
  std::vector<PortType> portTypes;
  std::vector<Binding> bindings;
  std::vector<Service> services;
  std::unordered_map<Name, std::size_t, NameHash> messageIndex, portTypeIndex, bindingIndex, serviceIndex;
  std::vector<std::string> remarks;   ///< what was left out, for the log
  std::vector<std::string> warnings;  ///< what is listed although it is wrong

  [[nodiscard]] std::string where(const Place& place) const { return documents[place.document] + ", line " + std::to_string(place.line); }
};

}  // namespace qvx::wsdl

#endif
