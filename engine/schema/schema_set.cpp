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

struct Complaints {
  std::set<long> lines;
  bool failed = false;
};

void complain(void* context, xmlErrorPtr error) {
  auto& complaints = *static_cast<Complaints*>(context);
  if (error->level < XML_ERR_ERROR) return;
  complaints.failed = true;
  long line = error->line;
  if (error->node != nullptr) line = xmlGetLineNo(static_cast<xmlNode*>(error->node));
  complaints.lines.insert(line);
}

// Compiles a schema text, to learn what a validator would refuse.
Complaints compile(const std::string& text) {
  Complaints complaints;
  const schema::DocumentPtr tree(xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, "UTF-8",
                                               XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_BIG_LINES));
  xmlSchemaParserCtxt* parser = tree ? xmlSchemaNewDocParserCtxt(tree.get()) : nullptr;
  if (parser == nullptr) {
    complaints.failed = true;
    return complaints;
  }
  xmlSchemaSetParserStructuredErrors(parser, complain, &complaints);
  xmlSchema* compiled = xmlSchemaParse(parser);
  complaints.failed = complaints.failed || compiled == nullptr;
  xmlSchemaFree(compiled);
  xmlSchemaFreeParserCtxt(parser);
  return complaints;
}

// Simplifies what the complaints are about by one step. False when there is nothing left to simplify.
bool degrade(const SchemaWriter& writer, const Complaints& complaints, Levels& levels) {
  std::set<const void*> touched;
  for (const long line : complaints.lines) {
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
    for (int round = 0; round < kMaxRounds; ++round) {
      SchemaWriter writer(index_, target, levels);
      std::string text = writer.write(elements);
      const Complaints complaints = compile(text);
      if (!complaints.failed) return text;
      if (!degrade(writer, complaints, levels)) break;
    }
    return openText(elements);
  }

  void appendSample(const MessagePart& part, int indent, std::string& out) {
    const Silence silence;
    schema::SampleWriter(index_, values_).write(*element(part), indent, out);
  }

 private:
  // A part that is a type is an element of the part's name, without a namespace.
  Element* element(const MessagePart& part) {
    if (!part.isType) return index_.element(part.name);
    Element*& slot = typed_[{part.part, part.name}];
    if (slot == nullptr) {
      slot = &store_.emplace_back();
      slot->name = {std::string(), part.part};
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
