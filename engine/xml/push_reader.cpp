// SPDX-License-Identifier: Apache-2.0
#include "xml/push_reader.h"

#include "error.h"
#include "xml/parser_glue.h"
#include "xml/to_utf8.h"

#include <libxml/SAX2.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <exception>

namespace qvx {

namespace {

using namespace std::string_view_literals;

// Bounds what the parser holds.
constexpr std::size_t kPiece = std::size_t{8} << 10;
// The parser would hold a CDATA section, and look through it again with each piece; so a long one becomes several on the way to it.
constexpr std::size_t kSectionPart = std::size_t{4} << 10;
constexpr std::string_view kSectionSeam = "]]><![CDATA[";
// Tags, comments and processing instructions reach the parser whole.
constexpr std::size_t kLargestToken = std::size_t{10} << 20;
// The parser keeps every name it saw; a service that makes up names must not fill the memory of a reader that is used for days.
constexpr int kMostNames = 10000;

/// Finds out up to where bytes may be handed to the parser: tags, comments and processing instructions whole (a parser that is given a part of a tag
/// may take a ">" in an attribute for its end), text in pieces that break no character and no "]]>".
class Scanner {
 public:
  void reset() {
    state_ = State::Text;
    next_ = 0;
    safe_ = 0;
  }

  /// Looks at the bytes up to `limit`.
  /// @param[in] data  bytes that begin at offset `base`; those from safe() on are there
  void scan(std::string_view data, std::uint64_t base, std::uint64_t limit) {
    const std::string_view seen = data.substr(0, static_cast<std::size_t>(limit - base));
    while (next_ < limit && step(seen, base)) {
    }
  }

  /// Up to here the bytes may be handed over.
  [[nodiscard]] std::uint64_t safe() const { return safe_; }
  [[nodiscard]] std::uint64_t next() const { return next_; }
  /// Whether safe() lies within a CDATA section.
  [[nodiscard]] bool splitsSection() const { return state_ == State::CData && safe_ > sectionBegin_; }

 private:
  enum class State { Text, Tag, Quoted, Comment, CData, Instruction };

  State state_ = State::Text;
  char quote_ = '"';
  std::uint64_t next_ = 0;
  std::uint64_t safe_ = 0;
  std::uint64_t sectionBegin_ = 0;

  // False when there have to be more bytes.
  bool step(std::string_view seen, std::uint64_t base) {
    const auto at = static_cast<std::size_t>(next_ - base);
    switch (state_) {
      case State::Text:
        return text(seen, base, at);
      case State::Tag:
        return tag(seen, base, at);
      case State::Quoted: {
        const std::size_t found = seen.find(quote_, at);
        next_ = base + (found == std::string_view::npos ? seen.size() : found + 1);
        if (found != std::string_view::npos) state_ = State::Tag;
        return true;
      }
      case State::Comment:
        return until(seen, base, at, "-->");
      case State::Instruction:
        return until(seen, base, at, "?>");
      case State::CData: {
        if (until(seen, base, at, "]]>")) return true;
        const std::uint64_t from = std::max(safe_, sectionBegin_);
        if (next_ < from + kSectionPart) return false;
        safe_ = base + wholeText(seen.substr(0, static_cast<std::size_t>(next_ - base)), static_cast<std::size_t>(from - base));
        return false;
      }
    }
    return false;
  }

  bool text(std::string_view seen, std::uint64_t base, std::size_t at) {
    const std::size_t found = seen.find('<', at);
    if (found == std::string_view::npos) {
      next_ = base + wholeText(seen, at);
      safe_ = next_;
      return false;
    }
    safe_ = base + found;
    next_ = safe_;
    if (found + 1 == seen.size()) return false;
    const char kind = seen[found + 1];
    if (kind != '!' && kind != '?') {
      state_ = State::Tag;
      return tag(seen, base, found + 1);
    }
    return special(seen.substr(found));
  }

  // What is no tag, or a document type declaration, which the parser reports at once.
  bool special(std::string_view markup) {
    struct Kind {
      std::string_view begin;
      State state;
    };
    for (const Kind& kind : {Kind{"<?", State::Instruction}, Kind{"<!--", State::Comment}, Kind{"<![CDATA[", State::CData}}) {
      if (markup.substr(0, kind.begin.size()) == kind.begin) {
        state_ = kind.state;
        next_ += kind.begin.size();
        sectionBegin_ = next_;
        return true;
      }
      if (kind.begin.substr(0, markup.size()) == markup) return false;
    }
    state_ = State::Tag;
    ++next_;
    return true;
  }

  bool tag(std::string_view seen, std::uint64_t base, std::size_t at) {
    for (; at < seen.size(); ++at) {
      const char c = seen[at];
      if (c == '>') {
        state_ = State::Text;
        next_ = safe_ = base + at + 1;
        return true;
      }
      if (c == '"' || c == '\'') {
        state_ = State::Quoted;
        quote_ = c;
        next_ = base + at + 1;
        return true;
      }
    }
    next_ = base + at;
    return false;
  }

  bool until(std::string_view seen, std::uint64_t base, std::size_t at, std::string_view close) {
    const std::size_t found = seen.find(close, at);
    if (found != std::string_view::npos) {
      state_ = State::Text;
      next_ = safe_ = base + found + close.size();
      return true;
    }
    next_ = base + std::max(at, seen.size() - std::min(seen.size(), close.size() - 1));
    return false;
  }

  // Where text from `at` to the end may be broken.
  static std::size_t wholeText(std::string_view seen, std::size_t at) {
    std::size_t end = seen.size();
    while (end > at && seen.size() - end < 3 && (static_cast<unsigned char>(seen[end - 1]) & 0xC0U) == 0x80U) --end;
    if (end > at && static_cast<unsigned char>(seen[end - 1]) >= 0xC0U) {
      const auto lead = static_cast<unsigned char>(seen[end - 1]);
      const std::size_t length = lead >= 0xF0U ? 4 : lead >= 0xE0U ? 3 : 2;
      end = end - 1 + length <= seen.size() ? seen.size() : end - 1;
    } else {
      end = seen.size();
    }
    for (int i = 0; i < 2 && end > at && seen[end - 1] == ']'; ++i) --end;
    return end;
  }
};

}  // namespace

namespace {

// A parser that the thread's next reader takes over: making one costs as much as reading a small reply.
thread_local std::unique_ptr<xmlParserCtxt, FreeParser> spare;

}  // namespace

struct PushReader::State {
  State(PushReader& owner, std::string where, const Limits& most) : target(owner), location(std::move(where)), limits(most) {}
  State(const State&) = delete;
  State& operator=(const State&) = delete;
  ~State() {
    if (reusable) spare = std::move(context);
  }

  PushReader& target;
  std::string location;
  const Limits& limits;
  std::unique_ptr<xmlParserCtxt, FreeParser> context;
  bool reusable = false;  ///< the document before was read to its end without a complaint
  ToUtf8 decoder;
  Scanner scanner;
  std::string window;          ///< bytes from `reported` on
  std::uint64_t reported = 0;  ///< up to here onBytes() was told
  std::uint64_t parsed = 0;    ///< up to here the parser has the bytes
  std::size_t depth = 0;
  std::uint64_t inserted = 0;  ///< bytes the parser got that are not the document's
  std::uint64_t startEnd = 0;  ///< where the last start tag ends, to know an empty element
  std::vector<Declaration> declarations;
  std::deque<std::string> supplied;  ///< namespaces of prefixes that the document does not declare
  std::exception_ptr thrown;
  std::string complaint;
  int complaintLine = 0;

  // No exception may pass through the parser's frames.
  template <typename Action>
  static void guarded(void* self, Action action) noexcept {
    auto& state = *static_cast<State*>(self);
    if (state.thrown || !state.complaint.empty()) return;
    try {
      action(state);
    } catch (...) {
      state.thrown = std::current_exception();
      xmlStopParser(state.context.get());
    }
  }

  static void onStart(void* self, const xmlChar* local, const xmlChar* prefix, const xmlChar* ns, int namespaceCount, const xmlChar** namespaces,
                      int attributeCount, int /*defaulted*/, const xmlChar** attributes) {
    guarded(self, [&](State& state) { state.start(local, prefix, ns, namespaceCount, namespaces, attributeCount, attributes); });
  }

  static void onEnd(void* self, const xmlChar* /*local*/, const xmlChar* /*prefix*/, const xmlChar* /*ns*/) {
    guarded(self, [](State& state) {
      const std::uint64_t end = state.position();
      const bool empty = end == state.startEnd;
      state.target.onEnd(empty ? end : end - state.backToTag(), end);
      while (!state.declarations.empty() && state.declarations.back().depth == state.depth) state.declarations.pop_back();
      --state.depth;
    });
  }

  static void onText(void* self, const xmlChar* text, int length) {
    guarded(self, [&](State& state) { state.target.onText({reinterpret_cast<const char*>(text), static_cast<std::size_t>(length)}); });
  }

  static void onDoctype(void* self, const xmlChar* /*name*/, const xmlChar* /*publicId*/, const xmlChar* /*systemId*/) {
    guarded(self, [](State& state) {
      throw Error(ErrorCode::DtdRefused,
                  state.target.where() + ": the document has a document type declaration (<!DOCTYPE>), which is refused; remove it");
    });
  }

  static void onComplaint(void* self, ParserComplaint error) {
    auto& state = *static_cast<State*>(self);
    if (state.thrown || !state.complaint.empty()) return;
    // What breaks the rules of namespaces is no fatal error to the parser. Undeclared prefixes are looked at elsewhere; a namespace need not be a
    // URI.
    const bool ofNamespaces = error->domain == XML_FROM_NAMESPACE && error->code >= XML_NS_ERR_XML_NAMESPACE && error->code <= XML_NS_ERR_COLON;
    const bool broken = error->level == XML_ERR_FATAL || (ofNamespaces && error->code != XML_NS_ERR_UNDEFINED_NAMESPACE);
    if (!broken) return;
    try {
      state.complaint = complaintText(*error);
      state.complaintLine = error->line;
    } catch (...) {
      state.thrown = std::current_exception();
      xmlStopParser(state.context.get());
    }
  }

  [[nodiscard]] std::uint64_t position() const {
    const xmlParserInput& input = *context->input;
    return static_cast<std::uint64_t>(input.consumed) + static_cast<std::uint64_t>(input.cur - input.base) - inserted;
  }

  // Bytes from the "<" of the tag the parser is in, or just behind, to where it stands. "<" stands nowhere else in a tag.
  [[nodiscard]] std::size_t backToTag() const {
    const xmlParserInput& input = *context->input;
    const xmlChar* at = input.cur;
    while (at > input.base && *--at != '<') {
    }
    return static_cast<std::size_t>(input.cur - at);
  }

  void start(const xmlChar* local, const xmlChar* prefix, const xmlChar* ns, int namespaceCount, const xmlChar** namespaces, int attributeCount,
             const xmlChar** attributes) {
    ++depth;
    const std::size_t all = static_cast<std::size_t>(attributeCount) + static_cast<std::size_t>(namespaceCount);
    if (depth > limits.depth || all > limits.attributes) checkElementLimits(limits, depth, all, view(local), target.where());
    for (int i = 0; i < namespaceCount; ++i) {
      const xmlChar** const at = namespaces + std::ptrdiff_t{2} * i;
      declarations.push_back({std::string(view(at[0])), std::string(view(at[1])), depth});
    }
    if (prefix != nullptr && ns == nullptr) ns = supply(prefix, "element", local);
    for (int i = 0; i < attributeCount; ++i) {
      const xmlChar** const at = attributes + std::ptrdiff_t{5} * i;
      if (at[1] != nullptr && at[2] == nullptr) at[2] = supply(at[1], "attribute", at[0]);
    }
    // The parser stands at ">" or "/>".
    const std::size_t back = backToTag();
    const xmlParserInput& input = *context->input;
    const std::size_t size = back + (*input.cur == '/' ? 2 : 1);
    const std::uint64_t begin = position() - back;
    startEnd = begin + size;
    const SaxElement element(view(local), view(ns), attributes, attributeCount);
    target.onStart({element.ns(), view(prefix), element.local(), element, begin, startEnd, {reinterpret_cast<const char*>(input.cur) - back, size}});
  }

  const xmlChar* supply(const xmlChar* prefix, const char* what, const xmlChar* local) {
    if (const std::optional<std::string_view> ns = target.undeclared(view(prefix))) {
      const auto known = std::find(supplied.begin(), supplied.end(), *ns);
      return reinterpret_cast<const xmlChar*>((known != supplied.end() ? *known : supplied.emplace_back(*ns)).c_str());
    }
    const std::string name(view(prefix));
    throw Error(ErrorCode::BadReference, target.where() + ": the prefix '" + name + "' of " + what + " '" + std::string(view(local)) +
                                             "' is not declared; declare it with xmlns:" + name);
  }

  void makeParser() {
    initialiseParser();
    context.reset(xmlCreatePushParserCtxt(nullptr, nullptr, nullptr, 0, nullptr));
    if (context == nullptr) throw std::bad_alloc();
    xmlSAXHandler& sax = *context->sax;
    sax = xmlSAXHandler{};
    sax.initialized = XML_SAX2_MAGIC;
    sax.startElementNs = onStart;
    sax.endElementNs = onEnd;
    sax.characters = onText;
    sax.ignorableWhitespace = onText;
    sax.cdataBlock = onText;
    sax.internalSubset = onDoctype;
    sax.serror = onComplaint;
    context->userData = this;
    // References in attribute values are only replaced when asked for; there are none but the five predefined ones without a DTD. What the document
    // says of its encoding was heeded before.
    if (xmlCtxtUseOptions(context.get(), XML_PARSE_NOENT | XML_PARSE_NONET | XML_PARSE_HUGE | XML_PARSE_IGNORE_ENC) != 0)
      throw Error(ErrorCode::Internal, "the XML parser lacks an option");
  }

  void begin(const std::string& encoding) {
    if (context == nullptr && spare != nullptr) {
      context = std::move(spare);
      context->userData = this;
      reusable = true;
    }
    const bool again = reusable && xmlDictSize(context->dict) < kMostNames;
    reusable = false;
    if (!again) {
      makeParser();
    } else if (xmlCtxtResetPush(context.get(), nullptr, 0, nullptr, nullptr) != 0) {
      throw std::bad_alloc();
    }
    decoder.begin(encoding, location);
    scanner.reset();
    window.clear();
    reported = parsed = inserted = startEnd = 0;
    depth = 0;
    declarations.clear();
    supplied.clear();
    thrown = nullptr;
    complaint.clear();
    complaintLine = 0;
  }

  // Takes bytes that are UTF-8 now.
  void take(std::string_view bytes) {
    if (bytes.empty()) return;
    const bool apart = window.empty();
    if (!apart) window += bytes;
    const std::string_view data = apart ? bytes : std::string_view(window);
    const std::uint64_t base = reported;
    const std::uint64_t end = base + data.size();
    for (std::uint64_t at = std::max(scanner.next(), scanner.safe()); at < end;) {
      at = std::min(end, at + kPiece);
      scanner.scan(data, base, at);
      hand(data, base, scanner.safe());
    }
    if (end - scanner.safe() > kLargestToken) {
      throw Error(ErrorCode::LimitExceeded,
                  target.where() + ": a tag, comment or processing instruction is larger than " + std::to_string(kLargestToken) + " bytes");
    }
    const std::string_view rest = data.substr(static_cast<std::size_t>(reported - base));
    if (apart) {
      window.assign(rest);
    } else {
      window.erase(0, window.size() - rest.size());
    }
  }

  // Hands the bytes up to `to` to the parser, and tells of those it has done with.
  void hand(std::string_view data, std::uint64_t base, std::uint64_t to) {
    if (to == parsed) return;
    const std::string_view piece = data.substr(static_cast<std::size_t>(parsed - base), static_cast<std::size_t>(to - parsed));
    // By its first bytes the parser would switch to an encoding of its own choice.
    if (parsed == 0 && " \t\r\n<"sv.find(piece[0]) == std::string_view::npos) refuse("it does not begin with \"<\"", 1);
    if (parsed < 4 && piece.substr(0, 4).find('\0') != std::string_view::npos) refuse("it has a zero byte", 1);
    xmlParseChunk(context.get(), piece.data(), static_cast<int>(piece.size()), 0);
    parsed = to;
    if (scanner.splitsSection() && context->wellFormed != 0) {
      xmlParseChunk(context.get(), kSectionSeam.data(), static_cast<int>(kSectionSeam.size()), 0);
      inserted += kSectionSeam.size();
    }
    check();
    report(data, base, position());
  }

  void report(std::string_view data, std::uint64_t base, std::uint64_t to) {
    if (to <= reported) return;
    const std::uint64_t from = reported;
    reported = to;
    target.onBytes(from, data.substr(static_cast<std::size_t>(from - base), static_cast<std::size_t>(to - from)));
  }

  void finish() {
    take(decoder.end());
    const std::string rest = std::move(window);
    window.clear();
    const std::uint64_t base = reported;
    if (base + rest.size() == 0) refuse("it is empty", 1);
    hand(rest, base, base + rest.size());
    xmlParseChunk(context.get(), nullptr, 0, 1);
    check();
    report(rest, base, base + rest.size());
    reusable = true;
  }

  void check() {
    if (thrown) std::rethrow_exception(std::exchange(thrown, nullptr));
    if (context->lastError.code == XML_ERR_NO_MEMORY) throw std::bad_alloc();
    if (!complaint.empty() || context->wellFormed == 0) refuse(complaint.empty() ? "it cannot be decoded" : complaint, complaintLine);
  }

  [[noreturn]] void refuse(const std::string& why, int line) const {
    throw Error(ErrorCode::NotWellFormed, location + ", line " + std::to_string(line) + ": not well-formed XML (" + why + ")");
  }
};

PushReader::PushReader(std::string location, const Limits& limits) : state_(std::make_unique<State>(*this, std::move(location), limits)) {}

PushReader::~PushReader() = default;

void PushReader::begin(const std::string& encoding) {
  state_->begin(encoding);
}

void PushReader::feed(std::string_view bytes) {
  // A converted piece is larger than what it is made of.
  for (std::size_t at = 0; at < bytes.size(); at += kPiece * 8) state_->take(state_->decoder.feed(bytes.substr(at, kPiece * 8)));
}

void PushReader::end() {
  state_->finish();
}

void PushReader::onText(std::string_view /*text*/) {}

void PushReader::onBytes(std::uint64_t /*begin*/, std::string_view /*bytes*/) {}

std::optional<std::string_view> PushReader::undeclared(std::string_view /*prefix*/) {
  return std::nullopt;
}

std::size_t PushReader::depth() const {
  return state_->depth;
}

std::uint32_t PushReader::line() const {
  if (state_->context == nullptr || state_->context->input == nullptr) return 0;
  const int at = xmlSAX2GetLineNumber(state_->context.get());
  return at < 0 ? 0 : static_cast<std::uint32_t>(at);
}

std::string PushReader::where() const {
  return state_->location + ", line " + std::to_string(line());
}

const std::vector<PushReader::Declaration>& PushReader::declarations() const {
  return state_->declarations;
}

}  // namespace qvx
