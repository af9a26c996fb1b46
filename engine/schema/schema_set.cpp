// SPDX-License-Identifier: Apache-2.0
#include "schema/schema_set.h"

#include "schema/sample_value.h"
#include "schema/sample_writer.h"
#include "schema/schema_index.h"
#include "schema/schema_text.h"
#include "schema/schema_writer.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlschemas.h>

#include <algorithm>
#include <deque>
#include <map>
#include <set>

namespace qvx {

namespace {

using schema::DocumentPtr;
using schema::Element;
using schema::Levels;
using schema::LineOwner;
using schema::SchemaWriter;

constexpr int kMaxRounds = 40;

// libxml2 reports the errors of regular expressions to the thread's handler only.
class Silence {
 public:
  Silence() : handler_(xmlStructuredError), context_(xmlStructuredErrorContext) {
    xmlSetStructuredErrorFunc(nullptr, [](void*, xmlErrorPtr) {});
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;
  ~Silence() { xmlSetStructuredErrorFunc(context_, handler_); }

 private:
  xmlStructuredErrorFunc handler_;
  void* context_;
};

struct SchemaDeleter {
  void operator()(xmlSchema* compiled) const noexcept { xmlSchemaFree(compiled); }
};
using SchemaPtr = std::unique_ptr<xmlSchema, SchemaDeleter>;

DocumentPtr parse(const std::string& text) {
  constexpr int kOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_BIG_LINES;
  return DocumentPtr(xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, "UTF-8", kOptions));
}

/// A schema text as a validator sees it.
struct Compiled {
  DocumentPtr tree;
  SchemaPtr schema;
  std::set<long> lines;  ///< that were complained about
};

Compiled compile(const std::string& text) {
  Compiled result;
  result.tree = parse(text);
  xmlSchemaParserCtxt* parser = result.tree ? xmlSchemaNewDocParserCtxt(result.tree.get()) : nullptr;
  if (parser == nullptr) return result;
  const auto complain = [](void* context, xmlErrorPtr error) {
    if (error->level < XML_ERR_ERROR) return;
    static_cast<std::set<long>*>(context)->insert(error->node != nullptr ? xmlGetLineNo(static_cast<xmlNode*>(error->node)) : error->line);
  };
  xmlSchemaSetParserStructuredErrors(parser, complain, &result.lines);
  result.schema.reset(xmlSchemaParse(parser));
  if (!result.lines.empty()) result.schema.reset();
  xmlSchemaFreeParserCtxt(parser);
  return result;
}

/// Elements of a sample that the schema refuses. With a wrong content either the element or the one around it is to blame, so both are named.
std::set<QualifiedName> refused(const Compiled& compiled, const std::string& sample) {
  std::set<QualifiedName> names;
  const DocumentPtr tree = parse(sample);
  xmlSchemaValidCtxt* validator = tree ? xmlSchemaNewValidCtxt(compiled.schema.get()) : nullptr;
  if (validator == nullptr) return names;
  const auto complain = [](void* context, xmlErrorPtr error) {
    const auto* node = static_cast<const xmlNode*>(error->node);
    if (node != nullptr && node->type == XML_ATTRIBUTE_NODE) node = node->parent;
    for (int i = 0; i < (error->code == XML_SCHEMAV_ELEMENT_CONTENT ? 2 : 1) && node != nullptr && node->type == XML_ELEMENT_NODE;
         ++i, node = node->parent) {
      static_cast<std::set<QualifiedName>*>(context)->insert(
          {node->ns != nullptr ? reinterpret_cast<const char*>(node->ns->href) : "", reinterpret_cast<const char*>(node->name)});
    }
  };
  xmlSchemaSetValidStructuredErrors(validator, complain, &names);
  xmlSchemaValidateDoc(validator, tree.get());
  xmlSchemaFreeValidCtxt(validator);
  return names;
}

// Simplifies what the complaints are about by one step. False when there is nothing left to simplify.
bool degrade(const SchemaWriter& writer, const std::set<long>& lines, Levels& levels) {
  std::set<const void*> touched;
  for (const long line : lines) {
    if (line < 1 || static_cast<std::size_t>(line) > writer.lines().size()) continue;
    std::size_t owner = writer.lines()[static_cast<std::size_t>(line) - 1];
    while (owner != 0) {
      const LineOwner& found = writer.owners()[owner];
      int& level = levels[found.component];
      if (touched.count(found.component) != 0) break;
      if (level < found.maxLevel) {
        ++level;
        touched.insert(found.component);
        break;
      }
      owner = found.parent;
    }
  }
  return !touched.empty();
}

// The same for elements of a sample that the schema refuses: first what their types say, then the types.
bool degrade(const SchemaWriter& writer, const std::set<QualifiedName>& names, Levels& levels) {
  bool changed = false;
  std::set<const void*> touched;
  for (const QualifiedName& name : names) {
    const auto [first, last] = writer.declarations().equal_range(name);
    for (auto one = first; one != last; ++one) {
      const schema::Type* type = one->second->type;
      int& typeLevel = levels[type];
      int& elementLevel = levels[one->second];
      if (!type->builtIn && (touched.count(type) != 0 || typeLevel < schema::kTypeLevels)) {
        if (touched.insert(type).second) ++typeLevel;
        changed = true;
      } else if (elementLevel < schema::kElementLevels) {
        elementLevel = schema::kElementLevels;
        changed = true;
      }
    }
  }
  return changed;
}

}  // namespace

class SchemaSet::Impl {
 public:
  explicit Impl(std::vector<SchemaDocument> documents) : index_(std::move(documents)), values_(index_) {}

  std::string schemaText(const std::vector<MessagePart>& parts) {
    if (parts.empty()) return {};
    const Silence silence;
    std::vector<Element*> elements;
    for (const MessagePart& part : parts) {
      Element* one = element(part);
      if (std::find(elements.begin(), elements.end(), one) == elements.end()) elements.push_back(one);
    }
    const std::string& target = elements.front()->name.ns;
    Levels levels;
    std::string firstText;
    for (int round = 0; round < kMaxRounds; ++round) {
      SchemaWriter writer(index_, target, levels);
      std::string text = writer.write(elements);
      const Compiled compiled = compile(text);
      if (!compiled.schema) {
        if (!degrade(writer, compiled.lines, levels)) break;
        continue;
      }
      // A definition that nothing can meet (a facet against another, a recursion without an end) must not refuse every message.
      std::set<QualifiedName> names;
      for (Element* element : elements) {
        if (element->name.ns != target) continue;
        std::string sample;
        schema::SampleWriter(index_, values_).write(*element, 0, sample);
        names.merge(refused(compiled, sample));
      }
      if (names.empty()) return text;
      if (firstText.empty()) firstText = std::move(text);
      if (!degrade(writer, names, levels)) break;
    }
    if (!firstText.empty()) return firstText;
    return openText(elements);
  }

  void appendSample(const MessagePart& part, int indent, std::string& out) {
    const Silence silence;
    schema::SampleWriter(index_, values_).write(*element(part), indent, out);
  }

 private:
  // A part that is a type is an element of the part's name, without a namespace.
  Element* element(const MessagePart& part) {
    if (!part.isType) return index_.element({part.name.ns, schema::elementName(part.name.local)});
    Element*& slot = typed_[{part.part, part.name}];
    if (slot == nullptr) {
      slot = &store_.emplace_back();
      slot->name = {std::string(), schema::elementName(part.part)};
      slot->type = index_.type(part.name);
      if (slot->type == nullptr) {
        slot->type = index_.anyType();
        slot->note = "type " + part.name.text() + " is not defined: any content";
      }
    }
    return slot;
  }

  static std::string openText(const std::vector<Element*>& elements) {
    const std::string& target = elements.front()->name.ns;
    std::string text = "<xs:schema xmlns:xs=\"" + std::string(xmlns::kSchema) + "\"";
    if (!target.empty()) text += " targetNamespace=\"" + schema::escapedAttribute(target) + "\"";
    text += ">\n  <!-- the definitions contradict each other: any content -->\n";
    std::set<std::string> seen;
    for (const Element* element : elements) {
      if (element->name.ns != target || !seen.insert(element->name.local).second) continue;
      text += "  <xs:element name=\"" + schema::escapedAttribute(element->name.local) + "\" type=\"xs:anyType\" nillable=\"true\"/>\n";
    }
    return text + "</xs:schema>\n";
  }

  schema::Index index_;
  schema::SampleValues values_;
  std::map<std::pair<std::string, QualifiedName>, Element*> typed_;
  std::deque<Element> store_;
};

SchemaSet::SchemaSet(std::vector<SchemaDocument> documents) : impl_(std::make_unique<Impl>(std::move(documents))) {}
SchemaSet::~SchemaSet() = default;

std::string SchemaSet::schemaText(const std::vector<MessagePart>& parts) {
  return impl_->schemaText(parts);
}

void SchemaSet::appendSample(const MessagePart& part, int indent, std::string& out) {
  impl_->appendSample(part, indent, out);
}

}  // namespace qvx
