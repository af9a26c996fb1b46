// SPDX-License-Identifier: Apache-2.0
#include "scripted_proxy.h"
#include "wsvalue.h"

#include <qvjni/qvjni.h>
#include <qvws/qvws.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace {

using scripted::id;
using scripted::null;
using scripted::Reply;
using scripted::Rows;
using scripted::script;
using scripted::str;
using Lines = std::vector<std::string>;

/// The callback record as the proxy sees it.
struct Record {
  int32_t option;
  int32_t (*poll)(QvjniInvokeCallback* record);
  WebServiceClient* client;
  WebServiceInvokeCallback* callback;
};

class Callback final : public WebServiceInvokeCallback {
 public:
  int32_t getOption() override {
    atOption = script().trace.size();
    ++asked;
    return 250;
  }
  bool isCancelled() override {
    if (throws) throw std::runtime_error("host");
    return cancelled;
  }
  int asked = 0;
  size_t atOption = 99;
  bool cancelled = false;
  bool throws = false;
};

class Invocation : public testing::Test {
 protected:
  void SetUp() override {
    scripted::reset();
    client_ = qvwsCreateWebServiceClient(&err_);
  }
  void TearDown() override {
    if (client_ != nullptr) end();
  }
  /// Ends the client: what it has not ended is what it left to the proxy on purpose.
  void end(const Lines& left = {}) {
    client_->Release();
    client_ = nullptr;
    EXPECT_EQ(script().left, left);
    EXPECT_EQ(script().live, static_cast<int32_t>(left.size()));
  }
  void renew() {
    scripted::reset();
    client_ = qvwsCreateWebServiceClient(&err_);
  }
  WebServiceParmValue* value(WSPStyle style, const char* property, const char* text) {
    WebServiceParmValue* made = qvwsCreateWebServiceParmValue(style, &err_);
    made->setProperty(property, text, err_);
    return made;
  }
  WebServiceParmValue* bindInput(const char* name, const char* text) {
    WebServiceParmValue* bound = value(WSPStyle::String, "wsps.string.value", text);
    EXPECT_TRUE(client_->SetInputParmValue(name, bound, err_));
    return bound;
  }
  WebServiceParmValue* bindOutput(const char* name) {
    WebServiceParmValue* bound = qvwsCreateWebServiceParmValue(WSPStyle::String, &err_);
    EXPECT_TRUE(client_->SetOutputParmValue(name, bound, err_));
    return bound;
  }
  /// One input, two outputs, one request value.
  void bindAll() {
    bindInput("in", "<x/>");
    first_ = bindOutput("{urn:x}a");
    second_ = bindOutput("{urn:x}b");
    client_->AddRequestValue("HTTP_HEADER/X", "1", err_);
  }
  static std::string text(WebServiceParmValue* bound) {
    QvbString got;
    return bound->getProperty("wsps.string.value", got) ? str(got) : "(none)";
  }
  std::string responses() {
    std::string all;
    QvbString name;
    QvbString got;
    for (int32_t i = 0; i < client_->GetResponseValueCount(); ++i) {
      for (int32_t j = 0; client_->GetResponseValueByIndex(i, j, &name, got); ++j) all += str(name) + "=" + str(got) + " ";
    }
    return all;
  }
  /// The calls after set-up.
  static Lines sent() {
    Lines lines = script().trace;
    lines.erase(std::remove_if(lines.begin(), lines.end(), [](const std::string& line) { return line[0] == 'c' || line.rfind("SetOpt", 0) == 0; }),
                lines.end());
    return lines;
  }

  WebServiceClient* client_ = nullptr;
  WebServiceParmValue* first_ = nullptr;
  WebServiceParmValue* second_ = nullptr;
  QvbString err_;
};

TEST_F(Invocation, SendsInOrder) {
  std::vector<int32_t> live;
  script().onCall = [&](const std::string&, QvjniInvokeCallback* callback) {
    EXPECT_EQ(callback, nullptr);
    live.push_back(script().live);
  };
  err_ = "old";
  EXPECT_TRUE(client_->Invoke(nullptr, err_)) << str(err_);
  EXPECT_TRUE(err_.isNull()) << "set-up clears it";
  bindInput("b", "two");
  client_->SetInputParmValue("a", value(WSPStyle::File, "wsps.file.path", "/f"), err_);
  client_->SetInputParmValue("null", nullptr, err_);
  bindOutput("z");
  client_->SetOutputParmValue("y", value(WSPStyle::File, "wsps.file.path", "/o"), err_);
  for (const auto& [name, text] : {std::pair("v", "2"), {"n", "x"}, {"v", "1"}, {"n", static_cast<const char*>(nullptr)}}) {
    client_->AddRequestValue(name, text, err_);
  }
  EXPECT_TRUE(client_->Invoke(nullptr, err_)) << str(err_);
  EXPECT_EQ(sent(), (Lines{"Invoke(-)10,10",
                           "SetParameters([11,11,11,11,2:"
                           " -|a|direction|Input|-; -|-|type|File|true; -|-|Path|/f|true;"
                           " -|b|direction|Input|-; -|-|type|String|true; -|-|Value|two|true;"
                           " -|y|direction|Output|-; -|-|type|File|true; -|-|Path|/o|true;"
                           " -|z|direction|Output|-; -|-|type|String|true;])",
                           "Invoke([11,11: n|x; n|; v|2; v|1;])10,10"}));
  EXPECT_EQ(live, (std::vector<int32_t>{2, 1, 2, 2})) << "at each call the proxy and that call's own rows";
}

TEST_F(Invocation, ValuesDescribeThemselves) {
  const struct {
    WSPStyle style;
    bool input;
    const char* configured;
    const char* property;
    const char* text;
    const char* rows;  // empty = 247
  } cases[] = {
      {WSPStyle::String, true, nullptr, "wsps.string.value", "v", " -|n|direction|Input|-; -|-|type|String|true; -|-|Value|v|true;"},
      {WSPStyle::String, true, " false ", "wsps.string.value", "", " -|n|direction|Input|-; -|-|type|String|false;"},
      {WSPStyle::File, true, "perhaps", "wsps.file.path", "/f", " -|n|direction|Input|-; -|-|type|File|true; -|-|Path|/f|true;"},
      {WSPStyle::File, false, "no", "wsps.string.value", "v", " -|n|direction|Output|-; -|-|type|File|true;"},
      {static_cast<WSPStyle>(3), true, nullptr, "x", "v", ""},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.rows);
    end();
    renew();
    if (test.configured != nullptr) script().config["WEBSERVICE/VALUE_IS_XML"] = test.configured;
    WebServiceParmValue* bound = value(WSPStyle::File, test.property, test.text);
    static_cast<WebServiceParmValueImpl*>(bound)->setStyle(test.style);
    EXPECT_TRUE(test.input ? client_->SetInputParmValue("n", bound, err_) : client_->SetOutputParmValue("n", bound, err_));
    const bool known = *test.rows != 0;
    EXPECT_EQ(client_->Invoke(nullptr, err_), known);
    EXPECT_EQ(id(err_), known ? 0 : 247);
    if (known) {
      EXPECT_EQ(sent().front(), "SetParameters([11,11,11,11,2:" + std::string(test.rows) + "])");
    } else {
      EXPECT_TRUE(sent().empty());
      end({"rows 11,11,11,11,2"});
      renew();
    }
    bound = value(WSPStyle::File, test.property, test.text);
    bound->removeProperty(test.property);
    bound->removeProperty(test.property);
    QvbString got("stale");
    EXPECT_FALSE(bound->getProperty(test.property, got));
    EXPECT_TRUE(got.isNull());
    bound->release();
  }
}

TEST_F(Invocation, StoresWhatIsAnswered) {
  bindInput("{urn:x}a", "input");
  bindAll();
  WebServiceParmValue* bare = bindOutput("bare");
  client_->SetOutputParmValue("null", nullptr, err_);
  script().answers["Invoke"] = {
      {.rows = {Rows{{"urn:x", "a", "A"}, {"urn:y", "a", "no"}, {null, "bare"}, {"", "null", "n"}, {null, null, "nobody"}},
                Rows{{"x", "1"}, {"c", "c1"}, {"x", "2"}, {"b", null}}}},
      {.rows = {Rows{{"urn:x", "b", ""}, {"urn:x", "a", "#number"}}, null}},
      {.rows = {null, Rows{{"again", "1"}}}},
  };
  EXPECT_TRUE(client_->Invoke(nullptr, err_)) << str(err_);
  EXPECT_EQ(text(first_) + text(second_) + text(bare), "A(none)(null)");
  EXPECT_EQ(script().logged(), "3 1590({urn:y}a)\n3 1590(null)\n3 1590()\n");
  EXPECT_EQ(responses(), "b=(null) c=c1 x=1 x=2 ");
  QvbString got;
  EXPECT_TRUE(client_->GetResponseValueAt("x", 1, got));
  EXPECT_EQ(str(got), "2");
  EXPECT_TRUE(client_->GetResponseValue("x", got));
  EXPECT_EQ(str(got), "1");
  EXPECT_TRUE(client_->GetResponseValueByIndex(2, 0, nullptr, got));

  EXPECT_TRUE(client_->Invoke(nullptr, err_));
  EXPECT_EQ(text(first_) + text(second_) + text(bare), "(null)(null)") << "no text, an empty one, and one that is not mentioned";
  EXPECT_EQ(client_->GetResponseValueCount(), 0);
  EXPECT_FALSE(client_->GetResponseValueByIndex(0, 0, nullptr, got)) << "nor is a position remembered";
  EXPECT_TRUE(client_->Invoke(nullptr, err_));
  EXPECT_EQ(responses(), "again=1 ");
  EXPECT_EQ(script().takenOut, 2) << "each second row set, and it alone";
}

TEST_F(Invocation, ResponseValuesByPosition) {
  script().answers["Invoke"] = {{.rows = {null, Rows{{"c", "c1"}, {"c", "c2"}, {"a", "a1"}, {"b", "b1"}, {"a", "a2"}, {"b", "b2"}}}}};
  EXPECT_TRUE(client_->Invoke(nullptr, err_));
  EXPECT_EQ(client_->GetResponseValueCount(), 3);
  QvbString name;
  QvbString got;
  std::string walked;
  for (const int32_t i : {0, 1, 2, 1, 0, 2}) {
    EXPECT_TRUE(client_->GetResponseValueByIndex(i, 1, &name, got));
    walked += str(name) + str(got) + " ";
  }
  EXPECT_EQ(walked, "aa2 bb2 cc2 bb2 aa2 cc2 ");
  EXPECT_TRUE(client_->GetResponseValueByIndex(0, -1, nullptr, got));
  EXPECT_EQ(str(got), "a1");
  for (const int32_t index : {-1, 3}) {
    got = "stale";
    EXPECT_FALSE(client_->GetResponseValueByIndex(index, 0, &name, got));
    EXPECT_TRUE(got.isNull());
    EXPECT_EQ(str(name), "c") << "left as it was";
  }
  EXPECT_FALSE(client_->GetResponseValueByIndex(1, 2, &name, got));
}

TEST_F(Invocation, Failures) {
  const Reply full = {.rows = {Rows{{"urn:x", "a", "A"}, {"urn:x", "b", "B"}}, Rows{{"n", "1"}, {"m", "2"}}}};
  const Reply error = {.status = 4, .code = 7, .text = "said"};
  struct Case {
    const char* name;
    const char* method;  // answers with `reply`
    Reply reply;
    const char* function;  // whose k-th call fails
    int32_t k;
    int32_t message;
    const char* outputs;
    const char* responses;
    Lines left;
  };
  const char* kept = "old=1 ";
  const Case cases[] = {
      {"no rows for the parameters", "", {}, "rowSetCreate", 1, 444, "(none)(none)", kept, {}},
      {"first row of an input", "", {}, "addRow", 1, 768, "(none)(none)", kept, {"rows 11,11,11,11,2"}},
      {"last row of an input", "", {}, "addRow", 3, 768, "(none)(none)", kept, {"rows 11,11,11,11,2"}},
      {"row of an output", "", {}, "addRow", 5, 768, "(none)(none)", kept, {"rows 11,11,11,11,2"}},
      {"parameters refused", "SetParameters", error, "", 0, 1725, "(none)(none)", kept, {}},
      {"parameters not sent", "SetParameters", {.status = 5}, "", 0, 1726, "(none)(none)", kept, {}},
      {"no rows for the request values", "", {}, "rowSetCreate", 2, 444, "(none)(none)", kept, {}},
      {"row of a request value", "", {}, "addRow", 8, 768, "(none)(none)", kept, {}},
      {"error", "Invoke", error, "", 0, 1725, "(none)(none)", kept, {}},
      {"failure", "Invoke", {.status = 3}, "", 0, 1726, "(none)(none)", kept, {}},
      {"answer unreadable", "", {}, "parameters", 1, 444, "(none)(none)", kept, {}},
      {"first output", "", {}, "nextRow", 1, 444, "(none)(none)", kept, {}},
      {"second output", "", {}, "nextRow", 2, 444, "A(none)", kept, {}},
      {"first value", "", {}, "nextRow", 3, 444, "AB", "", {}},
      {"second value", "", {}, "nextRow", 4, 444, "AB", "n=1 ", {}},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    script().answers["Invoke"] = {{.rows = {null, Rows{{"old", "1"}}}}};
    EXPECT_TRUE(client_->Invoke(nullptr, err_));
    bindAll();
    script().answers["Invoke"] = {full};
    if (*test.method != 0) script().answers[test.method] = {test.reply};
    script().fail(test.function, test.k);
    EXPECT_FALSE(client_->Invoke(nullptr, err_));
    EXPECT_EQ(id(err_), test.message) << str(err_);
    if (test.message == 1725) {
      EXPECT_NE(str(err_).find(test.method), std::string::npos);
      EXPECT_NE(str(err_).find("said"), std::string::npos);
    }
    EXPECT_EQ(text(first_) + text(second_), test.outputs);
    EXPECT_EQ(responses(), test.responses);
    QvbString got;
    EXPECT_TRUE(client_->GetRequestValue("HTTP_HEADER/X", got)) << "what was set stays";
    script().failAt = 0;
    script().answers.erase("SetParameters");
    script().answers["Invoke"] = {full};
    EXPECT_TRUE(client_->Invoke(nullptr, err_)) << "and serves the next call";
    EXPECT_EQ(text(first_) + text(second_) + responses(), "ABm=2 n=1 ");
    end(test.left);
    renew();
  }
  script().onCreate = [](QvjniOptionCallback*, QvjniLogCallback* log) {
    log->log(log, 3, "no proxy");
    return 7;
  };
  EXPECT_FALSE(client_->Invoke(nullptr, err_));
  EXPECT_EQ(str(err_), "no proxy");
}

TEST_F(Invocation, CallbackIsPolled) {
  Callback callback;
  int calls = 0;
  script().onCall = [&](const std::string& method, QvjniInvokeCallback* head) {
    EXPECT_EQ(head != nullptr, method == "Invoke");
    if (head == nullptr) return;
    ++calls;
    const auto& record = *reinterpret_cast<const Record*>(head);
    EXPECT_EQ(record.option, 250);
    EXPECT_EQ(record.client, client_);
    EXPECT_EQ(record.callback, &callback);
    EXPECT_EQ(record.poll(head), 0);
    callback.cancelled = true;
    EXPECT_EQ(record.poll(head), 1);
    callback.throws = true;
    EXPECT_EQ(record.poll(head), 1) << "no exception crosses the proxy library";
  };
  bindInput("in", "x");
  EXPECT_TRUE(client_->Invoke(&callback, err_));
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(callback.asked, 1);
  EXPECT_EQ(callback.atOption, 0U) << "before set-up";
  EXPECT_EQ(script().logged(), "5 The invoke callback threw an exception: the call is stopped.\n");
}

TEST_F(Invocation, ResetUnbindsAndNoMore) {
  bindAll();
  script().answers["Invoke"] = {{.rows = {null, Rows{{"old", "1"}}}}};
  EXPECT_TRUE(client_->Invoke(nullptr, err_));
  err_ = "old";
  EXPECT_TRUE(client_->Reset(err_));
  EXPECT_TRUE(err_.isNull());
  EXPECT_EQ(responses(), "old=1 ");
  EXPECT_TRUE(client_->Invoke(nullptr, err_));
  EXPECT_EQ((Lines(script().trace.end() - 2, script().trace.end())), (Lines{"Reset()", "Invoke([11,11: HTTP_HEADER/X|1;])10,10"}));

  const struct {
    Reply reply;
    int32_t message;
    Lines left;
  } failures[] = {{{.status = 4, .text = "said"}, 1725, {"response Reset"}}, {{.status = 3}, 1726, {}}};
  for (const auto& test : failures) {
    end();
    renew();
    bindAll();
    script().answers["Reset"] = {test.reply};
    EXPECT_FALSE(client_->Reset(err_));
    EXPECT_EQ(id(err_), test.message) << str(err_);
    EXPECT_TRUE(client_->Invoke(nullptr, err_));
    EXPECT_EQ(sent(), (Lines{"Reset()", "Invoke([11,11: HTTP_HEADER/X|1;])10,10"})) << "unbound all the same";
    end(test.left);
    renew();
  }

  bindAll();
  script().onCreate = [](QvjniOptionCallback*, QvjniLogCallback* log) {
    log->log(log, 3, "no proxy");
    return 7;
  };
  EXPECT_FALSE(client_->Reset(err_));
  EXPECT_EQ(str(err_), "no proxy");
  script().onCreate = nullptr;
  EXPECT_TRUE(client_->Invoke(nullptr, err_));
  EXPECT_EQ(sent(), Lines{"Invoke([11,11: HTTP_HEADER/X|1;])10,10"});
}

TEST_F(Invocation, VariablesOfAUri) {
  const struct {
    const char* name;
    Reply reply;
    std::deque<int32_t> counts;
    const char* variables;  // or the message of a failure
  } cases[] = {
      {"three", {.rows = {Rows{{"a"}, {null}, {"c", "more"}}}}, {}, "a (null) c "},
      {"absent", {.rows = {null}}, {}, ""},
      {"empty", {.rows = {Rows{}}}, {}, ""},
      {"the number is asked for after each row", {.rows = {Rows{{"a"}, {"b"}, {"c"}}}}, {1, 3, 2}, "a b "},
      {"fewer rows than told", {.rows = {Rows{{"a"}}}}, {2}, "444()"},
      {"error", {.status = 4, .code = 5, .text = "said"}, {}, "1725(DiscoverURI, 5, said)"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    script().answers["DiscoverURI"] = {test.reply};
    script().rowCounts = test.counts;
    QvbStringCursor* cursor = client_->DiscoverURI("http://h/{a}", err_);
    std::string all = cursor == nullptr ? str(err_) : "";
    EXPECT_EQ(cursor != nullptr, err_.isNull()) << str(err_);
    while (cursor != nullptr && cursor->next()) all += str(cursor->getString(0)) + " ";
    if (cursor != nullptr) cursor->release();
    EXPECT_EQ(all, test.variables);
  }
  script().answers.clear();
  client_->DiscoverURI(QvbString(), err_)->release();
  EXPECT_EQ(sent().front(), "DiscoverURI(http://h/{a})10");
  EXPECT_EQ(sent().back(), "DiscoverURI()10") << "a null text is there";
}

}  // namespace
