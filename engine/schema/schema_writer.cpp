// SPDX-License-Identifier: Apache-2.0
#include "schema/schema_writer.h"

#include "schema/schema_text.h"

#include <algorithm>
#include <cstdlib>

namespace qvx::schema {

namespace {

constexpr std::size_t kMaxInside = 40;  // types without a name that are written inside each other
// What may stand for something is bounded, or one common base would pull in everything.
constexpr std::size_t kMaxStandIns = 200;
// A validator's automaton grows with the square of a run of optional terms, and checking it with the cube.
constexpr std::size_t kMaxOptional = 800;

unsigned times(unsigned a, unsigned b) {
  if (a == 0 || b == 0) return 0;
  return a == kUnbounded || b == kUnbounded || a > kMaxMaximum || b > kMaxMaximum ? kUnbounded : a * b;
}

unsigned plus(unsigned a, unsigned b) {
  return a == kUnbounded || b == kUnbounded ? kUnbounded : a + b;
}

bool emptiable(const Particle& particle) {
  if (particle.min == 0) return true;
  if (particle.kind == Particle::Kind::Element || particle.kind == Particle::Kind::Any) return false;
  if (particle.kind == Particle::Kind::Choice) {
    return particle.children.empty() || std::any_of(particle.children.begin(), particle.children.end(), emptiable);
  }
  return std::all_of(particle.children.begin(), particle.children.end(), emptiable);
}

std::string bounds(const Particle& particle) {
  std::string text;
  const unsigned min = std::min(particle.min, kMaxMinimum);
  if (min != 1) text += " minOccurs=\"" + std::to_string(min) + "\"";
  if (particle.max > kMaxMaximum) {
    text += " maxOccurs=\"unbounded\"";
  } else if (particle.max != 1) {
    text += " maxOccurs=\"" + std::to_string(particle.max) + "\"";
  }
  return text;
}

std::string attribute(const char* name, const std::string& value) {
  return std::string(" ") + name + "=\"" + escapedAttribute(value) + "\"";
}

Particle anything() {
  Particle particle;
  particle.kind = Particle::Kind::Any;
  particle.min = 0;
  particle.max = kUnbounded;
  particle.any.namespaces = NamespaceSet::everything();
  return particle;
}

}  // namespace

// Lines and names.

void SchemaWriter::line(const std::string& text) {
  out_.append(static_cast<std::size_t>(indent_) * 2, ' ');
  out_ += text;
  out_ += '\n';
  lines_.push_back(owner_);
}

void SchemaWriter::open(const std::string& text) {
  line("<" + text + ">");
  ++indent_;
}

void SchemaWriter::close(const std::string& name) {
  --indent_;
  line("</" + name + ">");
}

void SchemaWriter::note(const std::string& text) {
  std::string safe;
  for (const char c : text) {
    const bool doubled = c == '-' && !safe.empty() && safe.back() == '-';
    safe += doubled ? std::string(" -") : std::string(1, c == '\n' || c == '\r' ? ' ' : c);
  }
  line("<!-- " + safe + " -->");
}

void SchemaWriter::own(const void* component, int maxLevel) {
  owners_.push_back(LineOwner{component, maxLevel, owner_});
  owner_ = owners_.size() - 1;
}

void SchemaWriter::disown() {
  owner_ = owners_[owner_].parent;
}

int SchemaWriter::level(const void* component) const {
  if (faithful_) return 0;
  const auto found = levels_.find(component);
  return found == levels_.end() ? 0 : found->second;
}

std::string SchemaWriter::prefix(const std::string& ns) {
  if (ns == xmlns::kSchema) return "xs";
  if (ns == xmlns::kXml) return "xml";
  auto [slot, added] = prefixes_.try_emplace(ns);
  if (added) {
    slot->second = ns == target_ ? "tns" : "ns" + std::to_string(prefixes_.size());
    declared_.emplace_back(slot->second, ns);
  }
  return slot->second;
}

std::string SchemaWriter::qualified(const QualifiedName& name) {
  return name.ns.empty() ? name.local : prefix(name.ns) + ":" + name.local;
}

std::string SchemaWriter::typeName(Type& type, const std::string& hint) {
  if (type.builtIn) return "xs:" + type.name.local;
  if (faithful_ && isGlobal(type)) return qualified(type.name);
  if (!faithful_ && type.name.ns == target_ && isGlobal(type)) return qualified(type.name);
  auto [slot, added] = names_.try_emplace(&type);
  if (added) {
    // The copy's name tells where it comes from.
    const std::string base = type.name.empty() ? hint + "_type" : type.name.local + (type.name.ns.empty() ? "" : "_" + prefix(type.name.ns));
    std::string name = base;
    for (int i = 2; !taken_.insert(name).second || index_.type({target_, name}) != nullptr; ++i) name = base + "_" + std::to_string(i);
    slot->second = name;
    copies_.emplace_back(&type, name);
  }
  return qualified({written_, slot->second});
}

std::string SchemaWriter::namespaces(const NamespaceSet& set) const {
  if (set.kind == NamespaceSet::Kind::Any) return "##any";
  // Without a target namespace "##other" means another thing.
  if (set.kind == NamespaceSet::Kind::Not) return set.excluded == written_ ? "##other" : "##any";
  std::string text;
  for (const std::string& ns : set.list) {
    if (!text.empty()) text += ' ';
    text += ns.empty() ? "##local" : ns == written_ ? "##targetNamespace" : ns;
  }
  return text.empty() ? "##local" : text;
}

// What is needed.

void SchemaWriter::need(const std::string& ns) {
  std::vector<std::string>& known = closure_.foreign;
  if (ns != target_ && std::find(known.begin(), known.end(), ns) == known.end()) known.push_back(ns);
}

void SchemaWriter::visit(Element* element) {
  if (element->global) {
    if (!seen_.insert(element).second) return;
    if (element->missing && element->name.ns != target_) return;
    closure_.elements.push_back(element);
    need(element->name.ns);
  }
  visit(element->type);
  if (!element->type->builtIn && expanded_.insert(element->type).second) expansions_.push_back({nullptr, element->type});
}

void SchemaWriter::visit(Type* type) {
  if (type != nullptr && !type->builtIn && seen_.insert(type).second) visitQueue_.push_back(type);
}

void SchemaWriter::visit(const Particle& particle) {
  if (particle.kind == Particle::Kind::Element) {
    visit(particle.element);
    if (particle.element->global && expanded_.insert(particle.element).second) expansions_.push_back({particle.element, nullptr});
  }
  for (const Particle& child : particle.children) visit(child);
}

// What is used, and not only built upon, may have others in its place.
void SchemaWriter::visitStandIns(const Expansion& used) {
  std::size_t count = 0;
  if (used.element != nullptr) {
    // The one that the sample takes is never left out.
    if (Element* first = index_.concrete(*used.element, target_)) visit(first);
    for (Element* member : index_.substitutes(used.element->name)) {
      closure_.truncated = closure_.truncated || count >= kMaxStandIns;
      if (count++ >= kMaxStandIns) return;
      visit(member);
    }
  } else if (index_.complete(*used.type).isAbstract) {
    visit(index_.concrete(*used.type, target_));
    for (Type* derived : index_.derived(*used.type)) {
      closure_.truncated = closure_.truncated || count >= kMaxStandIns;
      if (count++ >= kMaxStandIns) return;
      visit(derived);
    }
  }
}

void SchemaWriter::visitParts(Type& type) {
  if (isGlobal(type)) {
    closure_.types.push_back(&type);
    need(type.name.ns);
  }
  visit(type.base);
  visit(type.item);
  for (Type* member : type.members) visit(member);
  visit(type.simpleContent ? type.contentType : nullptr);
  if (type.content) visit(*type.content);
  for (const AttributeUse& use : type.attributes) {
    visit(use.type);
    const std::string& ns = use.name.ns;
    if (ns.empty() || ns == xmlns::kXml || ns == target_ || !closure_.attributeNames.insert(use.name).second) continue;
    closure_.attributes.push_back(&use);
    need(ns);
  }
}

void SchemaWriter::collect(const std::vector<Element*>& elements) {
  for (Element* element : elements) {
    Particle particle;
    particle.kind = Particle::Kind::Element;
    particle.element = element;
    visit(particle);
  }
  std::size_t nextElement = 0;
  std::size_t nextType = 0;
  std::size_t nextExpansion = 0;
  for (;;) {
    if (nextElement < closure_.elements.size()) {
      const Element* element = closure_.elements[nextElement++];
      Element* head = element->head.empty() ? nullptr : index_.element(element->head);
      if (head != nullptr && !head->missing) visit(head);
    } else if (nextType < visitQueue_.size()) {
      visitParts(index_.complete(*visitQueue_[nextType++]));
    } else if (nextExpansion < expansions_.size()) {
      visitStandIns(Expansion(expansions_[nextExpansion++]));
    } else {
      return;
    }
  }
}

// Content models.

bool SchemaWriter::hidesDerived(Type& type) {
  // An instance of an abstract type names the type that it has; this text can name those of its own namespace only.
  if (index_.complete(type).simple || !type.isAbstract) return false;
  const Type* concrete = index_.concrete(type, target_);
  return concrete != nullptr && (concrete->name.ns != target_ || type.name.ns != target_);
}

Particle SchemaWriter::converted(const Particle& particle, bool& foreign) {
  Particle result = particle;
  if (particle.kind == Particle::Kind::Element) {
    Element& element = *particle.element;
    const bool unqualified = element.name.ns.empty();
    NamespaceSet stands;
    bool elsewhere = !unqualified && element.name.ns != target_;
    if (element.global && !faithful_) {
      for (const Element* member : index_.substitutes(element.name)) {
        if (!member->isAbstract && member->name.ns != target_) stands.unite(NamespaceSet::of(member->name.ns));
        if (elsewhere && member->name.ns == target_) stands.unite(NamespaceSet::of(target_));
      }
    }
    if (faithful_) return result;
    const bool skip = hidesDerived(*element.type);
    if (elsewhere || skip) {
      stands.unite(NamespaceSet::of(element.name.ns));
      result.kind = Particle::Kind::Any;
      result.element = nullptr;
      result.any.namespaces = stands;
      result.any.skip = skip;
      foreign = true;
    } else if (!stands.list.empty()) {
      Particle one = particle;
      one.min = one.max = 1;
      Particle others;
      others.kind = Particle::Kind::Any;
      others.any.namespaces = stands;
      result.kind = Particle::Kind::Choice;
      result.element = nullptr;
      result.children = {one, others};
      foreign = true;
    }
    return result;
  }
  if (particle.kind == Particle::Kind::Any && !faithful_ && particle.any.namespaces.kind == NamespaceSet::Kind::Not &&
      particle.any.namespaces.excluded != target_) {
    result.any.namespaces = NamespaceSet::everything();
    foreign = true;
  }
  result.children.clear();
  for (const Particle& child : particle.children) result.children.push_back(converted(child, foreign));
  return result;
}

void SchemaWriter::simplify(Particle& particle) {
  if (particle.kind == Particle::Kind::Element || particle.kind == Particle::Kind::Any) return;
  const bool any =
      std::any_of(particle.children.begin(), particle.children.end(), [](const Particle& child) { return child.kind == Particle::Kind::Any; });
  if (particle.kind == Particle::Kind::All && any) {
    // A wildcard may not stand in xs:all.
    particle.kind = Particle::Kind::Choice;
    particle.min = 0;
    particle.max = kUnbounded;
    for (Particle& child : particle.children) child.min = child.max = 1;
  }
  std::vector<Particle> flat;
  for (Particle& child : particle.children) {
    simplify(child);
    const bool group = child.kind != Particle::Kind::Element && child.kind != Particle::Kind::Any;
    if (group && child.children.empty() && particle.kind != Particle::Kind::Choice) continue;
    if (group && child.children.size() == 1) {
      // A group of one is that one.
      Particle only = std::move(child.children.front());
      const bool exact = (child.min == 1 && child.max == 1) || (only.min == 1 && only.max == 1);
      if (exact || only.kind == Particle::Kind::Any) {
        only.min = times(child.min, only.min);
        only.max = times(child.max, only.max);
        if (only.min == kUnbounded) only.min = 0;
        flat.push_back(std::move(only));
        continue;
      }
      child.children.front() = std::move(only);
    }
    if (group && child.kind == particle.kind && child.min == 1 && child.max == 1) {
      for (Particle& inner : child.children) flat.push_back(std::move(inner));
    } else {
      flat.push_back(std::move(child));
    }
  }
  std::vector<Particle> merged;
  for (Particle& next : flat) {
    if (next.kind != Particle::Kind::Any) {
      merged.push_back(std::move(next));
      continue;
    }
    // The wildcard that this one would be confused with: within reach over what may be absent, or anywhere in a choice.
    std::size_t target = merged.size();
    for (std::size_t i = merged.size(); i-- > 0;) {
      if (merged[i].kind == Particle::Kind::Any && merged[i].any.namespaces.overlaps(next.any.namespaces)) target = i;
      if (particle.kind == Particle::Kind::Sequence && (merged[i].kind != Particle::Kind::Any || !emptiable(merged[i]))) break;
    }
    if (target == merged.size()) {
      merged.push_back(std::move(next));
      continue;
    }
    Particle joined = merged[target];
    const auto join = [&](const Particle& other) {
      joined.any.namespaces.unite(other.any.namespaces);
      joined.any.skip = joined.any.skip || other.any.skip;
      const bool sequence = particle.kind == Particle::Kind::Sequence;
      joined.min = sequence ? plus(joined.min, other.min) : std::min(joined.min, other.min);
      joined.max = sequence ? plus(joined.max, other.max) : std::max(joined.max, other.max);
    };
    if (particle.kind == Particle::Kind::Sequence) {
      for (std::size_t i = target + 1; i < merged.size(); ++i) join(merged[i]);
      merged.resize(target);
      join(next);
      merged.push_back(std::move(joined));
    } else {
      join(next);
      merged[target] = std::move(joined);
    }
  }
  particle.children = std::move(merged);
}

void SchemaWriter::loosen(const Particle& particle, std::vector<Element*>& elements, std::optional<Wildcard>& any) {
  if (particle.kind == Particle::Kind::Element) {
    const auto same = [&](const Element* other) { return other->name == particle.element->name; };
    if (std::none_of(elements.begin(), elements.end(), same)) elements.push_back(particle.element);
  } else if (particle.kind == Particle::Kind::Any) {
    if (any) {
      any->namespaces.unite(particle.any.namespaces);
      any->skip = any->skip || particle.any.skip;
    } else {
      any = particle.any;
    }
  }
  for (const Particle& child : particle.children) loosen(child, elements, any);
}

void SchemaWriter::writeModel(Particle particle, bool loose) {
  bool foreign = false;
  particle = converted(particle, foreign);
  if (!loose && !faithful_ && static_cast<std::size_t>(std::count_if(particle.children.begin(), particle.children.end(), emptiable)) > kMaxOptional) {
    note("the order is left open, because so many optional elements in a row would keep a validator busy for minutes");
    loose = true;
  }
  if (loose) {
    std::vector<Element*> elements;
    std::optional<Wildcard> any;
    loosen(particle, elements, any);
    Particle choice;
    choice.kind = Particle::Kind::Choice;
    choice.min = 0;
    choice.max = kUnbounded;
    for (Element* element : elements) {
      if (any && any->namespaces.contains(element->name.ns)) continue;
      Particle& one = choice.children.emplace_back();
      one.kind = Particle::Kind::Element;
      one.element = element;
    }
    if (any) {
      Particle& one = choice.children.emplace_back();
      one.kind = Particle::Kind::Any;
      one.any = *any;
    }
    if (choice.children.empty()) return;
    writeParticle(choice);
    return;
  }
  if (foreign) simplify(particle);
  if (particle.kind == Particle::Kind::Element || particle.kind == Particle::Kind::Any) {
    Particle group;
    group.children.push_back(std::move(particle));
    particle = std::move(group);
  }
  writeParticle(particle);
}

void SchemaWriter::writeParticle(const Particle& particle) {
  switch (particle.kind) {
    case Particle::Kind::Element:
      writeElement(*particle.element, &particle, false);
      return;
    case Particle::Kind::Any:
      writeWildcard("xs:any", particle.any, &particle);
      return;
    default:
      break;
  }
  const char* name = particle.kind == Particle::Kind::Sequence ? "xs:sequence" : particle.kind == Particle::Kind::Choice ? "xs:choice" : "xs:all";
  if (particle.children.empty()) {
    line(std::string("<") + name + bounds(particle) + "/>");
    return;
  }
  open(name + bounds(particle));
  for (const Particle& child : particle.children) writeParticle(child);
  close(name);
}

void SchemaWriter::writeWildcard(const char* name, const Wildcard& any, const Particle* limits) {
  const std::string allowed = namespaces(any.namespaces);
  line(std::string("<") + name + (allowed == "##any" ? std::string() : attribute("namespace", allowed)) + " processContents=\"" +
       (any.skip ? "skip" : "lax") + "\"" + (limits != nullptr ? bounds(*limits) : std::string()) + "/>");
}

// Components.

void SchemaWriter::writeElement(Element& element, const Particle* limits, bool global) {
  const std::string occurs = limits != nullptr ? bounds(*limits) : std::string();
  const bool reference =
      !global && element.global && (faithful_ || (element.name.ns == target_ && !element.name.ns.empty()) || element.name.ns == target_);
  own(&element, kElementLevels);
  if (reference) {
    line("<xs:element" + attribute("ref", qualified(element.name)) + occurs + "/>");
    disown();
    return;
  }
  if (!element.note.empty()) note(element.note);
  const int simplified = level(&element);
  if (simplified > 0) note("simplified: the original cannot be had in a schema of one namespace, or nothing can meet it");
  if (!faithful_) declarations_.emplace(element.name, &element);
  std::string tag = "xs:element" + attribute("name", element.name.local);
  Type& type = index_.complete(*element.type);
  // A type without a name that leads back into itself through a group gets one.
  const bool nested = inside_.size() > kMaxInside || std::find(inside_.begin(), inside_.end(), &type) != inside_.end();
  const bool inside = type.name.empty() && !type.builtIn && simplified < 2 && !(element.global && !global) && !nested;
  if (!inside) tag += attribute("type", simplified >= 2 ? "xs:anyType" : typeName(type, element.name.local));
  tag += occurs;
  if (!global && !written_.empty()) {
    const bool isQualified = !element.name.ns.empty();
    if (isQualified != qualifiedByDefault_) tag += attribute("form", isQualified ? "qualified" : "unqualified");
  }
  if (simplified < 1) {
    if (element.fixedValue) {
      tag += attribute("fixed", *element.fixedValue);
    } else if (element.defaultValue) {
      tag += attribute("default", *element.defaultValue);
    }
  }
  if (element.nillable) tag += attribute("nillable", "true");
  if (global) {
    // Without anything that could stand for it, abstract would mean never.
    if (element.isAbstract && (faithful_ || index_.concrete(element, target_) != nullptr)) tag += attribute("abstract", "true");
    if (simplified < 1 && !element.head.empty() && (faithful_ || (element.head.ns == target_ && !index_.element(element.head)->missing))) {
      tag += attribute("substitutionGroup", qualified(element.head));
    }
  }
  if (inside) {
    open(tag);
    writeType(type, std::string());
    close("xs:element");
  } else {
    line("<" + tag + "/>");
  }
  disown();
}

void SchemaWriter::writeType(Type& type, const std::string& name) {
  index_.complete(type);
  inside_.push_back(&type);
  own(&type, kTypeLevels);
  for (const std::string& text : type.notes) note(text);
  if (level(&type) > 0) note("simplified: the original cannot be had in a schema of one namespace, or nothing can meet it");
  if (type.simple) {
    writeSimple(type, name);
  } else {
    writeComplex(type, name);
  }
  disown();
  inside_.pop_back();
}

void SchemaWriter::writeFacets(const Type& type) {
  for (const Facet& facet : type.facets) {
    const std::string value = facet.isName ? qualified({facet.valueNs, facet.value}) : facet.value;
    line("<xs:" + facet.name + attribute("value", value) + "/>");
  }
}

void SchemaWriter::writeSimple(Type& type, const std::string& name) {
  const int simplified = level(&type);
  open("xs:simpleType" + (name.empty() ? std::string() : attribute("name", name)));
  const auto inner = [&](const char* element, const char* reference, Type& used, const Type* faceted) {
    const bool facets = faceted != nullptr && !faceted->facets.empty() && simplified < 1;
    const std::string tag = element;
    if (used.name.empty() && !used.builtIn) {
      open(tag);
      writeType(used, std::string());
      if (facets) writeFacets(*faceted);
      close(tag);
    } else if (facets) {
      open(tag + attribute(reference, typeName(used, name)));
      writeFacets(*faceted);
      close(tag);
    } else {
      line("<" + tag + attribute(reference, typeName(used, name)) + "/>");
    }
  };
  if (simplified >= 2) {
    line(type.variety == Type::Variety::List ? "<xs:list itemType=\"xs:anySimpleType\"/>" : "<xs:restriction base=\"xs:string\"/>");
  } else if (type.base != nullptr) {
    if (type.base->builtIn && type.base->name.local == "anySimpleType") {
      line("<xs:restriction base=\"xs:string\"/>");
    } else {
      inner("xs:restriction", "base", *type.base, &type);
    }
  } else if (type.variety == Type::Variety::List && type.item != nullptr) {
    inner("xs:list", "itemType", *type.item, nullptr);
  } else {
    std::string named;
    std::vector<Type*> anonymous;
    for (Type* member : type.members) {
      if (member->name.empty() && !member->builtIn) {
        anonymous.push_back(member);
      } else {
        const bool any = member->builtIn && member->name.local == "anySimpleType";
        named += (named.empty() ? "" : " ") + (any ? std::string("xs:string") : typeName(*member, name));
      }
    }
    const std::string tag = "xs:union" + (named.empty() ? std::string() : attribute("memberTypes", named));
    if (anonymous.empty()) {
      line("<" + tag + "/>");
    } else {
      open(tag);
      for (Type* member : anonymous) writeType(*member, std::string());
      close("xs:union");
    }
  }
  close("xs:simpleType");
}

void SchemaWriter::writeOpen() {
  Particle group;
  group.children.push_back(anything());
  writeParticle(group);
  writeWildcard("xs:anyAttribute", Wildcard{NamespaceSet::everything(), false}, nullptr);
}

void SchemaWriter::writeComplex(Type& type, const std::string& name) {
  const int simplified = level(&type);
  const bool open3 = type.open || simplified >= 3;
  // Types of other namespaces are written with all that they inherit: nothing can be derived from them here by name.
  const bool own = faithful_ || (type.name.ns == target_) || type.name.empty();
  const bool flat = !own || simplified >= 2 || (type.base != nullptr && type.base->open && type.derivation == Type::Derivation::Extension);
  std::string tag = "xs:complexType" + (name.empty() ? std::string() : attribute("name", name));
  if (type.isAbstract && (faithful_ || (own && index_.concrete(type, target_) != nullptr))) tag += attribute("abstract", "true");
  if (open3 && !(type.base != nullptr && type.simpleContent)) {
    open(tag + attribute("mixed", "true"));
    const Type* base = type.base;
    if (base != nullptr && !base->builtIn && !base->simple && own && (base->open || level(base) >= 3)) {
      open("xs:complexContent");
      line("<xs:extension" + attribute("base", typeName(*type.base, name)) + "/>");
      close("xs:complexContent");
    } else {
      writeOpen();
    }
    close("xs:complexType");
    return;
  }
  if (type.simpleContent || (flat && index_.textType(type) != nullptr)) {
    open(tag);
    open("xs:simpleContent");
    Type* text = index_.textType(type);
    std::vector<AttributeUse> uses;
    std::optional<Wildcard> any;
    if (flat || type.base == nullptr || type.base->simple || type.base->isAnyType) {
      index_.effectiveAttributes(type, uses, any);
      // A text type with facets that stands inside has no name yet.
      Type* base = simplified >= 3 || text == nullptr ? index_.type({std::string(xmlns::kSchema), "string"}) : text;
      open("xs:extension" + attribute("base", typeName(*base, (name.empty() ? "text" : name) + "_text")));
      writeAttributes(uses, any);
      close("xs:extension");
    } else {
      const bool extends = type.derivation == Type::Derivation::Extension;
      const std::string element = extends ? "xs:extension" : "xs:restriction";
      open(element + attribute("base", typeName(*type.base, name)));
      if (!extends && type.contentType != nullptr && simplified < 1) {
        if (Type* inner = type.contentType->base;
            inner != nullptr && inner->name.empty() && !inner->builtIn && inner != index_.textType(*type.base)) {
          writeType(*inner, std::string());
        }
        writeFacets(*type.contentType);
      }
      writeAttributes(type.attributes, type.anyAttribute);
      close(element);
    }
    close("xs:simpleContent");
    close("xs:complexType");
    return;
  }
  if (index_.isMixed(type)) tag += attribute("mixed", "true");
  const bool derives = !flat && type.base != nullptr && !type.base->simple && type.derivation != Type::Derivation::None;
  open(tag);
  if (derives) {
    const std::string element = type.derivation == Type::Derivation::Extension ? "xs:extension" : "xs:restriction";
    open("xs:complexContent");
    open(element + attribute("base", typeName(*type.base, name)));
    if (type.content) writeModel(*type.content, simplified >= 1);
    writeAttributes(type.attributes, type.anyAttribute);
    close(element);
    close("xs:complexContent");
  } else if (flat) {
    Particle content;
    std::vector<AttributeUse> uses;
    std::optional<Wildcard> any;
    index_.effectiveAttributes(type, uses, any);
    if (!index_.effectiveContent(type, content)) {
      writeOpen();
    } else {
      if (!content.children.empty() || content.kind != Particle::Kind::Sequence) writeModel(content, simplified >= 1);
      writeAttributes(uses, any);
    }
  } else {
    if (type.content) writeModel(*type.content, simplified >= 1);
    writeAttributes(type.attributes, type.anyAttribute);
  }
  close("xs:complexType");
}

void SchemaWriter::writeAttributes(const std::vector<AttributeUse>& uses, std::optional<Wildcard> any) {
  const auto admit = [&](const std::string& ns) {
    if (!any) {
      any = Wildcard{NamespaceSet::of(ns), false};
    } else if (!any->namespaces.contains(ns)) {
      any->namespaces.unite(NamespaceSet::of(ns));
    }
  };
  if (any && !faithful_ && any->namespaces.kind == NamespaceSet::Kind::Not && any->namespaces.excluded != target_) {
    any->namespaces = NamespaceSet::everything();
  }
  for (const AttributeUse& use : uses) {
    const bool elsewhere = !use.name.ns.empty() && use.name.ns != written_;
    if (elsewhere && !faithful_) {
      if (use.use != AttributeUse::Use::Prohibited) admit(use.name.ns);
      continue;
    }
    std::string tag = "xs:attribute";
    bool inside = false;
    if (elsewhere) {
      tag += attribute("ref", qualified(use.name));
    } else {
      tag += attribute("name", use.name.local);
      inside = use.type->name.empty() && !use.type->builtIn;
      if (!inside) tag += attribute("type", typeName(*use.type, use.name.local));
      if (!use.name.ns.empty()) tag += attribute("form", "qualified");
    }
    if (use.use == AttributeUse::Use::Required) tag += attribute("use", "required");
    if (use.use == AttributeUse::Use::Prohibited) tag += attribute("use", "prohibited");
    if (use.use != AttributeUse::Use::Prohibited && owner_ != 0 && level(owners_[owner_].component) < 1) {
      if (use.fixedValue) {
        tag += attribute("fixed", *use.fixedValue);
      } else if (use.defaultValue && use.use != AttributeUse::Use::Required) {
        tag += attribute("default", *use.defaultValue);
      }
    }
    if (inside) {
      open(tag);
      writeType(*use.type, std::string());
      close("xs:attribute");
    } else {
      line("<" + tag + "/>");
    }
  }
  if (any) writeWildcard("xs:anyAttribute", *any, nullptr);
}

// Writing one may ask for more.
void SchemaWriter::writeCopies() {
  while (!copies_.empty()) {
    const auto [type, name] = std::move(copies_.front());
    copies_.pop_front();
    writeType(*type, name);
  }
}

void SchemaWriter::writeForeign(const std::string& ns) {
  written_ = ns;
  qualifiedByDefault_ = true;
  names_.clear();
  taken_.clear();
  copies_.clear();
  std::string tag = "xs:schema elementFormDefault=\"qualified\"";
  if (!ns.empty()) tag += attribute("targetNamespace", ns);
  open(tag);
  for (Element* element : closure_.elements) {
    if (element->name.ns == ns) writeElement(*element, nullptr, true);
  }
  for (Type* type : closure_.types) {
    if (type->name.ns == ns) writeType(*type, type->name.local);
  }
  std::set<std::string> attributes;
  for (const AttributeUse* use : closure_.attributes) {
    if (use->name.ns != ns) continue;
    const bool inside = use->type->name.empty() && !use->type->builtIn;
    const std::string start = "xs:attribute" + attribute("name", use->name.local);
    if (inside) {
      open(start);
      writeType(*use->type, std::string());
      close("xs:attribute");
    } else {
      line("<" + start + attribute("type", typeName(*use->type, use->name.local)) + "/>");
    }
  }
  writeCopies();
  close("xs:schema");
}

std::string SchemaWriter::write(const std::vector<Element*>& elements) {
  collect(elements);
  written_ = target_;
  // The form that the payload's own children have is the default.
  qualifiedByDefault_ = true;
  for (const Element* element : elements) {
    Particle content;
    const Type& type = index_.complete(*element->type);
    const Particle* found = type.content ? &*type.content : nullptr;
    while (found != nullptr && found->kind != Particle::Kind::Element) found = found->children.empty() ? nullptr : found->children.data();
    if (found != nullptr && !found->element->global) {
      qualifiedByDefault_ = !found->element->name.ns.empty();
      break;
    }
  }
  if (!target_.empty()) prefix(target_);
  const bool formDefault = qualifiedByDefault_;
  lines_.push_back(0);  // the start tag comes last, when the prefixes are known
  for (Element* element : elements) {
    if (!element->global) writeElement(*element, nullptr, true);
  }
  for (Element* element : closure_.elements) {
    if (element->name.ns == target_) writeElement(*element, nullptr, true);
  }
  for (Type* type : closure_.types) {
    if (type->name.ns == target_) writeType(*type, type->name.local);
  }
  writeCopies();
  if (closure_.truncated) note("more can stand for an abstract type or element than is listed here");
  for (const std::string& text : index_.notes()) note(text);
  if (!closure_.foreign.empty()) {
    faithful_ = true;
    note("the definitions of other namespaces as they were");
    open("xs:annotation");
    open("xs:appinfo");
    for (const std::string& ns : closure_.foreign) writeForeign(ns);
    close("xs:appinfo");
    close("xs:annotation");
  }
  std::string start = "<xs:schema xmlns:xs=\"" + std::string(xmlns::kSchema) + "\"";
  for (const auto& [name, ns] : declared_) start += " xmlns:" + name + "=\"" + escapedAttribute(ns) + "\"";
  if (!target_.empty()) start += attribute("targetNamespace", target_);
  start += std::string(" elementFormDefault=\"") + (formDefault ? "qualified" : "unqualified") + "\">\n";
  return start + out_ + "</xs:schema>\n";
}

}  // namespace qvx::schema
