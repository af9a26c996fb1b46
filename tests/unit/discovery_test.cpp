// SPDX-License-Identifier: Apache-2.0
#include "scripted_proxy.h"
#include "wsdisc.h"
#include "wsparm.h"

#include <qvws/qvws.h>

#include <gtest/gtest.h>

#include <algorithm>

struct DiscoveryTestAccess {
  static std::string properties(WebServiceDiscovery* discovery) {
    auto* impl = static_cast<WebServiceDiscoveryImpl*>(discovery);
    using scripted::str;
    return str(impl->wsdlLocation_) + " " + str(impl->name_.toText()) + " " + str(impl->targetNamespace_) + " " + str(impl->documentation_) + " " +
           str(impl->version_);
  }
};
struct ParameterTestAccess {
  static QvbString xpath(WebServiceParameter* parameter) { return static_cast<WebServiceParameterImpl*>(parameter)->xpath_; }
};

namespace {

using scripted::null;
using scripted::objects;
using scripted::Reply;
using scripted::Rows;
using scripted::script;
using scripted::str;
using Lines = std::vector<std::string>;

QName x(const char* name) {
  return {"x", name};
}

/// The name of an object, or "-" when there is none.
template <class Object>
std::string nameOf(Object* object) {
  return object != nullptr ? str(object->getQName().toText()) : "-";
}

// What a host sees of an object, in the order in which it is told: "name documentation links: parts".
std::string describe(WebServiceInterface* interface) {
  QvbString err;
  std::string text = nameOf(interface) + " " + str(interface->getDocumentation()) + ":";
  for (int32_t i = 0; i < interface->getOperationCount(); ++i) {
    WebServiceOperation* operation = interface->getOperationAt(i, err);
    EXPECT_EQ(interface->getOperation(operation->getQName()), operation);
    EXPECT_EQ(operation->getInterface(), interface);
    text += " " + nameOf(operation) + "(" + str(operation->getDocumentation()) + ")";
  }
  return text;
}
std::string describe(WebServiceBinding* binding) {
  QvbString err;
  std::string text = nameOf(binding) + " " + str(binding->getDocumentation()) + ":";
  for (int32_t i = 0; i < binding->getOperationCount(); ++i) {
    WebServiceOperation* operation = binding->getOperationAt(i, err);
    EXPECT_EQ(binding->getOperation(operation->getQName(), nullptr), operation);
    text += " " + nameOf(operation->getInterface()) + "." + nameOf(operation) + "(" + str(operation->getDocumentation()) + " " +
            str(operation->getAction()) + " " + str(operation->getAddress()) + ")";
  }
  return text;
}
std::string describe(WebServiceService* service) {
  QvbString err;
  std::string text = nameOf(service) + " " + str(service->getDocumentation()) + " " + nameOf(service->getInterface()) + ":";
  for (int32_t i = 0; i < service->getEndpointCount(); ++i) {
    WebServiceEndpoint* endpoint = service->getEndpointAt(i, &err);
    EXPECT_EQ(service->getEndpoint(endpoint->getName()), endpoint);
    EXPECT_EQ(endpoint->getService(), service);
    text += " " + str(endpoint->getName()) + "(" + str(endpoint->getDocumentation()) + " " + nameOf(endpoint->getBinding()) + ")";
  }
  return text;
}

class Discovery : public testing::Test {
 protected:
  void SetUp() override {
    scripted::reset();
    scripted::answerTree();
    client_ = qvwsCreateWebServiceClient(&err_);
    client_->SetOption("WSCP_ADDRESS", "a.wsdl", err_);
  }
  void TearDown() override {
    if (discovery_ != nullptr) discovery_->release();
    client_->Release();
    EXPECT_EQ(script().live, 0);
  }
  static void answer(std::optional<Rows> properties, std::optional<Rows> list) {
    script().answers["Discover"] = {{.rows = {std::move(properties), std::move(list)}, .handle = 42}};
  }
  bool discover() {
    if (discovery_ != nullptr) discovery_->release();
    err_ = "old";
    script().trace.clear();
    script().log.clear();
    discovery_ = client_->Discover(err_);
    return discovery_ != nullptr;
  }
  /// Discovers, for a message and one release.
  std::string failure() {
    EXPECT_FALSE(discover());
    EXPECT_EQ(script().trace.back(), "DiscoverRelease(42)");
    EXPECT_EQ(std::count(script().trace.begin(), script().trace.end(), "DiscoverRelease(42)"), 1);
    return str(err_);
  }

  WebServiceClient* client_ = nullptr;
  WebServiceDiscovery* discovery_ = nullptr;
  QvbString err_;
};

TEST_F(Discovery, BuildsTheTree) {
  ASSERT_TRUE(discover()) << str(err_);
  EXPECT_TRUE(err_.isNull());
  EXPECT_EQ((Lines(script().trace.begin() + 2, script().trace.end())),
            (Lines{"Discover()7,10,10", "DiscoverInterface(42, x, I)10,10", "DiscoverBinding(42, x, B)10,10", "DiscoverService(42, x, S)10,10"}));
  EXPECT_EQ(describe(discovery_->getInterface(x("I"))), "{x}I idoc: {x}a((null)) {x}b(bdoc)");
  EXPECT_EQ(describe(discovery_->getBinding(x("B"), nullptr)), "{x}B doc: {x}I.{x}a(adoc act http://h) {x}I.{x}b((null) (null) (null))");
  EXPECT_EQ(describe(discovery_->getService(x("S"))), "{x}S sdoc {x}I: p(edoc {x}B) q((null) -)");

  // An interface's operation knows what a binding's has told it, and has no parameters; bindings do not register with it.
  WebServiceInterface* interface = discovery_->getInterfaceAt(0, &err_);
  WebServiceOperation* operation = interface->getOperation(x("a"));
  EXPECT_EQ(str(operation->getAction()) + str(operation->getAddress()), "acthttp://h");
  EXPECT_EQ(interface->getBindingCount(), 0);
  EXPECT_EQ(interface->getBinding(x("B")), nullptr);
  for (const auto parameter : {&WebServiceOperation::getInputParameter, &WebServiceOperation::getOutputParameter}) {
    err_ = "old";
    EXPECT_EQ((operation->*parameter)(err_), nullptr);
    EXPECT_TRUE(err_.isNull());
  }

  // Nothing is asked of the proxy while objects end; then it is told once.
  script().trace.clear();
  discovery_->release();
  discovery_ = nullptr;
  EXPECT_EQ(script().trace, Lines{"DiscoverRelease(42)"});
}

TEST_F(Discovery, LookupsThatFindNothing) {
  ASSERT_TRUE(discover());
  WebServiceService* service = discovery_->getServiceAt(0, &err_);
  WebServiceInterface* interface = discovery_->getInterfaceAt(0, &err_);
  WebServiceBinding* binding = discovery_->getBindingAt(0, &err_);
  const auto expectNone = [&](const void* object, const char* err) {
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(str(err_), err);
    err_ = "old";
  };
  err_ = "old";
  for (const int32_t past : {INT32_MIN, -1, 0, 1, INT32_MAX}) {
    const auto index = [&](int32_t count) { return past == 0 || past == 1 ? past + count : past; };
    expectNone(discovery_->getServiceAt(index(1), &err_), "1420()");
    expectNone(discovery_->getInterfaceAt(index(1), &err_), "1420()");
    expectNone(discovery_->getBindingAt(index(1), &err_), "1420()");
    expectNone(service->getEndpointAt(index(2), &err_), "1420()");
    expectNone(interface->getOperationAt(index(2), err_), "1420()");
    expectNone(interface->getBindingAt(index(0), err_), "1420()");
    expectNone(binding->getOperationAt(index(2), err_), "1420()");
  }
  expectNone(discovery_->getService(x("none")), "old");
  expectNone(discovery_->getInterface(x("none")), "old");
  expectNone(service->getEndpoint("none"), "old");
  expectNone(interface->getOperation(x("none")), "old");
  expectNone(discovery_->getBinding(x("none"), nullptr), "old");
  expectNone(binding->getOperation(x("none"), nullptr), "old");
  expectNone(discovery_->getBinding(x("none"), &err_), "1837(none)");
  expectNone(binding->getOperation(x("none"), &err_), "1603(none)");
}

TEST_F(Discovery, OwnPropertiesAndReport) {
  answer(Rows{{"Documentation", "d"},
              {"QName.name", "N"},
              {"QName.namespace", "n"},
              {"TargetNamespace", "t"},
              {"Version", "1.1"},
              {"Version", null},
              {"X"},
              {"version", "2"},
              {"#number", "v"}},
         null);
  ASSERT_TRUE(discover());
  EXPECT_EQ(DiscoveryTestAccess::properties(discovery_), "a.wsdl {n}N t d 1.1");
  EXPECT_EQ(script().logged(),
            "2 Property 'Version' (value '') was unrecognized.\n2 Property 'X' (value '') was unrecognized.\n"
            "2 Property 'version' (value '2') was unrecognized.\n2 Property '' (value 'v') was unrecognized.\n"
            "2 WSDL: a.wsdl\n2    Name: {n}N\n2    Documentation: d\n2    Version: 1.1\n");
  script().logLevel = 3;
  answer(Rows{}, null);
  ASSERT_TRUE(discover());
  EXPECT_EQ(script().logged(), "") << "no report above level 2";
  script().logLevel = 2;
  ASSERT_TRUE(discover());
  EXPECT_EQ(script().logged(), "2 WSDL: a.wsdl\n2    Version: \n");
  answer(Rows{{"QName.namespace", ""}, {"Documentation", ""}}, null);
  ASSERT_TRUE(discover());
  EXPECT_EQ(script().logged(), "2 WSDL: a.wsdl\n2    Name: \n2    Version: \n") << "a name that is there and empty";
  answer(null, objects({{"Interface", "I"}}));
  ASSERT_TRUE(discover());
  EXPECT_EQ(discovery_->getInterfaceCount(), 1);
  EXPECT_EQ(script().logged(), "") << "no properties, no report";
}

TEST_F(Discovery, ListsOfObjects) {
  // Kinds hold until the next one; of a kind that nobody knows each run is logged once; an odd last row is no pair.
  Rows list = objects({{null, "lost"}, {"Interface", "J"}, {null, "I"}, {"Message", "m"}, {null, "n"}, {null, "o"}, {"Message", "p"}, {"", "q"}});
  list.insert(list.end(), {{"Interface", "2", null}, {"Service", "1", "bare"}, {"Interface", null, "odd"}});
  answer(null, list);
  ASSERT_TRUE(discover());
  EXPECT_EQ(
      nameOf(discovery_->getInterfaceAt(0, &err_)) + nameOf(discovery_->getInterfaceAt(1, &err_)) + nameOf(discovery_->getInterfaceAt(2, &err_)),
      "bare{x}I{x}J");
  EXPECT_EQ(discovery_->getInterfaceCount() + discovery_->getServiceCount() + discovery_->getBindingCount(), 3);
  EXPECT_EQ(script().logged(),
            "2 Object type 'Message' is unsupported.\n2 Object type 'Message' is unsupported.\n2 Object type '' is unsupported.\n");
  EXPECT_EQ((Lines(script().trace.end() - 3, script().trace.end())),
            (Lines{"DiscoverInterface(42, , bare)10,10", "DiscoverInterface(42, x, I)10,10", "DiscoverInterface(42, x, J)10,10"}));
  for (const char* kind : {"Service", "Interface", "Binding"}) {
    answer(null, objects({{kind, "N"}, {null, "M"}, {null, "n"}}));
    EXPECT_EQ(failure(), "1776(" + std::string(kind) + ", {x}n)");
  }
  // Without a handle there is nothing to release. An answer that is too short reads as one that says nothing.
  for (const size_t parameters : {9U, 1U, 0U}) {
    script().answers["Discover"] = {{.parameters = parameters}};
    ASSERT_TRUE(discover());
    EXPECT_EQ(DiscoveryTestAccess::properties(discovery_), "a.wsdl (null) (null) (null) (null)");
    discovery_->release();
    discovery_ = nullptr;
    EXPECT_EQ(script().trace.back(), "Discover()7,10,10");
  }
}

// What each kind of answer makes of an interface, a binding and a service: what a host sees of it, or the message with which the discovery fails.
TEST_F(Discovery, AnswersOfObjects) {
  const char* const I = "DiscoverInterface I";
  const char* const B = "DiscoverBinding B";
  const char* const S = "DiscoverService S";
  const Rows toI = {{"Interface.Name", "I"}, {"Interface.Namespace", "x"}};
  const Rows toB = {{"Endpoint", "p"}, {null, "Binding.Name", "B"}, {null, "Binding.Namespace", "x"}};
  const std::string odd = "\n2 Property 'Odd' (value 'o') was unrecognized.\n";
  const struct {
    const char* method;
    Reply reply;
    std::string outcome;
  } cases[] = {
      {I, {.rows = {null, null}}, "{x}I (null):"},
      {I, {.rows = {Rows{}, Rows{}}}, "{x}I (null):"},
      {I, {.rows = {Rows{{"Documentation", "d"}, {"Odd", "o"}, {"Documentation", null}}}}, "{x}I (null):" + odd},
      {I,
       {.rows = {null, Rows{{"Operation", null, "b"}, {null, "Odd", "o"}, {"Operation", "x", "a"}, {"Operation", null, null}}}},
       "{x}I (null): (null)((null)) b((null)) {x}a((null))" + odd},
      {I, {.rows = {null, Rows{{"Operation", "x", "a"}, {null, "Documentation", "d"}, {null, "Documentation", null}}}}, "{x}I (null): {x}a((null))"},
      {I, {.status = 4, .code = 7, .text = "said"}, "1725(DiscoverInterface, 7, said)"},
      {I, {.rows = {null, Rows{{null, "Documentation", "d"}}}}, "1777(Interface Operation, Operation)"},
      {I, {.rows = {null, Rows{{"Operations", "x", "a"}}}}, "1777(Interface Operation, Operation)"},
      {I, {.rows = {null, Rows{{"Operation", "x", "a"}, {"operation", "x", "b"}}}}, "1777(Interface Operation, Operation)"},
      {I, {.rows = {null, Rows{{"Operation", "x", "a"}, {"Operation", "x", "A"}}}}, "1776(Interface Operation, {x}A)"},

      {B, {.rows = {null, null}}, "{x}B (null):"},
      {B, {.rows = {Rows{}, Rows{}}}, "{x}B (null):"},
      {B, {.rows = {toI, null}}, "{x}B (null): {x}I.{x}a((null) (null) (null)) {x}I.{x}b((null) (null) (null))"},
      {B,
       {.rows = {null, Rows{{"Operation", "x", "z"}, {null, "WSCP_ACTION", "act"}, {null, "WSCP_ADDRESS", "h"}, {null, "Odd", "o"}}}},
       "{x}B (null): -.{x}z((null) (null) (null))" + odd},
      {B,
       {.rows = {toI, Rows{{"Operation", "x", "b"}, {null, "WSCP_ACTION", ""}, {null, "WSCP_ADDRESS", null}}}},
       "{x}B (null): {x}I.{x}a((null) (null) (null)) {x}I.{x}b((null)  (null))"},
      {B,
       {.rows = {Rows{{"Interface.Name", "I"}, {"Interface.Namespace", "x"}, {"Interface.Name", "no"}, {"Odd", "o"}, {"Documentation", "d"}}}},
       "{x}B d: {x}I.{x}a((null) (null) (null)) {x}I.{x}b((null) (null) (null))" + odd},
      {B, {.status = 3}, "1726(DiscoverBinding, 3)"},
      {B, {.rows = {Rows{{"Style", "Document"}}}}, "1801({x}B, Document)"},
      {B, {.rows = {Rows{{"Style", null}}}}, "1801({x}B, )"},
      {B, {.rows = {Rows{{"Interface.Namespace", "x"}, {"Interface.Name", "I"}}}}, "1774(Interface, {x})"},
      {B, {.rows = {null, Rows{{"Operation", "x", "a"}, {"Operation", "X", "a"}}}}, "1776(Binding Operation, {X}a)"},
      {B, {.rows = {null, Rows{{"Input", "x", "a"}}}}, "1777(Binding Operation, Operation)"},
      {B, {.rows = {null, Rows{{null, "Documentation", "d"}}}}, "1777(Binding Operation, Operation)"},
      {B, {.rows = {toI, Rows{{"Operation", "x", "a"}, {"Operation", "x", "z"}}}}, "1779(Binding Operation, {x}z, Interface, {x}I)"},

      {S, {.rows = {null, null}}, "{x}S (null) -:"},
      {S, {.rows = {Rows{}, Rows{}}}, "{x}S (null) -:"},
      {S,
       {.rows = {null, Rows{{"Endpoint", null}, {"Endpoint", "p"}, {null, "Odd", "o"}, {null, "Documentation", "d"}}}},
       "{x}S (null) -: (null)((null) -) p(d -)" + odd},
      {S,
       {.rows = {Rows{{"Interface.Name", "I"}, {"Interface.Namespace", "x"}, {"Interface.Name", "no"}, {"Odd", "o"}}, toB}},
       "{x}S (null) {x}I: p((null) {x}B)" + odd},
      {S, {.status = 5}, "1726(DiscoverService, 5)"},
      {S, {.rows = {Rows{{"Interface.Name", "no"}, {"Interface.Namespace", "x"}}}}, "1774(Interface, {x}no)"},
      {S, {.rows = {Rows{{"Interface.Namespace", null}, {"Interface.Name", "I"}}}}, "1774(Interface, )"},
      {S, {.rows = {null, Rows{{null, "p"}}}}, "1777(Service Endpoint, Endpoint)"},
      {S, {.rows = {null, Rows{{"Endpoints", "p"}}}}, "1777(Service Endpoint, Endpoint)"},
      {S, {.rows = {null, Rows{{"Endpoint", "p"}, {"endpoint", "q"}}}}, "1777(Service Endpoint, Endpoint)"},
      {S, {.rows = {null, Rows{{"Endpoint", "p"}, {"Endpoint", "P"}}}}, "1776(Endpoint, P)"},
      {S, {.rows = {null, Rows{{"Endpoint", "p"}, {null, "Binding.Name", "no"}, {null, "Binding.Namespace", "x"}}}}, "1774(Binding, {x}no)"},
      {S, {.rows = {null, Rows{{"Endpoint", "p"}, {null, "Binding.Namespace", "x"}, {null, "Binding.Name", "B"}}}}, "1774(Binding, {x})"},
  };
  answer(null, objects({{"Service", "S"}, {"Binding", "B"}, {"Interface", "I"}}));
  for (const auto& test : cases) {
    SCOPED_TRACE(test.outcome);
    const auto before = script().answers;
    // The others say nothing unless they refer to this one, or it to them.
    if (test.method != I) script().answers[I] = {{.rows = {null, Rows{{"Operation", "x", "a"}, {"Operation", "x", "b"}}}}};
    for (const char* other : {B, S}) script().answers[other] = {{}};
    script().answers[test.method] = {test.reply};
    if (test.outcome[0] == '1') {
      EXPECT_EQ(failure(), test.outcome);
    } else if (discover()) {
      std::string seen = test.method == I   ? describe(discovery_->getInterface(x("I")))
                         : test.method == B ? describe(discovery_->getBinding(x("B"), nullptr))
                                            : describe(discovery_->getService(x("S")));
      const std::string logged = script().logged();
      EXPECT_EQ(seen + (logged.empty() ? "" : "\n") + logged, test.outcome);
    } else {
      ADD_FAILURE() << str(err_);
    }
    script().answers = before;
  }
  EXPECT_TRUE(discover()) << "nothing is left of the failures";
}

TEST_F(Discovery, BindingsThatFailAreLeftOut) {
  const Rows toI = {{"Interface.Name", "I"}, {"Interface.Namespace", "x"}};
  script().answers["DiscoverBinding A1"] = {{.rows = {Rows{{"Style", "rpc"}}}}};
  for (const char* failing : {"DiscoverBinding A2", "DiscoverBinding Z"}) script().answers[failing] = {{.status = 3}};
  script().answers["DiscoverBinding C"] = {{.rows = {toI, Rows{{"Operation", "x", "a"}, {null, "WSCP_ACTION", "last"}}}}};
  const struct {
    std::vector<std::pair<scripted::Text, std::string>> list;
    const char* err;
    std::string bindings;
    const char* logged;
  } cases[] = {
      {{{"Binding", "B"}, {"Binding", "A2"}, {"Binding", "A1"}}, "(null)", "{x}B", "4 1801({x}A1, rpc)\n"},
      {{{"Binding", "B"}, {"Binding", "A2"}, {"Binding", "C"}}, "(null)", "{x}B{x}C", ""},
      {{{"Binding", "A2"}, {"Binding", "A1"}}, "1726(DiscoverBinding, 3)", "", "4 1801({x}A1, rpc)\n"},
      {{{"Binding", "B"}, {"Binding", "Z"}}, "(null)", "{x}B", ""},
      {{}, "(null)", "", ""},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.bindings);
    auto list = test.list;
    list.emplace_back("Interface", "I");
    answer(null, objects(list));
    EXPECT_EQ(discover(), std::string(test.err) == "(null)");
    EXPECT_EQ(str(err_), test.err);
    EXPECT_EQ(script().logged(), test.logged);
    std::string bindings;
    for (int32_t i = 0; discovery_ != nullptr && i < discovery_->getBindingCount(); ++i) bindings += nameOf(discovery_->getBindingAt(i, &err_));
    EXPECT_EQ(bindings, test.bindings);
    if (bindings == "{x}B{x}C") {  // the binding discovered last decides, for all
      EXPECT_EQ(str(discovery_->getBinding(x("B"), nullptr)->getOperation(x("a"), nullptr)->getAction()), "last");
    }
  }
  // A service that refers to one that was left out has lost it.
  script().answers["DiscoverService S"] = {{.rows = {null, Rows{{"Endpoint", "p"}, {null, "Binding.Name", "A1"}, {null, "Binding.Namespace", "x"}}}}};
  answer(null, objects({{"Interface", "I"}, {"Binding", "A1"}, {"Binding", "B"}, {"Service", "S"}}));
  EXPECT_EQ(failure(), "1774(Binding, {x}A1)");
}

// What each kind of answer leaves of the parameters: input and output as host sees them, and the message.
TEST_F(Discovery, AnswersOfParameters) {
  const Rows full = {{"Input", "x", "in"}, {null, "Documentation", "d"}, {null, "Schema", "s"},  {null, "XML", "m"},  {null, "XPath", "p"},
                     {null, "Odd", "o"},   {"Fault", "x", "f"},          {null, "Schema", "no"}, {null, "XML", null}, {"Output", null, "out"}};
  const struct {
    Reply reply;
    const char* outcome;
    size_t calls;  // what was found is kept, what was not is asked for again
  } cases[] = {
      {{.rows = {full}}, "{x}in(d s m p) out((null) (null) (null) (null)) (null)", 1},
      {{.rows = {null}}, "- - (null)", 2},
      {{.rows = {Rows{}}}, "- - (null)", 2},
      {{.rows = {Rows{{"Fault", "x", "f"}}}}, "- - (null)", 2},
      {{.rows = {Rows{{"Output", "x", "o"}, {null, "Schema", null}, {"Output", "x", "p"}}}}, "- {x}p((null) (null) (null) (null)) (null)", 1},
      {{.rows = {Rows{{null, "Schema", "s"}}}}, "- - 1777(Operation parameter, parameter)", 2},
      {{.rows = {Rows{{"Inputs", "x", "i"}}}}, "- - 1777(Operation parameter, parameter)", 2},
      {{.rows = {Rows{{"Input", "x", "i"}, {null, "XML", "m"}, {"output", "x", "o"}}}},
       "{x}i((null) (null) m (null)) - 1777(Operation parameter, parameter)",
       2},
      {{.status = 4, .code = 9, .text = "said"}, "- - 1725(DiscoverParameters, 9, said)", 2},
      {{.status = 2}, "- - 1726(DiscoverParameters, 2)", 2},
  };
  const auto show = [](WebServiceParameter* parameter) {
    if (parameter == nullptr) return std::string("- ");
    return nameOf(parameter) + "(" + str(parameter->getDocumentation()) + " " + str(parameter->getSchema()) + " " + str(parameter->getXML()) + " " +
           str(ParameterTestAccess::xpath(parameter)) + ") ";
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.outcome);
    ASSERT_TRUE(discover());
    script().trace.clear();
    script().answers["DiscoverParameters"] = {test.reply};
    WebServiceOperation* operation = discovery_->getBindingAt(0, &err_)->getOperation(x("a"), nullptr);
    err_ = "old";
    const std::string input = show(operation->getInputParameter(err_));
    EXPECT_EQ(input + show(operation->getOutputParameter(err_)) + str(err_), test.outcome);
    EXPECT_EQ(script().trace.size(), test.calls);
    EXPECT_EQ(script().trace[0], "DiscoverParameters(42, x, B, x, a)10");
    EXPECT_EQ(script().logged().find("Parameter property 'Odd' (value 'o') was unrecognized.") != std::string::npos,
              input.find("d s m") != std::string::npos);
  }
}

TEST_F(Discovery, ParametersThatHostsHoldStay) {
  script().answers["DiscoverParameters"] = {{.rows = {Rows{{"Input", "x", "first"}}}}, {.rows = {Rows{{"Input", "x", "second"}}}}};
  ASSERT_TRUE(discover());
  WebServiceOperation* operation = discovery_->getBindingAt(0, &err_)->getOperation(x("b"), nullptr);
  WebServiceParameter* input = operation->getInputParameter(err_);
  err_ = "old";
  EXPECT_EQ(operation->getInputParameter(err_), input);
  EXPECT_EQ(str(err_), "old");
  EXPECT_EQ(operation->getOutputParameter(err_), nullptr);
  EXPECT_TRUE(err_.isNull());
  EXPECT_EQ(nameOf(input), "{x}first");
  EXPECT_EQ(nameOf(operation->getInputParameter(err_)), "{x}second");
}

}  // namespace
