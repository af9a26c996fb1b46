// SPDX-License-Identifier: Apache-2.0
#include "soap/reply_reader.h"

#include "error.h"
#include "soap/fault_reader.h"
#include "soap/output_file.h"
#include "xml/push_reader.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <unordered_set>
#include <utility>

namespace qvx {

namespace {

constexpr std::size_t kBeginning = 1024;
constexpr std::size_t kLongestDetail = std::size_t{64} << 10;
constexpr std::size_t kKeptCapacity = std::size_t{1} << 20;
constexpr std::string_view kBlanks = " \t\r\n";

bool isSoap(std::string_view ns) {
  return ns == xmlns::kSoap11Envelope || ns == xmlns::kSoap12Envelope;
}

/// A declaration that an element inherits, as it would stand in a start tag.
struct Inherited {
  std::string prefix;
  std::string attribute;
};
using Scope = std::shared_ptr<const std::vector<Inherited>>;

std::string declarationText(std::string_view prefix, std::string_view ns) {
  std::string text = prefix.empty() ? " xmlns" : " xmlns:";
  text.append(prefix).append("=\"");
  for (const char c : ns) {
    switch (c) {
      case '&':
        text += "&amp;";
        break;
      case '<':
        text += "&lt;";
        break;
      case '"':
        text += "&quot;";
        break;
      case '\t':
      case '\n':
      case '\r':
        text.append("&#").append(std::to_string(static_cast<int>(c))).append(";");
        break;
      default:
        text += c;
    }
  }
  return text += '"';
}

bool isNameByte(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') || byte == '_' || byte == '-' || byte == '.' ||
         byte >= 0x80U;
}

/// Whether "prefix:" stands in this XML: in the name of an element or attribute, or where it may be a name in a value ("xs:string").
bool uses(std::string_view xml, const std::string& prefix) {
  // Where characters are written by their numbers, a name may be hidden in them.
  if (xml.find("&#") != std::string_view::npos) return true;
  const std::string searched = prefix + ":";
  for (std::size_t at = 0; at < xml.size();) {
    const void* const found = memmem(xml.data() + at, xml.size() - at, searched.data(), searched.size());
    if (found == nullptr) return false;
    at = static_cast<std::size_t>(static_cast<const char*>(found) - xml.data());
    if (at == 0 || !isNameByte(xml[at - 1])) return true;
    ++at;
  }
  return false;
}

/// Where the name in a start tag ends.
std::uint64_t behindName(const PushTag& tag) {
  return tag.begin + 1 + tag.local.size() + (tag.prefix.empty() ? 0 : tag.prefix.size() + 1);
}

/// Ends the reading of something that is no SOAP.
struct NotSoap {
  std::string problem;
};

}  // namespace

class ReplyReader::Impl final : public PushReader {
 public:
  explicit Impl(const Limits& limits) : PushReader("the reply", limits), limits_(limits) {}

  Kind kind_ = Kind::Empty;
  SoapVersion version_ = SoapVersion::Soap11;
  SoapFault fault_;
  std::string problem_;
  std::string beginning_;
  std::vector<FoundValue> found_;

  void beginReply(const std::vector<WantedValue>& wanted, const std::string& charset);
  void take(std::string_view bytes);
  void finish();
  void keep();
  void discard() noexcept;

 protected:
  void onStart(const PushTag& tag) override;
  void onEnd(std::uint64_t begin, std::uint64_t end) override;
  void onText(std::string_view text) override;
  void onBytes(std::uint64_t begin, std::string_view bytes) override;

 private:
  enum class Shape { Envelope, Header, Body, Element };
  enum class Match { None, Descendant, Best };

  /// A value that is cut out: first, while elements are reported, what of it there is, then its bytes when they are complete.
  struct Cut {
    std::size_t wanted = 0;
    Shape shape = Shape::Element;
    QualifiedName name;
    std::string fileName;
    std::size_t most = 0;  ///< 0: not bounded by itself
    Match match = Match::None;
    std::size_t depth = 0;  ///< of the element it is being cut from; 0 = none

    bool flowing = false;
    std::string text;
    std::unique_ptr<OutputFile> file;
    Scope scope;               ///< what the stand-alone element at `element` may need
    std::size_t element = 0;   ///< in `text`
    std::size_t insertAt = 0;  ///< in `text`
  };

  /// Something to do with a cut when its bytes have come up to an offset.
  struct Step {
    enum class What { Begin, Resume, Declare, Complete, Stop };
    std::uint64_t offset;
    What what;
    std::size_t cut;
    Scope scope;
  };

  enum class Section { None, Header, Body };

  const Limits& limits_;
  std::vector<Cut> cuts_;  ///< the wanted values, then the detail of a fault
  std::vector<Step> steps_;
  std::size_t kept_ = 0;  ///< bytes of values in memory
  bool blank_ = true;
  Section section_ = Section::None;
  bool bodySeen_ = false;
  bool payloadSeen_ = false;
  bool inFault_ = false;
  bool isFault_ = false;
  std::size_t detailDepth_ = 0;
  FaultReader faultReader_;

  template <typename Action>
  void guarded(Action action);
  void reject(const std::string& problem);

  void startRoot(const PushTag& tag);
  void startSection(const PushTag& tag);
  void startHeaderBlock(const PushTag& tag);
  void startInBody(const PushTag& tag);
  void declareIn(const PushTag& tag, std::size_t firstStep, bool bodyToo);
  void startFaultPart(const PushTag& tag);
  template <typename Action>
  void each(Shape shape, Action action);
  void step(std::uint64_t offset, Step::What what, std::size_t cut, Scope scope = nullptr) {
    steps_.push_back({offset, what, cut, std::move(scope)});
  }
  [[nodiscard]] Scope inherited() const;
  [[nodiscard]] std::optional<std::string_view> lookup(std::string_view prefix) const;

  void apply(const Step& step);
  void flow(std::string_view bytes);
  void append(Cut& cut, std::string_view bytes);
  void declareNeeded(Cut& cut);
  void count(std::size_t bytes);
};

// -- From outside -------------------------------------------------------------------------------------------------------------------------------

void ReplyReader::Impl::beginReply(const std::vector<WantedValue>& wanted, const std::string& charset) {
  discard();
  kind_ = Kind::Empty;
  fault_ = {};
  problem_.clear();
  beginning_.clear();
  found_.clear();
  steps_.clear();
  kept_ = 0;
  blank_ = true;
  section_ = Section::None;
  bodySeen_ = payloadSeen_ = inFault_ = isFault_ = false;
  detailDepth_ = 0;
  cuts_.resize(wanted.size());
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    Cut fresh;
    fresh.text.swap(cuts_[i].text);
    if (fresh.text.capacity() > kKeptCapacity) fresh.text = {};
    fresh.text.clear();
    fresh.wanted = i;
    fresh.name = wanted[i].name;
    fresh.fileName = wanted[i].file;
    if (isSoap(fresh.name.ns)) {
      const std::string& local = fresh.name.local;
      fresh.shape = local == "Envelope" ? Shape::Envelope : local == "Header" ? Shape::Header : local == "Body" ? Shape::Body : Shape::Element;
    }
    cuts_[i] = std::move(fresh);
  }
  begin(charset);
}

// What is no SOAP is a result; what the caller has to know is an error.
template <typename Action>
void ReplyReader::Impl::guarded(Action action) {
  try {
    action();
  } catch (const NotSoap& no) {
    reject(no.problem);
  } catch (const Error& error) {
    reject(error.what());
    const ErrorCode code = error.code();
    if (code != ErrorCode::NotWellFormed && code != ErrorCode::DtdRefused && code != ErrorCode::BadReference) throw;
  } catch (...) {
    reject("reading it failed");
    throw;
  }
}

void ReplyReader::Impl::reject(const std::string& problem) {
  kind_ = Kind::Other;
  problem_ = problem;
  discard();
}

void ReplyReader::Impl::take(std::string_view bytes) {
  beginning_ += bytes.substr(0, kBeginning - std::min(kBeginning, beginning_.size()));
  if (kind_ == Kind::Other) return;
  if (blank_) {
    // White space alone is no document, and some services let a line end go before the XML declaration.
    const std::size_t first = bytes.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return;
    bytes.remove_prefix(first);
    blank_ = false;
  }
  guarded([&] { feed(bytes); });
}

void ReplyReader::Impl::finish() {
  if (blank_ || kind_ == Kind::Other) return;
  guarded([&] {
    end();
    if (!bodySeen_) throw NotSoap{"the reply: the envelope has no body"};
    for (const Cut& cut : cuts_) {
      if (cut.file != nullptr) cut.file->close();
    }
    kind_ = isFault_ ? Kind::Fault : Kind::Envelope;
  });
  if (kind_ == Kind::Other) return;
  if (isFault_) {
    fault_ = faultReader_.finish();
    if (!cuts_.empty() && cuts_.back().most > 0) fault_.detail = std::move(cuts_.back().text);
  }
  for (const Cut& cut : cuts_) {
    if (cut.match == Match::None || cut.most > 0) continue;
    found_.push_back({cut.wanted, cut.fileName.empty() ? std::string_view(cut.text) : std::string_view()});
  }
}

void ReplyReader::Impl::keep() {
  for (const Cut& cut : cuts_) {
    if (cut.file != nullptr) cut.file->keep();
  }
}

void ReplyReader::Impl::discard() noexcept {
  for (Cut& cut : cuts_) cut.file.reset();
}

// -- Elements -----------------------------------------------------------------------------------------------------------------------------------

template <typename Action>
void ReplyReader::Impl::each(Shape shape, Action action) {
  for (std::size_t i = 0; i < cuts_.size(); ++i) {
    if (cuts_[i].shape == shape) action(cuts_[i], i);
  }
}

void ReplyReader::Impl::onStart(const PushTag& tag) {
  switch (depth()) {
    case 1:
      startRoot(tag);
      break;
    case 2:
      startSection(tag);
      break;
    default:
      if (section_ == Section::Body) startInBody(tag);
      if (section_ == Section::Header && depth() == 3) startHeaderBlock(tag);
  }
}

void ReplyReader::Impl::startRoot(const PushTag& tag) {
  if (tag.local != "Envelope") {
    throw NotSoap{where() + ": the root element is '" + QualifiedName{std::string(tag.ns), std::string(tag.local)}.text() + "', not a SOAP envelope"};
  }
  if (!isSoap(tag.ns)) {
    throw NotSoap{where() + ": the envelope's namespace '" + std::string(tag.ns) + "' is none of the SOAP versions 1.1 and 1.2"};
  }
  version_ = tag.ns == xmlns::kSoap12Envelope ? SoapVersion::Soap12 : SoapVersion::Soap11;
  each(Shape::Envelope, [&](Cut& cut, std::size_t i) {
    cut.match = Match::Best;
    cut.depth = 1;
    step(tag.begin, Step::What::Begin, i);
  });
}

void ReplyReader::Impl::startSection(const PushTag& tag) {
  section_ = Section::None;
  const bool soap = tag.ns == (version_ == SoapVersion::Soap12 ? xmlns::kSoap12Envelope : xmlns::kSoap11Envelope);
  if (soap && tag.local == "Header" && !bodySeen_) {
    section_ = Section::Header;
    each(Shape::Header, [&](Cut& cut, std::size_t i) {
      if (cut.match != Match::None) throw NotSoap{where() + ": the envelope has two headers"};
      cut.match = Match::Best;
      step(tag.end, Step::What::Begin, i);
      step(tag.end, Step::What::Stop, i);
    });
  }
  if (soap && tag.local == "Body") {
    if (bodySeen_) throw NotSoap{where() + ": the envelope has two bodies"};
    bodySeen_ = true;
    section_ = Section::Body;
    each(Shape::Body, [&](Cut& cut, std::size_t i) {
      cut.match = Match::Best;
      cut.depth = 2;
      step(tag.end, Step::What::Begin, i);
    });
  }
}

// Steps go by offset: every value that begins with a tag begins before declarations are put into the tag.

void ReplyReader::Impl::startHeaderBlock(const PushTag& tag) {
  const std::size_t before = steps_.size();
  each(Shape::Header, [&](Cut& cut, std::size_t i) {
    cut.depth = 3;
    step(tag.begin, Step::What::Resume, i);
  });
  declareIn(tag, before, false);
}

void ReplyReader::Impl::startInBody(const PushTag& tag) {
  const bool child = depth() == 3;
  if (inFault_) startFaultPart(tag);
  if (child && !payloadSeen_) {
    payloadSeen_ = true;
    inFault_ = isFault_ = tag.local == "Fault" && isSoap(tag.ns);
    if (isFault_) faultReader_.begin();
  }
  const std::size_t before = steps_.size();
  each(Shape::Element, [&](Cut& cut, std::size_t i) {
    if (cut.match != Match::None && (!child || cut.match == Match::Best)) return;
    // The detail of a fault was added because of this tag.
    const bool isDetail = cut.most > 0;
    if (!isDetail && (cut.name.local != tag.local || cut.name.ns != tag.ns)) return;
    cut.match = child || isDetail ? Match::Best : Match::Descendant;
    cut.depth = depth();
    step(tag.begin, Step::What::Begin, i);
  });
  declareIn(tag, before, child);
}

// For the values that begin with this tag, and for the body's content if it is a child of the body.
void ReplyReader::Impl::declareIn(const PushTag& tag, std::size_t firstStep, bool bodyToo) {
  Scope scope;
  const auto declare = [&](std::size_t cut) {
    if (scope == nullptr) scope = inherited();
    step(behindName(tag), Step::What::Declare, cut, scope);
  };
  const std::size_t behind = steps_.size();
  for (std::size_t i = firstStep; i < behind; ++i) declare(steps_[i].cut);
  if (bodyToo) each(Shape::Body, [&](Cut& /*cut*/, std::size_t i) { declare(i); });
}

void ReplyReader::Impl::startFaultPart(const PushTag& tag) {
  if (detailDepth_ > 0 || !faultReader_.start(tag)) return;
  detailDepth_ = depth();
  if (!cuts_.empty() && cuts_.back().most > 0) return;
  Cut& cut = cuts_.emplace_back();
  cut.most = kLongestDetail;
}

void ReplyReader::Impl::onEnd(std::uint64_t begin, std::uint64_t end) {
  const std::size_t at = depth();
  if (inFault_) {
    if (at == 3) {
      inFault_ = false;
    } else if (at == detailDepth_) {
      detailDepth_ = 0;
    } else if (detailDepth_ == 0) {
      faultReader_.end([this](std::string_view prefix) { return lookup(prefix); });
    }
  }
  for (std::size_t i = 0; i < cuts_.size(); ++i) {
    Cut& cut = cuts_[i];
    if (at == 3 && cut.shape == Shape::Body && section_ == Section::Body) step(end, Step::What::Complete, i);
    if (cut.depth != at) continue;
    cut.depth = 0;
    if (cut.shape == Shape::Element || cut.shape == Shape::Header) step(end, Step::What::Complete, i);
    step(cut.shape == Shape::Body ? begin : end, Step::What::Stop, i);
  }
  if (at == 2) section_ = Section::None;
}

void ReplyReader::Impl::onText(std::string_view text) {
  if (inFault_ && detailDepth_ == 0) faultReader_.text(text);
}

std::optional<std::string_view> ReplyReader::Impl::lookup(std::string_view prefix) const {
  const auto& all = declarations();
  const auto found = std::find_if(all.rbegin(), all.rend(), [&](const Declaration& one) { return one.prefix == prefix; });
  return found == all.rend() ? std::nullopt : std::optional<std::string_view>(found->ns);
}

// What holds at the element that is being reported and is not declared by itself.
Scope ReplyReader::Impl::inherited() const {
  auto scope = std::make_shared<std::vector<Inherited>>();
  std::unordered_set<std::string_view> hidden;
  const auto& all = declarations();
  std::for_each(all.rbegin(), all.rend(), [&](const Declaration& one) {
    // Where no default namespace holds there is nothing to undo: none holds at the top of a document.
    if (hidden.insert(one.prefix).second && one.depth < depth() && !one.ns.empty())
      scope->push_back({one.prefix, declarationText(one.prefix, one.ns)});
  });
  return scope;
}

// -- Bytes --------------------------------------------------------------------------------------------------------------------------------------

void ReplyReader::Impl::onBytes(std::uint64_t begin, std::string_view bytes) {
  const std::uint64_t end = begin + bytes.size();
  std::uint64_t at = begin;
  std::size_t done = 0;
  for (; done < steps_.size() && steps_[done].offset <= end; ++done) {
    const std::uint64_t to = steps_[done].offset;
    flow(bytes.substr(static_cast<std::size_t>(at - begin), static_cast<std::size_t>(to - at)));
    at = to;
    apply(steps_[done]);
  }
  steps_.erase(steps_.begin(), steps_.begin() + static_cast<std::ptrdiff_t>(done));
  flow(bytes.substr(static_cast<std::size_t>(at - begin)));
}

void ReplyReader::Impl::flow(std::string_view bytes) {
  if (bytes.empty()) return;
  for (Cut& cut : cuts_) {
    if (cut.flowing) append(cut, bytes);
  }
}

void ReplyReader::Impl::apply(const Step& step) {
  Cut& cut = cuts_[step.cut];
  switch (step.what) {
    case Step::What::Begin:
      kept_ -= cut.text.size();
      cut.text.clear();
      if (cut.file != nullptr) {
        cut.file->clear();
      } else if (!cut.fileName.empty()) {
        cut.file = std::make_unique<OutputFile>(cut.fileName);
      }
      cut.flowing = true;
      break;
    case Step::What::Resume:
      cut.flowing = true;
      break;
    case Step::What::Declare:
      if (cut.file == nullptr) {
        cut.scope = step.scope;
        cut.insertAt = cut.text.size();
        cut.element = cut.text.rfind('<');
        break;
      }
      // What of it is needed shows only when the element is gone.
      for (const Inherited& one : *step.scope) cut.file->write(one.attribute);
      break;
    case Step::What::Complete:
      declareNeeded(cut);
      break;
    case Step::What::Stop:
      cut.flowing = false;
      break;
  }
}

void ReplyReader::Impl::append(Cut& cut, std::string_view bytes) {
  if (cut.file != nullptr) {
    cut.file->write(bytes);
    return;
  }
  // One byte more, to see whether the last character is whole.
  if (cut.most > 0) bytes = bytes.substr(0, cut.most + 1 - std::min(cut.most + 1, cut.text.size()));
  count(bytes.size());
  cut.text += bytes;
}

void ReplyReader::Impl::count(std::size_t bytes) {
  kept_ += bytes;
  if (kept_ > limits_.replyBytes) {
    throw Error(ErrorCode::LimitExceeded, "the values of the reply take more than " + std::to_string(limits_.replyBytes) +
                                              " bytes in memory; have them written to files, or raise limits.reply_bytes in the configuration file");
  }
}

void ReplyReader::Impl::declareNeeded(Cut& cut) {
  if (cut.scope == nullptr) return;
  std::string needed;
  for (const Inherited& one : *cut.scope) {
    // The default namespace may also be meant by an unprefixed name in a value.
    if (one.prefix.empty() || uses(std::string_view(cut.text).substr(cut.element), one.prefix)) needed += one.attribute;
  }
  cut.scope = nullptr;
  count(needed.size());
  cut.text.insert(cut.insertAt, needed);
  if (cut.most == 0 || cut.text.size() <= cut.most) return;
  std::size_t whole = cut.most;
  while (whole > 0 && (static_cast<unsigned char>(cut.text[whole]) & 0xC0U) == 0x80U) --whole;
  cut.text.resize(whole);
}

// -- The interface ------------------------------------------------------------------------------------------------------------------------------

ReplyReader::ReplyReader(const Limits& limits) : impl_(std::make_unique<Impl>(limits)) {}

ReplyReader::~ReplyReader() = default;

void ReplyReader::begin(const std::vector<WantedValue>& wanted, const std::string& charset) {
  impl_->beginReply(wanted, charset);
}

void ReplyReader::feed(std::string_view bytes) {
  impl_->take(bytes);
}

void ReplyReader::end() {
  impl_->finish();
}

ReplyReader::Kind ReplyReader::kind() const {
  return impl_->kind_;
}

SoapVersion ReplyReader::version() const {
  return impl_->version_;
}

const SoapFault& ReplyReader::fault() const {
  return impl_->fault_;
}

const std::string& ReplyReader::problem() const {
  return impl_->problem_;
}

std::string_view ReplyReader::beginning() const {
  return impl_->beginning_;
}

const std::vector<FoundValue>& ReplyReader::found() const {
  return impl_->found_;
}

void ReplyReader::keepFiles() {
  impl_->keep();
}

void ReplyReader::discardFiles() noexcept {
  impl_->discard();
}

}  // namespace qvx
