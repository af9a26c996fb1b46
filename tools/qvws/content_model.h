// SPDX-License-Identifier: Apache-2.0
#ifndef QVWSCLI_CONTENT_MODEL_H
#define QVWSCLI_CONTENT_MODEL_H

#include "xml.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace qvwscli {

/// What an XML Schema says of one child of an element.
struct Slot {
  std::string name;         ///< QName text; of a wildcard empty
  xmlNode* type = nullptr;  ///< the type's definition; null for a built-in or unknown one
  bool optional = false;    ///< by itself
  bool many = false;        ///< may occur more than once
  bool wildcard = false;
  std::vector<const xmlNode*> groups;  ///< the groups around it that may be left out as a whole
};

/// Reads from a schema text what the children and attributes of an element may be: no more of XML Schema than that takes. Of what it does not find
/// it says nothing.
///
/// The texts of this project hold one target namespace; the originals of others follow in an xs:appinfo, while the elements of those namespaces are
/// wildcards, and their types copies with the prefix appended to the name. The originals are used, so that nothing is lost.
class ContentModel {
 public:
  /// @param schema  may be empty
  explicit ContentModel(const std::string& schema);

  /// The type of a global element; null when there is none or when it is a built-in one.
  [[nodiscard]] xmlNode* typeOfElement(const std::string& name) const;
  /// A global type.
  [[nodiscard]] xmlNode* type(const std::string& name) const;
  /// The children of a type in order, those of its base first.
  [[nodiscard]] std::vector<Slot> children(xmlNode* type) const;
  /// Whether an attribute (QName text) may be left out; an unknown one may not.
  [[nodiscard]] bool isOptionalAttribute(xmlNode* type, const std::string& name) const;
  /// The slot for a child, at or after `from`, which moves there; null when there is none.
  [[nodiscard]] const Slot* find(const std::vector<Slot>& slots, const std::string& name, std::size_t& from) const;

 private:
  void index(xmlNode* schema);
  [[nodiscard]] xmlNode* global(const char* kind, const std::string& name) const;
  [[nodiscard]] xmlNode* referred(const char* kind, xmlNode* from, const char* attributeName) const;
  [[nodiscard]] xmlNode* typeOf(xmlNode* element) const;
  void addParticle(xmlNode* particle, bool many, std::vector<const xmlNode*> groups, int depth, std::vector<Slot>& to) const;
  void addChildren(xmlNode* type, int depth, std::vector<Slot>& to) const;
  [[nodiscard]] xmlNode* attributeUse(xmlNode* holder, const std::string& name, int depth) const;

  Document document_;
  std::map<std::string, xmlNode*> globals_;         ///< by kind and QName text
  std::map<std::string, std::string> substitutes_;  ///< element -> head of its substitution group
};

}  // namespace qvwscli

#endif
