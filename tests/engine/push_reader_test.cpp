// SPDX-License-Identifier: Apache-2.0
#include "xml/push_reader.h"

#include "error.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace std::string_literals;
using qvx::ErrorCode;

/// Writes down what is reported, and checks that offsets and bytes fit each other.
class Recorder : public qvx::PushReader {
 public:
  explicit Recorder(const qvx::Limits& limits) : PushReader("doc", limits) {}

  std::string log;
  std::string bytes;
  std::string text;
  std::string throwAt;

  std::string read(const std::string& document, const std::string& encoding, const std::function<std::size_t()>& size) {
    log.clear();
    bytes.clear();
    text.clear();
    raws_.clear();
    begin(encoding);
    for (std::size_t at = 0; at < document.size();) {
      const std::size_t next = std::min(size(), document.size() - at);
      // A copy of its own, so that looking beyond a piece is found out.
      const std::vector<char> piece(document.begin() + static_cast<std::ptrdiff_t>(at), document.begin() + static_cast<std::ptrdiff_t>(at + next));
      feed({piece.data(), piece.size()});
      at += next;
    }
    end();
    flush();
    for (const auto& [offset, raw] : raws_) EXPECT_EQ(bytes.substr(offset, raw.size()), raw);
    return log;
  }

 protected:
  void onStart(const qvx::PushTag& tag) override {
    flush();
    if (tag.local == throwAt) throw std::out_of_range("callback");
    log += "<" + std::string(tag.prefix) + ":{" + std::string(tag.ns) + "}" + std::string(tag.local);
    if (const auto value = tag.element.attribute("a")) log += " a=" + std::string(*value);
    if (const auto value = tag.element.attribute("a", "urn:given")) log += " given=" + std::string(*value);
    log += "@" + std::to_string(tag.begin) + "-" + std::to_string(tag.end) + "/" + std::to_string(depth()) + "." +
           std::to_string(declarations().size()) + ">";
    EXPECT_EQ(tag.end - tag.begin, tag.raw.size());
    raws_.emplace_back(static_cast<std::size_t>(tag.begin), tag.raw);
  }
  void onEnd(std::uint64_t begin, std::uint64_t end) override {
    flush();
    log += "</" + std::to_string(begin) + "-" + std::to_string(end) + "/" + std::to_string(depth()) + ">";
  }
  void onText(std::string_view piece) override { text += piece; }
  void onBytes(std::uint64_t begin, std::string_view piece) override {
    EXPECT_EQ(begin, bytes.size());
    bytes += piece;
  }
  std::optional<std::string_view> undeclared(std::string_view prefix) override {
    return prefix == "given" ? std::optional<std::string_view>("urn:given") : std::nullopt;
  }

 private:
  std::vector<std::pair<std::size_t, std::string>> raws_;

  void flush() {
    if (!text.empty()) log += text;
    text.clear();
  }
};

std::string utf16(const std::string& ascii, bool mark) {
  std::string result = mark ? "\xFF\xFE"s : ""s;
  for (const char c : ascii) result += {c, '\0'};
  return result;
}

std::string one(const std::string& document, Recorder& reader, const std::string& encoding = {}) {
  return reader.read(document, encoding, [&] { return document.size(); });
}

TEST(PushReader, tellsWhereEverythingLies) {
  const qvx::Limits limits;
  Recorder reader(limits);
  EXPECT_EQ(one("<?xml version='1.0'?>\n<p:r xmlns:p='urn:p' a='x>y'><b/>t&amp;<!-- > --><![CDATA[<c>]]></p:r >\n", reader),
            "<p:{urn:p}r a=x>y@22-51/1.1><:{}b@51-55/2.1></55-55/2>t&<c></86-93/1>");
}

TEST(PushReader, takesPiecesOfAnySize) {
  const qvx::Limits limits;
  Recorder reader(limits);
  Recorder reference(limits);
  std::mt19937 random(7);
  const std::string longText =
      std::string(20000, 'x') + "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80" + std::string(700, ']') + "\r\n" + std::string(9000, ' ');
  struct Row {
    std::string document;
    std::string encoding;
    std::string plain;  // the same as UTF-8
  };
  const std::string full =
      "<?xml version=\"1.0\"?><?pi > ? ?><!-- > - --><r xmlns='urn:r' xmlns:q=\"urn:q\"><q:e a='1 > \"0'\n/> t ]] "
      "&lt;&#x20AC;<![CDATA[]]]]><![CDATA[>" +
      longText + "]]>" + longText + "<given:x given:a='2'></given:x><e a=\"'>'\"></e ></r>\n<!-- end -->\n";
  const std::string ascii = "<r a='1'><e>text</e></r>";
  const std::vector<Row> rows = {
      {full, "", full},
      {"\xEF\xBB\xBF" + full, "utf-8", full},
      {utf16(ascii, true), "", ascii},
      {utf16(ascii, true), "iso-8859-1", ascii},
      {utf16(ascii, false), "", ascii},
      {utf16(ascii, false), "utf-16", ascii},
      {"<?xml version='1.0' encoding='ISO-8859-1'?><r>\xE4</r>", "", "<?xml version='1.0' encoding='ISO-8859-1'?><r>\xC3\xA4</r>"},
      {"<?xml version='1.0' encoding='UTF-16'?><r>\xC3\xA4</r>", "", "<?xml version='1.0' encoding='UTF-16'?><r>\xC3\xA4</r>"},
      {"<?xml version='1.0' encoding='UTF-16'?><r>\xE4</r>", "windows-1252", "<?xml version='1.0' encoding='UTF-16'?><r>\xC3\xA4</r>"},
      {"<r>\xE4</r>", "ISO-8859-1", "<r>\xC3\xA4</r>"},
      {"<r/>", "no-such-encoding", "<r/>"},
  };
  for (const Row& row : rows) {
    const std::string expected = one(row.plain, reference, "utf-8");
    for (int mode = 0; mode < 6; ++mode) {
      SCOPED_TRACE(row.document.substr(0, 60) + " mode " + std::to_string(mode));
      const auto size = [&]() -> std::size_t {
        return mode == 0 ? row.document.size() : mode == 1 ? 1 : 1 + random() % (std::size_t{1} << (2 * mode));
      };
      EXPECT_EQ(reader.read(row.document, row.encoding, size), expected);
      EXPECT_EQ(reader.bytes, row.plain);
    }
  }
}

TEST(PushReader, refusesWhatIsWrongHoweverItComes) {
  qvx::Limits limits;
  limits.depth = 3;
  limits.attributes = 4;
  Recorder reader(limits);
  struct Row {
    std::string document;
    ErrorCode code;
    std::string part;
  };
  const std::vector<Row> rows = {
      {"", ErrorCode::NotWellFormed, "empty"},
      {"no xml", ErrorCode::NotWellFormed, "line 1"},
      {"<r>\n<e></r>", ErrorCode::NotWellFormed, "line 2"},
      {"<r>", ErrorCode::NotWellFormed, "line 1"},
      {"<r/><r/>", ErrorCode::NotWellFormed, "line 1"},
      {"<r/>text", ErrorCode::NotWellFormed, "line 1"},
      {"<r a='<'/>", ErrorCode::NotWellFormed, "line 1"},
      {"<r>a ]]> b</r>", ErrorCode::NotWellFormed, "line 1"},
      {"<r>\xE4</r>", ErrorCode::NotWellFormed, "line 1"},
      {"<r>&e;</r>", ErrorCode::NotWellFormed, "'e'"},
      {"<r a='1' a='2'/>", ErrorCode::NotWellFormed, "redefined"},
      {"<r xmlns:p='u' xmlns:q='u' p:a='1' q:a='2'/>", ErrorCode::NotWellFormed, "line 1"},
      {"<r xmlns:p=''/>", ErrorCode::NotWellFormed, "line 1"},
      {"<?xml version='1.0' encoding='klingon'?><r/>", ErrorCode::NotWellFormed, "klingon"},
      {"\xFF\xFE<\0r\0/\0>\0 "s, ErrorCode::NotWellFormed, "character"},
      {"<!DOCTYPE r [<!ENTITY e 'x'>]><r>&e;</r>", ErrorCode::DtdRefused, "line 1"},
      {"<r><a><b><c/></b></a></r>", ErrorCode::LimitExceeded, "limits.depth"},
      {"<r a='1' b='1' c='1' d='1' xmlns='u'/>", ErrorCode::LimitExceeded, "limits.attributes"},
      {"<r>\n<x:e/></r>", ErrorCode::BadReference, "line 2: the prefix 'x' of element 'e'"},
      {"<r x:e=''/>", ErrorCode::BadReference, "the prefix 'x' of attribute 'e'"},
  };
  for (const Row& row : rows) {
    for (const std::size_t size : {std::size_t{1}, std::size_t{3}, std::size_t{1000}}) {
      SCOPED_TRACE(row.document + " in pieces of " + std::to_string(size));
      try {
        reader.read(row.document, "", [&] { return size; });
        ADD_FAILURE() << "accepted: " << reader.log;
      } catch (const qvx::Error& error) {
        EXPECT_EQ(error.code(), row.code) << error.what();
        EXPECT_NE(std::string(error.what()).find(row.part), std::string::npos) << error.what();
      }
      EXPECT_EQ(one("<r/>", reader), "<:{}r@0-4/1.0></4-4/1>");
    }
  }
}

TEST(PushReader, passesOnWhatACallbackThrows) {
  const qvx::Limits limits;
  Recorder reader(limits);
  reader.throwAt = "b";
  EXPECT_THROW(one("<r><b/><c/></r>", reader), std::out_of_range);
  EXPECT_EQ(one("<r/>", reader), "<:{}r@0-4/1.0></4-4/1>");
}

TEST(PushReader, boundsASingleToken) {
  const qvx::Limits limits;
  Recorder reader(limits);
  const std::string piece(std::size_t{1} << 20, 'x');
  reader.begin("");
  reader.feed("<r a='");
  EXPECT_THROW(
      {
        for (int i = 0; i < 20; ++i) reader.feed(piece);
      },
      qvx::Error);
}

}  // namespace
