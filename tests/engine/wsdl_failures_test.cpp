// SPDX-License-Identifier: Apache-2.0
#include "module_support.h"

#include <gtest/gtest.h>

#include <string>

namespace qvx::test {
namespace {

struct Case {
  const char* name;
  std::string document;
  std::string start;  ///< of the failure, after "code: file, line n: "; with the line

  friend void PrintTo(const Case& one, std::ostream* out) { *out << one.name; }
};

class Refused : public testing::TestWithParam<Case> {};

TEST_P(Refused, WithPlaceAndAdvice) {
  Engine engine;
  const std::string path = engine.write("a.wsdl", GetParam().document);
  std::string text = engine.listing(path);
  const std::size_t at = text.find(path);
  ASSERT_NE(at, std::string::npos) << text;
  text.replace(at, path.size(), "FILE");
  EXPECT_EQ(text.substr(0, GetParam().start.size()), GetParam().start) << text;
}

const std::string kDeep = [] {
  std::string text = "<definitions xmlns=\"http://schemas.xmlsoap.org/wsdl/\">";
  for (int i = 0; i < 300; ++i) text += "<a>";
  return text;
}();

const std::string kWide = [] {
  std::string text = "<definitions xmlns=\"http://schemas.xmlsoap.org/wsdl/\"";
  for (int i = 0; i < 1100; ++i) text += " a" + std::to_string(i) + "=\"\"";
  return text + "/>";
}();

const Case kCases[] = {
    {"Empty", "", "301: FILE: the document is empty"},
    {"Text", "hello", "301: FILE, line 1: the document is not well-formed XML"},
    {"CutOff", wsdl("<portType name=\"P\">").substr(0, 700), "301: FILE, line 4: the document is not well-formed XML"},
    {"Html", "<html><body>Hello</body></html>", "302: FILE, line 1: the root element is 'html', so this is no WSDL document; this is a web page"},
    {"Schema", "<schema xmlns=\"http://www.w3.org/2001/XMLSchema\"/>",
     "302: FILE, line 1: the root element is '{http://www.w3.org/2001/XMLSchema}schema', so this is no WSDL document; this is an XML Schema"},
    {"Wsdl20", "<description xmlns=\"http://www.w3.org/ns/wsdl\"/>",
     "303: FILE, line 1: the root element is '{http://www.w3.org/ns/wsdl}description': WSDL 2.0 is not read"},
    {"Doctype", "<!DOCTYPE a [<!ENTITY b SYSTEM \"file:///etc/passwd\">]>\n<a>&b;</a>",
     "308: FILE, line 1: the document has a document type declaration"},
    {"Deep", kDeep, "307: FILE, line 1: elements are nested deeper than 200"},
    {"Wide", kWide, "307: FILE, line 1: element 'definitions' has more than 1000 attributes"},
    {"Prefix", wsdl("\n<binding name=\"B\" type=\"nope:P\"/>"),
     "305: FILE, line 5: attribute 'type' of element 'binding' is 'nope:P', but the prefix 'nope' is not declared"},
    {"ElementPrefix", wsdl("<nope:x/>"), "305: FILE, line 4: the prefix 'nope' of element 'x' is not declared"},
    {"NoBinding", wsdl("<service name=\"S\"><port name=\"x\" binding=\"t:B\"/></service>"),
     "305: FILE, line 4: port 'x' uses the binding '{urn:t}B', which is defined nowhere"},
    {"NoPortType", wsdl("<binding name=\"B\" type=\"t:P\"><soap:binding/></binding>"),
     "305: FILE, line 4: binding '{urn:t}B' is of port type '{urn:t}P', which is defined nowhere"},
    {"NoImport", wsdl("<import location=\"b.wsdl\"/>"), "304: FILE, line 4: wsdl:import of 'b.wsdl' cannot be followed: "},
    {"NoSchema", wsdl("<types><xs:schema>\n<xs:include schemaLocation=\"b.xsd\"/></xs:schema></types>"),
     "304: FILE, line 5: xs:include of 'b.xsd' cannot be followed: "},
    {"ImportScheme", wsdl("<import location=\"gopher://h/b.wsdl\"/>"),
     "304: FILE, line 4: wsdl:import of 'gopher://h/b.wsdl' cannot be followed: gopher://h/b.wsdl: the scheme"},
};

INSTANTIATE_TEST_SUITE_P(Wsdl, Refused, testing::ValuesIn(kCases), [](const auto& one) { return one.param.name; });

TEST(ModuleCalls, AreCheckedBeforeTheyRun) {
  Engine engine;
  EXPECT_EQ(engine.call("getVersion").strings.size(), 1U);
  EXPECT_EQ(engine.call("getVersion", "\x0b", {"x"}).status, qvwlpBadArgument);
  EXPECT_EQ(engine.call("DiscoverService", "\x0b\x0b\x0b", {"1", "", ""}).status, qvwlpBadArgument);
  EXPECT_EQ(engine.call("discover").status, qvwlpNoSuchMethod);
  EXPECT_EQ(engine.call("DiscoverRelease", "\x07", {"1"}).code, 105);
  EXPECT_EQ(engine.call("Discover").code, 104);
  EXPECT_EQ(engine.callRows("SetNamespaces", {{{}, "urn:a"}, {"p", "urn:b"}}).status, 0);
  EXPECT_EQ(qvjniModule(kQvjniModuleVersion + 1), nullptr);
}

TEST(ModuleOptions, AreConvertedWhenSet) {
  Engine engine;
  const auto set = [&](const char* name, const char* value) {
    const Answered answered = engine.setOptions({{name, value}});
    return answered.status == 0 ? std::string("ok") : std::to_string(answered.code) + ": " + answered.error;
  };
  EXPECT_EQ(set("SOMEBODY_ELSES", "x"), "ok");
  EXPECT_EQ(set("WSCP_TLS_INSECURE", " Yes "), "ok");
  EXPECT_EQ(set("WSCP_TLS_INSECURE", "perhaps"), "101: Option 'WSCP_TLS_INSECURE' is 'perhaps', but true or false is needed");
  EXPECT_EQ(set("HTTP_REQUEST_TIMEOUT", "-1"), "101: Option 'HTTP_REQUEST_TIMEOUT' is '-1', but a whole number from 0 to 1000000 is needed");
  EXPECT_EQ(set("WSCP_PROXY_PORT", "65536"), "101: Option 'WSCP_PROXY_PORT' is '65536', but a whole number from 0 to 65535 is needed");
  EXPECT_EQ(set("WSCP_AUTH", "magic"), "101: Option 'WSCP_AUTH' is 'magic'; use basic, digest, ntlm, negotiate or any");
}

TEST(ModuleConfigFile, IsCheckedToTheLine) {
  Engine engine;
  const auto read = [&](const std::string& text) {
    const std::string path = engine.write("ws.toml", text);
    Answered answered = engine.setOptions({{"WSCP_WSDL_CONFIG", path}});
    const std::size_t at = answered.error.find(path);
    if (at != std::string::npos) answered.error.replace(at, path.size(), "FILE");
    return answered.status == 0 ? std::string("ok") : std::to_string(answered.code) + ": " + answered.error;
  };
  EXPECT_EQ(read("[options]\nWSCP_REDIRECTS = 2\nWSCP_TLS_INSECURE = true\n[headers]\nX-A = \"1\"\n"), "ok");
  EXPECT_EQ(read("[options]\nWSCP_REDIRECT = 2\n"), "102: FILE, line 2: the key 'WSCP_REDIRECT' is unknown; is 'WSCP_REDIRECTS' meant?");
  EXPECT_EQ(read("[limit]\n"), "102: FILE, line 1: the key 'limit' is unknown; is 'limits' meant?");
  EXPECT_EQ(read("\n[limits]\ndepth = \"x\"\n"), "102: FILE, line 3: the key 'depth' needs a whole number from 1 to 2147483647");
  EXPECT_EQ(read("[headers]\n\"X: Y\" = \"a\"\n"), "102: FILE, line 2: the key 'X: Y' needs a header's name and a value without line breaks");
  EXPECT_EQ(read("[options]\nWSCP_PROXY_PORT = 70000\n"),
            "102: FILE, line 2: Option 'WSCP_PROXY_PORT' is '70000', but a whole number from 0 to 65535 is needed");
  EXPECT_EQ(read("a = \n").substr(0, 17), "102: FILE, line 1");
  EXPECT_EQ(engine.setOptions({{"WSCP_CONFIG", "/nowhere/ws.toml"}}).code, 102);
}

TEST(ModuleLimits, ComeFromTheConfigFile) {
  Engine engine;
  const std::string main = engine.write("a.wsdl", wsdl("<import location=\"b.wsdl\"/>"));
  engine.write("b.wsdl", wsdl(""));
  const auto listing = [&](const std::string& limit) {
    return engine.listing(main, {{"WSCP_CONFIG", engine.write("ws.toml", "[limits]\n" + limit + "\n")}});
  };
  EXPECT_EQ(listing("documents = 1").substr(0, 4), "307:");
  EXPECT_EQ(listing("document_bytes = 100").substr(0, 4), "307:");
  EXPECT_EQ(listing("total_bytes = 700").substr(0, 4), "307:");
  EXPECT_EQ(listing("depth = 2"), "QName.name N\nQName.namespace urn:t\nTargetNamespace urn:t\nVersion 1.1\n");
}

}  // namespace
}  // namespace qvx::test
