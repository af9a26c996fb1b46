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

struct FreeDocument {
  void operator()(xmlDoc* document) const noexcept { xmlFreeDoc(document); }
};
using Document = std::unique_ptr<xmlDoc, FreeDocument>;

Document parsed(const std::string& text) {
  return Document(xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, XML_PARSE_NONET));
}

int inSubtree(void* top, xmlNode* node, xmlNode* parent) {
  for (const xmlNode* at = node->type == XML_NAMESPACE_DECL ? parent : node; at != nullptr; at = at->parent) {
    if (at == top) return 1;
  }
  return 0;
}

std::string canonical(xmlDoc* document, xmlNode* top) {
  xmlOutputBuffer* const buffer = xmlAllocOutputBuffer(nullptr);
  EXPECT_GE(xmlC14NExecute(document, inSubtree, top, XML_C14N_EXCLUSIVE_1_0, nullptr, 1, buffer), 0);
  std::string text(reinterpret_cast<const char*>(xmlOutputBufferGetContent(buffer)), xmlOutputBufferGetSize(buffer));
  xmlOutputBufferClose(buffer);
  return text;
}

xmlNode* findElement(xmlNode* from, const std::string& local) {
  for (xmlNode* at = from; at != nullptr; at = at->next) {
    if (at->type != XML_ELEMENT_NODE) continue;
    if (local == reinterpret_cast<const char*>(at->name)) return at;
    if (xmlNode* const found = findElement(at->children, local)) return found;
  }
  return nullptr;
}

/// An element with a name of its own; `scope` are the prefixes that may be used, "" with a default namespace.
std::string randomElement(std::mt19937& random, std::vector<std::string> scope, int level, int& counter) {
  std::string declarations;
  for (const std::string prefix : {"", "p", "pq", "q-p"}) {
    if (random() % 4 != 0) continue;
    declarations += prefix.empty() ? " xmlns" : " xmlns:" + prefix;
    declarations += "='urn:" + std::to_string(random() % 3) + "'";
    if (!prefix.empty()) scope.push_back(prefix);
  }
  if (random() % 9 == 0 && declarations.find("xmlns=") == std::string::npos) declarations += " xmlns=\"\"";
  const std::string prefix = random() % 2 == 0 || scope.empty() ? "" : scope[random() % scope.size()] + ":";
  const std::string name = prefix + "e" + std::to_string(counter++);
  std::string result = "<" + name + declarations;
  if (!scope.empty() && random() % 2 == 0) result += "\n " + scope[random() % scope.size()] + ":a = \"x>y\"";
  if (random() % 5 == 0) return result + " />";
  result += ">";
  for (std::size_t i = random() % 4; i > 0 && level < 6; --i) {
    result += randomElement(random, scope, level + 1, counter);
    static constexpr const char* kBetween[] = {"text \xE2\x82\xAC", "<![CDATA[<no>]]>", "<!-- <e0> -->", "&lt;&#10;", "<?pi e?>", ""};
    result += kBetween[random() % std::size(kBetween)];
  }
  return result + "</" + name + ">";
}

TEST(Reply, cutsMeanWhatTheyMeantInside) {
  const TemporaryFolder folder;
  const qvx::Limits limits;
  ReplyReader reader(limits);
  std::mt19937 random(23);
  for (int round = 0; round < 150; ++round) {
    int count = 0;
    const std::string reply = "<s:Envelope xmlns:s='" + kS12 + "' xmlns:p='urn:outer' xmlns='urn:top'><s:Body xmlns:q-p='urn:b'>" +
                              randomElement(random, {"p", "q-p", "s"}, 0, count) + "</s:Body></s:Envelope>";
    const Document original = parsed(reply);
    ASSERT_NE(original, nullptr) << reply;
    std::vector<WantedValue> wanted;
    for (int i = 0; i < std::min(count, 12); ++i) {
      const std::string local = "e" + std::to_string(random() % static_cast<unsigned>(count));
      const xmlNode* const node = findElement(xmlDocGetRootElement(original.get()), local);
      const std::string ns = node->ns == nullptr ? "" : reinterpret_cast<const char*>(node->ns->href);
      wanted.push_back({{ns, local}, i % 4 == 3 ? folder.file(std::to_string(i)) : ""});
    }
    feed(reader, wanted, reply, [&] { return 1 + random() % 200; });
    ASSERT_EQ(reader.kind(), Kind::Envelope) << reader.problem() << reply;
    reader.keepFiles();
    ASSERT_EQ(reader.found().size(), wanted.size());
    for (const auto& one : reader.found()) {
      const WantedValue& want = wanted[one.wanted];
      const std::string cut = want.file.empty() ? std::string(one.text) : content(want.file);
      const Document alone = parsed(cut);
      ASSERT_NE(alone, nullptr) << cut << "\nof " << reply;
      EXPECT_EQ(canonical(alone.get(), xmlDocGetRootElement(alone.get())),
                canonical(original.get(), findElement(xmlDocGetRootElement(original.get()), want.name.local)))
          << reply;
    }
  }
}

TEST(Reply, knowsWhatItIsWhereverItBreaksOff) {
  const qvx::Limits limits;
  ReplyReader reader(limits);
  const std::vector<WantedValue> wanted = {{{"urn:x", "twin"}, ""}, {{kS11, "Body"}, ""}};
  const std::size_t whole = kNested.rfind('>') + 1;
  for (std::size_t cut = 0; cut <= kNested.size(); ++cut) {
    feed(reader, wanted, kNested.substr(0, cut), [&] { return 1 + cut % 50; });
    EXPECT_EQ(reader.kind(), cut == 0 ? Kind::Empty : cut < whole ? Kind::Other : Kind::Envelope) << cut;
    EXPECT_EQ(reader.found().size(), cut < whole ? 0U : 2U);
    EXPECT_EQ(reader.problem().empty(), reader.kind() != Kind::Other);
  }
}

TEST(Reply, saysWhatItIs) {
  const std::string open = "<s:Envelope xmlns:s='" + kS11 + "'>";
  struct Row {
    std::string reply;
    Kind kind;
    std::string part;
  };
  const std::vector<Row> rows = {
      {" \r\n", Kind::Empty, ""},
      {"\n<?xml version='1.0'?>" + open + "<s:Body/></s:Envelope>", Kind::Envelope, ""},
      {"\xEF\xBB\xBF" + open + "<s:Body/></s:Envelope>", Kind::Envelope, ""},
      {open + "<s:Body><s:Fault/></s:Body></s:Envelope>", Kind::Fault, ""},
      {open + "<s:Body><a/><s:Fault/></s:Body></s:Envelope>", Kind::Envelope, ""},
      {open + "<s:Body><Fault/></s:Body></s:Envelope>", Kind::Envelope, ""},
      {open + "\n<s:Header/></s:Envelope>", Kind::Other, "no body"},
      {open + "\n<s:Body/><s:Body/></s:Envelope>", Kind::Other, "line 2: the envelope has two bodies"},
      {open + "\n<s:Header/>\n<s:Header/><s:Body/></s:Envelope>", Kind::Other, "line 3: the envelope has two headers"},
      {open + "<s:Body/></s:Envelope>\n\nmore", Kind::Other, "line 3"},
      {open + "\n<s:Body><x:a/></s:Body></s:Envelope>", Kind::Other, "line 2: the prefix 'x'"},
      {"<s:Envelope xmlns:s='urn:soap'/>", Kind::Other, "'urn:soap'"},
      {"<html><body>Sorry</body></html>", Kind::Other, "'html'"},
      {"<!DOCTYPE html>\n<html/>", Kind::Other, "document type declaration"},
      {"{\"error\": 1}", Kind::Other, "line 1"},
  };
  const qvx::Limits limits;
  ReplyReader reader(limits);
  const std::vector<WantedValue> wanted = {{{kS11, "Header"}, ""}};
  for (const Row& row : rows) {
    for (const Size& size : sizes()) {
      SCOPED_TRACE(row.reply);
      feed(reader, wanted, row.reply, size);
      EXPECT_EQ(reader.kind(), row.kind) << reader.problem();
      EXPECT_NE(reader.problem().find(row.part), std::string::npos) << reader.problem();
      EXPECT_EQ(reader.beginning(), row.reply);
    }
  }
}

TEST(Reply, takesOtherEncodings) {
  const qvx::Limits limits;
  ReplyReader reader(limits);
  const std::string rest = "<s:Envelope xmlns:s='" + kS12 + "'><s:Body><v>\xE4\xF6</v></s:Body></s:Envelope>";
  std::string wide = "\xFE\xFF";
  for (const char c : rest) wide += {'\0', c};
  for (const std::string& reply : {"<?xml version='1.0' encoding='iso-8859-1'?>" + rest, wide}) {
    for (const Size& size : sizes()) {
      feed(reader, {{{"", "v"}, ""}}, reply, size);
      ASSERT_EQ(reader.kind(), Kind::Envelope) << reader.problem();
      EXPECT_EQ(reader.found().at(0).text, "<v>\xC3\xA4\xC3\xB6</v>");
      EXPECT_EQ(reader.version(), qvx::SoapVersion::Soap12);
    }
  }
}

TEST(Reply, readsFaultsOfBothVersions) {
  ASSERT_EQ(setenv("LC_ALL", "de_CH.UTF-8", 1), 0);
  struct Row {
    std::string ns;
    std::string fault;
    std::string expected;
  };
  const std::string s11 = "{" + kS11 + "}";
  const std::string s12 = "{" + kS12 + "}";
  const auto texts = [](const std::string& list) { return "<s:Code><s:Value>s:Sender</s:Value></s:Code><s:Reason>" + list + "</s:Reason>"; };
  const std::vector<Row> rows = {
      {kS11,
       "<faultcode>s:Client.Order</faultcode><faultstring xml:lang='en'> No\n such &lt;order&gt; </faultstring><faultactor>urn:a</faultactor>"
       "<detail><x:id xmlns:x='urn:x'>7</x:id>\n<s:faultcode>no</s:faultcode></detail>",
       "Code: " + s11 + "Client.Order\nReason: No such <order>\nActor: urn:a\nDetail: <detail xmlns:s=\"" + kS11 +
           "\"><x:id xmlns:x='urn:x'>7</x:id>\n<s:faultcode>no</s:faultcode></detail>"},
      {kS11, "<faultcode xmlns:m='urn:m'>m:Bad</faultcode><faultstring/>", "Code: {urn:m}Bad"},
      {kS11, "<faultcode>nope:Bad</faultcode>", "Code: nope:Bad"},
      {kS11, "<s:faultcode>Server</s:faultcode><s:faultstring>x</s:faultstring>", "Code: Server\nReason: x"},
      {kS12,
       "<s:Code><s:Value>s:Receiver</s:Value><s:Subcode><s:Value xmlns:m='urn:m'>m:One</s:Value><s:Subcode><s:Value>Two</s:Value></s:Subcode>"
       "</s:Subcode></s:Code><s:Reason><s:Text xml:lang='en'>r</s:Text></s:Reason><s:Node>urn:n</s:Node><s:Role>urn:r</s:Role><s:Detail/>",
       "Code: " + s12 + "Receiver\nSubcode: {urn:m}One\nSubcode: Two\nReason: r\nActor: urn:n\nRole: urn:r\nDetail: <s:Detail xmlns:s=\"" + kS12 +
           "\"/>"},
      {kS12, texts("<s:Text xml:lang='en'>e</s:Text><s:Text xml:lang='de'>d</s:Text><s:Text xml:lang='de-CH'>c</s:Text>"),
       "Code: " + s12 + "Sender\nReason: c"},
      {kS12, texts("<s:Text xml:lang='en'>e</s:Text><s:Text xml:lang='de-AT'>d</s:Text>"), "Code: " + s12 + "Sender\nReason: d"},
      {kS12, texts("<s:Text xml:lang='fr'>f</s:Text><s:Text xml:lang='en-GB'>e</s:Text>"), "Code: " + s12 + "Sender\nReason: e"},
      {kS12, texts("<s:Text xml:lang='fr'>f</s:Text><s:Text xml:lang='it'>i</s:Text>"), "Code: " + s12 + "Sender\nReason: f"},
  };
  const qvx::Limits limits;
  ReplyReader reader(limits);
  for (const Row& row : rows) {
    for (const Size& size : sizes()) {
      SCOPED_TRACE(row.fault);
      feed(reader, {{{row.ns, "Fault"}, ""}},
           "<s:Envelope xmlns:s='" + row.ns + "'><s:Body>\n<s:Fault>" + row.fault + "</s:Fault></s:Body></s:Envelope>", size);
      ASSERT_EQ(reader.kind(), Kind::Fault) << reader.problem();
      EXPECT_EQ(reader.fault().text(), row.expected);
      EXPECT_EQ(reader.found().size(), 1U);
    }
  }
  unsetenv("LC_ALL");
  // A detail beyond its limit ends behind a whole character.
  for (std::size_t shift = 0; shift < 3; ++shift) {
    std::string text(shift, 'x');
    for (int i = 0; i < 30000; ++i) text += "\xE2\x82\xAC";
    feed(reader, {}, "<s:Envelope xmlns:s='" + kS11 + "'><s:Body><s:Fault><detail>" + text + "</detail></s:Fault></s:Body></s:Envelope>",
         [] { return std::size_t{1000}; });
    const std::string& detail = reader.fault().detail;
    EXPECT_LE(detail.size(), 65536U);
    EXPECT_GT(detail.size(), 65532U);
    EXPECT_EQ(detail.substr(detail.size() - 3), "\xE2\x82\xAC");
  }
}

ErrorCode failure(const std::function<void()>& action, const std::string& part) {
  try {
    action();
  } catch (const qvx::Error& error) {
    EXPECT_NE(std::string(error.what()).find(part), std::string::npos) << error.what();
    return error.code();
  }
  ADD_FAILURE() << "no error";
  return ErrorCode::Internal;
}

TEST(Reply, keepsWithinItsLimits) {
  qvx::Limits limits;
  limits.replyBytes = 100;
  limits.depth = 5;
  ReplyReader reader(limits);
  const TemporaryFolder folder;
  const std::string open = "<s:Envelope xmlns:s='" + kS11 + "'><s:Body><a>";
  const std::string close = "</a></s:Body></s:Envelope>";
  const std::vector<WantedValue> twice = {{{"", "a"}, ""}, {{kS11, "Body"}, ""}};
  const auto read = [&](const std::vector<WantedValue>& wanted, const std::string& inner) {
    feed(reader, wanted, open + inner + close, [] { return std::size_t{50}; });
  };
  read(twice, std::string(43, 'x'));
  EXPECT_EQ(reader.kind(), Kind::Envelope);
  EXPECT_EQ(failure([&] { read(twice, std::string(44, 'x')); }, "limits.reply_bytes"), ErrorCode::LimitExceeded);
  EXPECT_EQ(failure([&] { read({{{"", "a"}, folder.file("a")}}, "<b><c><d/></c></b>"); }, "limits.depth"), ErrorCode::LimitExceeded);
  EXPECT_EQ(folder.count(), 0U);
  read({{{"", "a"}, folder.file("a")}}, std::string(1000, 'x'));
  reader.keepFiles();
  EXPECT_EQ(content(folder.file("a")), "<a xmlns:s=\"" + kS11 + "\">" + std::string(1000, 'x') + "</a>");
}

TEST(Reply, putsFilesInPlaceWholeOrNotAtAll) {
  const TemporaryFolder folder;
  const qvx::Limits limits;
  ReplyReader reader(limits);
  const std::string target = folder.file("out");
  const std::string link = folder.file("link");
  const std::string envelope =
      "<s:Envelope xmlns:s='" + kS11 + "'><s:Body><w><v>1</v></w><v>" + std::string(200000, '2') + "</v></s:Body></s:Envelope>";
  const auto read = [&](const std::string& reply, const std::string& file) {
    feed(reader, {{{"", "v"}, file}}, reply, [] { return std::size_t{777}; });
  };
  std::ofstream(target) << "old";
  fs::create_symlink("out", link);
  const auto untouched = [&] { return content(target) == "old" && folder.count() == 2; };

  read(envelope, target);
  EXPECT_EQ(content(target), "old");
  EXPECT_EQ(folder.count(), 3U);
  reader.discardFiles();
  reader.keepFiles();
  EXPECT_TRUE(untouched());
  read(envelope.substr(0, envelope.size() - 1), target);
  EXPECT_EQ(reader.kind(), Kind::Other);
  EXPECT_TRUE(untouched());
  {
    ReplyReader other(limits);
    feed(other, {{{"", "v"}, target}}, envelope, [] { return std::size_t{999}; });
    EXPECT_EQ(folder.count(), 3U);
  }
  EXPECT_TRUE(untouched());

  read(envelope, link);
  reader.keepFiles();
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(content(target), "<v xmlns:s=\"" + kS11 + "\">" + std::string(200000, '2') + "</v>");
  EXPECT_EQ(folder.count(), 2U);

  EXPECT_EQ(failure([&] { read(envelope, folder.file("none/out")); }, folder.file("none/out")), ErrorCode::FileUnwritable);
  EXPECT_EQ(failure([&] { read(envelope, folder.file("")); }, "directory"), ErrorCode::FileUnwritable);
  EXPECT_EQ(
      failure([&] { read("<s:Envelope xmlns:s='" + kS11 + "'><s:Body><v>" + std::string(200000, '2') + "</v></s:Body></s:Envelope>", "/dev/full"); },
              "/dev/full"),
      ErrorCode::FileUnwritable);
}

}  // namespace
