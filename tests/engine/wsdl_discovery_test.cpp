// SPDX-License-Identifier: Apache-2.0
#include "module_support.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qvx::test {
namespace {

const std::string kTop = "QName.name N\nQName.namespace urn:t\nTargetNamespace urn:t\n";
const std::string kVersion = "Version 1.1\n";

std::string portType(const std::string& name, const std::string& operations) {
  return "<portType name=\"" + name + "\">" + operations + "</portType>";
}
std::string op(const std::string& name) {
  return "<operation name=\"" + name + "\"><input message=\"t:In\"/><output message=\"t:Out\"/></operation>";
}
std::string binding(const std::string& name, const std::string& type, const std::string& operations,
                    const std::string& extension = "<soap:binding style=\"document\"/>") {
  return "<binding name=\"" + name + "\" type=\"t:" + type + "\">" + extension + operations + "</binding>";
}
std::string bound(const std::string& name, const std::string& attributes = "") {
  return "<operation name=\"" + name + "\"><soap:operation " + attributes + "/><input><soap:body use=\"literal\"/></input></operation>";
}
std::string port(const std::string& name, const std::string& use, const std::string& address = "") {
  return "<port name=\"" + name + "\" binding=\"t:" + use + "\">" + (address.empty() ? "" : "<soap:address location=\"" + address + "\"/>") +
         "</port>";
}

struct Case {
  const char* name;
  std::string definitions;
  std::string expected;  ///< after the properties of the description itself
  std::string log;       ///< part of a line; empty when none is expected

  friend void PrintTo(const Case& one, std::ostream* out) { *out << one.name; }
};

class OneDocument : public testing::TestWithParam<Case> {};

TEST_P(OneDocument, ListsAsExpected) {
  Engine engine;
  EXPECT_EQ(engine.listing(engine.write("a.wsdl", wsdl(GetParam().definitions))), kTop + kVersion + GetParam().expected);
  if (GetParam().log.empty()) {
    EXPECT_EQ(engine.logged, std::vector<std::string>());
  } else {
    EXPECT_TRUE(engine.hasLogged(GetParam().log)) << testing::PrintToString(engine.logged);
  }
}

const Case kCases[] = {
    {"OneOperation",
     kMessages + portType("P", op("A")) + binding("B", "P", bound("A", "soapAction=\"urn:A\"")) + "<service name=\"S\">" +
         port("X", "B", " http://h/x ") + "</service>",
     "Interface {urn:t}P\n  Operation urn:t A\n"
     "Binding {urn:t}B\n  Style document\n  Interface.Name P\n  Interface.Namespace urn:t\n  Operation urn:t A\n    - WSCP_ACTION urn:A\n    - "
     "WSCP_ADDRESS http://h/x\n"
     "Service {urn:t}S\n  Interface.Name P\n  Interface.Namespace urn:t\n  Endpoint X -\n    - Binding.Name B\n    - Binding.Namespace urn:t\n",
     ""},
    {"EmptyActionAndNoAction",
     kMessages + portType("P", op("A") + op("B")) + binding("B", "P", bound("A", "soapAction=\"\"") + bound("B"), "<soap12:binding/>"),
     "Interface {urn:t}P\n  Operation urn:t A\n  Operation urn:t B\n"
     "Binding {urn:t}B\n  Style document\n  Interface.Name P\n  Interface.Namespace urn:t\n  Operation urn:t A\n    - WSCP_ACTION \n  Operation "
     "urn:t B\n",
     ""},
    {"UnusableBindingsAreLeftOut",
     portType("P", op("A")) + binding("R", "P", bound("A"), "<soap:binding style=\"rpc\"/>") + binding("G", "P", "", "<http:binding verb=\"GET\"/>") +
         binding("D", "P", bound("A")) + "<service name=\"S\">" + port("r", "R", "http://h/r") + port("g", "G") + port("d", "D", "http://h/d") +
         "</service>",
     "Interface {urn:t}P\n  Operation urn:t A\n"
     "Binding {urn:t}D\n  Style document\n  Interface.Name P\n  Interface.Namespace urn:t\n  Operation urn:t A\n    - WSCP_ADDRESS http://h/d\n"
     "Service {urn:t}S\n  Interface.Name P\n  Interface.Namespace urn:t\n  Endpoint d -\n    - Binding.Name D\n    - Binding.Namespace urn:t\n",
     "binding '{urn:t}G' and the ports that use it are left out"},
    {"OnlyUnusableBindingsStay",
     portType("P", "") + binding("R", "P", "", "<soap:binding style=\"rpc\"/>") + binding("G", "P", "", "<http:binding verb=\"POST\"/>"),
     "Interface {urn:t}P\n"
     "Binding {urn:t}R\n  Style rpc\n  Interface.Name P\n  Interface.Namespace urn:t\n"
     "Binding {urn:t}G\n  Style POST\n  Interface.Name P\n  Interface.Namespace urn:t\n",
     ""},
    {"MixedStyles",
     portType("P", op("A") + op("B")) + binding("D", "P", bound("A", "style=\"document\"") + bound("B"), "<soap:binding style=\"rpc\"/>"),
     "Interface {urn:t}P\n  Operation urn:t A\n  Operation urn:t B\n"
     "Binding {urn:t}D\n  Style document\n  Interface.Name P\n  Interface.Namespace urn:t\n  Operation urn:t A\n",
     "operation 'B' of binding '{urn:t}D' is left out, because its style is 'rpc'"},
    {"MissingMessageIsSaid", portType("P", op("A")) + binding("B", "P", ""),
     "Interface {urn:t}P\n  Operation urn:t A\nBinding {urn:t}B\n  Style document\n  Interface.Name P\n  Interface.Namespace urn:t\n",
     "line 4: the message '{urn:t}In' of operation 'A' is defined nowhere"},
    {"OverloadsGetNames",
     kMessages +
         portType("P",
                  "<operation name=\"A\"><input name=\"one\" message=\"t:In\"/></operation><operation name=\"A\"><input name=\"two\" "
                  "message=\"t:In\"/></operation>"
                  "<operation name=\"A\"><input message=\"t:Out\"/></operation><operation name=\"A.2\"/>") +
         binding("D", "P",
                 "<operation name=\"A\"><soap:operation soapAction=\"2\"/><input name=\"two\"/></operation>"
                 "<operation name=\"A\"><soap:operation soapAction=\"1\"/><input name=\"one\"/></operation>"
                 "<operation name=\"A\"><soap:operation soapAction=\"3\"/><input name=\"A\"/></operation>"),
     "Interface {urn:t}P\n  Operation urn:t A\n  Operation urn:t A.two\n  Operation urn:t A.3\n  Operation urn:t A.2\n"
     "Binding {urn:t}D\n  Style document\n  Interface.Name P\n  Interface.Namespace urn:t\n  Operation urn:t A.two\n    - WSCP_ACTION 2\n"
     "  Operation urn:t A\n    - WSCP_ACTION 1\n  Operation urn:t A.3\n    - WSCP_ACTION 3\n",
     ""},
    {"FirstDefinitionWins",
     portType("P", op("A") + op("A")) + portType("P", op("Z")) + binding("D", "P", bound("A")) + binding("D", "P", "") + "<service name=\"S\">" +
         port("x", "D", "http://h/1") + port("x", "D", "http://h/2") + "</service><service name=\"S\"/>",
     "Interface {urn:t}P\n  Operation urn:t A\n"
     "Binding {urn:t}D\n  Style document\n  Interface.Name P\n  Interface.Namespace urn:t\n  Operation urn:t A\n    - WSCP_ADDRESS http://h/1\n"
     "Service {urn:t}S\n  Interface.Name P\n  Interface.Namespace urn:t\n  Endpoint x -\n    - Binding.Name D\n    - Binding.Namespace urn:t\n",
     "port type '{urn:t}P' stands twice"},
    {"BoundOperationWithoutCounterpart", portType("P", op("A")) + binding("D", "P", bound("A") + bound("Ghost")),
     "Interface {urn:t}P\n  Operation urn:t A\nBinding {urn:t}D\n  Style document\n  Interface.Name P\n  Interface.Namespace urn:t\n  Operation "
     "urn:t A\n",
     "operation 'Ghost' of binding '{urn:t}D' is left out"},
    {"InterfacesThatDiffer",
     portType("P", "") + portType("Q", "") + binding("D", "P", "") + binding("E", "Q", "") + "<service name=\"S\">" + port("d", "D") +
         port("e", "E") + "</service><service name=\"T\"/>",
     "Interface {urn:t}P\nInterface {urn:t}Q\n"
     "Binding {urn:t}D\n  Style document\n  Interface.Name P\n  Interface.Namespace urn:t\nBinding {urn:t}E\n  Style document\n  Interface.Name Q\n  "
     "Interface.Namespace urn:t\n"
     "Service {urn:t}S\n  Endpoint d -\n    - Binding.Name D\n    - Binding.Namespace urn:t\n  Endpoint e -\n    - Binding.Name E\n    - "
     "Binding.Namespace urn:t\n"
     "Service {urn:t}T\n",
     ""},
    {"MissingNames",
     "<portType><operation/></portType>" + portType("P", "<operation/>") + "<service><port/><port binding=\"t:D\"/></service>" +
         binding("D", "P", ""),
     "Interface {urn:t}P\nBinding {urn:t}D\n  Style document\n  Interface.Name P\n  Interface.Namespace urn:t\n"
     "Service {urn:t}N\n  Interface.Name P\n  Interface.Namespace urn:t\n  Endpoint Port1 -\n  Endpoint Port2 -\n    - Binding.Name D\n    - "
     "Binding.Namespace urn:t\n",
     "a portType has no name"},
    {"DocumentationOfEach",
     "<portType name=\"P\"><documentation> of <b>P</b> &amp; more\n</documentation><operation name=\"A\"><documentation>of "
     "A</documentation></operation></portType>"
     "<binding name=\"D\" type=\"t:P\"><documentation>of D</documentation><soap:binding/><operation name=\"A\"><documentation><![CDATA[of "
     "<A>]]></documentation></operation></binding>"
     "<service name=\"S\"><documentation>of S</documentation><port name=\"x\" binding=\"t:D\"><documentation>of x</documentation></port></service>",
     "Interface {urn:t}P\n  Documentation of P & more\n  Operation urn:t A\n    - Documentation of A\n"
     "Binding {urn:t}D\n  Documentation of D\n  Style document\n  Interface.Name P\n  Interface.Namespace urn:t\n  Operation urn:t A\n    - "
     "Documentation of <A>\n"
     "Service {urn:t}S\n  Documentation of S\n  Interface.Name P\n  Interface.Namespace urn:t\n  Endpoint x -\n    - Documentation of x\n    - "
     "Binding.Name D\n    - Binding.Namespace urn:t\n",
     ""},
    {"WrongSchemaIsNoMatter",
     "<types><xs:schema><xs:element type=\"nope:x\"/><xs:import/><xs:import namespace=\"urn:elsewhere\"/></xs:schema></types>" + portType("P", ""),
     "Interface {urn:t}P\n", ""},
    {"Empty", "", "", ""},
};

INSTANTIATE_TEST_SUITE_P(Wsdl, OneDocument, testing::ValuesIn(kCases), [](const auto& one) { return one.param.name; });

std::string imported(const std::string& attributes) {
  return "<import " + attributes + "/>";
}

TEST(WsdlDocuments, AreFollowedFromEachOther) {
  Engine engine;
  const std::string main = engine.write(
      "a.wsdl",
      wsdl("<documentation>Top</documentation>" + imported("namespace=\"urn:t\" location=\"sub/b.wsdl\"") + imported("location=\"types.xsd\"") +
           "<types xml:base=\"sub/deep/\"><xs:schema><xs:include schemaLocation=\"c%20d.xsd\"/></xs:schema></types><service name=\"S\">" +
           port("x", "D") + "</service>"));
  // Cycles, self-imports, another name for the same file, and namespaces that import each other without a place.
  engine.write("sub/b.wsdl", wsdl(imported("location=\"../a.wsdl\"") + imported("location=\"./b.wsdl\"") + imported("location=\"..\\sub\\b.wsdl\"") +
                                  portType("P", op("A")) + binding("D", "P", bound("A")) +
                                  "<types><xs:schema targetNamespace=\"urn:1\"><xs:import namespace=\"urn:2\"/></xs:schema>"
                                  "<xs:schema targetNamespace=\"urn:2\"><xs:import namespace=\"urn:1\"/></xs:schema></types>"));
  const std::string schema = "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\">";
  engine.write("types.xsd", schema + "<xs:redefine schemaLocation=\"types.xsd\"/></xs:schema>");
  engine.write("sub/deep/c d.xsd", schema + "<xs:import schemaLocation=\"../../types.xsd#x\"/></xs:schema>");
  const std::string expected =
      kTop + "Documentation Top\n" + kVersion +
      "Interface {urn:t}P\n  Operation urn:t A\nBinding {urn:t}D\n  Style document\n  Interface.Name P\n  Interface.Namespace urn:t\n"
      "  Operation urn:t A\nService {urn:t}S\n  Interface.Name P\n  Interface.Namespace urn:t\n  Endpoint x -\n    - Binding.Name D\n"
      "    - Binding.Namespace urn:t\n";
  EXPECT_EQ(engine.listing(main), expected);
  EXPECT_EQ(engine.listing("file://" + main), expected);
}

TEST(WsdlDocuments, ComeInAnyEncoding) {
  Engine engine;
  const std::string latin =
      "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><definitions xmlns=\"http://schemas.xmlsoap.org/wsdl/\" name=\"caf\xe9\"/>";
  std::string utf16 = "\xff\xfe";
  for (const char c : std::string("<definitions xmlns='http://schemas.xmlsoap.org/wsdl/' name='N'/>")) utf16 += {c, '\0'};
  EXPECT_EQ(engine.listing(engine.write("l.wsdl", latin)), "QName.name caf\xc3\xa9\nVersion 1.1\n");
  EXPECT_EQ(engine.listing(engine.write("u.wsdl", utf16)), "QName.name N\nVersion 1.1\n");
}

TEST(WsdlDocuments, AreMappedByACatalogue) {
  Engine engine;
  const std::string main = engine.write("a.wsdl", wsdl(imported("location=\"http://unreachable.invalid/b.wsdl\"")));
  engine.write("local/b.wsdl", wsdl(portType("P", "")));
  engine.write("conf/catalog.xml",
               "<catalog xmlns=\"urn:oasis:names:tc:entity:xmlns:xml:catalog\"><uri name=\"http://unreachable.invalid/b.wsdl\" "
               "uri=\"../local/b.wsdl\"/></catalog>");
  const std::string config = engine.write("conf/ws.toml", "catalog = \"catalog.xml\"\n[limits]\ndocuments = 2\n");
  EXPECT_EQ(engine.listing(main, {{"WSCP_WSDL_CONFIG", config}}), kTop + kVersion + "Interface {urn:t}P\n");

  // A catalogue that cannot be used maps nothing, which must not go unsaid; and none is fetched.
  for (const std::string broken :
       {"<catalog", "<html/>",
        "<catalog xmlns=\"urn:oasis:names:tc:entity:xmlns:xml:catalog\"><nextCatalog catalog=\"http://h/c.xml\"/></catalog>"}) {
    engine.write("conf/catalog.xml", broken);
    EXPECT_EQ(engine.listing(main, {{"WSCP_WSDL_CONFIG", config}}).substr(0, 37), "102: The XML catalogue cannot be used") << broken;
  }
}

TEST(WsdlNarrowing, ShowsWhatAServiceOrAPortUses) {
  Engine engine;
  const std::string main =
      engine.write("a.wsdl", wsdl(portType("P", op("A")) + portType("Q", "") + binding("D", "P", bound("A")) + binding("E", "P", bound("A")) +
                                  binding("F", "Q", "") + "<service name=\"S\">" + port("d", "D", "http://h/d") + port("e", "E", "http://h/e") +
                                  "</service><service name=\"T\">" + port("f", "F") + "</service>"));
  const std::string onlyE =
      kTop + kVersion +
      "Interface {urn:t}P\n  Operation urn:t A\n"
      "Binding {urn:t}E\n  Style document\n  Interface.Name P\n  Interface.Namespace urn:t\n  Operation urn:t A\n    - WSCP_ADDRESS http://h/e\n"
      "Service {urn:t}S\n  Interface.Name P\n  Interface.Namespace urn:t\n  Endpoint e -\n    - Binding.Name E\n    - Binding.Namespace urn:t\n";
  EXPECT_EQ(engine.listing(main, {{"WSCP_PORT", "e"}}), onlyE);
  EXPECT_EQ(engine.listing(main, {{"WSCP_PORT", "{urn:t}e"}, {"WSCP_SERVICE", "{urn:t}S"}}), onlyE);
  EXPECT_EQ(engine.listing(main, {{"WSCP_SERVICE", "T"}}),
            kTop + kVersion +
                "Interface {urn:t}Q\nBinding {urn:t}F\n  Style document\n  Interface.Name Q\n  Interface.Namespace urn:t\n"
                "Service {urn:t}T\n  Interface.Name Q\n  Interface.Namespace urn:t\n  Endpoint f -\n    - Binding.Name F\n"
                "    - Binding.Namespace urn:t\n");
  EXPECT_EQ(engine.listing(main, {{"WSCP_SERVICE", "U"}}), "103: " + main + ": no service 'U' (WSCP_SERVICE); there are: {urn:t}S, {urn:t}T");
  EXPECT_EQ(engine.listing(main, {{"WSCP_SERVICE", "S"}, {"WSCP_PORT", "f"}}), "103: " + main + ": no port 'f' (WSCP_PORT); there are: d, e");
  const std::string twice =
      engine.write("b.wsdl", wsdl("<service name=\"S\">" + port("d", "D") + "</service><service name=\"T\">" + port("d", "D") + "</service>"));
  EXPECT_EQ(engine.listing(twice, {{"WSCP_PORT", "d"}}),
            "103: " + twice + ": several services have a port 'd' (WSCP_PORT); choose one with WSCP_SERVICE, there are: {urn:t}S, {urn:t}T");
}

TEST(WsdlParameters, FollowPartsHeadersAndMime) {
  Engine engine;
  const std::string main = engine.write(
      "a.wsdl",
      wsdl(
          std::string(kMessages) +
          "<message name=\"Two\"><part name=\"h\" element=\"t:in\"/><part name=\"b\" element=\"t:out\"/></message><message name=\"None\"/>" +
          portType("P",
                   "<operation name=\"A\"><input message=\"t:Two\"><documentation>Asks</documentation></input><output message=\"t:Two\"/><fault "
                   "name=\"F\" message=\"t:In\"/>"
                   "</operation><operation name=\"B\"><input message=\"t:None\"/></operation>" +
                       op("Unbound")) +
          binding(
              "D", "P",
              "<operation name=\"A\"><input><soap12:header message=\"t:Two\" "
              "part=\"h\"/><soap12:body/></input><output><mime:multipartRelated><mime:part>"
              "<soap12:body parts=\"b\"/></mime:part><mime:part><mime:content part=\"h\"/></mime:part></mime:multipartRelated></output></operation>" +
                  bound("B"),
              "<soap12:binding/>")));
  const Answered found = engine.discover(main);
  const std::string handle = std::to_string(found.integers.at(0));
  const std::string types = "\x07\x0b\x0b\x0b\x0b";
  const auto rows = engine.call("DiscoverParameters", types, {handle, "urn:t", "D", "urn:t", "A"}).rows.at(0);
  std::vector<std::string> heads;
  std::vector<std::string> xml;
  for (const Row& row : rows) {
    if (row[0]) heads.push_back(*row[0] + " {" + *row[1] + "}" + *row[2]);
    if (row[1] == "XML") xml.push_back(*row[2]);
  }
  EXPECT_EQ(heads, (std::vector<std::string>{"Input {urn:t}out", "Output {urn:t}out", "Fault {urn:t}in"}));
  EXPECT_EQ(rows.at(1), (Row{{}, "Documentation", "Asks"}));
  EXPECT_NE(xml.at(0).find("Header"), std::string::npos);
  EXPECT_NE(xml.at(0).find("http://www.w3.org/2003/05/soap-envelope"), std::string::npos);
  EXPECT_EQ(xml.at(1).find("Header"), std::string::npos);
  // An empty message goes by its own name; what the binding does not bind has nothing to send.
  EXPECT_EQ(engine.call("DiscoverParameters", types, {handle, "urn:t", "D", "urn:t", "B"}).rows.at(0).at(0), (Row{"Input", "urn:t", "None"}));
  EXPECT_TRUE(engine.call("DiscoverParameters", types, {handle, "urn:t", "D", "urn:t", "Unbound"}).rows.at(0).empty());
  EXPECT_EQ(engine.call("DiscoverParameters", types, {handle, "urn:t", "D", "urn:t", "Z"}).code, 103);
  EXPECT_EQ(engine.call("DiscoverRelease", "\x07", {handle}).status, 0);
  EXPECT_EQ(engine.call("DiscoverParameters", types, {handle, "urn:t", "D", "urn:t", "A"}).code, 105);
}

}  // namespace
}  // namespace qvx::test
