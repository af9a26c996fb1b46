// SPDX-License-Identifier: Apache-2.0
#include "test_files.h"

#include <qvjni/qvjni.h>

#include <gmock/gmock.h>
#include <stdlib.h>
#include <string.h>

#include <map>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr char kTwoTexts[] = {qvwlpString, qvwlpString, 0};
constexpr char kRows[] = {qvwlpRowSet, 0};

/// Answers and remembers what the platform asks and reports while a proxy is made.
struct Creator {
  struct OptionRecord {
    QvjniOptionCallback head;
    Creator* creator;
  };
  struct LogRecord {
    QvjniLogCallback head;
    Creator* creator;
  };

  std::map<std::string, std::string> options = {{"JAVA_PROXY/DIRECTORY", "modules"}, {"JAVA_PROXY/HAS_GETVERSION", "Service"}, {"GREETING", "hello"}};
  std::vector<std::string> asked;
  std::vector<std::string> reports;

  int32_t create(const char* archive, const char* className, QvjniProxy** proxy) {
    OptionRecord option{{[](QvjniOptionCallback* record, const char* key, void*, const char** text, int32_t* length) -> int32_t {
                          Creator& self = *reinterpret_cast<OptionRecord*>(record)->creator;
                          self.asked.emplace_back(key);
                          const auto found = self.options.find(key);
                          if (found == self.options.end()) return qvjniNoAnswer;
                          if (found->second == "no memory") return qvjniAnswerNoMemory;
                          *text = found->second.c_str();
                          *length = static_cast<int32_t>(found->second.size());
                          return qvjniAnswered;
                        }},
                        this};
    LogRecord log{{[](QvjniLogCallback* record, int32_t level, const char* text) {
                    reinterpret_cast<LogRecord*>(record)->creator->reports.push_back(std::to_string(level) + " " + text);
                  }},
                  this};
    return qvjniProxyCreate(archive, "Service", className, &option.head, &log.head, proxy);
  }
};

class ProxyTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { setenv("QVWS_PROXY_ROOT", TEST_MODULES, 1); }
  void SetUp() override { ASSERT_EQ(qvwlpOk, creator_.create("test-module.jar", "test.Class", &proxy_)) << testing::PrintToString(creator_.reports); }
  void TearDown() override { qvjniProxyDestroy(proxy_); }

  int32_t call(const char* method, const char* types, const std::vector<QvwlpValue>& parameters = {}) {
    return qvjniProxyCall(proxy_, nullptr, "Service", method, types, static_cast<int32_t>(parameters.size()), parameters.data(), &response_);
  }
  static QvwlpValue text(const char* value) {
    QvwlpValue cell{};
    cell.type = qvwlpString;
    cell.present = value != nullptr ? 1 : 0;
    cell.data.text = value;
    cell.length = value != nullptr ? static_cast<int32_t>(strlen(value)) : 0;
    return cell;
  }
  static QvwlpValue rowSet(QvwlpRowSet* rows) {
    QvwlpValue cell{};
    cell.type = qvwlpRowSet;
    cell.present = 1;
    cell.data.rowSet = rows;
    return cell;
  }

  Creator creator_;
  QvjniProxy* proxy_ = nullptr;
  QvwlpResponse* response_ = nullptr;
};

TEST_F(ProxyTest, CreationAsksAndReports) {
  EXPECT_THAT(creator_.asked, ElementsAre("JAVA_PROXY/DIRECTORY", "GREETING", "JAVA_PROXY/HAS_GETVERSION"));
  EXPECT_THAT(creator_.reports, ElementsAre("0 hello", "1 The proxy class test.Class has version 7.1."));
}

TEST_F(ProxyTest, CreationFailures) {
  const struct {
    const char* archive;
    const char* className;
    const char* directory;
    int32_t status;
    const char* report;
  } cases[] = {
      {"absent.jar", "test.Class", "modules", qvwlpNoModule, "modules/absent.so' cannot be loaded: "},
      {"no-module.jar", "test.Class", "modules", qvwlpNoModule, "exports no function qvjniModule"},
      {"test-module.jar", "test.Other", "modules", qvwlpNoModule, "no instance of the class 'test.Other'"},
      {"test-module.jar", "test.Throws", "modules", qvwlpNoModule, "cannot be made"},
      {"test-module.jar", "test.Class", "../platform/modules", qvwlpNoModule, "does not lie below"},
      {"test-module.jar", "test.Class", "modules/..", qvwlpNoModule, "does not lie below"},
      {"test-module.jar", "test.Class", TEST_MODULES "/modules", qvwlpNoModule, "does not lie below"},
      {"test-module.jar", "test.Class", "modules\\x", qvwlpNoModule, "does not lie below"},
      {"../test-module.jar", "test.Class", "modules", qvwlpNoModule, "not the file name"},
      {"test-module.jar", "test.Class", "no memory", qvwlpNoMemory, "no memory for the answer"},
  };
  for (const auto& each : cases) {
    Creator creator;
    creator.options["JAVA_PROXY/DIRECTORY"] = each.directory;
    QvjniProxy* proxy = proxy_;
    EXPECT_EQ(each.status, creator.create(each.archive, each.className, &proxy));
    EXPECT_EQ(nullptr, proxy);
    ASSERT_EQ(1U, creator.reports.size()) << each.report;
    EXPECT_THAT(creator.reports[0], testing::StartsWith("3 "));
    EXPECT_THAT(creator.reports[0], HasSubstr(each.report));
  }
}

// A process of its own, forked before anything else runs here (GoogleTest begins with death tests): the configuration is read once.
TEST(ProxyDeathTest, AMalformedConfigurationFailsTheCreation) {
  const TestFolder folder;
  const std::string path = folder.write("c.toml", "= 1\n");
  const auto create = [&path] {
    setenv("QVWS_CONFIG_FILE", path.c_str(), 1);
    Creator creator;
    QvjniProxy* proxy = nullptr;
    const int32_t status = creator.create("test-module.jar", "test.Class", &proxy);
    exit(status == qvwlpNoModule && creator.reports.size() == 1 && creator.reports[0].find("3 QVWS-2103: ") == 0 ? 42 : 1);
  };
  EXPECT_EXIT(create(), testing::ExitedWithCode(42), "ERROR QV.Base: QVWS-2103: .*line 1");
}

TEST_F(ProxyTest, RowsGoThereAndComeBackInOrder) {
  QvwlpRowSet* rows = qvjniProxyRowSetCreate(proxy_, kTwoTexts);
  constexpr int kCount = 3000;
  std::vector<std::string> texts;
  for (int i = 0; i < kCount; ++i) texts.push_back(std::to_string(i));
  for (const std::string& each : texts) {
    const QvwlpValue cells[] = {text(each.c_str()), text(nullptr)};
    ASSERT_EQ(qvwlpOk, qvwlpRowSet_addRow(rows, cells));
  }
  const char types[] = {qvwlpRowSet, qvwlpInteger, 0};
  for (int round = 0; round < 2; ++round) {  // a row set can be sent again
    ASSERT_EQ(qvwlpOk, call("Echo", types, {rowSet(rows)}));
    QvwlpParameters answer{};
    ASSERT_EQ(qvwlpOk, qvwlpResponse_parameters(response_, &answer));
    ASSERT_EQ(2, answer.count);
    EXPECT_EQ(kCount, answer.cells[1].data.integer);
    QvwlpRowSet* answered = answer.cells[0].data.rowSet;
    EXPECT_EQ(kCount, qvwlpRowSet_getRows(answered));
    QvwlpRow row{};
    for (int i = 0; i < kCount; ++i) {
      ASSERT_EQ(qvwlpOk, qvwlpRowSet_nextRow(answered, &row));
      EXPECT_EQ(0, row.cells[0].present);
      EXPECT_EQ(texts[static_cast<size_t>(i)].c_str(), row.cells[1].data.text);  // in place: not even the text was copied
    }
    EXPECT_EQ(qvwlpNoMoreRows, qvwlpRowSet_nextRow(answered, &row));
    qvwlpResponse_destroy(response_);
  }
  qvwlpRowSet_destroy(rows);
}

TEST_F(ProxyTest, RowsTakenOutOutliveTheirResponse) {
  for (const bool rowsFirst : {false, true}) {
    QvwlpRowSet* rows = qvjniProxyRowSetCreate(proxy_, kTwoTexts);
    const QvwlpValue cells[] = {text("a"), text("b")};
    ASSERT_EQ(qvwlpOk, qvwlpRowSet_addRow(rows, cells));
    const char types[] = {qvwlpRowSet, qvwlpInteger, 0};
    ASSERT_EQ(qvwlpOk, call("Echo", types, {rowSet(rows)}));
    QvwlpParameters answer{};
    ASSERT_EQ(qvwlpOk, qvwlpResponse_parameters(response_, &answer));
    QvwlpRowSet* taken = answer.cells[0].data.rowSet;
    if (rowsFirst) {  // destroyed without being taken out: the response lets go of it
      qvwlpRowSet_destroy(taken);
      EXPECT_EQ(0, answer.cells[0].present);
      qvwlpResponse_destroy(response_);
      continue;
    }
    answer.cells[0].data.rowSet = nullptr;
    qvwlpResponse_destroy(response_);
    QvwlpRow row{};
    EXPECT_EQ(qvwlpOk, qvwlpRowSet_nextRow(taken, &row));
    EXPECT_STREQ("b", row.cells[0].data.text);
    qvwlpRowSet_destroy(taken);
  }
  // The request row sets, and what follows, go with the proxy.
  ASSERT_EQ(qvwlpFailed, call("Fail", ""));
  ASSERT_EQ(qvwlpOk, call("Absent", "\x07\x0a\x0b"));
}

TEST_F(ProxyTest, AbsentValues) {
  ASSERT_EQ(qvwlpOk, call("Absent", "\x07\x0a\x0b"));
  QvwlpParameters answer{};
  ASSERT_EQ(qvwlpOk, qvwlpResponse_parameters(response_, &answer));
  EXPECT_EQ(5, answer.cells[0].data.integer);
  EXPECT_EQ(0, answer.cells[1].present);
  EXPECT_EQ(nullptr, answer.cells[1].data.rowSet);
  EXPECT_EQ(0, answer.cells[2].present);
  int32_t code = -1;
  EXPECT_EQ(qvwlpOk, qvwlpError_code(response_, &code));
  EXPECT_EQ(0, code);
}

TEST_F(ProxyTest, FailuresOfMethods) {
  const struct {
    const char* method;
    int32_t status;
    int32_t code;
    const char* text;  // null: no response
  } cases[] = {
      {"Fail", qvwlpFailed, 203, "no such host"}, {"FailSilently", qvwlpFailed, 0, "the proxy class gave no reason"},
      {"Throw", qvwlpFailed, 0, "thrown"},        {"ThrowNumber", qvwlpFailed, 0, "the proxy class threw an exception of unknown kind"},
      {"ThrowMemory", qvwlpNoMemory, 0, nullptr}, {"Unknown", qvwlpNoSuchMethod, 0, nullptr},
      {"Echo", qvwlpBadArgument, 0, nullptr},     {"BadCount", qvwlpBadAnswer, 0, nullptr},
      {"BadType", qvwlpBadAnswer, 0, nullptr},    {"BadCellType", qvwlpBadAnswer, 0, nullptr},
      {"BadText", qvwlpBadAnswer, 0, nullptr},    {"BadLength", qvwlpBadAnswer, 0, nullptr},
      {"BadPresent", qvwlpBadAnswer, 0, nullptr},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.method);
    testing::internal::CaptureStderr();
    EXPECT_EQ(each.status, call(each.method, kRows));
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(each.status == qvwlpBadAnswer, log.find(std::string("method ") + each.method + " answered wrongly") != std::string::npos) << log;
    ASSERT_EQ(each.text != nullptr, response_ != nullptr);
    if (response_ == nullptr) continue;
    int32_t code = -1;
    const char* text = nullptr;
    int32_t length = 0;
    QvwlpParameters answer{};
    EXPECT_EQ(qvwlpBadArgument, qvwlpResponse_parameters(response_, &answer));
    EXPECT_EQ(qvwlpOk, qvwlpError_code(response_, &code));
    EXPECT_EQ(qvwlpOk, qvwlpError_text(response_, &text, &length));
    EXPECT_EQ(each.code, code);
    EXPECT_EQ(each.text, std::string(text, static_cast<size_t>(length)));
    qvwlpResponse_destroy(response_);
  }
}

TEST_F(ProxyTest, PollingAndTheLogAfterwards) {
  QvjniInvokeCallback stop{0, [](QvjniInvokeCallback*) -> int32_t { return 1; }};
  ASSERT_EQ(qvwlpOk, qvjniProxyCall(proxy_, &stop, "Service", "Poll", "\x07", 0, nullptr, &response_));
  QvwlpParameters answer{};
  ASSERT_EQ(qvwlpOk, qvwlpResponse_parameters(response_, &answer));
  EXPECT_EQ(1, answer.cells[0].data.integer);
  testing::internal::CaptureStderr();
  ASSERT_EQ(qvwlpOk, call("Log", ""));
  EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(" ERROR QV.Proxy: told\\nlater\n"));
  EXPECT_EQ(2U, creator_.reports.size());
}

TEST_F(ProxyTest, WrongArguments) {
  QvwlpRowSet* rows = qvjniProxyRowSetCreate(proxy_, kTwoTexts);
  QvwlpValue integer{};
  integer.type = qvwlpInteger;
  integer.present = 1;
  QvwlpValue noText = text("x");
  noText.data.text = nullptr;
  for (const QvwlpValue& wrong : {integer, noText}) {
    const QvwlpValue cells[] = {text("a"), wrong};
    EXPECT_EQ(qvwlpBadArgument, qvwlpRowSet_addRow(rows, cells));
  }
  EXPECT_EQ(0, qvwlpRowSet_getRows(rows));
  for (const char* types : {static_cast<const char*>(nullptr), "", "\x0b\x03"}) EXPECT_EQ(nullptr, qvjniProxyRowSetCreate(proxy_, types));
  EXPECT_EQ(nullptr, qvjniProxyRowSetCreate(nullptr, kTwoTexts));
  EXPECT_EQ(qvwlpBadArgument, call("Echo", kRows, {noText}));
  EXPECT_EQ(qvwlpBadArgument, call("Echo", nullptr));
  EXPECT_EQ(qvwlpBadArgument, qvjniProxyCall(proxy_, nullptr, "Other", "Echo", kRows, 0, nullptr, &response_));
  EXPECT_EQ(qvwlpBadArgument, qvjniProxyCall(proxy_, nullptr, "Service", "Echo", kRows, 1, nullptr, &response_));
  EXPECT_EQ(qvwlpBadArgument, qvjniProxyCall(nullptr, nullptr, "Service", "Echo", kRows, 0, nullptr, &response_));
  EXPECT_EQ(qvwlpBadArgument, qvwlpRowSet_addRow(nullptr, &integer));
  EXPECT_EQ(0, qvwlpRowSet_getRows(nullptr));
  EXPECT_EQ(qvwlpBadArgument, qvwlpRowSet_nextRow(nullptr, nullptr));
  qvwlpRowSet_destroy(nullptr);
  qvwlpResponse_destroy(nullptr);
  qvjniProxyDestroy(nullptr);
}

}  // namespace
