// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_XML_PUSH_READER_H
#define QVX_XML_PUSH_READER_H

#include "xml/sax.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qvx {

/// A start tag and where it lies; valid while it is being reported.
struct PushTag {
  std::string_view ns;
  std::string_view prefix;
  std::string_view local;
  const SaxElement& element;  ///< its attributes
  std::uint64_t begin = 0;    ///< offset of "<"
  std::uint64_t end = 0;      ///< offset behind ">", also of an empty element's "/>"
  std::string_view raw;       ///< the bytes of the tag, from "<" to ">"
};

/// Reads one document at a time as its bytes arrive, and tells where each element lies. Offsets count bytes of the document as UTF-8, from behind its
/// byte order mark; another encoding is turned into UTF-8 on the way. No DTD is read, nothing else is opened. The reader is made for reuse. It holds
/// no more than a few KiB and the tag, comment or processing instruction that is not yet complete, which may have 10 MiB.
class PushReader {
 public:
  PushReader(std::string location, const Limits& limits);
  PushReader(const PushReader&) = delete;
  PushReader& operator=(const PushReader&) = delete;
  virtual ~PushReader();

  /// Begins a document, also when the one before was not ended.
  /// @param[in] encoding  what the transport said of it; empty when the document is to say it
  void begin(const std::string& encoding);
  /// @throw Error NotWellFormed, DtdRefused, LimitExceeded (depth, attributes, such a tag), BadReference (a prefix that is not declared), or what a
  ///        callback threw. After that only begin() may be called.
  void feed(std::string_view bytes);
  /// Ends the document.
  /// @throw Error as feed()
  void end();

 protected:
  virtual void onStart(const PushTag& tag) = 0;
  /// @param[in] begin, end  offsets of the end tag; equal for an empty element
  virtual void onEnd(std::uint64_t begin, std::uint64_t end) = 0;
  virtual void onText(std::string_view text);
  /// Bytes of the document (UTF-8) from offset `begin` that are complete: everything in them was reported. Called after each piece that was fed, in
  /// order and without a gap.
  virtual void onBytes(std::uint64_t begin, std::string_view bytes);
  /// A prefix that the document does not declare: its namespace, or nothing to refuse it.
  [[nodiscard]] virtual std::optional<std::string_view> undeclared(std::string_view prefix);

  [[nodiscard]] std::size_t depth() const;  ///< 1 at the root, also inside onEnd()
  [[nodiscard]] std::uint32_t line() const;
  [[nodiscard]] std::string where() const;  ///< "location, line n"
  /// Declarations in scope, innermost last; a prefix may stand more than once. Inside onStart() the element's own are the last ones.
  struct Declaration {
    std::string prefix;
    std::string ns;
    std::size_t depth;
  };
  [[nodiscard]] const std::vector<Declaration>& declarations() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace qvx

#endif
