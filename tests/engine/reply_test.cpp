// SPDX-License-Identifier: Apache-2.0
#include "error.h"
#include "names.h"
#include "soap/reply_reader.h"

#include <gtest/gtest.h>
#include <libxml/c14n.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using qvx::ErrorCode;
using qvx::ReplyReader;
using qvx::WantedValue;
using Kind = qvx::ReplyReader::Kind;
using Size = std::function<std::size_t()>;

const std::string kS11(qvx::xmlns::kSoap11Envelope);
const std::string kS12(qvx::xmlns::kSoap12Envelope);

void feed(ReplyReader& reader, const std::vector<WantedValue>& wanted, const std::string& reply, const Size& size, const std::string& charset = {}) {
  reader.begin(wanted, charset);
  for (std::size_t at = 0; at < reply.size();) {
    const std::vector<char> piece(reply.begin() + static_cast<std::ptrdiff_t>(at),
                                  reply.begin() + static_cast<std::ptrdiff_t>(std::min(reply.size(), at + size())));
    reader.feed({piece.data(), piece.size()});
    at += piece.size();
  }
  reader.end();
}

std::string content(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

class TemporaryFolder {
 public:
  TemporaryFolder() : path_(fs::temp_directory_path() / ("reply_test." + std::to_string(getpid()))) { fs::create_directories(path_); }
  ~TemporaryFolder() { fs::remove_all(path_); }
  [[nodiscard]] std::string file(const std::string& name) const { return (path_ / name).string(); }
  [[nodiscard]] std::size_t count() const { return static_cast<std::size_t>(std::distance(fs::directory_iterator(path_), {})); }

 private:
  fs::path path_;
};

/// Whole, byte by byte, and in pieces of any size.
std::vector<Size> sizes() {
  static std::mt19937 random(11);
  return {[] { return std::size_t{1} << 20; }, [] { return std::size_t{1}; }, [] { return 1 + random() % 7; }, [] { return 1 + random() % 90; }};
}

const std::string kNested =
    "<?xml version='1.0'?>\n<!-- c --><s:Envelope xmlns:s='" + kS11 +
    "' xmlns='urn:d' xmlns:x='urn:x' xmlns:xs='urn:xs&amp;&lt;\"'>\n <s:Header> <a x:m='1'/> <x:b>t</x:b></s:Header>\n"
    " <s:Body> <first><inner k='xs:t'><x:twin n='1'/></inner></first>t<x:twin n='2' xmlns:x='urn:x'>xs:u</x:twin></s:Body>\n</s:Envelope>\n";

TEST(Reply, cutsOutWhatIsWanted) {
  struct Row {
    qvx::QualifiedName name;
    std::string expected;  // "-": not found
  };
  const std::string xs = R"( xmlns:xs="urn:xs&amp;&lt;&quot;")";
  const std::string d = R"( xmlns="urn:d")";
  const std::string x = R"( xmlns:x="urn:x")";
  const std::string twin = "<x:twin" + xs + d + " n='2' xmlns:x='urn:x'>xs:u</x:twin>";
  const std::string first = "<first" + xs + x + d + "><inner k='xs:t'><x:twin n='1'/></inner></first>";
  const std::vector<Row> rows = {
      {{"urn:x", "twin"}, twin},
      {{"urn:d", "first"}, first},
      {{"urn:d", "inner"}, "<inner" + xs + x + d + " k='xs:t'><x:twin n='1'/></inner>"},
      {{"", "first"}, "-"},
      {{"urn:x", "b"}, "-"},
      {{kS12, "Body"}, " " + first + "t" + twin},
      {{kS11, "Header"}, "<a" + x + d + " x:m='1'/><x:b" + x + d + ">t</x:b>"},
      {{kS11, "Envelope"}, kNested.substr(kNested.find("<s:Env"), kNested.size() - kNested.find("<s:Env") - 1)},
  };
  const TemporaryFolder folder;
  const qvx::Limits limits;
  ReplyReader reader(limits);
  std::vector<WantedValue> wanted;
  for (const Row& row : rows) wanted.push_back({row.name, ""});
  for (const Row& row : rows) wanted.push_back({row.name, folder.file(std::to_string(wanted.size()))});
  const auto declaredEverywhere = [](std::string text) {
    // Into a file go all declarations; what is left is the same.
    for (std::size_t at; (at = text.find(" xmlns")) != std::string::npos;) text.erase(at, text.find_first_of("\"'", text.find('=', at) + 2) - at + 1);
    return text;
  };
  for (const Size& size : sizes()) {
    feed(reader, wanted, kNested, size);
    ASSERT_EQ(reader.kind(), Kind::Envelope) << reader.problem();
    reader.keepFiles();
    std::map<std::size_t, std::string_view> found;
    for (const auto& one : reader.found()) found[one.wanted] = one.text;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      SCOPED_TRACE(rows[i].name.text());
      const std::string file = wanted[rows.size() + i].file;
      if (rows[i].expected == "-") {
        EXPECT_EQ(found.count(i) + found.count(rows.size() + i), 0U);
        EXPECT_FALSE(fs::exists(file));
        continue;
      }
      ASSERT_EQ(found.count(i), 1U);
      EXPECT_EQ(found[i], rows[i].expected);
      EXPECT_EQ(found[rows.size() + i].data(), nullptr);
      EXPECT_EQ(declaredEverywhere(content(file)), declaredEverywhere(rows[i].expected));
    }
  }
}
}  // namespace
