// SPDX-License-Identifier: Apache-2.0
#include "base/config.h"
#include "base/message_table.h"
#include "test_files.h"

#include <qvb/datavar.h>
#include <qvb/message.h>

#include <gmock/gmock.h>

#include <limits>
#include <string>
#include <utility>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

const std::string kLong(100, 'x');

TEST(StringTest, NullAndEmptyDifferAndSurviveCopies) {
  const QvbString null;
  const QvbString empty("");
  for (const QvbString* text : {&null, &empty}) {
    const QvbString copy(*text);
    QvbString assigned(kLong.c_str());
    assigned = *text;
    QvbString source(*text);
    const QvbString moved(std::move(source));
    for (const QvbString* each : {&copy, const_cast<const QvbString*>(&assigned), &moved}) {
      EXPECT_EQ(text->isNull(), each->isNull());
      EXPECT_EQ(0, each->length());
      EXPECT_EQ(1, each->cStrSize());
      EXPECT_STREQ("", each->asCstr());
    }
  }
}

TEST(StringTest, LengthsAroundTheInlineLimitCopyMoveAndGrow) {
  for (int32_t length = 0; length < 40; ++length) {
    const std::string expected = kLong.substr(0, static_cast<size_t>(length));
    QvbString text(expected.c_str());
    QvbString copy(text);
    copy.append("y");
    EXPECT_EQ(expected + "y", copy.asCstr());
    EXPECT_EQ(expected, text.asCstr());
    text.append(text);  // the source moves while the text grows
    EXPECT_EQ(expected + expected, text.asCstr());
    text.assign(text.asCstr() + length);
    EXPECT_EQ(expected, text.asCstr());
    QvbString& same = text;
    text = same;
    text = std::move(same);
    EXPECT_EQ(expected, text.asCstr());
    const QvbString moved(std::move(text));
    EXPECT_TRUE(text.isNull());  // NOLINT(bugprone-use-after-move): promised by the header
    EXPECT_EQ(expected, moved.asCstr());
  }
}

TEST(StringTest, AppendToNull) {
  QvbString text;
  text.append(QvbString()).append(static_cast<const char*>(nullptr));
  EXPECT_TRUE(text.isNull());
  text.append("");
  EXPECT_FALSE(text.isNull());
}

TEST(StringTest, Order) {
  const QvbString ascending[] = {QvbString(), "", "A", "AB", "B", "a", "\xc3\xa4", QvbString("\xc3\xa4\0", 3)};
  for (const bool collation : {false, true}) {
    for (size_t i = 0; i < std::size(ascending); ++i) {
      for (size_t j = 0; j < std::size(ascending); ++j) {
        const int32_t order = ascending[i].compare(ascending[j], collation);
        EXPECT_EQ(i < j, order < 0) << i << ' ' << j;
        EXPECT_EQ(i > j, order > 0) << i << ' ' << j;
      }
    }
  }
  EXPECT_EQ(0, QvbString().compare(static_cast<const char*>(nullptr), true));
  EXPECT_LT(QvbString().compare("", true), 0);
  EXPECT_GT(QvbString("").compare(static_cast<const char*>(nullptr), true), 0);
  EXPECT_GT(QvbString("WSCP_USERS").compare("WSCP_USER", true), 0);
}

TEST(StringTest, FindMidTrimAndNumbers) {
  const QvbString text("user@host@x");
  EXPECT_EQ(4, text.find("@"));
  EXPECT_EQ(9, text.find("@", 5));
  EXPECT_EQ(-1, text.find("@", 99));
  EXPECT_EQ(0, text.find("", -3));
  EXPECT_EQ(11, text.find("", 11));
  EXPECT_EQ(-1, text.find("", 12));
  EXPECT_EQ(-1, text.find(nullptr));
  EXPECT_STREQ("host", text.mid(5, 4).asCstr());
  EXPECT_STREQ("host@x", text.mid(5).asCstr());
  EXPECT_STREQ("us", text.mid(-2, 2).asCstr());
  EXPECT_FALSE(text.mid(99).isNull());
  EXPECT_TRUE(QvbString().mid(0).isNull());
  QvbString padded(" \t a b \v\n");
  EXPECT_STREQ("a b \v\n", padded.trim(true, false).asCstr());
  EXPECT_STREQ("a b", padded.trim(false, true).asCstr());
  QvbString blank("   ");
  EXPECT_EQ(0, blank.trim(true, true).length());
  EXPECT_FALSE(blank.isNull());
  EXPECT_STREQ("-9223372036854775808", QvbString().assign(std::numeric_limits<int64_t>::min()).asCstr());
}

TEST(DatavarTest, Conversions) {
  struct Case {
    const char* text;
    int boolean;         // 1, 0, or -1 when it does not convert
    const char* number;  // null when it does not convert
  };
  const Case cases[] = {
      {"true", 1, nullptr},
      {" YES\t", 1, nullptr},
      {"False", 0, nullptr},
      {"no", 0, nullptr},
      {"1", 1, "1"},
      {"0", 0, "0"},
      {"2", -1, "2"},
      {"+7", -1, "7"},
      {" -12 ", -1, "-12"},
      {"2147483647", -1, "2147483647"},
      {"01", -1, "1"},
      {"-2147483648", -1, "-2147483648"},
      {"2147483648", -1, nullptr},
      {"-2147483649", -1, nullptr},
      {"99999999999999999999999", -1, nullptr},
      {"", -1, nullptr},
      {" ", -1, nullptr},
      {"+", -1, nullptr},
      {"on", -1, nullptr},
      {"0x10", -1, nullptr},
      {"1.0", -1, nullptr},
      {"1e3", -1, nullptr},
      {"1 2", -1, nullptr},
      {"truely", -1, nullptr},
      {"--1", -1, nullptr},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.text);
    QvbDatavar value;
    value.assign(each.text);
    bool converted = false;
    EXPECT_EQ(each.boolean == 1, value.asBool(&converted));
    EXPECT_EQ(each.boolean >= 0, converted);
    QvbDatavar boolean(value);
    EXPECT_EQ(each.boolean >= 0, boolean.setType(qvbTypeBoolean));
    EXPECT_STREQ(each.boolean < 0 ? each.text : each.boolean == 1 ? "true" : "false", boolean.asString().asCstr());
    EXPECT_EQ(each.number != nullptr, value.setType(qvbTypeInteger));
    EXPECT_STREQ(each.number != nullptr ? each.number : each.text, value.asString().asCstr());
  }
}

TEST(DatavarTest, NullConvertsToNullAlone) {
  QvbDatavar value;
  value.assign(QvbString());
  for (const qvbType type : {qvbTypeBoolean, qvbTypeInteger, qvbTypeText}) EXPECT_FALSE(value.setType(type));
  EXPECT_TRUE(value.setType(qvbTypeNull));
  EXPECT_TRUE(value.asString().isNull());
  value.assign("1");
  ASSERT_TRUE(value.setType(qvbTypeInteger));
  EXPECT_TRUE(value.setType(qvbTypeBoolean));
  EXPECT_EQ(1, value.asInteger());
  EXPECT_FALSE(value.setType(static_cast<qvbType>(9)));
}

TEST(ConfigTest, ValuesOfEveryKind) {
  const TestFolder folder;
  const std::string path = folder.write(
      "c.toml",
      "TOP = 'a'\n[WEBSERVICE]\nREQUEST_TIMEOUT = 30\nVALUE_IS_XML = false\nFACTOR = 1.5\nLIST = [1]\nEMPTY = ''\n[WEBSERVICE.DEEP]\nX = 1\n");
  const qvp::Config config = qvp::Config::load(path);
  QvbString value;
  EXPECT_FALSE(config.getError(value)) << value.asCstr();
  EXPECT_EQ(path, config.getSource().asCstr());
  const std::pair<const char*, const char*> found[] = {{"TOP", "a"},
                                                       {"WEBSERVICE/REQUEST_TIMEOUT", "30"},
                                                       {"WEBSERVICE/VALUE_IS_XML", "false"},
                                                       {"WEBSERVICE/FACTOR", "1.5"},
                                                       {"WEBSERVICE/EMPTY", ""}};
  for (const auto& [key, text] : found) {
    EXPECT_TRUE(config.lookup(key, value, 0)) << key;
    EXPECT_STREQ(text, value.asCstr());
    EXPECT_FALSE(value.isNull());
  }
  for (const char* key : {static_cast<const char*>(nullptr), "", "top", "WEBSERVICE", "WEBSERVICE/LIST", "WEBSERVICE/DEEP", "REQUEST_TIMEOUT"}) {
    value.assign("before");
    EXPECT_FALSE(config.lookup(key, value, 0));
    EXPECT_TRUE(value.isNull());
  }
}

TEST(ConfigTest, MalformedOrUnreadableFilesAreErrorsWithTheirPlace) {
  const TestFolder folder;
  const std::pair<std::string, const char*> cases[] = {
      {folder.write("bad.toml", "A = 1\nB =\n"), "bad.toml, line 2"}, {folder.path("absent.toml"), "No such file"}, {folder.path(""), "directory"}};
  for (const auto& [path, problem] : cases) {
    const qvp::Config config = qvp::Config::load(path);
    QvbString text;
    EXPECT_TRUE(config.getError(text));
    EXPECT_THAT(text.asCstr(), StartsWith("QVWS-2103: "));
    EXPECT_THAT(text.asCstr(), HasSubstr(problem));
    EXPECT_FALSE(config.lookup("A", text, 0));
  }
}

TEST(ConfigTest, OnlyTheProductHasOne) {
  EXPECT_EQ(nullptr, qvbGetConfigOptions("other"));
  EXPECT_NE(nullptr, qvbGetConfigOptions(""));
  EXPECT_EQ(qvbGetConfigOptions(""), qvbGetConfigOptions(QvbString()));
}

TEST(MessageTest, SentencesWithTheirArguments) {
  const auto text = [](int32_t id, auto... arguments) {
    return std::string(qvb_get_message("f.cpp", 1, "Web Service Client", id, arguments...).asCstr());
  };
  EXPECT_EQ("QVWS-29: Out of memory (Callback option).", text(29, "(Callback option)"));
  EXPECT_EQ("QVWS-768: A row could not be added to a request: status 2.", text(768, 2));
  EXPECT_EQ("QVWS-1442: Prefix 'p' is bound to 'a' and cannot be bound to 'b'.", text(1442, "p", "a", "b"));
  EXPECT_EQ("QVWS-1725: The proxy method Discover failed with code 203: {1} 100%s", text(1725, "Discover", 203, "{1} 100%s"));
  EXPECT_EQ("QVWS-1726: The proxy method Discover failed with status -5.", text(1726, "Discover", -5));
  EXPECT_EQ("QVWS-1774: Interface '' is referred to but not described.", text(1774, "Interface", static_cast<const char*>(nullptr)));
  EXPECT_EQ("QVWS-1779: Binding Operation 'o' does not exist in Interface 'i'.", text(1779, "Binding Operation", "o", "Interface", "i"));
  EXPECT_EQ("QVWS-1801: Binding '{ns}name' has style 'rpc'; only 'document' is supported.", text(1801, "{ns}name", "rpc"));
  EXPECT_THAT(text(4711), StartsWith("QVWS-4711: "));
}

TEST(MessageTest, TheCatalogueIsWhole) {
  int32_t before = 0;
  for (const int32_t id : {29, 247, 444, 768, 1420, 1442, 1590, 1603, 1725, 1726, 1774, 1776, 1777, 1778, 1779, 1801, 1837, 2101, 2102})
    EXPECT_NE(nullptr, qvp::findMessage(id));
  for (const qvp::Message& message : qvp::messageTable()) {
    SCOPED_TRACE(message.id);
    EXPECT_LT(before, message.id);
    before = message.id;
    const std::string sentence = message.sentence;
    const std::string arguments = message.arguments;
    for (size_t i = 1; i <= 9; ++i) EXPECT_EQ(i <= arguments.size(), sentence.find("{" + std::to_string(i) + "}") != std::string::npos);
  }
}

TEST(MessageTest, ThePageIsThatOfTheCatalogue) {
  std::ifstream file(SOURCE_FOLDER "/docs/messages.md");
  const std::string page{std::istreambuf_iterator<char>(file), {}};
  EXPECT_EQ(outputOf(QVMESSAGES), page) << "run qvmessages > docs/messages.md";
}

}  // namespace
