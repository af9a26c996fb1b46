// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_SCHEMA_SCHEMA_WRITER_H
#define QVX_SCHEMA_SCHEMA_WRITER_H

#include "schema/schema_index.h"

#include <deque>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace qvx::schema {

/// How far each component of a text is simplified: 0 as it is, more when the schema compiler refuses it so.
using Levels = std::unordered_map<const void*, int>;

inline constexpr int kTypeLevels = 3;
inline constexpr int kElementLevels = 2;

/// Bounds of occurrence above these are taken for them: what compiles schemas unrolls bounds, and a sample repeats what is required.
inline constexpr unsigned kMaxMinimum = 100;
inline constexpr unsigned kMaxMaximum = 1000;

/// Who a line of the text belongs to.
struct LineOwner {
  const void* component = nullptr;
  int maxLevel = 0;
  std::size_t parent = 0;  ///< index of the enclosing owner; its own index at the top
};

/// Writes schema texts. One document has one target namespace, so:
///  - components of the target namespace are written as they are;
///  - types of other namespaces are written under names of their own, without what they are derived from;
///  - elements of other namespaces become wildcards of these namespaces, qualified attributes likewise;
///  - the original definitions of the other namespaces follow, complete, in an xs:appinfo.
class SchemaWriter {
 public:
  SchemaWriter(Index& index, std::string target, const Levels& levels) : index_(index), target_(std::move(target)), levels_(levels) {}

  /// The whole text for these elements; those that are not global ones of the set are declared, too.
  std::string write(const std::vector<Element*>& elements);

  const std::vector<LineOwner>& owners() const { return owners_; }
  /// Element declarations of the text, by name.
  const std::unordered_multimap<QualifiedName, Element*, QualifiedNameHash>& declarations() const { return declarations_; }
  /// Owner of each line, from 0.
  const std::vector<std::size_t>& lines() const { return lines_; }

 private:
  struct Closure {
    std::vector<Element*> elements;
    std::vector<Type*> types;
    std::vector<std::string> foreign;  ///< other namespaces, in order of discovery
    std::vector<const AttributeUse*> attributes;
    std::set<QualifiedName> attributeNames;
    bool truncated = false;
  };

  struct Expansion {
    Element* element;
    Type* type;
  };

  void collect(const std::vector<Element*>& elements);
  void need(const std::string& ns);
  void visitStandIns(const Expansion& used);
  void visitParts(Type& type);
  void visit(Type* type);
  void visit(Element* element);
  void visit(const Particle& particle);

  void writeCopies();
  void writeForeign(const std::string& ns);
  void writeElement(Element& element, const Particle* bounds, bool global);
  void writeType(Type& type, const std::string& name);
  void writeSimple(Type& type, const std::string& name);
  void writeComplex(Type& type, const std::string& name);
  void writeFacets(const Type& type);
  void writeAttributes(const std::vector<AttributeUse>& uses, std::optional<Wildcard> any);
  void writeParticle(const Particle& particle);
  void writeModel(Particle particle, bool loose);
  void writeWildcard(const char* name, const Wildcard& any, const Particle* bounds);
  void writeOpen();

  Particle converted(const Particle& particle, bool& foreign);
  void simplify(Particle& particle);
  void loosen(const Particle& particle, std::vector<Element*>& elements, std::optional<Wildcard>& any);
  bool hidesDerived(Type& type);
  std::string typeName(Type& type, const std::string& hint);
  std::string prefix(const std::string& ns);
  std::string qualified(const QualifiedName& name);
  std::string namespaces(const NamespaceSet& set) const;
  int level(const void* component) const;
  bool isGlobal(const Type& type) const { return !type.name.empty() && index_.type(type.name) == &type; }

  void open(const std::string& text);
  void close(const std::string& name);
  void line(const std::string& text);
  void note(const std::string& text);
  void own(const void* component, int maxLevel);
  void disown();

  Index& index_;
  std::string target_;
  const Levels& levels_;
  bool faithful_ = false;  ///< writing an original: names of other namespaces are written as names
  std::string written_;    ///< namespace of the schema element that is being written
  Closure closure_;
  std::unordered_set<const void*> seen_;
  std::vector<Type*> visitQueue_;
  std::unordered_set<const void*> expanded_;
  std::vector<Expansion> expansions_;
  std::unordered_map<const Type*, std::string> names_;
  std::set<std::string> taken_;
  std::vector<const Type*> inside_;  ///< being written
  std::deque<std::pair<Type*, std::string>> copies_;
  std::map<std::string, std::string> prefixes_;
  std::vector<std::pair<std::string, std::string>> declared_;
  bool qualifiedByDefault_ = true;

  std::string out_;
  int indent_ = 1;
  std::vector<LineOwner> owners_{LineOwner{}};
  std::vector<std::size_t> lines_;
  std::size_t owner_ = 0;
  std::unordered_multimap<QualifiedName, Element*, QualifiedNameHash> declarations_;
};

}  // namespace qvx::schema

#endif
