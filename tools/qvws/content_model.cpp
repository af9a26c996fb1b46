// SPDX-License-Identifier: Apache-2.0
#include "content_model.h"

namespace qvwscli {
namespace {

constexpr std::string_view kSchema = "http://www.w3.org/2001/XMLSchema";
constexpr int kMostDepth = 50;  // of groups and bases within each other

bool is(const xmlNode* node, std::string_view name) {
  return localName(node) == name && namespaceOf(node) == kSchema;
}

xmlNode* schemaOf(xmlNode* node) {
  while (node != nullptr && !is(node, "schema")) node = node->parent;
  return node;
}

/// The QName text of what a QName in the schema means there.
std::string resolved(xmlNode* at, const std::string& name) {
  if (name.empty()) return {};
  const std::size_t colon = name.find(':');
  const std::string prefix = colon == std::string::npos ? std::string() : name.substr(0, colon);
  const xmlNs* ns = xmlSearchNs(at->doc, at, prefix.empty() ? nullptr : reinterpret_cast<const xmlChar*>(prefix.c_str()));
  const std::string_view uri = ns == nullptr || ns->href == nullptr ? "" : reinterpret_cast<const char*>(ns->href);
  return qualifiedName(uri, colon == std::string::npos ? name : name.substr(colon + 1));
}

/// The name of a local declaration: in the target namespace when its form says so (XML Schema part 1 section 3.3.2).
std::string localDeclaration(xmlNode* node, const char* formDefault) {
  xmlNode* schema = schemaOf(node);
  std::string form = attribute(node, "form");
  if (form.empty() && schema != nullptr) form = attribute(schema, formDefault);
  return qualifiedName(form == "qualified" && schema != nullptr ? attribute(schema, "targetNamespace") : std::string(), attribute(node, "name"));
}

bool isMany(xmlNode* particle) {
  const std::string most = attribute(particle, "maxOccurs");
  return !most.empty() && most != "0" && most != "1";
}

}  // namespace

ContentModel::ContentModel(const std::string& schema) {
  if (schema.empty()) return;
  document_ = parse(schema, "the schema of the input");
  index(xmlDocGetRootElement(document_.get()));
}

void ContentModel::index(xmlNode* schema) {
  const std::string ns = attribute(schema, "targetNamespace");
  for (xmlNode* child = firstElement(schema); child != nullptr; child = nextElement(child)) {
    const std::string name = qualifiedName(ns, attribute(child, "name"));
    const std::string_view kind = is(child, "complexType") || is(child, "simpleType") ? "type" : localName(child);
    globals_.try_emplace(std::string(kind) + " " + name, child);
    const std::string head = attribute(child, "substitutionGroup");
    if (!head.empty()) substitutes_.try_emplace(name, resolved(child, head));
    if (!is(child, "annotation")) continue;
    for (xmlNode* info = firstElement(child); info != nullptr; info = nextElement(info)) {
      for (xmlNode* original = is(info, "appinfo") ? firstElement(info) : nullptr; original != nullptr; original = nextElement(original)) {
        if (is(original, "schema")) index(original);
      }
    }
  }
}

xmlNode* ContentModel::global(const char* kind, const std::string& name) const {
  const auto found = globals_.find(std::string(kind) + " " + name);
  return found == globals_.end() ? nullptr : found->second;
}

xmlNode* ContentModel::referred(const char* kind, xmlNode* from, const char* attributeName) const {
  return global(kind, resolved(from, attribute(from, attributeName)));
}

xmlNode* ContentModel::type(const std::string& name) const {
  xmlNode* found = global("type", name);
  const std::size_t mark = name.rfind('_');
  if (found == nullptr || mark == std::string::npos || schemaOf(found) != xmlDocGetRootElement(document_.get())) return found;
  // It may be the copy of a type of another namespace: its original says more.
  const std::size_t local = name.rfind('}') + 1;
  if (mark < local) return found;
  xmlNode* original = global("type", resolved(found, name.substr(mark + 1) + ":" + name.substr(local, mark - local)));
  return original == nullptr ? found : original;
}

xmlNode* ContentModel::typeOf(xmlNode* element) const {
  if (element == nullptr) return nullptr;
  if (!attribute(element, "ref").empty()) return typeOf(referred("element", element, "ref"));
  for (xmlNode* child = firstElement(element); child != nullptr; child = nextElement(child)) {
    if (is(child, "complexType") || is(child, "simpleType")) return child;
  }
  return type(resolved(element, attribute(element, "type")));
}

xmlNode* ContentModel::typeOfElement(const std::string& name) const {
  return typeOf(global("element", name));
}

void ContentModel::addParticle(xmlNode* particle, bool many, std::vector<const xmlNode*> groups, int depth, std::vector<Slot>& to) const {
  if (depth > kMostDepth) return;
  const bool optional = attribute(particle, "minOccurs") == "0";
  many = many || isMany(particle);
  if (is(particle, "element")) {
    const std::string ref = attribute(particle, "ref");
    to.push_back({ref.empty() ? localDeclaration(particle, "elementFormDefault") : resolved(particle, ref), typeOf(particle), optional, many, false,
                  std::move(groups)});
  } else if (is(particle, "any")) {
    to.push_back({{}, nullptr, optional, many, true, std::move(groups)});
  } else if (is(particle, "sequence") || is(particle, "choice") || is(particle, "all")) {
    if (optional) groups.push_back(particle);
    for (xmlNode* child = firstElement(particle); child != nullptr; child = nextElement(child)) addParticle(child, many, groups, depth + 1, to);
  } else if (is(particle, "group")) {
    if (optional) groups.push_back(particle);
    xmlNode* group = referred("group", particle, "ref");
    for (xmlNode* child = firstElement(group); child != nullptr; child = nextElement(child)) addParticle(child, many, groups, depth + 1, to);
  }
}

void ContentModel::addChildren(xmlNode* type, int depth, std::vector<Slot>& to) const {
  if (type == nullptr || depth > kMostDepth) return;
  for (xmlNode* child = firstElement(type); child != nullptr; child = nextElement(child)) {
    addParticle(child, false, {}, 0, to);
    if (!is(child, "complexContent")) continue;
    for (xmlNode* derived = firstElement(child); derived != nullptr; derived = nextElement(derived)) {
      if (is(derived, "extension")) addChildren(this->type(resolved(derived, attribute(derived, "base"))), depth + 1, to);
      addChildren(derived, depth + 1, to);
    }
  }
}

std::vector<Slot> ContentModel::children(xmlNode* type) const {
  std::vector<Slot> slots;
  addChildren(type, 0, slots);
  return slots;
}

xmlNode* ContentModel::attributeUse(xmlNode* holder, const std::string& name, int depth) const {
  if (holder == nullptr || depth > kMostDepth) return nullptr;
  for (xmlNode* child = firstElement(holder); child != nullptr; child = nextElement(child)) {
    xmlNode* found = nullptr;
    if (is(child, "attribute")) {
      const std::string ref = attribute(child, "ref");
      if ((ref.empty() ? localDeclaration(child, "attributeFormDefault") : resolved(child, ref)) == name) found = child;
    } else if (is(child, "attributeGroup")) {
      found = attributeUse(referred("attributeGroup", child, "ref"), name, depth + 1);
    } else if (is(child, "complexContent") || is(child, "simpleContent") || is(child, "extension") || is(child, "restriction")) {
      found = attributeUse(child, name, depth + 1);
      if (found == nullptr) found = attributeUse(type(resolved(child, attribute(child, "base"))), name, depth + 1);
    }
    if (found != nullptr) return found;
  }
  return nullptr;
}

bool ContentModel::isOptionalAttribute(xmlNode* type, const std::string& name) const {
  xmlNode* use = attributeUse(type, name, 0);
  return use != nullptr && attribute(use, "use") != "required";
}

const Slot* ContentModel::find(const std::vector<Slot>& slots, const std::string& name, std::size_t& from) const {
  const auto fits = [&](const Slot& slot) {
    if (slot.name == name) return true;
    std::string head = name;
    for (int i = 0; i < kMostDepth; ++i) {
      const auto at = substitutes_.find(head);
      if (at == substitutes_.end()) return false;
      head = at->second;
      if (slot.name == head) return true;
    }
    return false;
  };
  // In the order of the model, where a name may come twice; then a wildcard, which takes what no declaration does.
  for (std::size_t i = from; i < slots.size(); ++i) {
    if (fits(slots[i])) return from = i, &slots[i];
  }
  for (std::size_t i = from; i < slots.size(); ++i) {
    if (slots[i].wildcard) return from = i, &slots[i];
  }
  return nullptr;
}

}  // namespace qvwscli
