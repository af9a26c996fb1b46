// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_SCHEMA_SCHEMA_MODEL_H
#define QVX_SCHEMA_SCHEMA_MODEL_H

#include "names.h"

#include <libxml/tree.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace qvx::schema {

inline constexpr unsigned kUnbounded = std::numeric_limits<unsigned>::max();

struct Type;
struct Element;

/// What an xs:any or xs:anyAttribute admits: every namespace, all but one (and none), or a list in which the empty text is "no namespace".
struct NamespaceSet {
  enum class Kind { Any, Not, List };
  Kind kind = Kind::List;
  std::string excluded;           ///< of Not
  std::vector<std::string> list;  ///< of List; sorted, each once

  [[nodiscard]] bool contains(const std::string& ns) const;
  [[nodiscard]] bool overlaps(const NamespaceSet& other) const;
  /// The smallest set that can be written and holds both.
  void unite(const NamespaceSet& other);
  static NamespaceSet everything() {
    NamespaceSet set;
    set.kind = Kind::Any;
    return set;
  }
  static NamespaceSet of(const std::string& ns) {
    NamespaceSet set;
    set.list.push_back(ns);
    return set;
  }
};

struct Wildcard {
  NamespaceSet namespaces;
  bool skip = false;  ///< content is not looked at; otherwise it is where a declaration is known
};

/// One term of a content model with its bounds. Groups are dissolved into the models that use them.
struct Particle {
  enum class Kind { Element, Any, Sequence, Choice, All };
  Kind kind = Kind::Sequence;
  unsigned min = 1;
  unsigned max = 1;
  Element* element = nullptr;
  Wildcard any;
  std::vector<Particle> children;
};

struct AttributeUse {
  enum class Use { Optional, Required, Prohibited };
  QualifiedName name;
  Type* type = nullptr;
  Use use = Use::Optional;
  std::optional<std::string> defaultValue;
  std::optional<std::string> fixedValue;
};

struct Facet {
  std::string name;
  std::string value;
  std::string valueNs;  ///< namespace of a value that is a qualified name
  bool isName = false;  ///< the value is a qualified name; `value` holds its local part
};

/// Meaning of the names in a schema document: the same document means another thing under each namespace that includes it.
struct Context {
  std::string ns;
  bool elementsQualified = false;
  bool attributesQualified = false;
  bool chameleon = false;  ///< no namespace of its own: names without one are the includer's
};

struct Type {
  enum class Variety { Atomic, List, Union };
  enum class Derivation { None, Restriction, Extension };
  enum class State { Raw, Building, Built };

  QualifiedName name;  ///< empty for an anonymous type
  const xmlNode* node = nullptr;
  const Context* context = nullptr;
  Type* redefines = nullptr;  ///< what the type's own name means inside it
  State state = State::Raw;

  bool simple = false;
  bool builtIn = false;
  bool isAnyType = false;
  Type* base = nullptr;

  // Simple types.
  Variety variety = Variety::Atomic;
  Type* item = nullptr;
  std::vector<Type*> members;
  std::vector<Facet> facets;

  // Complex types.
  Derivation derivation = Derivation::None;
  bool simpleContent = false;
  Type* contentType = nullptr;  ///< simple type of a simple content
  bool mixed = false;
  bool isAbstract = false;
  bool open = false;  ///< holds anything, because what it builds on is not known
  std::optional<Particle> content;
  std::vector<AttributeUse> attributes;
  std::optional<Wildcard> anyAttribute;

  std::vector<std::string> notes;  ///< what could not be resolved

  // Kept by the sample writer.
  std::string sample;
  bool sampled = false;
};

struct Element {
  QualifiedName name;
  bool global = false;
  bool isAbstract = false;
  bool nillable = false;
  Type* type = nullptr;
  std::optional<std::string> defaultValue;
  std::optional<std::string> fixedValue;
  QualifiedName head;  ///< of the substitution group
  std::string note;    ///< what could not be resolved
  bool missing = false;
};

}  // namespace qvx::schema

#endif
