// SPDX-License-Identifier: Apache-2.0
#include "schema/schema_set.h"
#include "soap/sample_message.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xmlschemas.h>
#include <libxml/xpath.h>

#include <chrono>
#include <memory>
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

struct Case {
  const char* name;
  std::string schema;              ///< of namespace urn:t, with the element "e"
  std::string other;               ///< of namespace urn:o
  std::vector<std::string> holds;  ///< in the sample
  std::vector<std::string> lacks;  ///< in the sample
  std::string wrongFrom, wrongTo;  ///< a change of the sample that the schema must refuse
};

std::string typed(const std::string& content) {
  return "<xs:element name='e'><xs:complexType>" + content + "</xs:complexType></xs:element>";
}

std::string text(const std::string& facets, const std::string& base = "xs:string") {
  return "<xs:element name='e'><xs:simpleType><xs:restriction base='" + base + "'>" + facets + "</xs:restriction></xs:simpleType></xs:element>";
}

std::vector<Case> cases() {
  const std::string anyTail = "<xs:element name='z' type='xs:int'/></xs:sequence>";
  return {
      {"order",
       typed("<xs:sequence><xs:element name='a' type='xs:int'/><xs:element name='b' type='xs:date' minOccurs='0'/>" + anyTail),
       "",
       {"<ns1:a>1</ns1:a>\n  <ns1:b>2024-01-31</ns1:b>\n  <ns1:z>1</ns1:z>"},
       {},
       "<ns1:z>1</ns1:z>",
       ""},
      {"lexical", typed("<xs:sequence>" + anyTail), "", {}, {}, "<ns1:z>1<", "<ns1:z>one<"},
      {"attributes",
       typed(
           "<xs:attribute name='r' type='xs:int' use='required'/><xs:attribute name='p' use='prohibited'/><xs:attribute name='d' default='a&quot;b'/>"
           "<xs:attribute ref='xml:lang' use='required'/>"),
       "",
       {" r=\"1\"", " d=\"a&quot;b\"", " xml:lang=\"en\""},
       {" p="},
       " r=\"1\"",
       ""},
      {"form",
       typed("<xs:sequence><xs:element name='a' form='unqualified' type='xs:int'/></xs:sequence><xs:attribute name='q' form='qualified' "
             "type='xs:int'/>"),
       "",
       {"<a>1</a>", " ns1:q=\"1\""},
       {},
       "<a>1</a>",
       "<ns1:a>1</ns1:a>"},
      {"choice", typed("<xs:choice><xs:element name='a'/><xs:element name='b'/></xs:choice>"), "", {"<ns1:a/>"}, {"ns1:b"}, "<ns1:a/>", "<ns1:c/>"},
      {"all",
       typed("<xs:all><xs:element name='a' type='xs:int'/><xs:element name='b' type='xs:int' minOccurs='0'/></xs:all>"),
       "",
       {"<ns1:b>"},
       {},
       "<ns1:a>1</ns1:a>",
       ""},
      {"enumeration", text("<xs:enumeration value='red'/><xs:enumeration value='blue'/>"), "", {">red<"}, {}, ">red<", ">green<"},
      {"pattern", text("<xs:pattern value='[A-Z]{2}\\d{3,5}(-x)?'/>"), "", {}, {}, "</", "q</"},
      {"patternAndLength", text("<xs:pattern value='[a-c]+'/><xs:minLength value='20'/>"), "", {}, {}, "</", "d</"},
      {"lengths", text("<xs:minLength value='9'/><xs:maxLength value='9'/>"), "", {">texttextt<"}, {}, "</", "t</"},
      {"binaryLength", text("<xs:length value='3'/>", "xs:hexBinary"), "", {">000000<"}, {}, "</", "00</"},
      {"ranges", text("<xs:minExclusive value='10'/><xs:maxInclusive value='11'/>", "xs:int"), "", {">11<"}, {}, ">11<", ">10<"},
      {"digits",
       text("<xs:totalDigits value='2'/><xs:fractionDigits value='0'/><xs:minInclusive value='50'/>", "xs:decimal"),
       "",
       {">50<"},
       {},
       ">50<",
       ">100<"},
      {"dates", text("<xs:minInclusive value='2030-01-01'/>", "xs:date"), "", {">2030-01-01<"}, {}, "2030", "2029"},
      {"list",
       "<xs:simpleType name='l'><xs:list itemType='xs:int'/></xs:simpleType>" + text("<xs:length value='3'/>", "t:l"),
       "",
       {">1 1 1<"},
       {},
       ">1 1 1<",
       ">1 1<"},
      {"union",
       "<xs:simpleType name='u'><xs:union memberTypes='xs:date xs:int'/></xs:simpleType><xs:element name='e' type='t:u'/>",
       "",
       {">2024-01-31<"},
       {},
       ">2024-",
       ">y-"},
      {"defaults",
       typed("<xs:sequence><xs:element name='a' type='xs:int' default='7'/><xs:element name='f' type='xs:string' fixed='&lt;v&gt;'/></xs:sequence>"),
       "",
       {"<ns1:a>7<", "<ns1:f>&lt;v&gt;<"},
       {},
       "&lt;v",
       "&lt;w"},
      {"wrongDefault", typed("<xs:attribute name='h' type='xs:hexBinary' default='0xFF'/>"), "", {" h=\"73616D706C65\""}, {}, "73", "7"},
      {"identifiers",
       typed("<xs:sequence><xs:element name='i' type='xs:ID' minOccurs='2' maxOccurs='2'/></xs:sequence>"),
       "",
       {">id1<", ">id2<"},
       {},
       ">id1<",
       "> <"},
      {"simpleContent",
       "<xs:complexType name='m'><xs:simpleContent><xs:extension base='xs:decimal'><xs:attribute name='c' use='required' "
       "type='xs:NCName'/></xs:extension>"
       "</xs:simpleContent></xs:complexType><xs:element name='e' type='t:m'/>",
       "",
       {" c=\"name\">1.5<"},
       {},
       ">1.5<",
       ">much<"},
      {"extension",
       "<xs:complexType name='b'><xs:sequence><xs:element name='a' type='xs:int'/></xs:sequence></xs:complexType><xs:complexType "
       "name='d'><xs:complexContent>"
       "<xs:extension base='t:b'><xs:sequence><xs:element name='z' type='xs:int'/></xs:sequence></xs:extension></xs:complexContent></xs:complexType>"
       "<xs:element name='e' type='t:d'/>",
       "",
       {"<ns1:a>1</ns1:a>\n  <ns1:z>"},
       {},
       "<ns1:a>1</ns1:a>",
       ""},
      {"abstractType",
       "<xs:complexType name='b' abstract='true'/><xs:complexType name='d'><xs:complexContent><xs:extension base='t:b'><xs:sequence><xs:element "
       "name='z' type='xs:int'/>"
       "</xs:sequence></xs:extension></xs:complexContent></xs:complexType><xs:element name='e' type='t:b'/>",
       "",
       {"xsi:type=\"ns1:d\"", "<ns1:z>1<"},
       {},
       "xsi:type=\"ns1:d\"",
       ""},
      {"substitution",
       "<xs:element name='h' abstract='true' type='xs:anyType'/><xs:element name='m' type='xs:int' substitutionGroup='t:h'/>" +
           typed("<xs:sequence><xs:element ref='t:h'/></xs:sequence>"),
       "",
       {"<ns1:m>1</ns1:m>"},
       {"ns1:h"},
       ">1<",
       ">x<"},
      {"recursionOptional",
       typed("<xs:sequence><xs:element name='z' type='xs:int'/><xs:element ref='t:e' minOccurs='0'/></xs:sequence>"),
       "",
       {"      <ns1:z>"},
       {"        <ns1:z>"},
       "<ns1:z>1<",
       "<ns1:z>x<"},
      {"recursionThroughChoice",
       "<xs:complexType name='x'><xs:choice><xs:element name='both'><xs:complexType><xs:sequence><xs:element name='l' type='t:x'/><xs:element "
       "name='r' type='t:x'/></xs:sequence>"
       "</xs:complexType></xs:element><xs:element name='v' type='xs:int'/></xs:choice></xs:complexType><xs:element name='e' type='t:x'/>",
       "",
       {"<ns1:both>", "<ns1:v>1<"},
       {},
       "<ns1:v>1<",
       "<ns1:v>x<"},
      {"recursionThroughGroup",
       "<xs:group name='g'><xs:sequence><xs:element name='z' type='xs:int'/><xs:element name='a' minOccurs='0'><xs:complexType><xs:group "
       "ref='t:g'/></xs:complexType></xs:element>"
       "</xs:sequence></xs:group>" +
           typed("<xs:group ref='t:g'/>"),
       "",
       {"    <ns1:z>1<"},
       {},
       "<ns1:z>1</ns1:z>",
       ""},
      {"wildcard",
       typed("<xs:sequence><xs:any namespace='##other' processContents='strict'/>" + anyTail),
       "",
       {":any", "<ns1:z>"},
       {},
       "<ns1:z>1</ns1:z>",
       ""},
      {"foreignType",
       typed("<xs:sequence><xs:element name='a' type='o:n'/></xs:sequence>"),
       otherOf("<xs:simpleType name='n'><xs:restriction base='xs:int'/></xs:simpleType>"),
       {"<ns1:a>1<"},
       {},
       ">1<",
       ">x<"},
      {"foreignElements",
       typed("<xs:sequence><xs:element ref='o:a' minOccurs='0'/><xs:element ref='o:b'/><xs:element ref='o:a' minOccurs='0'/>" + anyTail),
       otherOf("<xs:element name='a' type='xs:int'/><xs:element name='b' type='xs:int'/>"),
       {"<ns2:a>1</ns2:a>\n  <ns2:b>1</ns2:b>\n  <ns2:a>"},
       {},
       "<ns1:z>1</ns1:z>",
       ""},
      {"foreignContent",
       "<xs:element name='e' type='o:c'/>",
       otherOf("<xs:complexType name='b'><xs:sequence><xs:element name='a' type='xs:int' "
               "minOccurs='0'/></xs:sequence></xs:complexType><xs:complexType name='c'>"
               "<xs:complexContent><xs:extension base='o:b'><xs:sequence><xs:element name='d' minOccurs='0'/></xs:sequence><xs:attribute name='k' "
               "use='required'/>"
               "</xs:extension></xs:complexContent></xs:complexType>"),
       {"<ns2:a>1</ns2:a>\n  <ns2:d"},
       {},
       " k=\"text\"",
       ""},
      {"foreignAbstract",
       typed("<xs:sequence><xs:element name='a' type='o:b'/></xs:sequence>"),
       otherOf("<xs:complexType name='b' abstract='true'/><xs:complexType name='c'><xs:complexContent><xs:extension "
               "base='o:b'/></xs:complexContent></xs:complexType>"),
       {"xsi:type=\"ns2:c\""},
       {},
       "ns1:a",
       "x"},
      {"nillableCut",
       typed("<xs:sequence><xs:element name='z' type='xs:int'/><xs:element ref='t:n'/></xs:sequence>") +
           "<xs:element name='n' nillable='true' type='t:n'/><xs:complexType name='n'><xs:sequence><xs:element "
           "ref='t:n'/></xs:sequence></xs:complexType>",
       "",
       {"xsi:nil=\"true\""},
       {},
       "<ns1:z>1</ns1:z>",
       ""},
      {"groups",
       "<xs:group name='g'><xs:choice><xs:element name='a' type='xs:int'/><xs:element name='b'/></xs:choice></xs:group><xs:attributeGroup name='ag'>"
       "<xs:attribute name='k' type='xs:int' use='required'/><xs:attributeGroup ref='t:ag2'/></xs:attributeGroup><xs:attributeGroup "
       "name='ag2'><xs:attribute name='l'/>"
       "</xs:attributeGroup>" +
           typed("<xs:sequence><xs:group ref='t:g' minOccurs='2' maxOccurs='2'/></xs:sequence><xs:attributeGroup ref='t:ag'/>"),
       "",
       {"k=\"1\" l=\"text\"", "<ns1:a>1</ns1:a>\n  <ns1:a>"},
       {},
       " k=\"1\"",
       ""},
      {"qualifiedNames",
       text("<xs:enumeration value='o:Server'/><xs:enumeration value='o:Client'/>", "xs:QName"),
       "",
       {">ns2:Server<", "xmlns:ns2=\"urn:o\""},
       {},
       ":Server",
       ":Other"},
      {"restriction",
       "<xs:complexType name='b'><xs:sequence><xs:element name='a' type='xs:int' minOccurs='0'/><xs:element name='z' type='xs:int' "
       "minOccurs='0'/></xs:sequence>"
       "<xs:attribute name='k'/></xs:complexType><xs:complexType name='r'><xs:complexContent><xs:restriction base='t:b'><xs:sequence><xs:element "
       "name='z' type='xs:int'/>"
       "</xs:sequence><xs:attribute name='k' use='prohibited'/></xs:restriction></xs:complexContent></xs:complexType><xs:element name='e' "
       "type='t:r'/>",
       "",
       {"<ns1:z>1<"},
       {"ns1:a", "k="},
       "<ns1:z>1</ns1:z>",
       ""},
      {"simpleContentRestriction",
       "<xs:complexType name='m'><xs:simpleContent><xs:extension base='xs:int'><xs:attribute "
       "name='c'/></xs:extension></xs:simpleContent></xs:complexType>"
       "<xs:complexType name='n'><xs:simpleContent><xs:restriction base='t:m'><xs:minInclusive "
       "value='40'/></xs:restriction></xs:simpleContent></xs:complexType>"
       "<xs:element name='e' type='t:n'/>",
       "",
       {" c=\"text\">40<"},
       {},
       ">40<",
       ">39<"},
      {"unionOfLists",
       "<xs:simpleType name='u'><xs:union><xs:simpleType><xs:list><xs:simpleType><xs:restriction base='xs:string'><xs:enumeration "
       "value='on'/></xs:restriction></xs:simpleType></xs:list>"
       "</xs:simpleType><xs:simpleType><xs:restriction base='xs:int'/></xs:simpleType></xs:union></xs:simpleType><xs:element name='e' type='t:u'/>",
       "",
       {">on<"},
       {},
       ">on<",
       ">off<"},
      {"deepFacets",
       "<xs:simpleType name='a'><xs:restriction base='xs:string'><xs:pattern value='\\i\\c*'/><xs:maxLength "
       "value='5'/></xs:restriction></xs:simpleType><xs:simpleType name='b'>"
       "<xs:restriction base='t:a'><xs:pattern value='.*[0-9]'/><xs:minLength value='4'/></xs:restriction></xs:simpleType><xs:element name='e' "
       "type='t:b'/>",
       "",
       {},
       {},
       "</",
       "123</"},
      {"patternClasses", text("<xs:pattern value='\\p{Lu}[\\w-[a-z_]]{2}[^\\s\\d]\\.(com|org)|[+\\-]\\d{1,3}'/>"), "", {}, {}, "</", "!</"},
      {"fractions",
       text("<xs:minExclusive value='0'/><xs:maxExclusive value='1'/><xs:fractionDigits value='2'/>", "xs:decimal"),
       "",
       {">0.5"},
       {},
       ">0.5",
       ">7.5"},
      {"mixedAndAny",
       typed("<xs:sequence><xs:any namespace='##local' processContents='skip' minOccurs='0' maxOccurs='unbounded'/>" + anyTail +
             "<xs:anyAttribute namespace='##other'/>"),
       "",
       {},
       {"any"},
       "<ns1:z>1</ns1:z>",
       ""},
      {"blockedSubstitution",
       "<xs:element name='h' abstract='true' type='xs:string'/>" +
           typed("<xs:sequence><xs:element name='z' type='xs:int'/><xs:element ref='t:h' minOccurs='0'/></xs:sequence>"),
       otherOf("<xs:element name='m' type='xs:string' substitutionGroup='t:h'/>"),
       {"<ns1:z>1<"},
       {"ns1:h"},
       "<ns1:z>1</ns1:z>",
       ""},
      {"foreignSubstitute",
       "<xs:element name='m' type='xs:int' substitutionGroup='o:h'/>" + typed("<xs:sequence><xs:element ref='o:h'/></xs:sequence>"),
       otherOf("<xs:element name='h' abstract='true' type='xs:int'/>"),
       {"<ns1:m>1</ns1:m>"},
       {":h"},
       "<ns1:m>1</ns1:m>",
       ""},
      {"foreignAttribute",
       typed("<xs:attribute ref='o:k' use='required'/><xs:attribute name='l' use='required' type='xs:int'/>"),
       otherOf("<xs:attribute name='k' type='xs:int'/>"),
       {"ns2:k=\"1\"", " l=\"1\""},
       {},
       " l=\"1\"",
       ""},
      {"foreignInAll",
       typed("<xs:all><xs:element ref='o:a'/><xs:element name='z' type='xs:int'/></xs:all>"),
       otherOf("<xs:element name='a' type='xs:int'/>"),
       {"<ns2:a>1<", "<ns1:z>1<"},
       {},
       "<ns1:z>1<",
       "<ns1:z>x<"},
      {"foreignChoices",
       typed("<xs:choice maxOccurs='unbounded'><xs:sequence><xs:element ref='o:a'/><xs:element name='y' "
             "type='xs:int'/></xs:sequence><xs:sequence><xs:element ref='o:b'/>" +
             anyTail + "</xs:choice>"),
       otherOf("<xs:element name='a' type='xs:int'/><xs:element name='b' type='xs:int'/>"),
       {"<ns2:a>1<", "<ns1:y>1<"},
       {"ns1:z"},
       "<ns1:y>1<",
       "<ns1:y>x<"},
      // Schemas with mistakes: only what is wrong is left open.
      {"missingType",
       typed("<xs:sequence><xs:element name='a' type='t:nowhere'/><xs:element ref='t:gone'/>" + anyTail),
       "",
       {"<ns1:a/>"},
       {},
       "<ns1:z>1</ns1:z>",
       ""},
      {"missingBase",
       "<xs:complexType name='c'><xs:complexContent><xs:extension base='o:nowhere'><xs:sequence><xs:element "
       "name='a'/></xs:sequence></xs:extension></xs:complexContent>"
       "</xs:complexType>" +
           typed("<xs:sequence><xs:element name='c' type='t:c'/><xs:group ref='t:none' minOccurs='0'/>" + anyTail),
       "",
       {"<ns1:a"},
       {},
       "ns1:e",
       "ns1:f"},
      {"selfDerived",
       "<xs:complexType name='c'><xs:complexContent><xs:extension base='t:c'/></xs:complexContent></xs:complexType><xs:simpleType "
       "name='s'><xs:restriction base='t:s'/></xs:simpleType>" +
           typed("<xs:sequence><xs:element name='c' type='t:c'/><xs:element name='s' type='t:s'/>" + anyTail),
       "",
       {},
       {},
       "<ns1:z>1</ns1:z>",
       ""},
      {"ambiguous",
       typed("<xs:sequence><xs:element name='a' type='xs:int' minOccurs='0'/><xs:element name='a' type='xs:int'/>" + anyTail),
       "",
       {},
       {},
       "<ns1:z>1<",
       "<ns1:z>x<"},
      {"badFacets",
       "<xs:simpleType name='s'><xs:restriction base='xs:string'><xs:pattern value='[z-a'/><xs:minLength "
       "value='-5'/></xs:restriction></xs:simpleType>" +
           typed("<xs:sequence><xs:element name='s' type='t:s'/>" + anyTail),
       "",
       {},
       {},
       "<ns1:z>1<",
       "<ns1:z>x<"},
      {"twice",
       "<xs:complexType name='c'><xs:sequence>" + anyTail +
           "</xs:complexType><xs:simpleType name='c'><xs:restriction base='xs:int'/></xs:simpleType>" + "<xs:element name='e' type='t:c'/>",
       "",
       {},
       {},
       "<ns1:z>1<",
       "<ns1:z>x<"},
      {"endless",
       typed("<xs:sequence><xs:element ref='t:e'/></xs:sequence><xs:attribute name='k' type='xs:int' use='required'/>"),
       "",
       {},
       {},
       " k=\"1\"",
       " k=\"x\""},
      {"sameNameTwoTypes",
       typed("<xs:sequence><xs:element name='a' type='xs:int'/><xs:element name='a' type='xs:date'/>" + anyTail),
       "",
       {"2024-01-31"},
       {},
       "<ns1:z>1<",
       "<ns1:z>x<"},
      {"hugeBounds",
       typed("<xs:sequence minOccurs='0' maxOccurs='99999999'><xs:element name='a' maxOccurs='5000000000'/>" + anyTail),
       "",
       {},
       {},
       "<ns1:z>1<",
       "<ns1:z>x<"},
  };
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

INSTANTIATE_TEST_SUITE_P(Cases, SchemaMessages, ::testing::ValuesIn(cases()), [](const auto& each) { return std::string(each.param.name); });

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
