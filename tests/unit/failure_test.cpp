// SPDX-License-Identifier: Apache-2.0
#include "scripted_proxy.h"

#include <qvws/qvws.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using scripted::Rows;
using scripted::script;
using scripted::str;

class Callback final : public WebServiceInvokeCallback {
 public:
  int32_t getOption() override { return 0; }
  bool isCancelled() override { return false; }
};

/// What a host holds while it works.
struct Host {
  ~Host() {
    if (discovery != nullptr) discovery->release();
    if (client != nullptr) client->Release();
  }
  bool create() { return (client = qvwsCreateWebServiceClient(&err)) != nullptr; }
  bool configure() {
    script().hasSubject = true;
    script().credentials = {{"lab", {"bob@home", "pw"}}};
    return client->AddNamespace("p", "urn:p", err) && client->AddNamespace("", "urn:d", err) && client->SetOption("WSCP_DOMAIN", "lab", err) &&
           client->SetOption("WSCP_PROXY_USER", "u@d", err) && client->SetOption("WSCP_CONFIG", "f", err) &&
           client->SetOption("REQUEST_TIMEOUT", "5", err);
  }
  bool reset() { return client->Reset(err); }
  bool discover() { return (discovery = client->Discover(err)) != nullptr; }
  bool readParameters() {
    return discovery->getBindingAt(0, &err)->getOperationAt(0, err)->getOutputParameter(err) != nullptr;  // which is answered last
  }
  bool release() {
    discovery->release();
    discovery = nullptr;
    return true;
  }
  bool bind(bool input) {
    WebServiceParmValue* value = qvwsCreateWebServiceParmValue(WSPStyle::String, &err);
    if (value == nullptr) return false;
    QvbString ignored;
    value->setProperty("wsps.string.value", "v", ignored);
    const bool bound = input ? client->SetInputParmValue("i", value, err) : client->SetOutputParmValue("{x}o", value, err);
    if (!bound) value->release();  // it is still the host's
    return bound;
  }
  bool bindBoth() { return bind(true) && bind(false); }
  bool addValues() { return client->AddRequestValue("v", "1", err) && client->AddRequestValue("v", "2", err); }
  bool invoke() {
    Callback callback;
    return client->Invoke(&callback, err);
  }
  bool discoverUri() {
    QvbStringCursor* cursor = client->DiscoverURI("{a}{b}", err);
    if (cursor != nullptr) cursor->release();
    return cursor != nullptr;
  }

  WebServiceClient* client = nullptr;
  WebServiceDiscovery* discovery = nullptr;
  QvbString err;
};

/// The message that the failure of a platform function must give.
std::string messageOf(const std::string& failed) {
  if (failed == "create") return "cannot be made";
  if (failed == "addRow") return "768(2)";
  if (failed == "decode") return "2101()";
  return failed.rfind("call ", 0) == 0 ? "1726(" + failed.substr(5) + ", 2)" : "444()";
}

// Every call of the platform and every allocation of an object fails in turn, alone or with all that follow. Each time the operation says why, leaves
// nothing behind but what is left to the proxy on purpose, and works when it is tried again.
TEST(Failures, EveryStepOfEveryScenario) {
  const struct {
    const char* name;
    std::vector<bool (Host::*)()> before;
    bool (Host::*operation)();
    int32_t steps;          // that can fail
    bool silent = false;    // whether a failure is kept from the host
    const char* left = "";  // what may be left to the proxy
  } scenarios[] = {
      {"create", {}, &Host::create, 1},
      {"set-up alone", {&Host::create}, &Host::reset, 4},
      {"set-up of everything", {&Host::create, &Host::configure}, &Host::reset, 18},
      {"discover", {&Host::create, &Host::reset}, &Host::discover, 45},
      {"parameters", {&Host::create, &Host::discover}, &Host::readParameters, 10},
      {"release", {&Host::create, &Host::discover}, &Host::release, 1, true},
      {"bind", {&Host::create}, &Host::bindBoth, 4},
      {"invoke", {&Host::create, &Host::reset, &Host::bindBoth, &Host::addValues}, &Host::invoke, 17, false, "rows 11,11,11,11,2"},
      {"reset", {&Host::create, &Host::reset, &Host::bindBoth}, &Host::reset, 1},
      {"URI", {&Host::create, &Host::reset}, &Host::discoverUri, 5},
  };
  for (const auto& scenario : scenarios) {
    for (const bool on : {false, true}) {
      int32_t k = 1;
      for (bool reached = true; reached; ++k) {
        SCOPED_TRACE(std::string(scenario.name) + (on ? ", from step " : ", step ") + std::to_string(k));
        scripted::reset();
        scripted::answerTree();
        script().answers["Invoke"] = {{.rows = {Rows{{"x", "o", "A"}, {"y", "o", "B"}}, Rows{{"n", "1"}, {"n", "2"}}}}};
        script().answers["DiscoverURI"] = {{.rows = {Rows{{"a"}, {"b"}}}}};
        {
          Host host;
          for (const auto prepare : scenario.before) ASSERT_TRUE((host.*prepare)()) << str(host.err);
          script().trace.clear();
          host.err.setNull();
          script().failOn = on;
          script().fail(nullptr, k);
          const bool ok = (host.*scenario.operation)();
          reached = script().platformCalls >= k;
          script().failAt = 0;
          EXPECT_EQ(ok, !reached || scenario.silent);
          EXPECT_EQ(str(host.err), ok ? "(null)" : messageOf(script().failed));
          const auto releases = std::count(script().trace.begin(), script().trace.end(), "DiscoverRelease(42)");
          EXPECT_LE(releases, 1);
          if (!ok) {
            EXPECT_TRUE((host.*scenario.operation)()) << str(host.err);
          }
        }
        for (const std::string& left : script().left) EXPECT_EQ(left, scenario.left);
        EXPECT_LE(script().left.size(), 1U);
        EXPECT_EQ(script().live, static_cast<int32_t>(script().left.size()));
      }
      EXPECT_EQ(k - 2, scenario.steps) << scenario.name;
    }
  }
}

}  // namespace
