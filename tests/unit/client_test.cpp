// SPDX-License-Identifier: Apache-2.0
#include "scripted_proxy.h"
#include "wsclient.h"
#include "wsuri.h"
#include "wsvalue.h"

#include <qvws/qvws.h>

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

namespace {

using scripted::id;
using scripted::script;
using scripted::str;

class Client : public testing::Test {
 protected:
  void SetUp() override {
    scripted::reset();
    client_ = qvwsCreateWebServiceClient(&err_);
    err_ = "old";
  }
  void TearDown() override {
    client_->Release();
    EXPECT_EQ(script().live, 0);
  }
  WebServiceClient* client_ = nullptr;
  QvbString err_;
  QvbString value_{"stale"};
};

TEST_F(Client, RequestValues) {
  EXPECT_TRUE(client_->AddRequestValue("n", "x", err_));
  EXPECT_TRUE(err_.isNull());
  EXPECT_TRUE(client_->AddRequestValue("n", "y", err_));
  EXPECT_EQ(client_->GetRequestValueCount(), 1);
  const struct {
    int32_t index;
    const char* expected;
  } cases[] = {{0, "x"}, {1, "y"}, {-1, "x"}, {2, nullptr}};
  for (const auto& test : cases) {
    EXPECT_EQ(client_->GetRequestValueAt("n", test.index, value_), test.expected != nullptr) << test.index;
    EXPECT_EQ(str(value_), test.expected != nullptr ? test.expected : "(null)") << test.index;
  }
  err_ = "old";
  EXPECT_TRUE(client_->SetRequestValue("n", "1", err_));
  EXPECT_TRUE(err_.isNull());
  EXPECT_TRUE(client_->GetRequestValue("n", value_));
  EXPECT_EQ(str(value_), "1");
  EXPECT_FALSE(client_->GetRequestValueAt("n", 1, value_));
  EXPECT_FALSE(client_->GetRequestValue("other", value_));
  EXPECT_TRUE(value_.isNull());
}

// Which of the base library's two comparisons each map and each test of a name has.
TEST_F(Client, ComparisonsOfNames) {
  EXPECT_TRUE(client_->AddNamespace("p", "urn:A", err_));
  EXPECT_TRUE(client_->AddNamespace("P", "urn:a", err_)) << "the URIs are alike, too";
  EXPECT_FALSE(client_->AddNamespace("p", "urn:b", err_));
  EXPECT_EQ(str(err_), "1442(p, urn:a, urn:b)");
  client_->AddRequestValue("n", "x", err_);
  client_->AddRequestValue("N", "y", err_);
  EXPECT_EQ(client_->GetRequestValueCount(), 2);
  EXPECT_FALSE(client_->SetOption("wscp_Proxy_Port", "x", err_)) << "typed, whatever its case";
  EXPECT_EQ(str(err_), "1778(x, integer)");
  EXPECT_TRUE(client_->SetOption("wscp_user", "me", err_));
  EXPECT_TRUE(client_->SetOption("wscp_pass", "secret", err_));
  EXPECT_FALSE(client_->GetOption("WSCP_USER", value_));
  for (const char* name : {"v", "V"}) {
    WebServiceParmValue* value = qvwsCreateWebServiceParmValue(WSPStyle::String, &err_);
    EXPECT_TRUE(value->setProperty("WSPS.String.Value", "s", err_));
    EXPECT_TRUE(client_->SetInputParmValue(name, value, err_));
    EXPECT_TRUE(client_->SetOutputParmValue(name, qvwsCreateWebServiceParmValue(WSPStyle::File, &err_), err_));
  }
  script().answers["Invoke"] = {{.rows = {scripted::null, scripted::Rows{{"r", "1"}, {"R", "2"}}}}};
  script().trace.clear();
  EXPECT_TRUE(client_->Invoke(nullptr, err_));
  EXPECT_EQ(client_->GetResponseValueCount(), 2);
  EXPECT_EQ(script().trace[2], "SetOptions([11,11: wscp_pass|secret; wscp_user|me;])") << "nor is a password that is not named so decrypted";
  EXPECT_EQ(
      script().trace[3],
      "SetParameters([11,11,11,11,2: -|V|direction|Input|-; -|-|type|String|true; -|-|Value|s|true; -|V|direction|Output|-; -|-|type|File|true;])");
}

TEST_F(Client, TypedOptions) {
  const struct {
    const char* name;
    const char* value;
    const char* stored;  // null = refused
  } cases[] = {{"WSCP_PROXY_PORT", " 8080 ", "8080"},
               {"WSCP_PROXY_PORT", "http", nullptr},
               {"WSCP_WS-SECURITY_DIGEST", "YES", "true"},
               {"WSCP_WS-SECURITY_DIGEST", "maybe", nullptr},
               {"WSCP_WS-SECURITY_MUST", "0", "false"},
               {"WSCP_WS-SECURITY_MUST", "2", nullptr},
               {"OTHER", " text ", " text "}};
  for (const auto& test : cases) {
    SCOPED_TRACE(std::string(test.name) + "=" + test.value);
    err_ = "old";
    value_.setNull();
    client_->GetOption(test.name, value_);
    const std::string before = str(value_);
    EXPECT_EQ(client_->SetOption(test.name, test.value, err_), test.stored != nullptr);
    EXPECT_EQ(id(err_), test.stored != nullptr ? 0 : 1778);
    client_->GetOption(test.name, value_);
    EXPECT_EQ(str(value_), test.stored != nullptr ? test.stored : before);
  }
  EXPECT_TRUE(client_->SetOption("WSCP_PROXY_PORT", QvbString(), err_));
  EXPECT_TRUE(client_->GetOption("WSCP_PROXY_PORT", value_)) << "cleared, and still there";
  EXPECT_TRUE(value_.isNull());
  EXPECT_FALSE(client_->GetOption("ABSENT", value_));
}

TEST_F(Client, NamespacesStayBound) {
  EXPECT_TRUE(client_->AddNamespace("p", "urn:a", err_));
  EXPECT_TRUE(client_->AddNamespace("p", "urn:a", err_));
  EXPECT_EQ(str(err_), "old");
  EXPECT_FALSE(client_->AddNamespace("p", "urn:b", err_));
  EXPECT_EQ(id(err_), 1442);
  EXPECT_TRUE(client_->AddNamespace("p", "urn:a", err_));
}

TEST_F(Client, BoundValuesAreReleased) {
  WebServiceParmValue* input = qvwsCreateWebServiceParmValue(WSPStyle::String, &err_);
  WebServiceParmValue* output = qvwsCreateWebServiceParmValue(WSPStyle::File, &err_);
  EXPECT_EQ(str(err_), "old");
  EXPECT_EQ(input->getDirection(), 0);
  EXPECT_TRUE(client_->SetInputParmValue("i", input, err_));
  EXPECT_TRUE(client_->SetOutputParmValue("o", output, err_));
  EXPECT_EQ(str(err_), "old");
  EXPECT_EQ(input->getDirection(), 1);
  EXPECT_EQ(output->getDirection(), 2);
  EXPECT_TRUE(client_->SetInputParmValue("i", qvwsCreateWebServiceParmValue(WSPStyle::File, &err_), err_));  // ends the first
  EXPECT_TRUE(client_->SetInputParmValue("null", nullptr, err_));
  // Without memory the new value stays the host's.
  WebServiceParmValue* kept = qvwsCreateWebServiceParmValue(WSPStyle::File, &err_);
  script().fail("new", 1);
  EXPECT_FALSE(client_->SetInputParmValue("x", kept, err_));
  EXPECT_EQ(id(err_), 444);
  EXPECT_EQ(kept->getDirection(), 0);
  kept->release();
}

TEST_F(Client, ValuesAreReleasedBeforeTheProxy) {
  struct Traced final : WebServiceParmValueImpl {
    explicit Traced(const char* name) : name_(name) {}
    void release() override {
      script().trace.push_back(std::string("release ") + name_);
      WebServiceParmValueImpl::release();
    }
    const char* name_;
  };
  auto* client = qvwsCreateWebServiceClient(&err_);
  for (const char* name : {"b", "a"}) {
    EXPECT_TRUE(client->SetOutputParmValue(name, new Traced(name), err_));
    EXPECT_TRUE(client->SetInputParmValue(name, new Traced(name), err_));
  }
  EXPECT_TRUE(client->SetInputParmValue("a", new Traced("c"), err_));
  EXPECT_TRUE(client->Invoke(nullptr, err_));
  const size_t before = script().trace.size();
  client->Release();
  EXPECT_EQ(script().trace.front(), "release a") << "replaced";
  EXPECT_EQ(std::vector<std::string>(script().trace.begin() + static_cast<std::ptrdiff_t>(before), script().trace.end()),
            (std::vector<std::string>{"release c", "release b", "release a", "release b", "destroy()"}));
}

TEST_F(Client, FactoriesReport) {
  QvbString err("old");
  EXPECT_EQ(qvwsCreateWebServiceParmValue(static_cast<WSPStyle>(2), &err), nullptr);
  EXPECT_EQ(str(err), "old");
  script().fail("new", 1);
  EXPECT_EQ(qvwsCreateWebServiceParmValue(WSPStyle::File, &err), nullptr);
  EXPECT_EQ(id(err), 444);
  err.setNull();
  script().fail("new", 1);
  EXPECT_EQ(qvwsCreateWebServiceClient(&err), nullptr);
  EXPECT_EQ(id(err), 444);
}

TEST_F(Client, HeirsAreAsked) {
  struct Heir final : WebServiceClientImpl {
    bool GetOption(const QvbString& name, QvbString& value) override {
      if (name.compare("MEMORY", true) == 0) throw std::bad_alloc();
      if (name.compare("MISTAKE", true) == 0) throw std::runtime_error("heir");
      value = QvbString(name).append("!");
      return true;
    }
    bool GetResponseValueAt(const QvbString& name, int32_t index, QvbString& value) override {
      value = QvbString(name).append(index == 7 ? "7" : "?");
      return true;
    }
  };
  auto* heir = new Heir;
  std::string answered;
  script().onCreate = [&](QvjniOptionCallback* option, QvjniLogCallback*) {
    const char* text = "";
    int32_t length = 0;
    EXPECT_EQ(option->answer(option, "KEY", nullptr, &text, &length), 0);
    answered = text;
    EXPECT_EQ(option->answer(option, "MEMORY", nullptr, &text, &length), 2);
    EXPECT_EQ(option->answer(option, "MISTAKE", nullptr, &text, &length), 1);
    return 0;
  };
  script().answers["Invoke"] = {{.rows = {scripted::null, scripted::Rows{{"n", "1"}}}}};
  EXPECT_TRUE(heir->Invoke(nullptr, err_));
  EXPECT_EQ(answered, "KEY!");
  EXPECT_EQ(script().logged(), "5 29((Callback option))\n5 Reading an option threw an exception: it counts as not set.\n");
  EXPECT_TRUE(heir->GetResponseValueByIndex(0, 7, nullptr, value_));
  EXPECT_EQ(str(value_), "n7");
  heir->Release();

  struct Wide final : WSUriVariables {
    int32_t getColumnCount() override { return 2; }
  };
  auto* cursor = new Wide;
  for (const char* text : {"a", "b", "c", "d"}) cursor->append(text);
  EXPECT_TRUE(cursor->next() && cursor->next());
  EXPECT_EQ(str(cursor->getString(0)) + str(cursor->getString(1)), "cd");
  cursor->release();
}

TEST_F(Client, VariablesOfAUri) {
  auto* cursor = new WSUriVariables;
  for (const char* text : {"a", "b", "c"}) cursor->append(text);
  uint64_t count = 0;
  EXPECT_TRUE(cursor->getRowCount(count));
  EXPECT_EQ(count, 3U);
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(cursor->getString(0).isNull());
    std::string all;
    while (cursor->next()) all += str(cursor->getString(0));
    EXPECT_EQ(all, "abc");
    EXPECT_THROW((void)cursor->getString(0), std::out_of_range);
    EXPECT_TRUE(cursor->getString(1).isNull());
    EXPECT_TRUE(cursor->rewind());
  }
  cursor->release();
}

}  // namespace
