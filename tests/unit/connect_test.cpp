// SPDX-License-Identifier: Apache-2.0
#include "scripted_proxy.h"
#include "wsvalue.h"

#include <qvjni/qvjni.h>
#include <qvws/qvws.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace {

using scripted::id;
using scripted::script;
using scripted::str;
using Pairs = std::vector<std::pair<const char*, const char*>>;

class Connect : public testing::Test {
 protected:
  void SetUp() override {
    scripted::reset();
    renew();
  }
  void TearDown() override {
    if (client_ != nullptr) client_->Release();
    EXPECT_EQ(script().live, 0);
  }
  void renew() {
    if (client_ != nullptr) client_->Release();
    client_ = qvwsCreateWebServiceClient(&err_);
    script().trace.clear();
    script().log.clear();
  }
  bool discover() {
    WebServiceDiscovery* discovery = client_->Discover(err_);
    if (discovery != nullptr) discovery->release();
    return discovery != nullptr;
  }
  void set(const Pairs& options) {
    for (const auto& [name, value] : options) ASSERT_TRUE(client_->SetOption(name, value, err_)) << name;
  }
  // The rows of the one call of SetOptions, without the frame.
  static std::string optionRows() {
    const std::string head = "SetOptions([11,11:";
    std::string found;
    for (const std::string& line : script().trace) {
      if (line.rfind(head, 0) == 0) found += line.substr(head.size(), line.size() - head.size() - 2);
    }
    return found;
  }

  WebServiceClient* client_ = nullptr;
  QvbString err_{"old"};
};

TEST_F(Connect, ClientWithoutCallsMakesNoProxy) {
  EXPECT_TRUE(err_.isNull());
  client_->Release();
  client_ = nullptr;
  EXPECT_TRUE(script().trace.empty());
}

TEST_F(Connect, SendsOnceInOrder) {
  client_->AddNamespace("p", "urn:p", err_);
  client_->AddNamespace("", "urn:default", err_);
  set({{"WSCP_ADDRESS", "a.wsdl"}, {"EMPTY", ""}, {"NULL", nullptr}});
  EXPECT_TRUE(discover());
  set({{"LATER", "x"}});
  EXPECT_TRUE(discover());
  client_->Release();
  client_ = nullptr;
  EXPECT_EQ(script().trace,
            (std::vector<std::string>{"create(qvx-proxy-ws.jar WebServiceClient com.quillvex.proxy.ws.WebServiceClientJPC)",
                                      "SetNamespaces([11,11: -|urn:default; p|urn:p;])", "SetOptions([11,11: EMPTY|; NULL|; WSCP_ADDRESS|a.wsdl;])",
                                      "Discover()7,10,10", "Discover()7,10,10", "destroy()"}));
}

TEST_F(Connect, FailureIsTriedAnew) {
  client_->AddNamespace("p", "urn:p", err_);
  std::string directories;
  script().onCreate = [&](QvjniOptionCallback* option, QvjniLogCallback*) {
    const char* text = "none";
    int32_t length = 0;
    option->answer(option, "JAVA_PROXY/DIRECTORY", nullptr, &text, &length);
    directories += text;
    return 0;
  };
  script().answers["SetOptions"] = {{.status = 4, .code = 12, .text = "no options"}, {}};
  EXPECT_FALSE(discover());
  EXPECT_EQ(id(err_), 1725);
  EXPECT_NE(str(err_).find("12"), std::string::npos);
  EXPECT_NE(str(err_).find("no options"), std::string::npos);
  EXPECT_EQ(script().trace.back(), "destroy()");
  EXPECT_EQ(script().live, 0);
  EXPECT_TRUE(discover());
  EXPECT_EQ(script().calls(),
            (std::vector<std::string>{"create", "SetNamespaces", "SetOptions", "destroy", "create", "SetNamespaces", "SetOptions", "Discover"}));
  EXPECT_EQ(directories, "wsws") << "once a proxy";
}

TEST_F(Connect, RowsOfOptions) {
  struct Case {
    const char* name;
    Pairs options;
    Pairs config;
    std::string rows;
  };
  const Case cases[] = {
      {"passwords are decrypted, empty ones stay; options come before all else",
       {{"WSCP_PASS", "p"}, {"WSCP_PROXY_PASS", ""}, {"WSCP_WS-SECURITY_PASS", "s"}, {"WSCP_USER", "u"}, {"Z", "z"}},
       {},
       " WSCP_PASS|p-decrypted; WSCP_PROXY_PASS|; WSCP_WS-SECURITY_PASS|s-decrypted; Z|z; WSCP_USER|u;"},
      {"config option", {{"WSCP_CONFIG", "f"}}, {{"WSCP_CONFIG", "g"}}, " WSCP_CONFIG|f; WSCP_WSDL_CONFIG|f;"},
      {"config configured", {}, {{"WSCP_CONFIG", "g"}, {"WEBSERVICE/CONFIG_FILE", "h"}}, " WSCP_WSDL_CONFIG|g;"},
      {"config section", {}, {{"WEBSERVICE/CONFIG_FILE", "h"}}, " WSCP_WSDL_CONFIG|h;"},
      {"a null option hides the configuration", {{"WSCP_CONFIG", nullptr}}, {{"WSCP_CONFIG", "g"}}, " WSCP_CONFIG|;"},
      {"time-out 0", {{"REQUEST_TIMEOUT", " 0 "}}, {}, " REQUEST_TIMEOUT| 0 ; HTTP_REQUEST_TIMEOUT|0;"},
      {"time-out configured", {}, {{"REQUEST_TIMEOUT", "7"}, {"WEBSERVICE/REQUEST_TIMEOUT", "8"}}, " HTTP_REQUEST_TIMEOUT|7;"},
      {"time-out section", {}, {{"WEBSERVICE/REQUEST_TIMEOUT", "8"}}, " HTTP_REQUEST_TIMEOUT|8;"},
      {"negative time-out", {}, {{"REQUEST_TIMEOUT", "-1"}}, ""},
      {"null time-out", {{"REQUEST_TIMEOUT", nullptr}}, {{"REQUEST_TIMEOUT", "7"}}, " REQUEST_TIMEOUT|;"},
      {"no time-out", {}, {{"REQUEST_TIMEOUT", "soon"}}, ""},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    renew();
    script().config.clear();
    for (const auto& [key, value] : test.config) script().config[key] = value;
    set(test.options);
    EXPECT_TRUE(discover());
    EXPECT_EQ(optionRows(), test.rows);
  }
  EXPECT_NE(script().logged().find("4 The request time-out 'soon'"), std::string::npos);
  renew();
  script().hasConfig = false;
  EXPECT_TRUE(discover());
  EXPECT_EQ(optionRows(), "") << "a product without a configuration";
  WebServiceParmValue* value = qvwsCreateWebServiceParmValue(WSPStyle::File, &err_);
  EXPECT_EQ(static_cast<int32_t>(value->getStyle()), 0);
  value->release();
}

// A domain and a user that are absent, null, empty or there, with and without a subject that knows domain "lab": each tried with the keys of all
// three authentication domains, for which % stands.
TEST_F(Connect, CredentialsOfEachDomain) {
  const char* const absent = "absent";
  const struct {
    const char* domain;
    const char* user;
    const char* rows;
    const char* unknown = nullptr;    // what the subject is asked for in vain
    const char* bySubject = nullptr;  // the rows with a subject, when they differ
  } cases[] = {
      {absent, absent, ""},
      {nullptr, absent, "", ""},
      {"", absent, "", ""},
      {"corp", absent, "", "corp"},
      {"lab", absent, "", nullptr, " %DOMAIN|home; %USER|bob; %PASS|pw-decoded;"},
      {absent, nullptr, ""},
      {"lab", nullptr, ""},
      {absent, "", ""},
      {"lab", "", ""},
      {absent, "u", " %USER|u;"},
      {nullptr, "u", " %USER|u;"},
      {"lab", "u", " %DOMAIN|lab; %USER|u;"},
      {"lab", "u@d", " %DOMAIN|lab; %USER|u@d;"},
      {absent, "u@d@e", " %DOMAIN|d@e; %USER|u;"},
      {"", "d\\u\\v", " %DOMAIN|d; %USER|u\\v;"},
      {absent, "a\\b@c", " %DOMAIN|c; %USER|a\\b;"},
      {absent, "u@", " %USER|u;"},
      {absent, "@d", ""},
  };
  const std::pair<std::string, std::string> domains[] = {{"WSCP_WS-SECURITY_", "WS-Security"}, {"WSCP_PROXY_", "proxy"}, {"WSCP_", "client"}};
  const auto with = [](std::string text, const std::string& prefix) {
    for (size_t at = 0; (at = text.find('%', at)) != std::string::npos;) text.replace(at, 1, prefix);
    return text;
  };
  for (const auto& test : cases) {
    for (const bool hasSubject : {false, true}) {
      SCOPED_TRACE((test.domain != nullptr ? test.domain : "null") + std::string(" ") + (test.user != nullptr ? test.user : "null"));
      renew();
      script().hasSubject = hasSubject;
      script().credentials = {{"lab", {"bob@home", "pw"}}};
      std::string expected;
      std::string logged;
      for (const auto& [prefix, name] : domains) {
        if (test.domain != absent) set({{with("%DOMAIN", prefix).c_str(), test.domain}});
        if (test.user != absent) set({{with("%USER", prefix).c_str(), test.user}});
        expected += with(hasSubject && test.bySubject != nullptr ? test.bySubject : test.rows, prefix);
        if (!hasSubject || test.unknown == nullptr) continue;
        logged += "2 No credentials associated with the " + name + " domain '" + test.unknown + "'.\n";
      }
      EXPECT_TRUE(discover());
      EXPECT_EQ(optionRows(), expected);
      EXPECT_EQ(script().logged(), logged);
    }
  }
  // An option's password goes as well, and before the subject's; one that cannot be decoded ends it all.
  for (const char* password : {"pw", "bad"}) {
    renew();
    script().credentials["lab"].second = password;
    set({{"WSCP_DOMAIN", "lab"}, {"WSCP_PASS", "own"}});
    EXPECT_EQ(discover(), std::string(password) == "pw");
    EXPECT_EQ(optionRows(), std::string(password) == "pw" ? " WSCP_PASS|own-decrypted; WSCP_DOMAIN|home; WSCP_USER|bob; WSCP_PASS|pw-decoded;" : "");
  }
  EXPECT_EQ(str(err_), "2101()");
  EXPECT_EQ(script().calls(), (std::vector<std::string>{"create", "destroy"}));
  EXPECT_EQ(script().live, 0);
}

TEST_F(Connect, AnswersTheProxysQuestions) {
  script().config = {{"SECTION/KEY", "configured"}, {"OWN", "configured"}, {"EMPTY", "configured"}};
  set({{"JAVA_PROXY/DIRECTORY", "own"},
       {"JAVA_PROXY/HAS_GETVERSION", "own"},
       {"OWN", "mine"},
       {"EMPTY", ""},
       {"LONG", std::string(5000, 'x').c_str()},
       {"ONE MORE", std::string(5001, 'y').c_str()}});
  std::vector<std::string> answers;
  std::vector<const char*> buffers;
  script().onCreate = [&](QvjniOptionCallback* option, QvjniLogCallback* /*log*/) {
    for (const char* key : {"JAVA_PROXY/DIRECTORY", "JAVA_PROXY/DIRECTORY", "JAVA_PROXY/DIRECTOR", "JAVA_PROXY/DIRECTORYX",
                            "JAVA_PROXY/HAS_GETVERSION", "OWN", "LONG", "SECTION/KEY", "ONE MORE", "OWN", "EMPTY", "UNKNOWN"}) {
      const char* text = nullptr;
      int32_t length = -1;
      const int32_t result = option->answer(option, key, nullptr, &text, &length);
      answers.push_back(result == 0 ? std::string(text, static_cast<size_t>(length)) : std::to_string(result));
      EXPECT_TRUE(result != 0 || text[length] == '\0');
      if (result == 0) buffers.push_back(text);
    }
    // A buffer that cannot grow is lost, the next question gets a new one.
    script().failRealloc = true;
    script().config["LONGER"] = std::string(6000, 'y');
    const char* text = nullptr;
    int32_t length = 0;
    EXPECT_EQ(option->answer(option, "LONGER", nullptr, &text, &length), 2);
    script().failRealloc = false;
    EXPECT_EQ(option->answer(option, "OWN", nullptr, &text, &length), 0);
    EXPECT_STREQ(text, "mine");
    return 0;
  };
  EXPECT_TRUE(discover());
  EXPECT_EQ(answers, (std::vector<std::string>{"ws", "1", "1", "1", "WebServiceClient", "mine", std::string(5000, 'x'), "configured",
                                               std::string(5001, 'y'), "mine", "1", "1"}));
  EXPECT_EQ(buffers[3], buffers[4]) << "the largest answer's buffer serves";
  EXPECT_EQ(buffers[5], buffers[6]);
  EXPECT_EQ(script().logged(), "5 29((Callback option))\n");
}

TEST_F(Connect, CollectsWhatTheProxyLogs) {
  script().onCreate = [](QvjniOptionCallback* /*option*/, QvjniLogCallback* log) {
    for (const auto& [level, text] : {std::pair(0, "report"), {1, "info"}, {2, "100%s"}, {7, "error"}}) log->log(log, level, text);
    return 7;
  };
  EXPECT_FALSE(discover());
  EXPECT_EQ(str(err_), "100%s\r\nerror");
  EXPECT_EQ(script().logged(), "2 report\n3 info\n5 100%s\n5 error\n");
  EXPECT_EQ(script().calls(), std::vector<std::string>{"create"});
  // What was only a warning stays for those operations that leave the text alone on success.
  script().onCreate = [](QvjniOptionCallback* /*option*/, QvjniLogCallback* log) {
    log->log(log, -1, "warning");
    return 0;
  };
  const struct {
    const char* operation;
    std::function<bool()> run;
    const char* text;
  } operations[] = {
      {"Reset", [&] { return client_->Reset(err_); }, "(null)"},
      {"Discover", [&] { return discover(); }, "(null)"},
      {"Invoke", [&] { return client_->Invoke(nullptr, err_); }, "warning"},
      {"DiscoverURI", [&] { return std::unique_ptr<QvbStringCursor, Releaser>(client_->DiscoverURI("a", err_)) != nullptr; }, "warning"}};
  for (const auto& test : operations) {
    SCOPED_TRACE(test.operation);
    renew();
    EXPECT_TRUE(test.run());
    EXPECT_EQ(str(err_), test.text);
    EXPECT_TRUE(test.run());
    EXPECT_TRUE(err_.isNull()) << "and no longer";
  }
}

}  // namespace
