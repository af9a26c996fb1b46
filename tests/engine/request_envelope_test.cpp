// SPDX-License-Identifier: Apache-2.0
#include "soap/request_envelope.h"

#include "error.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace qvx {
namespace {

using Namespaces = std::vector<std::pair<std::string, std::string>>;
using namespace std::string_literals;

const std::string kSoap11(xmlns::kSoap11Envelope);
const std::string kSoap12(xmlns::kSoap12Envelope);

/// A file that is removed at the end.
class File {
 public:
  explicit File(const std::string& bytes) {
    const int descriptor = mkstemp(path_.data());
    if (descriptor >= 0) close(descriptor);
    write(bytes);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() { std::remove(path_.c_str()); }
  void write(const std::string& bytes) const { std::ofstream(path_, std::ios::binary) << bytes; }
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_ = (std::filesystem::temp_directory_path() / "qvws-XXXXXX").string();
};

class Stopper final : public Watch {
 public:
  explicit Stopper(int after) : left_(after) {}
  bool stop() override { return --left_ < 0; }
  [[nodiscard]] int wait() const override { return 1; }

 private:
  int left_;
};

/// What an envelope is made of.
struct Given {
  std::vector<InputValue> inputs;
  Namespaces namespaces = {};
  std::optional<SoapVersion> version = {};
  const UsernameToken* token = nullptr;
  Watch* watch = nullptr;

  [[nodiscard]] EnvelopeParts parts() const {
    static const Limits limits;
    return {inputs, namespaces, version, token, limits, watch};
  }
};

std::string drained(RequestEnvelope& envelope, std::size_t step) {
  std::string out;
  std::string buffer(step, '\0');
  while (const std::size_t got = envelope.read(buffer.data(), step)) out.append(buffer, 0, got);
  return out;
}

/// The bytes of an envelope, which have to be the same in every way they are had, and to parse without a complaint.
std::string bytes(const Given& given) {
  RequestEnvelope envelope(given.parts());
  std::string all = drained(envelope, 7);
  EXPECT_EQ(envelope.size(), all.size());
  envelope.rewind();
  EXPECT_EQ(drained(envelope, 65536), all);
  EXPECT_EQ(envelope.whole().value_or(all), all);
  xmlResetLastError();
  const std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> parsed(
      xmlReadMemory(all.data(), static_cast<int>(all.size()), nullptr, nullptr, XML_PARSE_NONET | XML_PARSE_NOERROR), xmlFreeDoc);
  EXPECT_NE(parsed, nullptr) << all;
  // A namespace need not be a URI.
  const xmlError* const complaint = xmlGetLastError();
  EXPECT_TRUE(complaint == nullptr || complaint->code == XML_WAR_NS_URI) << all;
  return all;
}

std::string refusal(const Given& given, ErrorCode code) {
  try {
    const RequestEnvelope envelope(given.parts());
    return "it was taken";
  } catch (const Error& error) {
    EXPECT_EQ(error.code(), code) << error.what();
    return error.what();
  }
}

const QualifiedName kName{"urn:t", "e"};
const QualifiedName kBare{"", "e"};

InputValue xml(const std::string& text, const QualifiedName& name = kName) {
  return {name, false, true, text};
}
InputValue text(const std::string& value, const QualifiedName& name = kName) {
  return {name, false, false, value};
}

/// "$" stands for the declaration of the envelope's prefix.
std::string enveloped(std::string rest, const std::string& ns = kSoap11) {
  const std::size_t at = rest.find('$');
  return rest.replace(at, 1, " xmlns:soap=\"" + ns + "\"");
}

std::string withBody(const std::string& content) {
  return enveloped("<soap:Envelope$><soap:Body>" + content + "</soap:Body></soap:Envelope>");
}

TEST(RequestEnvelope, isWhatItsValuesSay) {
  struct Case {
    const char* name;
    Given given;
    std::string expected;
  };
  const QualifiedName header{kSoap11, "Header"};
  const QualifiedName body12{kSoap12, "Body"};
  const std::string element = "<t:e xmlns:t='urn:t' a=\"1\">\n <!-- c --><![CDATA[<]]>&#13;</t:e>";
  const std::vector<Case> cases{
      {"nothing", {}, withBody("")},
      {"version", {{}, {}, SoapVersion::Soap12}, enveloped("<soap:Envelope$><soap:Body></soap:Body></soap:Envelope>", kSoap12)},
      {"element", {{xml(element)}}, withBody(element)},
      {"surroundings",
       {{xml("\xEF\xBB\xBF \n<?xml version='1.0' encoding='UTF-16'?>\r\n<!-- a --><?p i?>" + element + " <!-- b -->\n")}},
       withBody(element)},
      {"emptyXml", {{xml("")}}, withBody("<v:e xmlns:v=\"urn:t\"/>")},
      {"emptyText", {{text("", kBare)}}, withBody("<e/>")},
      {"text", {{text("a<b>&\"\u20AC\r\n]]>")}}, withBody("<v:e xmlns:v=\"urn:t\">a&lt;b&gt;&amp;\"\u20AC&#13;\n]]&gt;</v:e>")},
      {"quotedNamespace", {{text("1", {"a\"&<", "e"})}}, withBody("<v:e xmlns:v=\"a&quot;&amp;&lt;\">1</v:e>")},
      {"order", {{text("1", {"", "b"}), xml("<a/>", {"", "a"}), text("2", {"", "b"})}}, withBody("<b>1</b><a/><b>2</b>")},
      {"prefixes",
       {{xml("<t:e o:a='1'/>"), text("1")}, {{"t", "urn:t"}, {"o", "urn:\"o"}, {"t", "urn:t"}}},
       enveloped("<soap:Envelope$ xmlns:t=\"urn:t\" xmlns:o=\"urn:&quot;o\"><soap:Body><t:e o:a='1'/><t:e>1</t:e></soap:Body></soap:Envelope>")},
      {"defaultNamespace",
       {{xml("<e/>"), xml("<e xmlns=''/>", kBare), text("1", kBare), text("2")}, {{"", "urn:t"}}},
       enveloped("<soap:Envelope$ xmlns=\"urn:t\"><soap:Body><e/><e xmlns=''/><e xmlns=\"\">1</e><v:e xmlns:v=\"urn:t\">2</v:e></soap:Body>"
                 "</soap:Envelope>")},
      {"noDefaultNamespace", {{xml("<e/>", kBare)}, {{"", ""}}}, withBody("<e/>")},
      {"soapPrefixIsOurs", {{}, {{"soap", kSoap11}}}, "<soap:Envelope xmlns:soap=\"" + kSoap11 + "\"><soap:Body></soap:Body></soap:Envelope>"},
      {"soapPrefixIsTaken",
       {{}, {{"soap", kSoap12}, {"soapenv", "urn:o"}, {"soapenv1", "urn:o"}}},
       "<soapenv2:Envelope xmlns:soapenv2=\"" + kSoap11 + "\" xmlns:soap=\"" + kSoap12 +
           "\" xmlns:soapenv=\"urn:o\" xmlns:soapenv1=\"urn:o\"><soapenv2:Body></soapenv2:Body></soapenv2:Envelope>"},
      {"headerBlocks",
       {{xml("<e/>", kBare), xml(" <a/>\n<p:b xmlns:p='urn:p'>1</p:b> ", {kSoap12, "Header"})}},
       enveloped("<soap:Envelope$><soap:Header><a/>\n<p:b xmlns:p='urn:p'>1</p:b></soap:Header><soap:Body><e/></soap:Body></soap:Envelope>")},
      {"noHeaderBlock", {{xml(" <!-- none --> ", header)}}, withBody("")},
      {"wholeHeader",
       {{xml("<?xml version='1.0'?><s:Header id='1'><a/></s:Header>", header)}, {{"s", kSoap11}}},
       enveloped("<soap:Envelope$ xmlns:s=\"" + kSoap11 + "\"><s:Header id='1'><a/></s:Header><soap:Body></soap:Body></soap:Envelope>")},
      {"bodyContent", {{xml("<?xml version='1.0'?> a <b/>\u20AC<c/> ", body12)}}, withBody(" a <b/>\u20AC<c/> ")},
      {"wholeBody",
       {{xml(" <Body xmlns='" + kSoap11 + "'><a/></Body> ", body12)}},
       enveloped("<soap:Envelope$><Body xmlns='" + kSoap11 + "'><a/></Body></soap:Envelope>")},
      {"fault", {{xml("<f:Fault xmlns:f='" + kSoap11 + "'/>", {kSoap11, "Fault"})}}, withBody("<f:Fault xmlns:f='" + kSoap11 + "'/>")},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.name);
    EXPECT_EQ(bytes(one.given), one.expected);
    // The same values from files.
    Given fromFiles = one.given;
    std::vector<std::unique_ptr<File>> files;
    for (InputValue& input : fromFiles.inputs) {
      files.push_back(std::make_unique<File>(input.text));
      input.isFile = true;
      input.text = files.back()->path();
    }
    EXPECT_EQ(bytes(fromFiles), one.expected);
  }
}

TEST(RequestEnvelope, refusesWhatCannotBeSent) {
  struct Case {
    const char* name;
    Given given;
    std::vector<std::string> says;
    ErrorCode code = ErrorCode::BadRequest;
  };
  const QualifiedName header{kSoap11, "Header"};
  const QualifiedName body{kSoap11, "Body"};
  const QualifiedName envelope{kSoap11, "Envelope"};
  std::string deep;
  for (int i = 0; i < 300; ++i) deep += "<e>";
  const std::vector<Case> cases{
      {"otherElement", {{xml("\n<o:f xmlns:o='urn:o'/>")}}, {"'{urn:t}e', line 2", "'{urn:o}f', not '{urn:t}e'"}},
      {"otherNamespace", {{xml("<e/>", kBare)}, {{"", "urn:t"}}}, {"'{urn:t}e', not 'e'"}},
      {"unclosed", {{xml("<?xml version='1.0'\n?>\n<e>\n<a>", kBare)}}, {"the value 'e', line 4", "ends inside an element"}},
      {"mismatch", {{xml("<e>\n</f>", kBare)}}, {"'e', line 2", "f"}},
      {"escape", {{xml("</value><value>", kBare)}}, {"end tag without a start tag"}},
      {"escapeByComment", {{xml("<e/><!--", kBare)}}, {"not well-formed"}},
      {"escapeByTag", {{xml("<e/><f ", kBare)}}, {"not well-formed"}},
      {"twoElements", {{xml("<e/>\n<e/>", kBare)}}, {"line 2", "more than one element"}},
      {"noElement", {{xml(" <!-- --> ", kBare)}}, {"no element"}},
      {"textBeside", {{xml("<e/>\nx", kBare)}}, {"line 2", "text outside"}},
      {"textAlone", {{xml("x", kBare)}}, {"line 1", "text outside"}},
      {"doctype", {{xml("<?xml version='1.0'?>\n<!DOCTYPE e><e/>", kBare)}}, {"line 2", "<!DOCTYPE>"}},
      {"undeclared", {{xml("<e><p:a/></e>", kBare)}, {{"q", "urn:q"}}}, {"the value 'e', line 1", "'p'"}},
      {"undeclaredAttribute", {{xml("<e soap:a='1'/>", kBare)}}, {"'soap'"}},
      {"attributeTwice", {{xml("<e p:a='1' q:a='2'/>", kBare)}, {{"p", "urn:p"}, {"q", "urn:p"}}}, {"'e', line 1", "redefined"}},
      {"deep", {{xml(deep, kBare)}}, {"the value 'e', line 1", "nested deeper"}, ErrorCode::LimitExceeded},
      {"notUtf8", {{text("\u20AC\xE2\x82")}}, {"'{urn:t}e': the bytes at position 2 "}},
      {"surrogate", {{text("\xED\xA0\x80")}}, {"the bytes at position 1 "}},
      {"control", {{text("a\tb\u0001")}}, {"U+0001 at position 4 "}},
      {"nonCharacter", {{text("\uFFFF")}}, {"U+FFFF"}},
      {"notUtf8Xml", {{xml("<e>\xFF</e>", kBare)}}, {"'e', line 1"}},
      {"badName", {{text("1", {"", "a b"})}}, {"'a b' is no name"}},
      {"noName", {{text("1", {})}}, {"'' is no name"}},
      {"xmlPrefix", {{}, {{"xml", "urn:x"}}}, {"'xml'", "'urn:x'", "reserves"}},
      {"xmlnsPrefix", {{}, {{"xmlns", "urn:x"}}}, {"'xmlns'", "reserves"}},
      {"emptyNamespace", {{}, {{"p", ""}}}, {"'p'", "empty namespace"}},
      {"prefixTwice", {{}, {{"p", "urn:a"}, {"p", "urn:b"}}}, {"'p'", "'urn:a' already"}},
      {"badPrefix", {{}, {{"p q", "urn:a"}}}, {"'p q'", "no XML name"}},
      {"headerText", {{xml("<a/> x", header)}}, {"text outside of the header blocks"}},
      {"headerVersion", {{xml("<Header xmlns='" + kSoap12 + "'/>", header)}}, {"SOAP 1.2", "envelope is one of SOAP 1.1"}},
      {"headerBeside", {{xml("<Header xmlns='" + kSoap11 + "'/><a/>", header)}}, {"has to stand alone"}},
      {"headerAsText", {{text("<a/>", header)}}, {"Header' has to be XML"}},
      {"bodyBeside", {{xml("<Body xmlns='" + kSoap11 + "'/>x", body)}}, {"has to stand alone"}},
      {"bodyTwice", {{xml("<a/>", body), xml("<a/>", {kSoap12, "Body"})}}, {kSoap11 + "}Body' and", kSoap12 + "}Body' are the same"}},
      {"bodyAndPayload", {{xml("<a/>", body), xml("<e/>", kBare)}}, {"is the whole body, to which the value 'e'"}},
      {"envelopeAndMore", {{xml("<e/>", kBare), xml("<a/>", envelope)}}, {"finished envelope, to which the value 'e'"}},
      {"envelopeAsText", {{text("<a/>", envelope)}}, {"has to be XML"}},
      {"envelopeEmpty", {{xml("", envelope)}}, {"is empty"}},
      {"envelopeOther", {{xml("<a/>", envelope)}}, {"root element is 'a'"}},
      {"envelopeBroken", {{xml("<s:Envelope xmlns:s='" + kSoap11 + "'>\n<s:Body>", envelope)}}, {"Envelope', line 2"}},
      {"envelopeVersion",
       {{xml("<s:Envelope xmlns:s='" + kSoap11 + "'/>", envelope)}, {}, SoapVersion::Soap12},
       {"envelope of SOAP 1.1, but SOAP 1.2 is asked for"}},
      {"noFile", {{{kName, true, true, "/no/such/file"}}}, {"'{urn:t}e' in the file '/no/such/file'", "No such file"}, ErrorCode::FileUnreadable},
      {"folder", {{{kName, true, true, "/"}}}, {"no regular file"}, ErrorCode::FileUnreadable},
      {"device", {{{kName, true, true, "/dev/null"}}}, {"no regular file"}, ErrorCode::FileUnreadable},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.name);
    const std::string said = refusal(one.given, one.code);
    for (const std::string& part : one.says) EXPECT_NE(said.find(part), std::string::npos) << said;
  }
}

TEST(RequestEnvelope, readsFilesOfAnyEncoding) {
  struct Case {
    const char* name;
    std::string file;
    std::string body;
    bool isXml = true;
  };
  std::string large = "<?xml version='1.0' encoding='ISO-8859-1'?><e>";
  std::string largeAsUtf8 = "<e>";
  std::string largeText;
  for (int i = 0; i < 60000; ++i) {
    large += "a\xFC";
    largeAsUtf8 += "a\u00FC";
    largeText += "<\u20AC";
  }
  std::string largeEscaped;
  for (int i = 0; i < 60000; ++i) largeEscaped += "&lt;\u20AC";
  const std::vector<Case> cases{
      {"mark", "\xEF\xBB\xBF<?xml version='1.0'?>\n<e>\u20AC</e>\n", "<e>\u20AC</e>"},
      {"latin1", "<?xml version='1.0' encoding='ISO-8859-1'?><!-- \xFC --><e>\xFC</e> ", "<e>\u00FC</e>"},
      {"utf16",
       "\xFF\xFE<\0?\0x\0m\0l\0 \0v\0e\0r\0s\0i\0o\0n\0=\0'\0"
       "1\0.\0"
       "0\0'\0?\0>\0<\0e\0>\0\xAC\x20<\0/\0e\0>\0"s,
       "<e>\u20AC</e>"},
      {"utf16be", "\0<\0e\0/\0>"s, "<e/>"},
      {"largeLatin1", large + "</e><!-- \xFC -->", largeAsUtf8 + "</e>"},
      {"largeText", largeText, "<e>" + largeEscaped + "</e>", false},
      {"markedText", "\xEF\xBB\xBF<&\u00FC", "<e>&lt;&amp;\u00FC</e>", false},
      {"utf16Text", "\xFE\xFF\0<\x20\xAC"s, "<e>&lt;\u20AC</e>", false},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.name);
    const File file(one.file);
    EXPECT_EQ(bytes({{{kBare, true, one.isXml, file.path()}}}), withBody(one.body));
  }
  const File broken("<?xml version='1.0' encoding='no-such'?><e/>");
  EXPECT_NE(refusal({{{kBare, true, true, broken.path()}}}, ErrorCode::BadRequest).find("'no-such'"), std::string::npos);
  const File cut(largeText + "\xE2\x82");
  EXPECT_NE(refusal({{{kBare, true, false, cut.path()}}}, ErrorCode::BadRequest).find("at position 120001 "), std::string::npos);
}

TEST(RequestEnvelope, sendsAFinishedOneAsItIs) {
  struct Case {
    const char* name;
    std::string file;
    SoapVersion version;
    const char* charset;
  };
  const std::string rest = "<s:Envelope xmlns:s=\"" + kSoap12 + "\">\n<s:Body>\xFC</s:Body>\n</s:Envelope>\n<!-- end -->";
  std::string wide = "\xFF\xFE";
  for (const char c : "<?xml version='1.0' encoding='UTF-16'?><Envelope xmlns='" + kSoap11 + "'/>") wide += std::string{c, '\0'};
  const std::vector<Case> cases{
      {"utf8", "\n<Envelope xmlns='" + kSoap11 + "'/>", SoapVersion::Soap11, "utf-8"},
      {"marked", "\xEF\xBB\xBF<?xml version='1.0' encoding='utf-8'?><Envelope xmlns='" + kSoap11 + "'/>", SoapVersion::Soap11, "utf-8"},
      {"latin1", "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>" + rest, SoapVersion::Soap12, "iso-8859-1"},
      {"utf16", wide, SoapVersion::Soap11, "utf-16"},
  };
  UsernameToken token;
  token.user = token.password = "secret";
  for (const Case& one : cases) {
    SCOPED_TRACE(one.name);
    const File file(one.file);
    for (const bool isFile : {false, true}) {
      const Given given{{{{kSoap12, "Envelope"}, isFile, true, isFile ? file.path() : one.file}}, {{"p", "urn:p"}}, std::nullopt, &token};
      EXPECT_EQ(bytes(given), one.file);
      const RequestEnvelope envelope(given.parts());
      EXPECT_EQ(envelope.version(), one.version);
      EXPECT_EQ(envelope.charset(), one.charset);
      EXPECT_FALSE(envelope.hasSecret());
    }
  }
}

TEST(RequestEnvelope, putsTheTokenFirst) {
  UsernameToken token;
  token.user = "anna";
  token.password = "geheim";
  token.mustUnderstand = true;
  const QualifiedName header{kSoap11, "Header"};
  struct Case {
    const char* name;
    std::string header;
    std::string before;
    std::string behind;
    const char* prefix = "soap";
  };
  const std::vector<Case> cases{
      {"none", "", "<soap:Header>", "</soap:Header>"},
      {"blocks", "<a/>", "<soap:Header>", "<a/></soap:Header>"},
      {"whole", "<h:Header xmlns:h='" + kSoap11 + "'><a/></h:Header>", "<h:Header xmlns:h='" + kSoap11 + "'>", "<a/></h:Header>", "h"},
      {"wholeEmpty", "<h:Header xmlns:h='" + kSoap11 + "' />", "<h:Header xmlns:h='" + kSoap11 + "' >", "</h:Header>", "h"},
      {"wholeDefault", "<Header xmlns='" + kSoap11 + "'/>", "<Header xmlns='" + kSoap11 + "'>", "</Header>"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.name);
    const File file(one.header);
    for (const bool isFile : {false, true}) {
      const Given given{{{header, isFile, true, isFile ? file.path() : one.header}}, {}, std::nullopt, &token};
      EXPECT_TRUE(RequestEnvelope(given.parts()).hasSecret());
      const std::string all = bytes(given);
      const std::size_t security = all.find("<wsse:Security ");
      const std::size_t behind = all.find("</wsse:Security>") + 16;
      ASSERT_NE(security, std::string::npos);
      EXPECT_EQ(all.substr(0, security), enveloped("<soap:Envelope$>" + one.before));
      EXPECT_EQ(all.substr(behind), one.behind + "<soap:Body></soap:Body></soap:Envelope>");
      EXPECT_NE(all.find(" "s + one.prefix + ":mustUnderstand=\"1\""), std::string::npos);
    }
  }
  const Given clash{{xml("<Header xmlns='" + kSoap11 + "' xmlns:soap='urn:o'/>", header)}, {}, std::nullopt, &token};
  EXPECT_NE(refusal(clash, ErrorCode::BadRequest).find("'soap' another meaning"), std::string::npos);
}

TEST(RequestEnvelope, refusesATokenThatXmlCannotHoldWithoutShowingIt) {
  for (std::string UsernameToken::*const member : {&UsernameToken::user, &UsernameToken::domain, &UsernameToken::password}) {
    UsernameToken token;
    token.*member = "hush\x01";
    const std::string said = refusal({{}, {}, std::nullopt, &token}, ErrorCode::BadRequest);
    EXPECT_NE(said.find("U+0001 at position 5"), std::string::npos) << said;
    EXPECT_EQ(said.find("hush"), std::string::npos) << said;
  }
}

TEST(RequestEnvelope, noticesFilesThatChangeAndCallersThatStop) {
  const std::string content = "<e>" + std::string(200000, 'x') + "</e>";
  for (const bool isXml : {true, false}) {
    const File file(content);
    Given given{{{kBare, true, isXml, file.path()}}};
    RequestEnvelope envelope(given.parts());
    std::string buffer(1000, '\0');
    EXPECT_EQ(envelope.read(buffer.data(), buffer.size()), buffer.size());
    file.write(content + " ");
    try {
      drained(envelope, 1000);
      ADD_FAILURE() << "the change went unnoticed";
    } catch (const Error& error) {
      EXPECT_EQ(error.code(), ErrorCode::FileUnreadable);
      EXPECT_NE(std::string(error.what()).find("changed"), std::string::npos) << error.what();
    }
    Stopper stopper(1);
    given.watch = &stopper;
    EXPECT_NE(refusal(given, ErrorCode::Cancelled).find(file.path()), std::string::npos);
  }
}

}  // namespace
}  // namespace qvx
