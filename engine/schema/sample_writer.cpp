// SPDX-License-Identifier: Apache-2.0
#include "schema/sample_writer.h"

#include "schema/schema_text.h"
#include "schema/schema_writer.h"

#include <algorithm>

namespace qvx::schema {

namespace {

constexpr int kRecursion = 3;
constexpr int kMaxDepth = 120;
constexpr std::size_t kSoftElements = 2000;   // beyond it nothing optional is added
constexpr std::size_t kHardElements = 50000;  // beyond it elements stay empty
constexpr int kMaxProbes = 2000;

}  // namespace

std::string SampleWriter::prefix(const std::string& ns) {
  if (ns == xmlns::kXml) return "xml";
  auto [slot, added] = prefixes_.try_emplace(ns);
  if (added) {
    slot->second = ns == xmlns::kSchemaInstance ? "xsi" : ns == xmlns::kSchema ? "xs" : "ns" + std::to_string(prefixes_.size());
    declared_.emplace_back(slot->second, ns);
  }
  return slot->second;
}

std::string SampleWriter::tag(const QualifiedName& name) {
  return name.ns.empty() ? name.local : prefix(name.ns) + ":" + name.local;
}

std::string SampleWriter::textValue(Type& type) {
  return escapedText(values_.value(
      type, [this](const std::string& ns) { return prefix(ns); }, serial_));
}

void SampleWriter::write(Element& element, int indent, std::string& out) {
  Element* chosen = index_.concrete(element, element.name.ns);
  Element& root = chosen != nullptr ? *chosen : element;
  rootNs_ = root.name.ns;
  std::string body;
  writeElement(root, indent, body);
  // The declarations go into the root's tag, which ends at its name.
  const std::size_t position = body.find('<') + 1 + tag(root.name).size();
  std::string declarations;
  for (const auto& [name, ns] : declared_) declarations += " xmlns:" + name + "=\"" + escapedAttribute(ns) + "\"";
  body.insert(position, declarations);
  out += body;
}

Type& SampleWriter::instanceType(Element& element, std::string& xsiType) {
  Type& type = index_.complete(*element.type);
  if (!type.isAbstract) return type;
  Type* found = index_.concrete(type, rootNs_);
  if (found == nullptr) return type;
  xsiType = tag(found->name);
  return *found;
}

void SampleWriter::writeElement(Element& element, int indent, std::string& out) {
  ++written_;
  const std::string margin(static_cast<std::size_t>(indent), ' ');
  const std::string name = tag(element.name);
  out += margin + "<" + name;
  std::string xsiType;
  Type& type = instanceType(element, xsiType);
  if (!xsiType.empty()) out += " " + prefix(std::string(xmlns::kSchemaInstance)) + ":type=\"" + xsiType + "\"";
  int& open = open_[&type];
  Type* text = index_.textType(type);
  if (text == nullptr && !type.isAnyType && (depth_ >= kMaxDepth || written_ > kHardElements || open >= kRecursion)) {
    // Nested too often, or too much of it: cut, with what an empty element can have.
    if (element.nillable) out += " " + prefix(std::string(xmlns::kSchemaInstance)) + ":nil=\"true\"";
    if (written_ <= kHardElements) writeAttributes(type, out);
    out += "/>\n";
    return;
  }
  ++depth_;
  if (++open == kRecursion) ++exhausted_;
  if (!type.simple) writeAttributes(type, out);
  const std::optional<std::string>& given = element.fixedValue ? element.fixedValue : element.defaultValue;
  Particle content;
  if (text != nullptr) {
    const bool usable = given && (element.fixedValue || values_.accepts(*text, *given));
    const std::string value = escapedText(usable ? *given : textValue(*text));
    out += value.empty() ? "/>\n" : ">" + value + "</" + name + ">\n";
  } else {
    const bool known = !type.isAnyType && index_.effectiveContent(type, content);
    std::string inner;
    if (!type.isAnyType && (known || type.content)) writeContent(known ? content : *type.content, indent + 2, inner);
    if (inner.empty() && given && (type.isAnyType || index_.isMixed(type))) {
      out += ">" + escapedText(*given) + "</" + name + ">\n";
    } else {
      out += inner.empty() ? "/>\n" : ">\n" + inner + margin + "</" + name + ">\n";
    }
  }
  // Content may have added types, which moves nothing in this map, and closes what it opens.
  if (open_[&type]-- == kRecursion) --exhausted_;
  --depth_;
}

void SampleWriter::writeAttributes(Type& type, std::string& out) {
  std::vector<AttributeUse> uses;
  std::optional<Wildcard> any;
  index_.effectiveAttributes(type, uses, any);
  for (const AttributeUse& use : uses) {
    if (use.use == AttributeUse::Use::Prohibited) continue;
    if (use.use == AttributeUse::Use::Optional && (values_.impossible(*use.type) || use.name.ns == xmlns::kXml)) continue;
    const bool hasDefault = use.defaultValue && values_.accepts(*use.type, *use.defaultValue);
    const std::string value = escapedAttribute(use.fixedValue ? *use.fixedValue : hasDefault ? *use.defaultValue : textValue(*use.type));
    out += " " + tag(use.name) + "=\"" + value + "\"";
  }
}

bool SampleWriter::finite(Type& type, int depth) {
  index_.complete(type);
  if (type.simple || type.isAnyType) return true;
  Type* actual = type.isAbstract ? index_.concrete(type, rootNs_) : &type;
  if (actual == nullptr) actual = &type;
  const auto open = open_.find(actual);
  if (open != open_.end() && open->second >= kRecursion) return false;
  if (depth > kMaxDepth || ++probes_ > kMaxProbes) return true;
  if (std::find(probing_.begin(), probing_.end(), actual) != probing_.end()) return false;
  Particle content;
  if (!index_.effectiveContent(*actual, content)) return true;
  probing_.push_back(actual);
  const bool result = finite(content, depth + 1);
  probing_.pop_back();
  return result;
}

bool SampleWriter::finite(const Particle& particle, int depth) {
  if (particle.min == 0) return true;
  switch (particle.kind) {
    case Particle::Kind::Element: {
      Element* element = index_.concrete(*particle.element, rootNs_);
      return finite(*(element != nullptr ? element : particle.element)->type, depth);
    }
    case Particle::Kind::Any:
      return true;
    case Particle::Kind::Choice:
      return particle.children.empty() ||
             std::any_of(particle.children.begin(), particle.children.end(), [&](const Particle& one) { return finite(one, depth); });
    default:
      return std::all_of(particle.children.begin(), particle.children.end(), [&](const Particle& one) { return finite(one, depth); });
  }
}

bool SampleWriter::mayAdd(const Particle& particle) {
  if (written_ > kSoftElements) return false;
  if (particle.kind == Particle::Kind::Any) return false;
  if (particle.kind == Particle::Kind::Element) {
    const Element& element = *particle.element;
    if (element.missing) return false;
    if (element.isAbstract && index_.concrete(*particle.element, rootNs_) == nullptr) return false;
    Type& type = index_.complete(*element.type);
    if (type.isAbstract && index_.concrete(type, rootNs_) == nullptr) return false;
    Type* text = index_.textType(type);
    if (text != nullptr && values_.impossible(*text)) return false;
  }
  if (exhausted_ == 0) return true;
  Particle once = particle;
  once.min = 1;
  probes_ = 0;
  return finite(once, 0);
}

void SampleWriter::writeContent(const Particle& particle, int indent, std::string& out) {
  if (particle.min == 0 && !mayAdd(particle)) return;
  const unsigned count = std::clamp(particle.min, 1U, kMaxMinimum);
  for (unsigned i = 0; i < count && written_ < kHardElements; ++i) writeParticleOnce(particle, indent, out);
}

void SampleWriter::writeParticleOnce(const Particle& particle, int indent, std::string& out) {
  switch (particle.kind) {
    case Particle::Kind::Element: {
      Element* element = index_.concrete(*particle.element, rootNs_);
      writeElement(element != nullptr ? *element : *particle.element, indent, out);
      return;
    }
    case Particle::Kind::Any:
      writeAny(particle.any, indent, out);
      return;
    case Particle::Kind::Choice: {
      const Particle* chosen = nullptr;
      for (const Particle& branch : particle.children) {
        Particle probe = exhausted_ == 0 ? Particle() : branch;
        probes_ = 0;
        if (exhausted_ != 0 && probe.min == 0) probe.min = 1;
        if (exhausted_ != 0 && !finite(probe, 0)) continue;
        if (branch.kind == Particle::Kind::Element && branch.min == 0 && !mayAdd(branch)) continue;
        chosen = &branch;
        break;
      }
      if (chosen == nullptr && !particle.children.empty()) chosen = particle.children.data();
      if (chosen != nullptr) writeContent(*chosen, indent, out);
      return;
    }
    default:
      for (const Particle& one : particle.children) writeContent(one, indent, out);
  }
}

void SampleWriter::writeAny(const Wildcard& any, int indent, std::string& out) {
  ++written_;
  const std::string margin(static_cast<std::size_t>(indent), ' ');
  const NamespaceSet& set = any.namespaces;
  std::string ns;
  if (set.kind == NamespaceSet::Kind::Not) ns = "urn:any";
  if (set.kind == NamespaceSet::Kind::List && !set.contains("")) ns = set.list.empty() ? "urn:any" : set.list.front();
  out += margin + "<" + tag({ns, "any"}) + "/>\n";
}

}  // namespace qvx::schema
