// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_SCHEMA_SCHEMA_INDEX_H
#define QVX_SCHEMA_SCHEMA_INDEX_H

#include "names.h"
#include "schema/schema_model.h"
#include "schema/schema_set.h"

#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace qvx::schema {

struct DocumentDeleter {
  void operator()(xmlDoc* document) const noexcept { xmlFreeDoc(document); }
};
using DocumentPtr = std::unique_ptr<xmlDoc, DocumentDeleter>;

/// The global components of all documents by name, and their models, each made when first asked for and kept.
class Index {
 public:
  explicit Index(std::vector<SchemaDocument> documents);
  Index(const Index&) = delete;
  Index& operator=(const Index&) = delete;

  /// The type of that name, read; null when it is defined nowhere.
  Type* type(const QualifiedName& name);
  /// The global element of that name; where there is none, one that says so and holds anything.
  Element* element(const QualifiedName& name);
  Type* anyType();
  /// Reads the type's definition when that is still to be done.
  Type& complete(Type& type);

  /// Global elements that may stand for that one, directly or over others, in document order. Abstract ones are among them.
  const std::vector<Element*>& substitutes(const QualifiedName& head);
  /// Global complex types derived from that one, directly or over others, nearest first.
  const std::vector<Type*>& derived(const Type& type);
  /// The first derived type that can be instantiated; one of namespace `preferred` if there is any. Null when there is none.
  Type* concrete(const Type& type, const std::string& preferred);
  /// The same for a global element and its substitutes; the element itself when it is not abstract.
  Element* concrete(Element& element, const std::string& preferred);

  /// The simple type that the type's text has to fit; null when its content is no text.
  Type* textType(Type& type);
  /// All terms of the type, those of its bases first. False when its content is not known.
  bool effectiveContent(Type& type, Particle& out);
  void effectiveAttributes(Type& type, std::vector<AttributeUse>& uses, std::optional<Wildcard>& any);
  /// True when the two are the same type or `type` is derived from `base`.
  bool isMixed(Type& type);

  /// Documents that could not be read.
  const std::vector<std::string>& notes() const { return notes_; }

 private:
  struct Global {
    const xmlNode* node = nullptr;
    const Context* context = nullptr;
    Global* redefines = nullptr;
    Type* type = nullptr;
    Element* element = nullptr;
  };
  using Globals = std::unordered_map<QualifiedName, Global*, QualifiedNameHash>;

  void load();
  void registerSchema(std::size_t document, const xmlNode* schema, const std::string& ns, bool chameleon);
  void registerReferenced(std::size_t target, const std::string& ns);
  Global* add(Globals& map, const xmlNode* node, const Context* context, bool redefinition);
  const Globals* mapFor(std::string_view kind) const;

  Type* typeOf(Global& global, const QualifiedName& name);
  Element* elementOf(Global& global, const QualifiedName& name);
  Type* builtIn(const std::string& local);
  Type* anonymousType(const xmlNode* node, const Context& context);
  Type* typeByAttribute(const xmlNode* node, const char* attribute, const Context& context, Type* self, std::string& note);
  void fillElement(Element& element, const xmlNode* node, const Context& context);
  void buildSimple(Type& type);
  void buildComplex(Type& type);
  void readFacets(Type& type, const xmlNode* parent);
  void readAttributes(Type& type, const xmlNode* parent, const Context& context, std::set<const xmlNode*>& read);
  AttributeUse readAttribute(Type& type, const xmlNode* node, const Context& context);
  bool readParticle(Type& type, const xmlNode* node, const Context& context, Particle& out, int depth, std::size_t& budget);
  void readContent(Type& type, const xmlNode* parent);
  QualifiedName resolve(const xmlNode* node, std::string_view text, const Context& context) const;

  std::vector<SchemaDocument> documents_;
  std::vector<DocumentPtr> trees_;
  std::vector<std::vector<const xmlNode*>> schemas_;
  std::deque<Context> contexts_;
  std::deque<Global> globals_;
  std::deque<Type> typeStore_;
  std::deque<Element> elementStore_;
  std::set<std::pair<const xmlNode*, std::string>> visited_;
  std::map<std::pair<const xmlNode*, const Context*>, Type*> anonymous_;
  std::map<std::pair<const xmlNode*, const Context*>, Element*> locals_;
  Globals types_, elements_, groups_, attributeGroups_, attributes_;
  std::vector<std::pair<QualifiedName, Global*>> elementOrder_, typeOrder_;
  std::unordered_map<std::string, Type*> builtIns_;
  std::unordered_map<QualifiedName, Element*, QualifiedNameHash> missing_;
  std::unordered_map<QualifiedName, std::vector<QualifiedName>, QualifiedNameHash> headMembers_;
  std::unordered_map<QualifiedName, std::vector<Element*>, QualifiedNameHash> substitutes_;
  std::unordered_map<QualifiedName, std::vector<QualifiedName>, QualifiedNameHash> baseMembers_;
  std::unordered_map<const Type*, std::vector<Type*>> derived_;
  std::vector<std::string> notes_;
  bool loaded_ = false;
  bool basesRead_ = false;
  int nesting_ = 0;
};

}  // namespace qvx::schema

#endif
