// SPDX-License-Identifier: Apache-2.0
#include <qvb/config.h>
#include <qvb/cursor.h>
#include <qvlog/qvlog.h>

#include <gtest/gtest.h>
#include <string.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

namespace {

/// Slot of a virtual operation, from 1: in the Itanium ABI a pointer to one holds its offset in the table, plus 1.
template <typename Pointer>
int slot(Pointer operation) {
  ptrdiff_t offset = 0;
  static_assert(sizeof operation >= sizeof offset);
  memcpy(&offset, &operation, sizeof offset);
  return static_cast<int>((offset - 1) / static_cast<ptrdiff_t>(sizeof(void*))) + 1;
}

TEST(ContractTest, OrderOfVirtualOperations) {
  EXPECT_EQ(1, slot(&QvlogLogger::getLevel));
  EXPECT_EQ(4, slot(&QvlogLogger::log));
  EXPECT_EQ(5, slot(&QvlogLogger::logFormat));
  EXPECT_EQ(8, slot(&QvlogLogger::logMessage));
  EXPECT_EQ(3, slot(&QvbConfigOptions::lookup));
  EXPECT_EQ(1, slot(&QvbStringCursor::isOpen));
  EXPECT_EQ(2, slot(&QvbStringCursor::getColumnName));
  EXPECT_EQ(3, slot(&QvbStringCursor::getColumnCount));
  EXPECT_EQ(4, slot(&QvbStringCursor::getString));
  EXPECT_EQ(5, slot(&QvbStringCursor::getColumnLabel));
  EXPECT_EQ(6, slot(&QvbStringCursor::getRowCount));
  EXPECT_EQ(7, slot(&QvbStringCursor::next));
  EXPECT_EQ(8, slot(&QvbStringCursor::release));
  EXPECT_EQ(9, slot(&QvbStringCursor::rewind));
}

// A type of the standard library in a header would tie hosts to our compiler's.
TEST(ContractTest, HeadersIncludeNothingElse) {
  const std::regex allowed(R"(#include <(stddef\.h|stdint\.h|stdarg\.h|(qvb|qvlog|qvwlp|qvjni|qvws)/\w+\.h)>)");
  int headers = 0;
  for (const char* folder : {"/platform/include", "/include/qvws"}) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(std::string(SOURCE_FOLDER) + folder)) {
      if (entry.path().extension() != ".h") continue;
      ++headers;
      std::ifstream file(entry.path());
      for (std::string line; std::getline(file, line);) {
        if (line.rfind("#include", 0) != 0) continue;
        EXPECT_TRUE(std::regex_match(line, allowed)) << entry.path() << ": " << line;
      }
    }
  }
  EXPECT_GT(headers, 15);
}

}  // namespace
