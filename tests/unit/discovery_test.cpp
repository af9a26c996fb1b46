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
  static std::string xpath(WebServiceParameter* parameter) { return scripted::str(static_cast<WebServiceParameterImpl*>(parameter)->xpath_); }
};

namespace {

using scripted::id;
using scripted::null;
using scripted::Reply;
using scripted::Rows;
using scripted::script;
using scripted::str;

QName x(const char* name) {
  return {"urn:x", name};
}

/// The rows of the object list for "kind name" pairs in namespace urn:x.
Rows objects(const std::vector<std::pair<scripted::Text, std::string>>& list) {
  Rows rows;
  for (const auto& [kind, name] : list) {
    rows.push_back({kind, "QName.namespace", "urn:x"});
    rows.push_back({null, "QName.name", name});
  }
  return rows;
}

class Discovery : public testing::Test {
 protected:
  void SetUp() override {
    scripted::reset();
    client_ = qvwsCreateWebServiceClient(&err_);
    client_->SetOption("WSCP_ADDRESS", "a.wsdl", err_);
    script().answers["DiscoverInterface I"] = {
        {.rows = {Rows{{"Documentation", "idoc"}},
                  Rows{{"Operation", "urn:x", "b"}, {null, "Documentation", "bdoc"}, {null, "Odd", "o"}, {"Operation", "urn:x", "a"}}}}};
    script().answers["DiscoverBinding B"] = {
        {.rows = {
             Rows{{"Documentation", "doc"}, {"Interface.Name", "I"}, {"Interface.Namespace", "urn:x"}, {"Style", "document"}},
             Rows{{"Operation", "urn:x", "a"}, {null, "Documentation", "adoc"}, {null, "WSCP_ACTION", "act"}, {null, "WSCP_ADDRESS", "http://h"}}}}};
    script().answers["DiscoverService S"] = {{.rows = {Rows{{"Documentation", "sdoc"}, {"Interface.Name", "I"}, {"Interface.Namespace", "urn:x"}},
                                                       Rows{{"Endpoint", "q", null},
                                                            {"Endpoint", "p", null},
                                                            {null, "Documentation", "edoc"},
                                                            {null, "Binding.Name", "B"},
                                                            {null, "Binding.Namespace", "urn:x"}}}}};
    script().answers["DiscoverParameters"] = {{.rows = {Rows{{"Input", "urn:x", "in"},
                                                             {null, "Documentation", "pdoc"},
                                                             {null, "Schema", "xsd"},
                                                             {null, "XML", "xml"},
                                                             {null, "XPath", "path"},
                                                             {null, "Odd", "o"},
                                                             {"Fault", "urn:x", "f"},
                                                             {null, "Schema", "gone"},
                                                             {"Output", "urn:x", "out"}}}}};
    answer(Rows{{"Version", "1.1"}}, objects({{"Service", "S"}, {"Binding", "B"}, {"Interface", "I"}}));
  }
  void TearDown() override {
    if (discovery_ != nullptr) discovery_->release();
    client_->Release();
    EXPECT_EQ(script().live, 0);
  }
  static void answer(std::optional<Rows> properties, std::optional<Rows> list) {
    script().answers["Discover"] = {{.rows = {std::move(properties), std::move(list)}, .handle = 42}};
  }
  static int released() {
    int count = 0;
    for (const std::string& line : script().trace) count += line == "DiscoverRelease(42)" ? 1 : 0;
    return count;
  }
  bool discover() {
    err_ = "old";
    script().trace.clear();
    script().log.clear();
    if (discovery_ != nullptr) discovery_->release();
    discovery_ = client_->Discover(err_);
    return discovery_ != nullptr;
  }
  void expectFailure(int32_t message) {
    EXPECT_FALSE(discover());
    EXPECT_EQ(id(err_), message) << str(err_);
    EXPECT_EQ(released(), 1);
  }

  WebServiceClient* client_ = nullptr;
  WebServiceDiscovery* discovery_ = nullptr;
  QvbString err_;
};

TEST_F(Discovery, BuildsTheTree) {
  ASSERT_TRUE(discover()) << str(err_);
  EXPECT_TRUE(err_.isNull());
  EXPECT_EQ((std::vector<std::string>(script().trace.begin() + 2, script().trace.end())),
            (std::vector<std::string>{"Discover()7,10,10", "DiscoverInterface(42, urn:x, I)10,10", "DiscoverBinding(42, urn:x, B)10,10",
                                      "DiscoverService(42, urn:x, S)10,10"}));
  WebServiceService* service = discovery_->getService(x("S"));
  WebServiceBinding* binding = discovery_->getBinding(x("B"), nullptr);
  WebServiceInterface* interface = discovery_->getInterface(x("I"));
  ASSERT_TRUE(service != nullptr && binding != nullptr && interface != nullptr);
  EXPECT_EQ(discovery_->getServiceAt(0, &err_), service);
  EXPECT_EQ(str(service->getDocumentation()), "sdoc");
  EXPECT_EQ(str(service->getQName().toText()), "{urn:x}S");
  EXPECT_EQ(service->getInterface(), interface);
  WebServiceEndpoint* endpoint = service->getEndpointAt(0, &err_);
  EXPECT_EQ(str(endpoint->getName()), "p");
  EXPECT_EQ(str(endpoint->getDocumentation()), "edoc");
  EXPECT_EQ(endpoint->getBinding(), binding);
  EXPECT_EQ(endpoint->getService(), service);
  EXPECT_EQ(service->getEndpoint("q")->getBinding(), nullptr);

  EXPECT_EQ(str(interface->getDocumentation()), "idoc");
  EXPECT_EQ(interface->getBindingCount(), 0) << "bindings do not register";
  WebServiceOperation* operation = interface->getOperation(x("a"));
  EXPECT_EQ(operation, interface->getOperationAt(0, err_));
  EXPECT_EQ(str(interface->getOperationAt(1, err_)->getDocumentation()), "bdoc");
  EXPECT_EQ(str(operation->getAction()), "act");
  EXPECT_EQ(operation->getInterface(), interface);
  err_ = "old";
  EXPECT_EQ(operation->getInputParameter(err_), nullptr);
  EXPECT_TRUE(err_.isNull());

  EXPECT_EQ(str(binding->getDocumentation()), "doc");
  ASSERT_EQ(binding->getOperationCount(), 2) << "b is the interface's";
  EXPECT_EQ(str(binding->getOperation(x("a"), nullptr)->getAddress()), "http://h");
  WebServiceOperation* added = binding->getOperationAt(1, err_);
  EXPECT_EQ(str(added->getQName().toText()), "{urn:x}b");
  EXPECT_TRUE(added->getDocumentation().isNull());
  EXPECT_EQ(added->getInterface(), interface);
  EXPECT_NE(script().logged().find("2 Property 'Odd' (value 'o') was unrecognized."), std::string::npos);

  // Nothing is asked of the proxy while objects end; then it is told once.
  script().trace.clear();
  discovery_->release();
  discovery_ = nullptr;
  EXPECT_EQ(script().trace, std::vector<std::string>{"DiscoverRelease(42)"});
}

TEST_F(Discovery, LookupsThatFindNothing) {
  ASSERT_TRUE(discover());
  WebServiceService* service = discovery_->getServiceAt(0, &err_);
  WebServiceInterface* interface = discovery_->getInterfaceAt(0, &err_);
  WebServiceBinding* binding = discovery_->getBindingAt(0, &err_);
  for (const int32_t index : {-1, 9}) {
    int reported = 0;
    const auto expectNone = [&](const void* object) {
      EXPECT_EQ(object, nullptr);
      reported += id(err_) == 1420 ? 1 : 0;
      err_.setNull();
    };
    expectNone(discovery_->getServiceAt(index, &err_));
    expectNone(discovery_->getInterfaceAt(index, &err_));
    expectNone(discovery_->getBindingAt(index, &err_));
    expectNone(service->getEndpointAt(index, &err_));
    expectNone(interface->getOperationAt(index, err_));
    expectNone(interface->getBindingAt(index, err_));
    expectNone(binding->getOperationAt(index, err_));
    EXPECT_EQ(reported, 7);
  }
  EXPECT_EQ(interface->getBindingAt(0, err_), nullptr);
  EXPECT_EQ(discovery_->getService(x("none")), nullptr);
  EXPECT_EQ(discovery_->getInterface(x("none")), nullptr);
  EXPECT_EQ(service->getEndpoint("none"), nullptr);
  EXPECT_EQ(interface->getOperation(x("none")), nullptr);
  EXPECT_EQ(discovery_->getBinding(x("none"), nullptr), nullptr);
  EXPECT_EQ(binding->getOperation(x("none"), nullptr), nullptr);
  EXPECT_EQ(discovery_->getBinding(x("none"), &err_), nullptr);
  EXPECT_EQ(id(err_), 1837);
  EXPECT_EQ(binding->getOperation(x("none"), &err_), nullptr);
  EXPECT_EQ(id(err_), 1603);
}

TEST_F(Discovery, OwnPropertiesAndReport) {
  answer(Rows{{"Documentation", "d"},
              {"QName.name", "N"},
              {"QName.namespace", "urn:n"},
              {"TargetNamespace", "urn:t"},
              {"Version", "1.1"},
              {"Version", null},
              {"X"},
              {"#number", "v"}},
         null);
  ASSERT_TRUE(discover());
  EXPECT_EQ(DiscoveryTestAccess::properties(discovery_), "a.wsdl {urn:n}N urn:t d 1.1");
  EXPECT_EQ(
      script().logged(),
      "2 Property 'Version' (value '') was unrecognized.\n2 Property 'X' (value '') was unrecognized.\n2 Property '' (value 'v') was unrecognized.\n"
      "2 WSDL: a.wsdl\n2    Name: {urn:n}N\n2    Documentation: d\n2    Version: 1.1\n");
  script().logLevel = 3;
  answer(Rows{}, null);
  ASSERT_TRUE(discover());
  EXPECT_EQ(script().logged(), "") << "no report above level 2";
  script().logLevel = 2;
  ASSERT_TRUE(discover());
  EXPECT_EQ(script().logged(), "2 WSDL: a.wsdl\n2    Version: \n");
  answer(null, objects({{"Interface", "I"}}));
  ASSERT_TRUE(discover());
  EXPECT_EQ(discovery_->getInterfaceCount(), 1);
  EXPECT_EQ(script().logged().find("WSDL"), std::string::npos) << "no properties, no report";
}

TEST_F(Discovery, RunsOfKinds) {
  Rows list = objects({{null, "lost"}, {"Interface", "I"}, {null, "J"}, {"Message", "m"}, {null, "n"}, {null, "o"}, {"Message", "p"}});
  list.push_back({"Interface", null, "odd"});
  answer(null, list);
  ASSERT_TRUE(discover());
  EXPECT_EQ(discovery_->getInterfaceCount(), 2);
  std::string unsupported;
  for (const std::string& line : script().log) unsupported += line.find("unsupported") != std::string::npos ? line : "";
  EXPECT_EQ(unsupported, "2 Object type 'Message' is unsupported.2 Object type 'Message' is unsupported.");
}

TEST_F(Discovery, FatalFailures) {
  const auto I = "DiscoverInterface I";
  const auto B = "DiscoverBinding B";
  const auto S = "DiscoverService S";
  const struct {
    const char* method;
    Reply reply;
    int32_t message;
  } cases[] = {
      {"Discover", {.rows = {null, objects({{"Service", "S"}, {"Service", "S"}})}, .handle = 42}, 1776},
      {"Discover", {.rows = {null, objects({{"Interface", "S"}, {"Interface", "S"}})}, .handle = 42}, 1776},
      {"Discover", {.rows = {null, objects({{"Binding", "S"}, {"Binding", "S"}})}, .handle = 42}, 1776},
      {I, {.status = 4}, 1725},
      {I, {.rows = {null, Rows{{null, "Documentation", "d"}}}}, 1777},
      {I, {.rows = {null, Rows{{"Operations", "urn:x", "a"}}}}, 1777},
      {I, {.rows = {null, Rows{{"operation", "urn:x", "a"}}}}, 1777},
      {I, {.rows = {null, Rows{{"Operation", "urn:x", "a"}, {"Operation", "urn:x", "a"}}}}, 1776},
      {B, {.status = 3}, 1726},
      {B, {.rows = {Rows{{"Style", "Document"}}}}, 1801},
      {B, {.rows = {Rows{{"Interface.Namespace", "urn:x"}, {"Interface.Name", "I"}}}}, 1774},
      {B, {.rows = {null, Rows{{"Operation", "urn:x", "a"}, {"Operation", "urn:x", "a"}}}}, 1776},
      {B, {.rows = {null, Rows{{"Input", "urn:x", "a"}}}}, 1777},
      {B, {.rows = {Rows{{"Interface.Name", "I"}, {"Interface.Namespace", "urn:x"}}, Rows{{"Operation", "urn:x", "zz"}}}}, 1779},
      {S, {.status = 5}, 1726},
      {S, {.rows = {Rows{{"Interface.Name", "none"}, {"Interface.Namespace", "urn:x"}}}}, 1774},
      {S, {.rows = {Rows{{"Interface.Namespace", "urn:x"}, {"Interface.Name", "I"}}}}, 1774},
      {S, {.rows = {null, Rows{{null, "p", null}}}}, 1777},
      {S, {.rows = {null, Rows{{"Endpoints", "p", null}}}}, 1777},
      {S, {.rows = {null, Rows{{"endpoint", "p", null}}}}, 1777},
      {S, {.rows = {null, Rows{{"Endpoint", "p", null}, {"Endpoint", "p", null}}}}, 1776},
      {S, {.rows = {null, Rows{{"Endpoint", "p", null}, {null, "Binding.Name", "none"}, {null, "Binding.Namespace", "urn:x"}}}}, 1774},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(std::string(test.method) + " " + std::to_string(test.message));
    const auto before = script().answers;
    script().answers[test.method] = {test.reply};
    expectFailure(test.message);
    script().answers = before;
  }
  EXPECT_TRUE(discover()) << "nothing is left of the failures";
}

TEST_F(Discovery, BindingsThatFailAreLeftOut) {
  answer(null, objects({{"Interface", "I"}, {"Binding", "A1"}, {"Binding", "A2"}, {"Binding", "B"}}));
  script().answers["DiscoverBinding A1"] = {{.rows = {Rows{{"Style", "rpc"}}}}};
  script().answers["DiscoverBinding A2"] = {{.status = 3}};
  ASSERT_TRUE(discover());
  EXPECT_TRUE(err_.isNull());
  EXPECT_EQ(discovery_->getBindingCount(), 1);
  EXPECT_NE(script().logged().find("4 QVWS-1801"), std::string::npos);
  EXPECT_EQ(script().logged().find("QVWS-1726"), std::string::npos) << "the last failure is dropped";
  discovery_->release();
  discovery_ = nullptr;
  answer(null, objects({{"Interface", "I"}, {"Binding", "A1"}, {"Binding", "A2"}}));
  expectFailure(1726);
}

TEST_F(Discovery, ParametersOnDemand) {
  ASSERT_TRUE(discover());
  WebServiceOperation* operation = discovery_->getBindingAt(0, &err_)->getOperation(x("a"), nullptr);
  script().trace.clear();
  script().log.clear();
  WebServiceParameter* input = operation->getInputParameter(err_);
  ASSERT_NE(input, nullptr);
  err_ = "old";
  EXPECT_EQ(operation->getInputParameter(err_), input);
  EXPECT_EQ(str(operation->getOutputParameter(err_)->getQName().toText()), "{urn:x}out");
  EXPECT_EQ(str(err_), "old");
  EXPECT_EQ(script().trace, std::vector<std::string>{"DiscoverParameters(42, urn:x, B, urn:x, a)10"});
  EXPECT_EQ(str(input->getDocumentation()) + str(input->getSchema()) + str(input->getXML()) + ParameterTestAccess::xpath(input), "pdocxsdxmlpath");
  EXPECT_EQ(script().logged(), "2 Parameter property 'Odd' (value 'o') was unrecognized.\n");

  // One way: the output is asked for anew each time, and what a host has of the input stays.
  script().answers["DiscoverParameters"] = {{.rows = {Rows{{"Input", "urn:x", "first"}}}},
                                            {.rows = {Rows{{"Input", "urn:x", "second"}}}},
                                            {.rows = {null}},
                                            {.rows = {Rows{{"Else", "urn:x", "e"}}}}};
  operation = discovery_->getBindingAt(0, &err_)->getOperation(x("b"), nullptr);
  input = operation->getInputParameter(err_);
  EXPECT_EQ(operation->getOutputParameter(err_), nullptr);
  EXPECT_TRUE(err_.isNull());
  EXPECT_EQ(str(input->getQName().getLocalName()), "first");
  EXPECT_EQ(str(operation->getInputParameter(err_)->getQName().getLocalName()), "second");
  EXPECT_EQ(operation->getOutputParameter(err_), nullptr);
  EXPECT_TRUE(err_.isNull());
  EXPECT_EQ(operation->getOutputParameter(err_), nullptr);
  EXPECT_EQ(id(err_), 1777);
}

// Every call of the platform fails once, and then every allocation of an object: each time with a message, and with nothing left over.
TEST_F(Discovery, EveryStepMayFail) {
  client_->Release();
  for (const bool memory : {false, true}) {
    int failures = 0;
    for (int k = 1; k < 500; ++k) {
      SCOPED_TRACE(std::string(memory ? "allocation " : "call ") + std::to_string(k));
      script().trace.clear();
      script().platformCalls = 0;
      client_ = qvwsCreateWebServiceClient(&err_);
      client_->AddNamespace("p", "urn:p", err_);
      client_->SetOption("WSCP_USER", "u@d", err_);
      (memory ? script().failNew : script().failAt) = k;
      err_.setNull();
      discovery_ = client_->Discover(err_);
      bool ok = discovery_ != nullptr;
      EXPECT_EQ(err_.isNull(), ok);
      if (ok) {
        ok = discovery_->getBindingCount() == 1 &&
             discovery_->getBindingAt(0, &err_)->getOperation(x("a"), nullptr)->getInputParameter(err_) != nullptr;
        EXPECT_TRUE(ok || !err_.isNull()) << "an input read before the failure is kept";
        discovery_->release();
        discovery_ = nullptr;
      }
      const bool reached = memory ? script().failNew == 0 : script().platformCalls >= k;
      const bool asked = std::find(script().trace.begin(), script().trace.end(), "Discover()7,10,10") != script().trace.end();
      script().failAt = script().failNew = 0;
      client_->Release();
      EXPECT_EQ(script().live, 0);
      EXPECT_LE(released(), asked ? 1 : 0);
      if (!reached) {
        EXPECT_TRUE(ok);
        break;
      }
      failures += ok ? 0 : 1;
    }
    EXPECT_GT(failures, memory ? 7 : 40);
  }
  client_ = qvwsCreateWebServiceClient(&err_);
}

}  // namespace
