// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_WSDL_DISCOVERY_H
#define QVX_WSDL_DISCOVERY_H

#include "soap/sample_message.h"
#include "wsdl/loader.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace qvx::wsdl {

/// What a discovery shows of a loaded WSDL: names told apart, references resolved, what cannot be used left out. Texts that it hands out live as long
/// as it.
class Discovery {
 public:
  struct BoundView {
    const BoundOperation* bound;
    const Operation* operation;
  };
  /// A message of an operation, ready to be described.
  struct Described {
    const char* kind;  ///< "Input", "Output" or "Fault"
    std::string documentation;
    MessageTexts texts;
  };

  /// @param[in] service, port  a QName text or local name to narrow to; empty = all
  /// @throw Error UnknownName, BadReference
  Discovery(std::unique_ptr<Loaded> loaded, const std::string& service, const std::string& port);

  [[nodiscard]] const Model& model() const { return loaded_->model; }
  [[nodiscard]] const std::vector<const PortType*>& interfaces() const { return interfaces_; }
  [[nodiscard]] const std::vector<const Binding*>& bindings() const { return bindings_; }
  [[nodiscard]] const std::vector<const Service*>& services() const { return services_; }

  [[nodiscard]] const PortType& interface(const Name& name) const;
  [[nodiscard]] const Binding& binding(const Name& name) const;
  [[nodiscard]] const Service& service(const Name& name) const;

  /// Ports of the service that are shown.
  [[nodiscard]] std::vector<const Port*> ports(const Service& service) const;
  /// The interface that all of its ports' bindings share; null when they differ or there is none.
  [[nodiscard]] const PortType* interfaceOf(const Service& service) const;
  [[nodiscard]] const PortType* interfaceOf(const Binding& binding) const;
  /// "document", or why the binding cannot be used: another style, or what kind it is.
  [[nodiscard]] std::string_view styleOf(const Binding& binding) const;
  /// Operations that can be used, in document order.
  const std::vector<BoundView>& operations(const Binding& binding);
  /// Address of the first port that uses the binding; empty when there is none.
  [[nodiscard]] std::string_view addressOf(const Binding& binding) const;
  std::vector<Described> describe(const Binding& binding, const Name& operation);

  /// What was left out since the last time, one sentence each.
  std::vector<std::string> takeRemarks();
  std::vector<std::string> takeWarnings();

 private:
  void nameOperations();
  void select(const std::string& service, const std::string& port);
  void warnOfMissingMessages();
  [[nodiscard]] bool usable(const Binding& binding) const { return styleOf(binding) == "document"; }
  [[nodiscard]] const Message* message(const MessageUse& use) const;
  [[nodiscard]] std::vector<MessagePart> partsOf(const Message& message, const BoundMessage* bound) const;

  std::unique_ptr<Loaded> loaded_;
  std::vector<const PortType*> interfaces_;
  std::vector<const Binding*> bindings_;
  std::vector<const Service*> services_;
  std::unordered_map<Name, const PortType*, NameHash> interfaceIndex_;
  std::unordered_map<Name, const Binding*, NameHash> bindingIndex_;
  std::unordered_map<Name, const Service*, NameHash> serviceIndex_;
  std::unordered_map<const Binding*, std::string_view> addresses_;
  std::unordered_map<const Binding*, std::vector<BoundView>> matched_;
  std::unordered_map<const Binding*, std::unordered_map<const Operation*, const BoundOperation*>> boundAs_;
  const Port* onlyPort_ = nullptr;
  std::unique_ptr<SchemaSet> schemas_;
};

}  // namespace qvx::wsdl

#endif
