// SPDX-License-Identifier: Apache-2.0
#include "log/printable.h"
#include "test_files.h"

#include <qvlog/qvlog.h>

#include <gmock/gmock.h>

namespace {

using testing::EndsWith;
using testing::HasSubstr;

void logFormat(QvlogLogger* logger, int32_t level, const char* format, ...) QVB_PRINTF(3, 4);
void logFormat(QvlogLogger* logger, int32_t level, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  logger->logFormat(level, nullptr, 0, format, arguments);
  va_end(arguments);
}

TEST(LogTest, WhatDrivesATerminalIsEscaped) {
  const std::pair<std::string, const char*> cases[] = {
      {"plain \xc3\xa4 \xe2\x82\xac \xf0\x9f\x98\xb8", "plain \xc3\xa4 \xe2\x82\xac \xf0\x9f\x98\xb8"},
      {"a\r\nb\tc", "a\\r\\nb\\tc"},
      {"\x1b[2J\x7f", "\\x1b[2J\\x7f"},
      {std::string("\0", 1), "\\x00"},
      {"\xc2\x9b"
       "1m",
       "\\u009b1m"},
      {"\xe2\x80\xa8\xe2\x80\xae", "\\u2028\\u202e"},  // NOLINT(misc-misleading-bidirectional): what is tested
      {"\x9b\xc3", "\\x9b\\xc3"},
      {"\xc0\x8a\xed\xa0\x80", "\\xc0\\x8a\\xed\\xa0\\x80"},
  };
  for (const auto& [text, shown] : cases) {
    std::string out;
    qvp::appendPrintable(text, out);
    EXPECT_EQ(shown, out);
  }
}

TEST(LogTest, LevelsNamesAndForms) {
  QvlogLogger* logger = qvlogGetLogger("QV.Test");
  EXPECT_EQ(logger, qvlogGetLogger("QV.Test"));
  EXPECT_NE(logger, qvlogGetLogger(nullptr));
  EXPECT_STREQ("QV.Test", logger->getName());
  logger->setLevel(qvlogWarning);
  testing::internal::CaptureStderr();
  logger->log(qvlogInfo, __FILE__, __LINE__, "hidden");
  logger->log(qvlogWarning, __FILE__, __LINE__, "two\nlines");
  logFormat(logger, qvlogError, "Property '%s' %d.", std::string(5000, 'x').c_str(), 7);
  logger->logMessage(qvlogError, __FILE__, __LINE__, 29, "(Callback option)");
  logger->setLevel(99);
  logger->log(qvlogError, nullptr, 0, "off");
  const std::string lines = testing::internal::GetCapturedStderr();
  EXPECT_EQ(qvlogOff, logger->getLevel());
  EXPECT_EQ(3, std::count(lines.begin(), lines.end(), '\n'));
  EXPECT_THAT(lines, HasSubstr("Z WARNING QV.Test: two\\nlines\n"));
  EXPECT_THAT(lines, HasSubstr("xxx' 7.\n"));
  EXPECT_THAT(lines, EndsWith(" ERROR QV.Test: QVWS-29: Out of memory (Callback option).\n"));
}

// Processes of their own, forked before anything else runs here (GoogleTest begins with death tests): the settings are read once.
TEST(LogDeathTest, TheEnvironmentComesBeforeTheConfiguration) {
  const TestFolder folder;
  const std::string config = folder.write("c.toml", "[LOG]\nLEVEL = 1\nFILE = '" + folder.path("log") + "'\n");
  const auto logTwo = [&config](const char* level) {
    setenv("QVWS_CONFIG_FILE", config.c_str(), 1);
    setenv("QVWS_LOG_LEVEL", level, 1);
    qvlogGetLogger("QV.Test")->log(qvlogReport, "dir/file.cpp", 7, "a report");
    qvlogGetLogger("QV.Test")->log(qvlogError, "dir/file.cpp", 8, "an error");
    exit(qvlogGetLogger("QV.Test")->getLevel());
  };
  EXPECT_EXIT(logTwo(""), testing::ExitedWithCode(1), "");
  EXPECT_THAT(folder.read("log"), HasSubstr("Z REPORT QV.Test: a report [file.cpp:7]\n"));
  EXPECT_EXIT(logTwo("5"), testing::ExitedWithCode(5), "");
  EXPECT_THAT(folder.read("log"), EndsWith("Z ERROR QV.Test: an error\n"));
  EXPECT_EXIT(logTwo("loud"), testing::ExitedWithCode(4), "");
  unsetenv("QVWS_CONFIG_FILE");
  unsetenv("QVWS_LOG_LEVEL");
}

}  // namespace
