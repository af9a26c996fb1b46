// SPDX-License-Identifier: Apache-2.0
#include "schema/schema_set.h"
#include "soap/sample_message.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xmlschemas.h>
#include <libxml/xpath.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace qvx {
namespace {

struct Free {
  void operator()(xmlDoc* one) const { xmlFreeDoc(one); }
  void operator()(xmlSchema* one) const { xmlSchemaFree(one); }
  void operator()(xmlSchemaValidCtxt* one) const { xmlSchemaFreeValidCtxt(one); }
  void operator()(xmlXPathContext* one) const { xmlXPathFreeContext(one); }
  void operator()(xmlXPathObject* one) const { xmlXPathFreeObject(one); }
};

std::unique_ptr<xmlDoc, Free> parsed(const std::string& text) {
  return std::unique_ptr<xmlDoc, Free>(xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, "UTF-8", XML_PARSE_NONET));
}

void keepError(void* context, xmlErrorPtr error) {
  *static_cast<std::string*>(context) += error->message;
}

/// What libxml2 says against the payload, or against the schema; empty when both are right.
std::string complaints(const std::string& schemaText, const std::string& payload) {
  std::string errors;
  xmlSchemaParserCtxt* parser = xmlSchemaNewMemParserCtxt(schemaText.data(), static_cast<int>(schemaText.size()));
  xmlSchemaSetParserStructuredErrors(parser, keepError, &errors);
  const std::unique_ptr<xmlSchema, Free> compiled(xmlSchemaParse(parser));
  xmlSchemaFreeParserCtxt(parser);
  if (!compiled) return "schema: " + errors;
  const auto document = parsed(payload);
  if (!document) return "payload is not well-formed";
  const std::unique_ptr<xmlSchemaValidCtxt, Free> validator(xmlSchemaNewValidCtxt(compiled.get()));
  xmlSchemaSetValidStructuredErrors(validator.get(), keepError, &errors);
  return xmlSchemaValidateDoc(validator.get(), document.get()) == 0 ? std::string() : "payload: " + errors;
}

struct File {
  std::string name;
  std::string text;
};

/// A set of files that refer to each other by name.
std::vector<SchemaDocument> documents(const std::vector<File>& files) {
  std::vector<SchemaDocument> result;
  for (const File& file : files) {
    SchemaDocument& document = result.emplace_back();
    document.location = "/schemas/" + file.name;
    document.bytes = std::make_shared<const std::string>(file.text);
    for (std::size_t i = 0; i < files.size(); ++i) document.references.emplace(files[i].name, i);
  }
  return result;
}

std::string schemaOf(const std::string& content, const std::string& attributes = {}) {
  return "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' xmlns:t='urn:t' xmlns:o='urn:o' targetNamespace='urn:t' "
         "elementFormDefault='qualified' " +
         attributes + ">" + content + "</xs:schema>";
}

std::string otherOf(const std::string& content) {
  return "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' xmlns:o='urn:o' xmlns:t='urn:t' targetNamespace='urn:o' "
         "elementFormDefault='qualified'>" +
         content + "</xs:schema>";
}

std::string typed(const std::string& content) {
  return "<xs:element name='e'><xs:complexType>" + content + "</xs:complexType></xs:element>";
}

struct Case {
  std::string name;
  std::string schema;              ///< of namespace urn:t, with the element "e"
  std::string other;               ///< a schema of namespace urn:o
  std::vector<std::string> holds;  ///< in the sample
  std::vector<std::string> lacks;  ///< in the sample
  std::string wrongFrom, wrongTo;  ///< a change of the sample that the schema must refuse

  friend void PrintTo(const Case& one, std::ostream* out) { *out << one.name; }
};

std::string taken(xmlChar* text) {
  std::string copy(text == nullptr ? "" : reinterpret_cast<const char*>(text));
  xmlFree(text);
  return copy;
}

/// The cases of schema_cases.xml.
std::vector<Case> cases() {
  const std::unique_ptr<xmlDoc, Free> document(xmlReadFile(SCHEMA_CASES, nullptr, XML_PARSE_NONET | XML_PARSE_NOCDATA));
  if (!document) throw std::runtime_error("there are no cases");
  std::vector<Case> all;
  for (xmlNode* each = xmlFirstElementChild(xmlDocGetRootElement(document.get())); each != nullptr; each = xmlNextElementSibling(each)) {
    const auto attribute = [&](const char* name) { return taken(xmlGetProp(each, reinterpret_cast<const xmlChar*>(name))); };
    Case& one = all.emplace_back(Case{attribute("name"), {}, {}, {}, {}, attribute("from"), attribute("to")});
    for (xmlNode* child = xmlFirstElementChild(each); child != nullptr; child = xmlNextElementSibling(child)) {
      const std::string kind(reinterpret_cast<const char*>(child->name));
      const std::string text = taken(xmlNodeGetContent(child));
      if (kind == "schema") one.schema = text;
      if (kind == "other") one.other = text;
      if (kind == "holds") one.holds.push_back(text);
      if (kind == "lacks") one.lacks.push_back(text);
    }
  }
  return all;
}

class SchemaMessages : public ::testing::TestWithParam<Case> {};

TEST_P(SchemaMessages, SampleFitsTheSchemaAndAChangeDoesNot) {
  const Case& one = GetParam();
  std::vector<File> files{{"t.xsd", schemaOf(one.schema)}};
  if (!one.other.empty()) files.push_back({"o.xsd", one.other});
  SchemaSet set(documents(files));
  const MessagePart part{"body", {"urn:t", "e"}, false};
  const std::string schema = set.schemaText({part});
  std::string sample;
  set.appendSample(part, 0, sample);
  EXPECT_EQ(complaints(schema, sample), "") << schema << sample;
  EXPECT_EQ(set.schemaText({part}), schema);
  for (const std::string& expected : one.holds) EXPECT_NE(sample.find(expected), std::string::npos) << expected << "\n" << sample;
  for (const std::string& unexpected : one.lacks) EXPECT_EQ(sample.find(unexpected), std::string::npos) << unexpected << "\n" << sample;
  std::string wrong = sample;
  for (std::size_t at = wrong.find(one.wrongFrom); at != std::string::npos; at = wrong.find(one.wrongFrom, at + one.wrongTo.size())) {
    wrong.replace(at, one.wrongFrom.size(), one.wrongTo);
  }
  ASSERT_NE(wrong, sample) << sample;
  EXPECT_EQ(complaints(schema, wrong).substr(0, 8), "payload:") << schema << wrong;
}

INSTANTIATE_TEST_SUITE_P(Cases, SchemaMessages, ::testing::ValuesIn(cases()), [](const auto& each) { return each.param.name; });

TEST(SchemaSet, ChameleonDocumentsTakeTheNamespaceOfEachIncluder) {
  const std::string includer =
      "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' xmlns='NS' targetNamespace='NS' elementFormDefault='qualified'>"
      "<xs:include schemaLocation='common.xsd'/><xs:element name='e' type='C'/></xs:schema>";
  const auto with = [&](const std::string& ns) {
    std::string result = includer;
    for (std::size_t at = result.find("NS'"); at != std::string::npos; at = result.find("NS'")) result.replace(at, 2, ns);
    return result;
  };
  SchemaSet set(
      documents({{"a.xsd", with("urn:a")},
                 {"b.xsd", with("urn:b")},
                 {"common.xsd",
                  "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' elementFormDefault='qualified'><xs:include schemaLocation='common.xsd'/>"
                  "<xs:complexType name='C'><xs:sequence><xs:element name='v' type='V'/></xs:sequence></xs:complexType>"
                  "<xs:simpleType name='V'><xs:restriction base='xs:int'/></xs:simpleType></xs:schema>"}}));
  for (const char* ns : {"urn:a", "urn:b"}) {
    const MessagePart part{"body", {ns, "e"}, false};
    std::string sample;
    set.appendSample(part, 0, sample);
    EXPECT_EQ(sample, "<ns1:e xmlns:ns1=\"" + std::string(ns) + "\">\n  <ns1:v>1</ns1:v>\n</ns1:e>\n");
    EXPECT_EQ(complaints(set.schemaText({part}), sample), "");
  }
}

TEST(SchemaSet, RedefinitionsBuildOnWhatTheyRedefine) {
  SchemaSet set(documents(
      {{"new.xsd",
        schemaOf(
            "<xs:redefine schemaLocation='old.xsd'><xs:complexType name='c'><xs:complexContent><xs:extension base='t:c'><xs:sequence>"
            "<xs:element name='more' type='xs:int'/></xs:sequence></xs:extension></xs:complexContent></xs:complexType>"
            "<xs:group name='g'><xs:sequence><xs:group ref='t:g'/><xs:element name='last' type='xs:int'/></xs:sequence></xs:group></xs:redefine>")},
       {"old.xsd", schemaOf("<xs:complexType name='c'><xs:sequence><xs:group ref='t:g'/></xs:sequence></xs:complexType>"
                            "<xs:group name='g'><xs:sequence><xs:element name='first' type='xs:int'/></xs:sequence></xs:group>"
                            "<xs:element name='e' type='t:c'/>")}}));
  const MessagePart part{"body", {"urn:t", "e"}, false};
  std::string sample;
  set.appendSample(part, 0, sample);
  EXPECT_EQ(sample, "<ns1:e xmlns:ns1=\"urn:t\">\n  <ns1:first>1</ns1:first>\n  <ns1:last>1</ns1:last>\n  <ns1:more>1</ns1:more>\n</ns1:e>\n");
  EXPECT_EQ(complaints(set.schemaText({part}), sample), "");
}

TEST(SchemaSet, PartsThatAreTypesBecomeElementsWithoutANamespace) {
  const std::string wsdl = "<definitions xmlns='http://schemas.xmlsoap.org/wsdl/'><types>" +
                           schemaOf(
                               "<xs:complexType name='c'><xs:sequence><xs:element name='a' type='xs:int'/></xs:sequence><xs:attribute name='k' "
                               "use='required'/></xs:complexType>") +
                           otherOf("<xs:simpleType name='s'><xs:restriction base='xs:int'/></xs:simpleType>") + "</types></definitions>";
  SchemaSet set(documents({{"service.wsdl", wsdl}}));
  const std::vector<MessagePart> parts{{"one", {"urn:t", "c"}, true},
                                       {"two", {"urn:o", "s"}, true},
                                       {"three", {"http://www.w3.org/2001/XMLSchema", "date"}, true},
                                       {"no <name>", {"urn:t", "c"}, true}};
  const std::string schema = set.schemaText(parts);
  for (const MessagePart& part : parts) {
    std::string sample;
    set.appendSample(part, 2, sample);
    EXPECT_EQ(sample.substr(0, 6), "  <" + (part.part == "no <name>" ? "_no" : part.part.substr(0, 3)));
    EXPECT_EQ(complaints(schema, sample), "") << schema << sample;
  }
  EXPECT_EQ(complaints(schema, "<three>today</three>").substr(0, 8), "payload:");
  EXPECT_EQ(set.schemaText({}), "");
}

TEST(SchemaSet, OriginalsOfOtherNamespacesAreKept) {
  SchemaSet set(documents({{"t.xsd", schemaOf(typed("<xs:sequence><xs:element ref='o:a'/></xs:sequence>"))},
                           {"o.xsd", otherOf("<xs:element name='a' type='o:money'/><xs:simpleType name='money'><xs:restriction base='xs:decimal'>"
                                             "<xs:fractionDigits value='2'/></xs:restriction></xs:simpleType><xs:element name='unused'/>")}}));
  const std::string schema = set.schemaText({{"body", {"urn:t", "e"}, false}});
  const auto document = parsed(schema);
  const std::unique_ptr<xmlXPathContext, Free> context(xmlXPathNewContext(document.get()));
  const auto count = [&](const char* path) {
    const std::unique_ptr<xmlXPathObject, Free> found(xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(path), context.get()));
    return found && found->nodesetval != nullptr ? found->nodesetval->nodeNr : 0;
  };
  EXPECT_EQ(count("//*[local-name()='appinfo']/*[@targetNamespace='urn:o']/*[@name='money']//*[local-name()='fractionDigits'][@value='2']"), 1);
  EXPECT_EQ(count("//*[@name='unused']"), 0);
  EXPECT_EQ(count("//@schemaLocation"), 0);
}

// What may come with a set besides good schemas, and ways in which documents find each other.
TEST(SchemaSet, DocumentsFindEachOther) {
  const auto schema = [](const std::string& attributes, const std::string& content) {
    return "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' xmlns:t='urn:t' xmlns:o='urn:o' " + attributes + ">" + content + "</xs:schema>";
  };
  const std::string element = "<xs:element name='e' type='xs:int'/>";
  const std::string ownNs = "targetNamespace='urn:t'";
  struct Row {
    const char* why;
    std::vector<File> files;
    QualifiedName name;
    std::string sample;
  };
  const std::vector<Row> rows = {
      {"imported by namespace alone",
       {{"a.xsd", schema(ownNs, "<xs:import namespace='urn:o'/><xs:element name='e' type='o:v'/>")},
        {"b.xsd",
         schema("targetNamespace='urn:o'", "<xs:import namespace='urn:t'/><xs:simpleType name='v'><xs:restriction base='xs:int'/></xs:simpleType>")}},
       {"urn:t", "e"},
       "<ns1:e xmlns:ns1=\"urn:t\">1</ns1:e>\n"},
      {"documents without a namespace that include each other only",
       {{"a.xsd", schema("", "<xs:include schemaLocation='b.xsd'/>")}, {"b.xsd", schema("", "<xs:include schemaLocation='a.xsd'/>" + element)}},
       {"", "e"},
       "<e>1</e>\n"},
      {"included from a schema inside a WSDL",
       {{"a.wsdl", "<w:definitions xmlns:w='http://schemas.xmlsoap.org/wsdl/'><w:types>" + schema("", "") +
                       schema(ownNs, "<xs:include schemaLocation='b.xsd'/>") + "</w:types></w:definitions>"},
        {"b.xsd", schema("", element)}},
       {"urn:t", "e"},
       "<ns1:e xmlns:ns1=\"urn:t\">1</ns1:e>\n"},
      {"beside what is no schema, not well-formed, or has a DTD",
       {{"a.xsd", "<html/>"},
        {"b.xsd", "<xs:schema"},
        {"c.xsd", "<!DOCTYPE s [<!ENTITY e 'x'>]>" + schema(ownNs, "<xs:element name='e' type='xs:date'/>")},
        {"d.xsd", schema(ownNs, element)}},
       {"urn:t", "e"},
       "<ns1:e xmlns:ns1=\"urn:t\">1</ns1:e>\n"},
      {"defined nowhere", {{"a.xsd", schema(ownNs, "")}}, {"urn:t", "e"}, "<ns1:e xmlns:ns1=\"urn:t\"/>\n"},
      {"in an encoding of its own",
       {{"a.xsd", "<?xml version='1.0' encoding='ISO-8859-1'?>" +
                      schema(ownNs,
                             "<xs:element name='e'><xs:simpleType><xs:restriction base='xs:string'><xs:enumeration value='\xe9'/>"
                             "</xs:restriction></xs:simpleType></xs:element>")}},
       {"urn:t", "e"},
       "<ns1:e xmlns:ns1=\"urn:t\">\xc3\xa9</ns1:e>\n"},
  };
  for (const Row& row : rows) {
    SchemaSet set(documents(row.files));
    const MessagePart part{"p", row.name, false};
    std::string sample;
    set.appendSample(part, 0, sample);
    EXPECT_EQ(sample, row.sample) << row.why;
    EXPECT_EQ(complaints(set.schemaText({part}), sample), "") << row.why;
  }
}

TEST(SchemaSet, TextsHoldWhatIsNeededAndNoMore) {
  std::string many = "<xs:complexType name='base' abstract='true'/>";
  for (int i = 0; i < 1000; ++i) {
    const std::string number = std::to_string(i);
    many += "<xs:complexType name='d" + number + "'><xs:complexContent><xs:extension base='t:base'/></xs:complexContent></xs:complexType>";
    many += "<xs:element name='op" + number + "' type='t:d" + number + "'/>";
  }
  SchemaSet set(documents({{"t.xsd", schemaOf(many + typed("<xs:sequence><xs:element name='b' type='t:base'/></xs:sequence>"))}}));
  const std::string one = set.schemaText({{"p", {"urn:t", "op7"}, false}});
  EXPECT_NE(one.find("name=\"d7\""), std::string::npos);
  EXPECT_EQ(one.find("name=\"d8\""), std::string::npos);
  // An abstract type needs what is derived from it, of which there may be too much.
  const std::string all = set.schemaText({{"p", {"urn:t", "e"}, false}});
  EXPECT_NE(all.find("name=\"d8\""), std::string::npos);
  EXPECT_EQ(all.find("name=\"d999\""), std::string::npos);
  EXPECT_NE(all.find("<!-- more can stand for an abstract type"), std::string::npos);
}

// Schemas that would grow without end, or exhaust the stack, if followed.
TEST(SchemaSet, HostileSchemasStayBounded) {
  std::string wide, deep, groups;
  for (int i = 0; i < 12; ++i) {
    wide += "<xs:complexType name='w" + std::to_string(i) + "'><xs:sequence>";
    for (int k = 0; k < 12; ++k)
      wide += "<xs:element name='f" + std::to_string(k) + "' type='t:w" + std::to_string((i + k) % 12) + "' minOccurs='0'/>";
    wide += "</xs:sequence></xs:complexType>";
    wide += "<xs:complexType name='r" + std::to_string(i) + "'><xs:sequence>";
    for (int k = 0; k < 9 && i < 11; ++k) wide += "<xs:element name='f" + std::to_string(k) + "' type='t:r" + std::to_string(i + 1) + "'/>";
    wide += "</xs:sequence></xs:complexType>";
    groups += "<xs:group name='g" + std::to_string(i) + "'><xs:sequence>";
    for (int k = 0; k < 9; ++k) groups += "<xs:group ref='t:g" + std::to_string((i + 1) % 12) + "'/>";
    groups += "</xs:sequence></xs:group>";
  }
  for (int i = 0; i < 5000; ++i) {
    const std::string next = std::to_string(i + 1);
    deep += "<xs:complexType name='d" + std::to_string(i) + "'><xs:complexContent><xs:extension base='t:d" + next +
            "'/></xs:complexContent></xs:complexType>";
    deep +=
        "<xs:complexType name='n" + std::to_string(i) + "'><xs:sequence><xs:element name='a' type='t:n" + next + "'/></xs:sequence></xs:complexType>";
    deep += "<xs:group name='c" + std::to_string(i) + "'><xs:sequence><xs:element name='a'><xs:complexType><xs:group ref='t:c" + next +
            "'/></xs:complexType></xs:element></xs:sequence></xs:group>";
    deep += "<xs:simpleType name='s" + std::to_string(i) + "'><xs:restriction base='t:s" + next + "'/></xs:simpleType>";
  }
  SchemaSet set(documents(
      {{"t.xsd",
        schemaOf(
            wide + deep + groups +
            "<xs:complexType name='g'><xs:group ref='t:g0'/></xs:complexType><xs:complexType name='c'><xs:group ref='t:c0'/></xs:complexType>")}}));
  const auto start = std::chrono::steady_clock::now();
  for (const char* type : {"w0", "r0", "d0", "n0", "s0", "g", "c"}) {
    const MessagePart part{"p", {"urn:t", type}, true};
    std::string sample;
    set.appendSample(part, 0, sample);
    EXPECT_LT(sample.size(), 8U << 20) << type;
    EXPECT_TRUE(parsed(sample) != nullptr || type == std::string("n0")) << type;
    EXPECT_EQ(complaints(set.schemaText({part}), "<p/>").substr(0, 7) == "schema:", false) << type;
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

TEST(SampleMessage, PathsLeadToThePayloadOfTheEnvelope) {
  SchemaSet set(documents({{"t.xsd", schemaOf("<xs:element name='e' type='xs:int'/><xs:element name='h' type='xs:int'/>")}}));
  const MessagePart e{"body", {"urn:t", "e"}, false};
  const MessagePart h{"head", {"urn:t", "h"}, false};
  struct Row {
    MessageShape shape;
    std::string name;
    std::string found;  ///< local names the path finds
    std::string path;   ///< of local names from the root to the first of them
  };
  const QualifiedName message{"urn:m", "M"};
  const std::vector<Row> rows = {
      {{SoapVersion::Soap11, message, {e}, {}, false}, "{urn:t}e", "e ", "/Envelope/Body/e"},
      {{SoapVersion::Soap12, message, {e}, {h}, false}, "{urn:t}e", "e ", "/Envelope/Body/e"},
      {{SoapVersion::Soap11, message, {e, h}, {}, false}, "{urn:m}M", "e h ", "/Envelope/Body/e"},
      {{SoapVersion::Soap11, message, {}, {}, false}, "{urn:m}M", "Body ", "/Envelope/Body"},
      {{SoapVersion::Soap11, message, {e}, {}, true}, "{urn:t}e", "e ", "/Envelope/Body/Fault/detail/e"},
      {{SoapVersion::Soap12, message, {e}, {}, true}, "{urn:t}e", "e ", "/Envelope/Body/Fault/Detail/e"},
      {{SoapVersion::Soap12, message, {{"p", {"urn:none", "t"}, true}}, {}, false}, "{urn:m}M", "p ", "/Envelope/Body/p"},
  };
  for (const Row& row : rows) {
    const MessageTexts texts = describeMessage(row.shape, set);
    EXPECT_EQ(texts.name.text(), row.name);
    EXPECT_EQ(texts.schema.empty(), row.shape.body.empty());
    EXPECT_EQ(texts.xml.find("soapenv:Header") != std::string::npos, !row.shape.headers.empty());
    const auto document = parsed(texts.xml);
    ASSERT_TRUE(document) << texts.xml;
    const std::unique_ptr<xmlXPathContext, Free> context(xmlXPathNewContext(document.get()));
    const std::unique_ptr<xmlXPathObject, Free> result(xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(texts.xpath.c_str()), context.get()));
    ASSERT_TRUE(result && result->nodesetval != nullptr && result->nodesetval->nodeNr > 0) << texts.xpath << texts.xml;
    std::string found;
    for (int i = 0; i < result->nodesetval->nodeNr; ++i)
      found += std::string(reinterpret_cast<const char*>(result->nodesetval->nodeTab[i]->name)) + " ";
    EXPECT_EQ(found, row.found);
    std::string path;
    for (const xmlNode* up = result->nodesetval->nodeTab[0]; up->type == XML_ELEMENT_NODE; up = up->parent) {
      path.insert(0, "/" + std::string(reinterpret_cast<const char*>(up->name)));
    }
    EXPECT_EQ(path, row.path);
    const bool is12 = row.shape.version == SoapVersion::Soap12;
    EXPECT_NE(texts.xml.find(is12 ? xmlns::kSoap12Envelope : xmlns::kSoap11Envelope), std::string::npos);
  }
}

}  // namespace
}  // namespace qvx
