// SPDX-License-Identifier: Apache-2.0
#include "schema/schema_index.h"

#include <libxml/parser.h>
#include <libxml/xmlschemastypes.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>
#include <functional>
#include <mutex>

namespace qvx::schema {

namespace {

// A chain of definitions longer than this is taken for an attempt to exhaust the stack.
constexpr int kMaxNesting = 100;
constexpr int kMaxGroupDepth = 64;
constexpr int kMaxModelDepth = 150;
constexpr std::size_t kMaxAttributeGroups = 1000;
constexpr std::size_t kMaxParticles = 20000;
constexpr std::size_t kMaxDocumentBytes = std::size_t{64} << 20;

std::string_view view(const xmlChar* text) {
  return text != nullptr ? reinterpret_cast<const char*>(text) : "";
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlank = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlank);
  return first == std::string_view::npos ? std::string_view() : text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

std::optional<std::string> rawAttribute(const xmlNode* node, const char* name) {
  for (const xmlAttr* attribute = node->properties; attribute != nullptr; attribute = attribute->next) {
    if (attribute->ns != nullptr || std::strcmp(reinterpret_cast<const char*>(attribute->name), name) != 0) continue;
    std::string value;
    for (const xmlNode* text = attribute->children; text != nullptr; text = text->next) {
      if (text->type == XML_TEXT_NODE) value += view(text->content);
    }
    return value;
  }
  return std::nullopt;
}

std::string attributeText(const xmlNode* node, const char* name) {
  const std::optional<std::string> value = rawAttribute(node, name);
  return value ? std::string(trimmed(*value)) : std::string();
}

bool isTrue(const std::string& text) {
  return text == "true" || text == "1";
}

bool inNamespace(const xmlNode* node, std::string_view ns) {
  return node->ns != nullptr && view(node->ns->href) == ns;
}

std::string_view schemaName(const xmlNode* node) {
  return node->type == XML_ELEMENT_NODE && inNamespace(node, xmlns::kSchema) ? view(node->name) : std::string_view();
}

const xmlNode* child(const xmlNode* parent, std::initializer_list<std::string_view> names) {
  for (const xmlNode* node = parent->children; node != nullptr; node = node->next) {
    if (std::find(names.begin(), names.end(), schemaName(node)) != names.end() && !schemaName(node).empty()) return node;
  }
  return nullptr;
}

unsigned bound(const xmlNode* node, const char* name) {
  const std::string text = attributeText(node, name);
  if (text.empty()) return 1;
  if (text == "unbounded") return kUnbounded;
  unsigned value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error == std::errc::result_out_of_range) return kUnbounded;
  return error == std::errc() && end == text.data() + text.size() ? value : 1;
}

// Without a DTD the tree holds what the bytes hold; nothing is fetched.
DocumentPtr parse(const SchemaDocument& document) {
  if (!document.bytes || document.bytes->size() > kMaxDocumentBytes) return nullptr;
  constexpr int kOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_COMPACT | XML_PARSE_BIG_LINES;
  const auto read = [&](const char* encoding) {
    return DocumentPtr(xmlReadMemory(document.bytes->data(), static_cast<int>(document.bytes->size()), nullptr, encoding, kOptions));
  };
  DocumentPtr tree = read(document.encoding.empty() ? nullptr : document.encoding.c_str());
  if (!tree && !document.encoding.empty()) tree = read(nullptr);
  if (tree && tree->intSubset != nullptr) tree.reset();
  return tree;
}

}  // namespace

bool NamespaceSet::contains(const std::string& ns) const {
  if (kind == Kind::Any) return true;
  if (kind == Kind::Not) return !ns.empty() && ns != excluded;
  return std::binary_search(list.begin(), list.end(), ns);
}

bool NamespaceSet::overlaps(const NamespaceSet& other) const {
  if (kind == Kind::List) return std::any_of(list.begin(), list.end(), [&](const std::string& ns) { return other.contains(ns); });
  return other.kind != Kind::List || other.overlaps(*this);
}

void NamespaceSet::unite(const NamespaceSet& other) {
  if (kind == Kind::List && other.kind == Kind::List) {
    list.insert(list.end(), other.list.begin(), other.list.end());
    std::sort(list.begin(), list.end());
    list.erase(std::unique(list.begin(), list.end()), list.end());
    return;
  }
  if (kind == Kind::Any || other.kind == Kind::Any) {
    *this = everything();
    return;
  }
  const NamespaceSet& open = kind == Kind::Not ? *this : other;
  const NamespaceSet& rest = kind == Kind::Not ? other : *this;
  const bool covered = rest.kind == Kind::Not
                           ? rest.excluded == open.excluded
                           : std::all_of(rest.list.begin(), rest.list.end(), [&](const std::string& ns) { return open.contains(ns); });
  NamespaceSet result = covered ? open : everything();
  *this = std::move(result);
}

Index::Index(std::vector<SchemaDocument> documents) : documents_(std::move(documents)) {}

void Index::load() {
  if (loaded_) return;
  loaded_ = true;
  // libxml2 makes its tables of types without a lock.
  static std::once_flag once;
  std::call_once(once, [] {
    xmlInitParser();
    xmlSchemaInitTypes();
  });
  std::vector<bool> plainImported(documents_.size(), false);
  std::vector<bool> included(documents_.size(), false);
  for (SchemaDocument& document : documents_) {
    trees_.push_back(parse(document));
    document.bytes.reset();  // the tree holds it all
    std::vector<const xmlNode*>& found = schemas_.emplace_back();
    const xmlNode* root = trees_.back() ? xmlDocGetRootElement(trees_.back().get()) : nullptr;
    if (root == nullptr) {
      notes_.push_back("the schemas of " + document.location + " cannot be read");
      continue;
    }
    if (schemaName(root) == "schema") found.push_back(root);
    for (const xmlNode* types = root->children; types != nullptr && found.empty(); types = types->next) {
      if (types->type != XML_ELEMENT_NODE || view(types->name) != "types") continue;
      for (const xmlNode* node = types->children; node != nullptr; node = node->next) {
        if (schemaName(node) == "schema") found.push_back(node);
      }
    }
    for (const xmlNode* schema : found) {
      for (const xmlNode* node = schema->children; node != nullptr; node = node->next) {
        const std::string_view kind = schemaName(node);
        if (kind != "import" && kind != "include" && kind != "redefine") continue;
        const auto target = document.references.find(attributeText(node, "schemaLocation"));
        if (target == document.references.end() || target->second >= documents_.size()) continue;
        if (kind == "import") plainImported[target->second] = plainImported[target->second] || attributeText(node, "namespace").empty();
        if (kind == "include" || kind == "redefine") included[target->second] = true;
      }
    }
  }
  // A document without a namespace that is only included means nothing by itself.
  for (std::size_t i = 0; i < documents_.size(); ++i) {
    for (const xmlNode* schema : schemas_[i]) {
      const std::string ns = attributeText(schema, "targetNamespace");
      if (!ns.empty() || !included[i] || plainImported[i]) registerSchema(i, schema, ns, false);
    }
  }
  // ... unless such documents include each other only.
  for (std::size_t i = 0; i < documents_.size(); ++i) {
    for (const xmlNode* schema : schemas_[i]) {
      const auto next = visited_.lower_bound({schema, std::string()});
      if (next == visited_.end() || next->first != schema) registerSchema(i, schema, std::string(), false);
    }
  }
}

void Index::registerReferenced(std::size_t target, const std::string& ns) {
  for (const xmlNode* schema : schemas_[target]) {
    const std::string own = attributeText(schema, "targetNamespace");
    registerSchema(target, schema, own.empty() ? ns : own, own.empty() && !ns.empty());
  }
}

void Index::registerSchema(std::size_t document, const xmlNode* schema, const std::string& ns, bool chameleon) {
  if (nesting_ > kMaxNesting || !visited_.emplace(schema, ns).second) return;
  ++nesting_;
  const Context& context = contexts_.emplace_back(Context{ns, attributeText(schema, "elementFormDefault") == "qualified",
                                                          attributeText(schema, "attributeFormDefault") == "qualified", chameleon});
  for (const xmlNode* node = schema->children; node != nullptr; node = node->next) {
    const std::string_view kind = schemaName(node);
    if (kind == "include" || kind == "redefine") {
      const auto& references = documents_[document].references;
      if (const auto target = references.find(attributeText(node, "schemaLocation"));
          target != references.end() && target->second < documents_.size()) {
        registerReferenced(target->second, ns);
      }
      for (const xmlNode* inner = kind == "redefine" ? node->children : nullptr; inner != nullptr; inner = inner->next) {
        if (const Globals* map = mapFor(schemaName(inner))) add(*const_cast<Globals*>(map), inner, &context, true);
      }
    } else if (const Globals* map = mapFor(kind)) {
      add(*const_cast<Globals*>(map), node, &context, false);
    }
  }
  --nesting_;
}

const Index::Globals* Index::mapFor(std::string_view kind) const {
  if (kind == "element") return &elements_;
  if (kind == "complexType" || kind == "simpleType") return &types_;
  if (kind == "group") return &groups_;
  if (kind == "attributeGroup") return &attributeGroups_;
  return kind == "attribute" ? &attributes_ : nullptr;
}

Index::Global* Index::add(Globals& map, const xmlNode* node, const Context* context, bool redefinition) {
  const std::string local = attributeText(node, "name");
  if (local.empty() || xmlValidateNCName(reinterpret_cast<const xmlChar*>(local.c_str()), 0) != 0) return nullptr;
  const QualifiedName name{context->ns, local};
  Global*& slot = map[name];
  // What is defined twice: the first wins.
  if (slot != nullptr && !redefinition) return slot;
  Global& global = globals_.emplace_back(Global{node, context, slot, nullptr, nullptr});
  if (slot == nullptr && &map == &elements_) {
    elementOrder_.emplace_back(name, &global);
    if (const std::string head = attributeText(node, "substitutionGroup"); !head.empty()) headMembers_[resolve(node, head, *context)].push_back(name);
  }
  if (slot == nullptr && &map == &types_) typeOrder_.emplace_back(name, &global);
  slot = &global;
  return slot;
}

QualifiedName Index::resolve(const xmlNode* node, std::string_view text, const Context& context) const {
  const std::string_view name = trimmed(text);
  const std::size_t colon = name.find(':');
  const std::string prefix(colon == std::string_view::npos ? std::string_view() : name.substr(0, colon));
  const std::string local(colon == std::string_view::npos ? name : name.substr(colon + 1));
  const xmlNs* ns = xmlSearchNs(node->doc, const_cast<xmlNode*>(node), prefix.empty() ? nullptr : reinterpret_cast<const xmlChar*>(prefix.c_str()));
  std::string uri(ns != nullptr ? view(ns->href) : std::string_view());
  if (uri.empty() && context.chameleon) uri = context.ns;
  return {uri, local};
}

Type* Index::builtIn(const std::string& local) {
  auto [slot, added] = builtIns_.try_emplace(local, nullptr);
  if (!added) return slot->second;
  if (local != "anyType" && local != "anySimpleType" &&
      xmlSchemaGetPredefinedType(reinterpret_cast<const xmlChar*>(local.c_str()), reinterpret_cast<const xmlChar*>(xmlns::kSchema.data())) ==
          nullptr) {
    return nullptr;
  }
  Type& type = typeStore_.emplace_back();
  type.name = {std::string(xmlns::kSchema), local};
  type.builtIn = true;
  type.state = Type::State::Built;
  type.isAnyType = type.open = type.mixed = local == "anyType";
  type.simple = !type.isAnyType;
  slot->second = &type;
  return &type;
}

Type* Index::anyType() {
  return builtIn("anyType");
}

Type* Index::type(const QualifiedName& name) {
  load();
  if (name.ns == xmlns::kSchema) return builtIn(name.local);
  const auto found = types_.find(name);
  return found == types_.end() ? nullptr : &complete(*typeOf(*found->second, name));
}

Type* Index::typeOf(Global& global, const QualifiedName& name) {
  if (global.type == nullptr) {
    Type& type = typeStore_.emplace_back();
    type.name = name;
    type.node = global.node;
    type.context = global.context;
    type.simple = schemaName(global.node) == "simpleType";
    global.type = &type;
    if (global.redefines != nullptr) type.redefines = typeOf(*global.redefines, name);
  }
  return global.type;
}

// A group may lead back into itself through a type without a name, so such a type has an identity, too.
Type* Index::anonymousType(const xmlNode* node, const Context& context) {
  Type*& slot = anonymous_[{node, &context}];
  if (slot != nullptr) return slot;
  Type& type = typeStore_.emplace_back();
  slot = &type;
  type.node = node;
  type.context = &context;
  type.simple = schemaName(node) == "simpleType";
  return &type;
}

Type* Index::typeByAttribute(const xmlNode* node, const char* attribute, const Context& context, Type* self, std::string& note) {
  const QualifiedName name = resolve(node, attributeText(node, attribute), context);
  if (self != nullptr && self->redefines != nullptr && name == self->name) return self->redefines;
  if (name.ns == xmlns::kSchema) {
    if (Type* type = builtIn(name.local)) return type;
  } else if (const auto found = types_.find(name); found != types_.end()) {
    return typeOf(*found->second, name);
  }
  note = "type " + name.text() + " is not defined: any content";
  return nullptr;
}

Element* Index::element(const QualifiedName& name) {
  load();
  if (const auto found = elements_.find(name); found != elements_.end()) return elementOf(*found->second, name);
  Element*& slot = missing_[name];
  if (slot == nullptr) {
    slot = &elementStore_.emplace_back();
    slot->name = name;
    slot->global = slot->missing = true;
    slot->type = anyType();
    slot->note = "element " + name.text() + " is not defined: any content";
  }
  return slot;
}

Element* Index::elementOf(Global& global, const QualifiedName& name) {
  if (global.element == nullptr) {
    Element& element = elementStore_.emplace_back();
    element.name = name;
    element.global = true;
    element.type = anyType();
    global.element = &element;
    fillElement(element, global.node, *global.context);
  }
  return global.element;
}

void Index::fillElement(Element& element, const xmlNode* node, const Context& context) {
  element.isAbstract = element.global && isTrue(attributeText(node, "abstract"));
  element.nillable = isTrue(attributeText(node, "nillable"));
  element.defaultValue = rawAttribute(node, "default");
  element.fixedValue = rawAttribute(node, "fixed");
  element.type = anyType();
  if (const std::string head = attributeText(node, "substitutionGroup"); element.global && !head.empty()) element.head = resolve(node, head, context);
  if (const xmlNode* inner = child(node, {"complexType", "simpleType"})) {
    element.type = anonymousType(inner, context);
  } else if (rawAttribute(node, "type")) {
    if (Type* type = typeByAttribute(node, "type", context, nullptr, element.note)) element.type = type;
  } else if (!element.head.empty() && nesting_ < kMaxNesting) {
    ++nesting_;
    const auto head = elements_.find(element.head);
    if (head != elements_.end()) element.type = elementOf(*head->second, element.head)->type;
    --nesting_;
  }
}

Type& Index::complete(Type& type) {
  if (type.state != Type::State::Raw) return type;
  if (nesting_ > kMaxNesting) {
    type.state = Type::State::Built;
    type.open = true;
    type.isAnyType = false;
    type.simple = false;
    type.notes.emplace_back("a chain of definitions is too long: any content");
    return type;
  }
  ++nesting_;
  type.state = Type::State::Building;
  if (type.simple) {
    buildSimple(type);
  } else {
    buildComplex(type);
  }
  type.state = Type::State::Built;
  --nesting_;
  return type;
}

void Index::readFacets(Type& type, const xmlNode* parent) {
  constexpr std::string_view kFacets[] = {"length",       "minLength",    "maxLength",    "pattern",      "enumeration", "whiteSpace",
                                          "maxInclusive", "maxExclusive", "minInclusive", "minExclusive", "totalDigits", "fractionDigits"};
  const Type* root = &type;
  for (int i = 0; root != nullptr && !root->builtIn && i < kMaxNesting; ++i) root = root->base;
  const bool names = root != nullptr && root->builtIn && (root->name.local == "QName" || root->name.local == "NOTATION");
  for (const xmlNode* node = parent->children; node != nullptr; node = node->next) {
    const std::string_view name = schemaName(node);
    if (std::find(std::begin(kFacets), std::end(kFacets), name) == std::end(kFacets) || name.empty()) continue;
    std::optional<std::string> value = rawAttribute(node, "value");
    if (!value) continue;
    Facet facet{std::string(name), *value, {}, false};
    if (names && name == "enumeration") {
      const QualifiedName resolved = resolve(node, *value, *type.context);
      facet = {std::string(name), resolved.local, resolved.ns, true};
    }
    type.facets.push_back(std::move(facet));
  }
}

void Index::buildSimple(Type& type) {
  std::string note;
  const Context& context = *type.context;
  const auto inner = [&](const xmlNode* node, const char* attribute) -> Type* {
    Type* found = nullptr;
    if (rawAttribute(node, attribute)) {
      found = typeByAttribute(node, attribute, context, &type, note);
    } else if (const xmlNode* anonymous = child(node, {"simpleType"})) {
      found = anonymousType(anonymous, context);
    }
    if (found != nullptr) complete(*found);
    // Derived from itself, or from something that is no simple type: taken as if it said nothing.
    if (found == nullptr || found->state == Type::State::Building || !found->simple) {
      if (note.empty()) note = "a simple type is derived from what is none";
      type.notes.push_back(note);
      return builtIn("anySimpleType");
    }
    return found;
  };
  if (const xmlNode* restriction = child(type.node, {"restriction"})) {
    type.base = inner(restriction, "base");
    type.variety = type.base->variety;
    type.item = type.base->item;
    type.members = type.base->members;
    readFacets(type, restriction);
  } else if (const xmlNode* list = child(type.node, {"list"})) {
    type.variety = Type::Variety::List;
    type.item = inner(list, "itemType");
  } else if (const xmlNode* united = child(type.node, {"union"})) {
    type.variety = Type::Variety::Union;
    std::string names = attributeText(united, "memberTypes");
    std::size_t position = 0;
    while ((position = names.find_first_not_of(" \t\r\n", position)) != std::string::npos) {
      const std::size_t end = std::min(names.find_first_of(" \t\r\n", position), names.size());
      Type* member = this->type(resolve(united, names.substr(position, end - position), context));
      if (member != nullptr && member->simple && member->state == Type::State::Built) {
        type.members.push_back(member);
      } else {
        type.notes.push_back("type " + names.substr(position, end - position) + " is not defined");
        type.members.push_back(builtIn("anySimpleType"));
      }
      position = end;
    }
    for (const xmlNode* node = united->children; node != nullptr; node = node->next) {
      if (schemaName(node) == "simpleType") type.members.push_back(&complete(*anonymousType(node, context)));
    }
    if (type.members.empty()) type.members.push_back(builtIn("string"));
  } else {
    type.base = builtIn("anySimpleType");
    type.notes.emplace_back("a simple type says nothing");
  }
}

void Index::buildComplex(Type& type) {
  std::set<const xmlNode*> attributeGroups;
  const Context& context = *type.context;
  type.mixed = isTrue(attributeText(type.node, "mixed"));
  type.isAbstract = isTrue(attributeText(type.node, "abstract"));
  const xmlNode* content = child(type.node, {"simpleContent", "complexContent"});
  if (content == nullptr) {
    readContent(type, type.node);
    readAttributes(type, type.node, context, attributeGroups);
    return;
  }
  if (const std::string mixed = attributeText(content, "mixed"); !mixed.empty()) type.mixed = isTrue(mixed);
  const xmlNode* body = child(content, {"restriction", "extension"});
  if (body == nullptr) return;
  const bool extends = schemaName(body) == "extension";
  type.derivation = extends ? Type::Derivation::Extension : Type::Derivation::Restriction;
  std::string note;
  type.base = typeByAttribute(body, "base", context, &type, note);
  if (type.base != nullptr) complete(*type.base);
  if (type.base != nullptr && type.base->state == Type::State::Building) {
    type.base = nullptr;
    note = "type " + type.name.text() + " is derived from itself";
  }
  if (!note.empty()) type.notes.push_back(note);
  readAttributes(type, body, context, attributeGroups);
  type.simpleContent = schemaName(content) == "simpleContent";
  if (type.simpleContent) {
    Type* text = type.base == nullptr ? builtIn("anySimpleType") : textType(*type.base);
    if (text == nullptr) text = builtIn("string");
    if (!extends) {
      // The facets make a type of their own of the base's text.
      Type& narrowed = typeStore_.emplace_back();
      narrowed.context = &context;
      narrowed.simple = true;
      narrowed.state = Type::State::Built;
      narrowed.base = text;
      if (const xmlNode* anonymous = child(body, {"simpleType"})) narrowed.base = &complete(*anonymousType(anonymous, context));
      narrowed.variety = narrowed.base->variety;
      narrowed.item = narrowed.base->item;
      narrowed.members = narrowed.base->members;
      readFacets(narrowed, body);
      text = &narrowed;
    }
    type.contentType = text;
    return;
  }
  if (type.base == nullptr) {
    // What is restricted is said in full, what is extended is not.
    type.derivation = Type::Derivation::None;
    readContent(type, body);
    type.open = extends || !type.content;
    type.mixed = type.mixed || type.open;
    if (!type.open) type.anyAttribute = Wildcard{NamespaceSet::everything(), false};
    return;
  }
  if (type.base->isAnyType && !extends) type.derivation = Type::Derivation::None;
  readContent(type, body);
}

void Index::readContent(Type& type, const xmlNode* parent) {
  const xmlNode* node = child(parent, {"sequence", "choice", "all", "group"});
  if (node == nullptr) return;
  Particle particle;
  std::size_t budget = kMaxParticles;
  if (readParticle(type, node, *type.context, particle, 0, budget)) {
    if (particle.kind == Particle::Kind::Element || particle.kind == Particle::Kind::Any) {
      Particle group;
      group.children.push_back(std::move(particle));
      particle = std::move(group);
    }
    type.content = std::move(particle);
  }
  if (budget == 0) {
    type.notes.emplace_back("a content model is too large: any content");
    type.open = type.mixed = true;
    type.content.reset();
  }
}

bool Index::readParticle(Type& type, const xmlNode* node, const Context& context, Particle& out, int depth, std::size_t& budget) {
  const std::string_view kind = schemaName(node);
  if (depth > kMaxModelDepth) budget = 0;
  if (budget == 0 || --budget == 0) return false;
  out.min = bound(node, "minOccurs");
  out.max = bound(node, "maxOccurs");
  if (out.min == kUnbounded) out.min = 1;
  if (out.max == 0) return false;
  out.max = std::max(out.max, out.min);
  if (kind == "element") {
    out.kind = Particle::Kind::Element;
    if (rawAttribute(node, "ref")) {
      out.element = element(resolve(node, attributeText(node, "ref"), context));
      return true;
    }
    const std::string local = attributeText(node, "name");
    if (local.empty() || xmlValidateNCName(reinterpret_cast<const xmlChar*>(local.c_str()), 0) != 0) return false;
    const std::string form = attributeText(node, "form");
    const bool qualified = form.empty() ? context.elementsQualified : form == "qualified";
    Element*& slot = locals_[{node, &context}];
    if (slot == nullptr) {
      slot = &elementStore_.emplace_back();
      slot->name = {qualified ? context.ns : std::string(), local};
      fillElement(*slot, node, context);
    }
    out.element = slot;
    return true;
  }
  if (kind == "any") {
    out.kind = Particle::Kind::Any;
  } else if (kind == "group") {
    const QualifiedName name = resolve(node, attributeText(node, "ref"), context);
    const auto found = groups_.find(name);
    const Global* group = found == groups_.end() ? nullptr : found->second;
    // Inside a redefinition the group's own name means what it was before.
    for (const xmlNode* up = node->parent; group != nullptr && up != nullptr; up = up->parent) {
      if (up == group->node && group->redefines != nullptr) group = group->redefines;
    }
    const xmlNode* model = group == nullptr || depth > kMaxGroupDepth ? nullptr : child(group->node, {"sequence", "choice", "all"});
    if (model == nullptr) {
      type.notes.push_back("group " + name.text() + " is not defined: any content");
      out.kind = Particle::Kind::Any;
      out.min = 0;
      out.max = kUnbounded;
      out.any = Wildcard{NamespaceSet::everything(), false};
      return true;
    }
    Particle inner;
    const unsigned min = out.min;
    const unsigned max = out.max;
    if (!readParticle(type, model, *group->context, inner, depth + 1, budget)) return false;
    out = std::move(inner);
    out.min = min;
    out.max = max;
    return true;
  } else if (kind == "sequence" || kind == "choice" || kind == "all") {
    out.kind = kind == "sequence" ? Particle::Kind::Sequence : kind == "choice" ? Particle::Kind::Choice : Particle::Kind::All;
    for (const xmlNode* inner = node->children; inner != nullptr; inner = inner->next) {
      const std::string_view name = schemaName(inner);
      if (name != "element" && name != "any" && name != "group" && name != "sequence" && name != "choice" && name != "all") continue;
      Particle particle;
      if (readParticle(type, inner, context, particle, depth + 1, budget)) out.children.push_back(std::move(particle));
    }
    return true;
  } else {
    return false;
  }
  // A wildcard; the text that defines the payload knows no other namespace's declarations, so "strict" could not be met.
  const std::string constraint = attributeText(node, "namespace");
  out.any.skip = attributeText(node, "processContents") == "skip";
  if (constraint.empty() || constraint == "##any") {
    out.any.namespaces = NamespaceSet::everything();
  } else if (constraint == "##other") {
    out.any.namespaces.kind = NamespaceSet::Kind::Not;
    out.any.namespaces.excluded = context.ns;
  } else {
    std::size_t position = 0;
    while ((position = constraint.find_first_not_of(" \t\r\n", position)) != std::string::npos) {
      const std::size_t end = std::min(constraint.find_first_of(" \t\r\n", position), constraint.size());
      std::string ns = constraint.substr(position, end - position);
      if (ns == "##targetNamespace") ns = context.ns;
      if (ns == "##local") ns.clear();
      out.any.namespaces.unite(NamespaceSet::of(ns));
      position = end;
    }
  }
  return true;
}

AttributeUse Index::readAttribute(Type& type, const xmlNode* node, const Context& context) {
  AttributeUse use;
  const std::string text = attributeText(node, "use");
  use.use = text == "required" ? AttributeUse::Use::Required : text == "prohibited" ? AttributeUse::Use::Prohibited : AttributeUse::Use::Optional;
  const xmlNode* declaration = node;
  const Context* meaning = &context;
  if (rawAttribute(node, "ref")) {
    use.name = resolve(node, attributeText(node, "ref"), context);
    const auto found = attributes_.find(use.name);
    declaration = found == attributes_.end() ? nullptr : found->second->node;
    if (declaration != nullptr) meaning = found->second->context;
    if (declaration == nullptr && use.name.ns != xmlns::kXml) type.notes.push_back("attribute " + use.name.text() + " is not defined: any value");
  } else {
    const std::string form = attributeText(node, "form");
    const bool qualified = form.empty() ? context.attributesQualified : form == "qualified";
    use.name = {qualified ? context.ns : std::string(), attributeText(node, "name")};
  }
  for (const xmlNode* source : {node, declaration}) {
    if (source == nullptr) continue;
    if (!use.defaultValue) use.defaultValue = rawAttribute(source, "default");
    if (!use.fixedValue) use.fixedValue = rawAttribute(source, "fixed");
  }
  std::string note;
  if (declaration != nullptr) {
    if (const xmlNode* inner = child(declaration, {"simpleType"})) {
      use.type = anonymousType(inner, *meaning);
    } else if (rawAttribute(declaration, "type")) {
      use.type = typeByAttribute(declaration, "type", *meaning, nullptr, note);
    }
  }
  if (!note.empty()) type.notes.push_back(note);
  if (use.type == nullptr && use.name.ns == xmlns::kXml) use.type = builtIn(use.name.local == "lang" ? "language" : "string");
  if (use.type == nullptr || !use.type->simple) use.type = builtIn("anySimpleType");
  return use;
}

void Index::readAttributes(Type& type, const xmlNode* parent, const Context& context, std::set<const xmlNode*>& read) {
  // A group that was read has given what it has: one that names itself ends here.
  if (!read.insert(parent).second) return;
  for (const xmlNode* node = parent->children; node != nullptr; node = node->next) {
    const std::string_view kind = schemaName(node);
    if (kind == "attribute") {
      AttributeUse use = readAttribute(type, node, context);
      const bool known =
          std::any_of(type.attributes.begin(), type.attributes.end(), [&](const AttributeUse& other) { return other.name == use.name; });
      if (!known && !use.name.local.empty() && xmlValidateNCName(reinterpret_cast<const xmlChar*>(use.name.local.c_str()), 0) == 0) {
        type.attributes.push_back(std::move(use));
      }
    } else if (kind == "attributeGroup") {
      const QualifiedName name = resolve(node, attributeText(node, "ref"), context);
      const auto found = attributeGroups_.find(name);
      const Global* group = found == attributeGroups_.end() ? nullptr : found->second;
      if (group != nullptr && group->node == parent && group->redefines != nullptr) group = group->redefines;
      if (group != nullptr && read.size() < kMaxAttributeGroups) {
        readAttributes(type, group->node, *group->context, read);
      } else {
        type.notes.push_back("attribute group " + name.text() + " is not defined: any attributes");
        type.anyAttribute = Wildcard{NamespaceSet::everything(), false};
      }
    } else if (kind == "anyAttribute") {
      Particle any;
      std::size_t budget = 2;
      xmlNode copy = *node;
      copy.name = reinterpret_cast<const xmlChar*>("any");
      if (readParticle(type, &copy, context, any, 0, budget)) {
        if (type.anyAttribute) {
          type.anyAttribute->namespaces.unite(any.any.namespaces);
        } else {
          type.anyAttribute = any.any;
        }
      }
    }
  }
}

Type* Index::textType(Type& type) {
  Type* current = &complete(type);
  for (int i = 0; current != nullptr && i <= kMaxNesting; ++i) {
    if (current->simple) return current;
    if (current->simpleContent) return current->contentType;
    if (current->derivation == Type::Derivation::None) return nullptr;
    current = current->base;
  }
  return nullptr;
}

bool Index::effectiveContent(Type& type, Particle& out) {
  std::vector<Type*> chain;
  for (Type* current = &complete(type); current != nullptr && !current->simple; current = current->base) {
    if (current->open) return false;
    chain.push_back(current);
    if (current->derivation != Type::Derivation::Extension) break;
  }
  out = Particle();
  std::reverse(chain.begin(), chain.end());
  for (const Type* link : chain) {
    if (link->content) out.children.push_back(*link->content);
  }
  if (out.children.size() == 1) {
    Particle only = std::move(out.children.front());
    out = std::move(only);
  }
  return true;
}

void Index::effectiveAttributes(Type& type, std::vector<AttributeUse>& uses, std::optional<Wildcard>& any) {
  Type* current = &complete(type);
  bool wildcards = true;
  for (int i = 0; current != nullptr && !current->builtIn && i <= kMaxNesting; ++i) {
    for (const AttributeUse& use : current->attributes) {
      if (std::none_of(uses.begin(), uses.end(), [&](const AttributeUse& other) { return other.name == use.name; })) uses.push_back(use);
    }
    if (wildcards && current->anyAttribute) {
      if (any) {
        any->namespaces.unite(current->anyAttribute->namespaces);
      } else {
        any = current->anyAttribute;
      }
    }
    if (current->open) any = Wildcard{NamespaceSet::everything(), false};
    if (current->derivation == Type::Derivation::None) break;
    // A restriction says again which other attributes it admits.
    if (current->derivation == Type::Derivation::Restriction) wildcards = false;
    current = current->base;
  }
}

bool Index::isMixed(Type& type) {
  const Type* current = &complete(type);
  for (int i = 0; current != nullptr && i <= kMaxNesting; ++i) {
    if (current->mixed) return true;
    if (current->derivation != Type::Derivation::Extension || current->content) return false;
    current = current->base;
  }
  return false;
}

const std::vector<Element*>& Index::substitutes(const QualifiedName& head) {
  load();
  auto [slot, added] = substitutes_.try_emplace(head);
  if (!added) return slot->second;
  std::vector<Element*> found;
  std::set<QualifiedName> seen{head};
  std::vector<QualifiedName> queue{head};
  for (std::size_t i = 0; i < queue.size(); ++i) {
    const auto members = headMembers_.find(queue[i]);
    if (members == headMembers_.end()) continue;
    for (const QualifiedName& name : members->second) {
      if (!seen.insert(name).second) continue;
      found.push_back(element(name));
      queue.push_back(name);
    }
  }
  return substitutes_[head] = std::move(found);
}

const std::vector<Type*>& Index::derived(const Type& type) {
  load();
  if (!basesRead_) {
    basesRead_ = true;
    for (const auto& [name, global] : typeOrder_) {
      const xmlNode* content = child(global->node, {"complexContent", "simpleContent"});
      const xmlNode* body = content == nullptr ? nullptr : child(content, {"extension", "restriction"});
      if (body != nullptr) baseMembers_[resolve(body, attributeText(body, "base"), *global->context)].push_back(name);
    }
  }
  auto [slot, added] = derived_.try_emplace(&type);
  if (!added || type.name.empty()) return slot->second;
  std::vector<Type*> found;
  std::set<QualifiedName> seen{type.name};
  std::vector<QualifiedName> queue{type.name};
  for (std::size_t i = 0; i < queue.size(); ++i) {
    const auto members = baseMembers_.find(queue[i]);
    if (members == baseMembers_.end()) continue;
    for (const QualifiedName& name : members->second) {
      if (!seen.insert(name).second) continue;
      if (Type* member = this->type(name)) found.push_back(member);
      queue.push_back(name);
    }
  }
  return derived_[&type] = std::move(found);
}

Type* Index::concrete(const Type& type, const std::string& preferred) {
  Type* first = nullptr;
  for (Type* candidate : derived(type)) {
    if (candidate->isAbstract) continue;
    if (candidate->name.ns == preferred) return candidate;
    if (first == nullptr) first = candidate;
  }
  return first;
}

Element* Index::concrete(Element& element, const std::string& preferred) {
  if (!element.isAbstract || !element.global) return &element;
  Element* first = nullptr;
  for (Element* candidate : substitutes(element.name)) {
    if (candidate->isAbstract) continue;
    if (candidate->name.ns == preferred) return candidate;
    if (first == nullptr) first = candidate;
  }
  return first;
}

}  // namespace qvx::schema
