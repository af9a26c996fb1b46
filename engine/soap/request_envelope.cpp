// SPDX-License-Identifier: Apache-2.0
#include "soap/request_envelope.h"

#include "error.h"
#include "soap/input_file.h"
#include "xml/characters.h"
#include "xml/fragment.h"

#include <libxml/tree.h>
#include <openssl/crypto.h>

#include <algorithm>
#include <array>
#include <utility>

namespace qvx {

namespace {

constexpr std::string_view kXmlnsNamespace = "http://www.w3.org/2000/xmlns/";
constexpr std::string_view kMark = "\xEF\xBB\xBF";

std::string_view namespaceOf(SoapVersion version) {
  return version == SoapVersion::Soap12 ? xmlns::kSoap12Envelope : xmlns::kSoap11Envelope;
}

const char* nameOf(SoapVersion version) {
  return version == SoapVersion::Soap12 ? "SOAP 1.2" : "SOAP 1.1";
}

std::optional<SoapVersion> versionOf(std::string_view ns) {
  if (ns == xmlns::kSoap11Envelope) return SoapVersion::Soap11;
  if (ns == xmlns::kSoap12Envelope) return SoapVersion::Soap12;
  return std::nullopt;
}

[[noreturn]] void refuse(const std::string& why) {
  throw Error(ErrorCode::BadRequest, why);
}

std::string describe(const InputValue& input) {
  return "the value '" + input.name.text() + "'";
}

bool isNcName(const std::string& name) {
  return name.find('\0') == std::string::npos && xmlValidateNCName(reinterpret_cast<const xmlChar*>(name.c_str()), 0) == 0;
}

/// What a value is to the envelope.
enum class Role { Payload, Header, Body, Envelope };

constexpr std::array kSoapNames{std::pair{"Header", Role::Header}, std::pair{"Body", Role::Body}, std::pair{"Envelope", Role::Envelope}};

Role roleOf(const QualifiedName& name) {
  if (!versionOf(name.ns)) return Role::Payload;
  const auto* const found = std::find_if(kSoapNames.begin(), kSoapNames.end(), [&](const auto& one) { return one.first == name.local; });
  return found == kSoapNames.end() ? Role::Payload : found->second;
}

/// A Header or Body element that was given as a whole.
struct WholeElement {
  std::string name;  ///< as written
  bool empty = false;
  std::uint64_t tagEnd = 0;
  bool soapPrefixTaken = false;  ///< it gives the envelope's prefix another meaning
};

/// What the elements of a value have to be.
class ValueReader final : public FragmentReader {
 public:
  ValueReader(const Limits& limits, SoapVersion version, std::string soapPrefix)
      : FragmentReader(limits), version_(version), soapPrefix_(std::move(soapPrefix)) {}

  void begin(const InputValue& input, Role role, const std::string& context) {
    name_ = &input.name;
    role_ = role;
    whole_.reset();
    FragmentReader::begin(context);
  }

  const Extent& end() {
    const Extent& found = FragmentReader::end();
    if (role_ == Role::Payload && found.elements == 0) refuse(": there is no element in it");
    if (whole_ && (found.elements > 1 || found.text)) refuse(": a whole '" + whole_->name + "' has to stand alone");
    return found;
  }

  std::optional<WholeElement> takeWhole() { return std::exchange(whole_, std::nullopt); }

 private:
  const SoapVersion version_;
  const std::string soapPrefix_;
  const QualifiedName* name_ = nullptr;
  Role role_ = Role::Payload;
  std::optional<WholeElement> whole_;

  void onTop(const PushTag& tag) override {
    if (role_ != Role::Payload) {
      if (tag.local == name_->local && versionOf(tag.ns)) takeAsWhole(tag);
      return;
    }
    if (extent().elements > 1) refuse(where() + ": there is more than one element in it");
    if (tag.local == name_->local && tag.ns == name_->ns) return;
    const QualifiedName found{std::string(tag.ns), std::string(tag.local)};
    refuse(where() + ": the element is '" + found.text() + "', not '" + name_->text() + "' as the name of the value says");
  }

  void onTopText() override {
    if (role_ != Role::Body) refuse(where() + ": there is text outside of the " + (role_ == Role::Payload ? "element" : "header blocks"));
  }

  void takeAsWhole(const PushTag& tag) {
    if (tag.ns != namespaceOf(version_)) {
      refuse(where() + ": the element '" + std::string(tag.local) + "' is one of " + nameOf(*versionOf(tag.ns)) + ", but the envelope is one of " +
             nameOf(version_));
    }
    WholeElement& whole = whole_.emplace();
    whole.name = tag.prefix.empty() ? std::string(tag.local) : std::string(tag.prefix) + ":" + std::string(tag.local);
    whole.tagEnd = inText(tag.end);
    whole.empty = tag.raw.substr(tag.raw.size() - 2) == "/>";
    for (const Declaration& one : declarations()) {
      if (one.depth == depth() && one.prefix == soapPrefix_) whole.soapPrefixTaken = one.ns != tag.ns;
    }
  }
};

/// Reads a finished envelope.
class FinishedReader final : public PushReader {
 public:
  explicit FinishedReader(const Limits& limits) : PushReader({}, limits) {}
  [[nodiscard]] SoapVersion version() const { return version_; }

 private:
  SoapVersion version_ = SoapVersion::Soap11;

  void onStart(const PushTag& tag) override {
    if (depth() > 1) return;
    const std::optional<SoapVersion> version = versionOf(tag.ns);
    if (tag.local != "Envelope" || !version) {
      refuse(where() + ": the root element is '" + QualifiedName{std::string(tag.ns), std::string(tag.local)}.text() +
             "', not an Envelope of SOAP 1.1 or 1.2");
    }
    version_ = *version;
  }
  void onEnd(std::uint64_t /*begin*/, std::uint64_t /*end*/) override {}
};

/// A value that was checked.
struct Value {
  const InputValue* input = nullptr;
  Role role = Role::Payload;
  std::unique_ptr<InputFile> file;
  std::string_view text;       ///< of one in memory, without a byte order mark
  bool asText = false;         ///< it is escaped into an element
  std::string encoding;        ///< of the file
  bool plain = false;          ///< the file is UTF-8 already
  std::uint64_t mark = 0;      ///< bytes of the file's byte order mark when it is
  std::uint64_t size = 0;      ///< as UTF-8
  std::uint64_t textSize = 0;  ///< as UTF-8, escaped
  Extent extent;
  std::optional<WholeElement> whole;
};

/// The namespaces that the caller declares, and how names are written with them.
class Declarations {
 public:
  using List = std::vector<std::pair<std::string, std::string>>;

  /// @throw Error BadRequest
  explicit Declarations(const List& list) {
    for (const List::value_type& one : list) add(one);
  }

  /// Each with a blank before it, as in a start tag.
  [[nodiscard]] const std::string& text() const { return text_; }
  [[nodiscard]] bool hasDefault() const { return !lookup("").empty(); }
  /// Empty when the prefix is not declared.
  [[nodiscard]] std::string_view lookup(std::string_view prefix) const {
    const auto found = std::find_if(used_.begin(), used_.end(), [&](const auto* one) { return one->first == prefix; });
    return found == used_.end() ? std::string_view() : std::string_view((*found)->second);
  }
  /// A prefix of a namespace; empty when it has none.
  [[nodiscard]] std::string_view prefixOf(std::string_view ns) const {
    const auto found = std::find_if(used_.begin(), used_.end(), [&](const auto* one) { return one->second == ns && !one->first.empty(); });
    return found == used_.end() ? std::string_view() : std::string_view((*found)->first);
  }

 private:
  std::vector<const List::value_type*> used_;
  std::string text_;

  void add(const List::value_type& one) {
    const auto& [prefix, ns] = one;
    if (prefix.empty() && ns.empty()) return;
    const std::string what = prefix.empty() ? "the default namespace '" + ns + "'" : "the prefix '" + prefix + "' of the namespace '" + ns + "'";
    if (prefix == "xml" || prefix == "xmlns") refuse(what + " cannot be declared: XML reserves it");
    if (ns == xmlns::kXml || ns == kXmlnsNamespace) refuse(what + " cannot be declared: XML reserves the namespace");
    if (!prefix.empty() && !isNcName(prefix)) refuse(what + " cannot be declared: it is no XML name without a colon");
    if (ns.empty()) refuse("the prefix '" + prefix + "' cannot be declared for an empty namespace");
    if (const std::optional<std::string> problem = unusableInXml(ns)) refuse(what + " cannot be declared: " + *problem);
    const std::string_view known = lookup(prefix);
    if (known == ns) return;
    if (!known.empty()) refuse(what + " cannot be declared: it stands for '" + std::string(known) + "' already");
    used_.push_back(&one);
    text_ += prefix.empty() ? " xmlns" : " xmlns:" + prefix;
    text_ += "=\"";
    appendXmlAttribute(text_, ns);
    text_ += '"';
  }
};

/// Checks the values of one envelope.
class Checker {
 public:
  Checker(const EnvelopeParts& parts, SoapVersion version, const Declarations& declarations, const std::string& soapPrefix)
      : watch_(parts.watch), declarations_(declarations), reader_(parts.limits, version, soapPrefix) {}

  Value check(const InputValue& input, Role role) {
    Value value;
    value.input = &input;
    value.role = role;
    if (!input.isXml && role != Role::Payload) refuse(describe(input) + " has to be XML; set the XML flag of the value");
    if (role == Role::Payload) checkName(input);
    if (input.isFile && !input.text.empty()) {
      value.file = std::make_unique<InputFile>(input.text, describe(input));
    } else {
      value.text = input.text;
      if (input.isXml && value.text.substr(0, kMark.size()) == kMark) value.text.remove_prefix(kMark.size());
    }
    value.asText = role == Role::Payload && (!input.isXml || (value.file != nullptr ? value.file->size() == 0 : value.text.empty()));
    explained(value, [&] {
      if (value.asText) {
        checkText(value);
      } else {
        checkXml(value);
      }
    });
    return value;
  }

  /// Runs `action` and puts the name of the value before what it has to say.
  template <typename Action>
  static void explained(const Value& value, Action action) {
    try {
      action();
    } catch (const Error& error) {
      if (error.code() == ErrorCode::FileUnreadable || error.code() == ErrorCode::Cancelled) throw;
      const std::string what = value.file != nullptr ? value.file->description() : describe(*value.input);
      throw Error(error.code() == ErrorCode::LimitExceeded ? ErrorCode::LimitExceeded : ErrorCode::BadRequest, what + error.what());
    }
  }

  /// Hands on the whole value as UTF-8, and notes what it is like.
  /// @param[in] encoding  of a file; empty when it is to say it
  template <typename Take>
  static void readFile(Value& value, const std::string& encoding, Watch* watch, Take take) {
    DecodedFile file(*value.file, encoding);
    for (std::string_view bytes = file.next(); !bytes.empty(); bytes = file.next()) {
      if (watch != nullptr && watch->stop())
        throw Error(ErrorCode::Cancelled, "the call was cancelled while " + value.file->description() + " was read");
      value.size += bytes.size();
      take(bytes);
    }
    value.encoding = file.decoder().encoding();
    value.plain = file.decoder().passesThrough();
    if (value.plain) value.mark = value.file->size() - value.size;
  }

 private:
  Watch* watch_;
  const Declarations& declarations_;
  ValueReader reader_;

  static void checkName(const InputValue& input) {
    if (!isNcName(input.name.local)) refuse(describe(input) + " cannot be sent: '" + input.name.local + "' is no name of an element");
    if (const std::optional<std::string> problem = unusableInXml(input.name.ns))
      refuse(describe(input) + " cannot be sent: in its namespace " + *problem);
    if (input.name.ns == kXmlnsNamespace) refuse(describe(input) + " cannot be sent: XML reserves its namespace");
  }

  void checkText(Value& value) {
    XmlTextCheck check;
    const auto take = [&](std::string_view piece) {
      if (const std::optional<std::string> problem = check.feed(piece)) refuse(": " + *problem);
      value.textSize += xmlTextSize(piece);
    };
    if (value.file != nullptr) {
      readFile(value, "UTF-8", watch_, take);
    } else {
      take(value.text);
      value.size = value.text.size();
    }
    if (const std::optional<std::string> problem = check.end()) refuse(": " + *problem);
  }

  void checkXml(Value& value) {
    reader_.begin(*value.input, value.role, declarations_.text());
    if (value.file != nullptr) {
      readFile(value, {}, watch_, [&](std::string_view piece) { reader_.feed(piece); });
    } else {
      reader_.feed(value.text);
      value.size = value.text.size();
    }
    value.extent = reader_.end();
    value.whole = reader_.takeWhole();
  }
};

// "soap" as long as the caller gives it no other meaning.
std::string choosePrefix(const Declarations& declarations, std::string_view ns) {
  const auto usable = [&](const std::string& prefix) {
    const std::string_view bound = declarations.lookup(prefix);
    return bound.empty() || bound == ns;
  };
  for (const char* const prefix : {"soap", "soapenv"}) {
    if (usable(prefix)) return prefix;
  }
  int number = 1;
  while (!usable("soapenv" + std::to_string(number))) ++number;
  return "soapenv" + std::to_string(number);
}

// The label of an encoding. The byte order is the mark's to say (RFC 2781 section 4.1).
std::string charsetOf(std::string encoding, bool hasMark) {
  std::transform(encoding.begin(), encoding.end(), encoding.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  if (hasMark) encoding.resize(encoding.size() - 2);
  return encoding;
}

}  // namespace

class RequestEnvelope::Impl {
 public:
  Impl() = default;
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;
  ~Impl() {
    if (hasSecret_) OPENSSL_cleanse(text_.data(), text_.size());
  }

  void build(const EnvelopeParts& parts);

  SoapVersion version_ = SoapVersion::Soap11;
  std::string charset_ = "utf-8";
  bool hasSecret_ = false;
  std::string text_;
  std::uint64_t size_ = 0;

  [[nodiscard]] std::optional<std::string_view> whole() const {
    if (!files_.empty()) return std::nullopt;
    return finished_.data() != nullptr ? finished_ : std::string_view(text_);
  }
  std::size_t read(char* to, std::size_t most);
  void rewind();

 private:
  /// Text, and the stretch of a file behind it.
  struct Piece {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::unique_ptr<FileStretch> file;
  };

  std::string_view finished_;  ///< a finished envelope in memory, which is borrowed
  std::vector<std::unique_ptr<InputFile>> files_;
  std::vector<Piece> pieces_;
  std::size_t piece_ = 0;  ///< where reading stands
  std::size_t at_ = 0;     ///< in the piece's text
  std::string soapPrefix_;

  void finished(const InputValue& input, const EnvelopeParts& parts);
  void assemble(std::vector<Value>& values, const EnvelopeParts& parts, const Declarations& declarations);
  void appendHeader(const std::vector<Value>& values, const UsernameToken* token);
  void appendBody(const std::vector<Value>& values, const Declarations& declarations);
  void appendToken(const UsernameToken* token, const std::string& prefix);
  void appendElement(const Value& value, const Declarations& declarations);
  void append(const Value& value, std::uint64_t begin, std::uint64_t end);
  void appendFile(const Value& value, FileStretch::Form form, std::uint64_t begin, std::uint64_t end, std::uint64_t size);
  void endPieces();
};

void RequestEnvelope::Impl::build(const EnvelopeParts& parts) {
  std::array<const InputValue*, 4> given{};
  for (const InputValue& input : parts.inputs) {
    const InputValue*& same = given[static_cast<std::size_t>(roleOf(input.name))];
    if (same != nullptr && roleOf(input.name) != Role::Payload)
      refuse(describe(*same) + " and " + describe(input) + " are the same part of the envelope; give one of them");
    same = &input;
  }
  const auto of = [&](Role role) { return given[static_cast<std::size_t>(role)]; };
  if (const InputValue* const envelope = of(Role::Envelope)) {
    if (parts.inputs.size() > 1) {
      const InputValue& other = &parts.inputs.front() == envelope ? parts.inputs.back() : parts.inputs.front();
      refuse(describe(*envelope) + " is a finished envelope, to which " + describe(other) + " cannot be added");
    }
    finished(*envelope, parts);
    return;
  }
  if (of(Role::Body) != nullptr && of(Role::Payload) != nullptr)
    refuse(describe(*of(Role::Body)) + " is the whole body, to which " + describe(*of(Role::Payload)) + " cannot be added");

  version_ = parts.version.value_or(SoapVersion::Soap11);
  const Declarations declarations(parts.namespaces);
  soapPrefix_ = choosePrefix(declarations, namespaceOf(version_));
  Checker checker(parts, version_, declarations, soapPrefix_);
  std::vector<Value> values;
  values.reserve(parts.inputs.size());
  for (const InputValue& input : parts.inputs) values.push_back(checker.check(input, roleOf(input.name)));
  assemble(values, parts, declarations);
}

// It is sent byte for byte: nothing is declared in it and no token is put into it.
void RequestEnvelope::Impl::finished(const InputValue& input, const EnvelopeParts& parts) {
  if (!input.isXml) refuse(describe(input) + " has to be XML; set the XML flag of the value");
  Value value;
  value.input = &input;
  if (input.text.empty()) refuse(describe(input) + " is empty; give a finished envelope");
  if (input.isFile) value.file = std::make_unique<InputFile>(input.text, describe(input));
  FinishedReader reader(parts.limits);
  Checker::explained(value, [&] {
    reader.begin("UTF-8");
    std::string beginning = input.text.substr(0, 2);
    if (value.file != nullptr) {
      beginning.resize(2);
      beginning.resize(value.file->read(0, beginning.data(), beginning.size()));
      Checker::readFile(value, {}, parts.watch, [&](std::string_view bytes) { reader.feed(bytes); });
    } else {
      ToUtf8 decoder;
      decoder.begin({}, {});
      reader.feed(decoder.feed(input.text));
      reader.feed(decoder.end());
      value.plain = decoder.passesThrough();
      value.encoding = decoder.encoding();
    }
    reader.end();
    if (!value.plain) charset_ = charsetOf(value.encoding, beginning == "\xFE\xFF" || beginning == "\xFF\xFE");
    if (parts.version && *parts.version != reader.version())
      refuse(std::string(": it is an envelope of ") + nameOf(reader.version()) + ", but " + nameOf(*parts.version) + " is asked for");
  });
  version_ = reader.version();
  if (value.file == nullptr) {
    finished_ = input.text;
    size_ = finished_.size();
    return;
  }
  appendFile(value, FileStretch::Form::Raw, 0, value.file->size(), value.file->size());
  files_.push_back(std::move(value.file));
  endPieces();
}

void RequestEnvelope::Impl::assemble(std::vector<Value>& values, const EnvelopeParts& parts, const Declarations& declarations) {
  const UsernameToken* const token = parts.token;
  // Once and for all: a text that grows leaves copies of the password in memory.
  std::size_t room = 512 + declarations.text().size();
  for (const Value& value : values) {
    room += 64 + 2 * value.input->name.local.size() + 6 * value.input->name.ns.size();
    if (value.file == nullptr) room += static_cast<std::size_t>(value.asText ? value.textSize : value.size);
  }
  if (token != nullptr) room += 2048 + 6 * (token->user.size() + token->domain.size() + token->password.size());
  text_.reserve(room);

  // There is no XML declaration: the content type names the encoding, which is the default one besides, and some servers choke on a declaration.
  text_.append("<").append(soapPrefix_).append(":Envelope");
  if (declarations.lookup(soapPrefix_).empty()) text_.append(" xmlns:").append(soapPrefix_).append("=\"").append(namespaceOf(version_)).append("\"");
  text_.append(declarations.text()).append(">");
  appendHeader(values, token);
  appendBody(values, declarations);
  text_.append("</").append(soapPrefix_).append(":Envelope>");
  for (Value& value : values) {
    if (value.file != nullptr) files_.push_back(std::move(value.file));
  }
  endPieces();
}

void RequestEnvelope::Impl::appendHeader(const std::vector<Value>& values, const UsernameToken* token) {
  const auto found = std::find_if(values.begin(), values.end(), [](const Value& one) { return one.role == Role::Header && one.extent.elements > 0; });
  if (found == values.end() && token == nullptr) return;
  if (found == values.end() || !found->whole) {
    text_.append("<").append(soapPrefix_).append(":Header>");
    appendToken(token, soapPrefix_);
    if (found != values.end()) append(*found, found->extent.begin, found->extent.end);
    text_.append("</").append(soapPrefix_).append(":Header>");
    return;
  }
  const WholeElement& whole = *found->whole;
  if (token == nullptr) {
    append(*found, found->extent.begin, found->extent.end);
    return;
  }
  const std::size_t colon = whole.name.find(':');
  if (colon == std::string::npos && whole.soapPrefixTaken && token->mustUnderstand)
    refuse(describe(*found->input) + " gives the prefix '" + soapPrefix_ + "' another meaning, which the security token needs; rename it");
  append(*found, found->extent.begin, whole.tagEnd - (whole.empty ? 2 : 0));
  if (whole.empty) text_ += '>';
  appendToken(token, colon == std::string::npos ? soapPrefix_ : whole.name.substr(0, colon));
  if (whole.empty) text_.append("</").append(whole.name).append(">");
  append(*found, whole.tagEnd, found->extent.end);
}

void RequestEnvelope::Impl::appendBody(const std::vector<Value>& values, const Declarations& declarations) {
  const auto whole = std::find_if(values.begin(), values.end(), [](const Value& one) { return one.role == Role::Body && one.whole; });
  if (whole != values.end()) {
    append(*whole, whole->extent.begin, whole->extent.end);
    return;
  }
  text_.append("<").append(soapPrefix_).append(":Body>");
  for (const Value& value : values) {
    if (value.asText) {
      appendElement(value, declarations);
    } else if (value.role == Role::Payload) {
      append(value, value.extent.begin, value.extent.end);
    } else if (value.role == Role::Body) {
      append(value, value.extent.content, value.size);
    }
  }
  text_.append("</").append(soapPrefix_).append(":Body>");
}

void RequestEnvelope::Impl::appendToken(const UsernameToken* token, const std::string& prefix) {
  if (token == nullptr) return;
  hasSecret_ = true;
  token->appendTo(text_, prefix);
}

void RequestEnvelope::Impl::appendElement(const Value& value, const Declarations& declarations) {
  const QualifiedName& name = value.input->name;
  std::string_view prefix = name.ns == xmlns::kXml ? "xml" : declarations.prefixOf(name.ns);
  const bool declared = !prefix.empty() || name.ns.empty();
  if (!declared) prefix = "v";
  std::string written(prefix);
  if (!name.ns.empty()) written += ':';
  written += name.local;
  text_.append("<").append(written);
  if (!declared) {
    text_ += " xmlns:v=\"";
    appendXmlAttribute(text_, name.ns);
    text_ += '"';
  } else if (name.ns.empty() && declarations.hasDefault()) {
    text_ += " xmlns=\"\"";
  }
  if (value.textSize == 0) {
    text_ += "/>";
    return;
  }
  text_ += '>';
  if (value.file != nullptr) {
    appendFile(value, FileStretch::Form::Escaped, 0, value.size, value.textSize);
  } else {
    appendXmlText(text_, value.text);
  }
  text_.append("</").append(written).append(">");
}

void RequestEnvelope::Impl::append(const Value& value, std::uint64_t begin, std::uint64_t end) {
  if (begin == end) return;
  if (value.file == nullptr) {
    text_.append(value.text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin)));
  } else if (value.plain) {
    appendFile(value, FileStretch::Form::Raw, begin + value.mark, end + value.mark, end - begin);
  } else {
    appendFile(value, FileStretch::Form::Decoded, begin, end, end - begin);
  }
}

void RequestEnvelope::Impl::appendFile(const Value& value, FileStretch::Form form, std::uint64_t begin, std::uint64_t end, std::uint64_t size) {
  const std::string encoding = form == FileStretch::Form::Escaped ? "UTF-8" : "";
  pieces_.push_back(
      {pieces_.empty() ? 0 : pieces_.back().end, text_.size(), std::make_unique<FileStretch>(*value.file, form, encoding, begin, end, size)});
  size_ += size;
}

void RequestEnvelope::Impl::endPieces() {
  pieces_.push_back({pieces_.empty() ? 0 : pieces_.back().end, text_.size(), nullptr});
  size_ += text_.size();
}

std::size_t RequestEnvelope::Impl::read(char* to, std::size_t most) {
  if (const std::optional<std::string_view> all = whole()) {
    const std::size_t got = all->copy(to, most, at_);
    at_ += got;
    return got;
  }
  std::size_t got = 0;
  while (got < most && piece_ < pieces_.size()) {
    Piece& piece = pieces_[piece_];
    if (const std::size_t left = piece.end - piece.begin - at_; left > 0) {
      const std::size_t count = text_.copy(to + got, std::min(left, most - got), piece.begin + at_);
      at_ += count;
      got += count;
    } else if (const std::size_t count = piece.file == nullptr ? 0 : piece.file->read(to + got, most - got)) {
      got += count;
    } else {
      ++piece_;
      at_ = 0;
    }
  }
  return got;
}

void RequestEnvelope::Impl::rewind() {
  piece_ = at_ = 0;
  for (const Piece& piece : pieces_) {
    if (piece.file != nullptr) piece.file->rewind();
  }
}

RequestEnvelope::RequestEnvelope(const EnvelopeParts& parts) : impl_(std::make_unique<Impl>()) {
  impl_->build(parts);
}

RequestEnvelope::~RequestEnvelope() = default;

SoapVersion RequestEnvelope::version() const {
  return impl_->version_;
}

const std::string& RequestEnvelope::charset() const {
  return impl_->charset_;
}

bool RequestEnvelope::hasSecret() const {
  return impl_->hasSecret_;
}

std::uint64_t RequestEnvelope::size() const {
  return impl_->size_;
}

std::optional<std::string_view> RequestEnvelope::whole() const {
  return impl_->whole();
}

std::size_t RequestEnvelope::read(char* to, std::size_t most) {
  return impl_->read(to, most);
}

void RequestEnvelope::rewind() {
  impl_->rewind();
}

}  // namespace qvx
