// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_XML_SAX_H
#define QVX_XML_SAX_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvx {

/// How much of a document is read. Beyond a limit reading ends with LimitExceeded.
struct Limits {
  std::size_t documentBytes = std::size_t{64} << 20;
  std::size_t totalBytes = std::size_t{256} << 20;
  std::size_t depth = 200;
  std::size_t attributes = 1000;
  std::size_t documents = 1000;
  std::size_t replyBytes = std::size_t{256} << 20;  ///< of a reply's values that are kept in memory, together
};

/// A start tag; valid while it is being reported.
class SaxElement {
 public:
  SaxElement(std::string_view local, std::string_view ns, const unsigned char** attributes, int count)
      : local_(local), ns_(ns), attributes_(attributes), count_(count) {}

  [[nodiscard]] std::string_view local() const { return local_; }
  [[nodiscard]] std::string_view ns() const { return ns_; }
  [[nodiscard]] bool is(std::string_view ns, std::string_view local) const { return local_ == local && ns_ == ns; }
  /// Value of an attribute; without a namespace unless one is named.
  [[nodiscard]] std::optional<std::string_view> attribute(std::string_view local, std::string_view ns = {}) const;
  [[nodiscard]] bool hasAttributes() const { return count_ > 0; }

 private:
  std::string_view local_;
  std::string_view ns_;
  const unsigned char** attributes_;
  int count_;
};

/// Reads one document and reports its elements and texts. No DTD is read, nothing else is opened.
class SaxReader {
 public:
  SaxReader(std::string location, const Limits& limits) : location_(std::move(location)), limits_(limits) {}
  SaxReader(const SaxReader&) = delete;
  SaxReader& operator=(const SaxReader&) = delete;
  virtual ~SaxReader() = default;

  /// @param[in] encoding  what the transport said of it; empty when the document is to say it
  /// @throw Error NotWellFormed, DtdRefused, LimitExceeded, or what a callback threw
  void read(std::string_view bytes, const std::string& encoding);

 protected:
  virtual void onStart(const SaxElement& element) = 0;
  virtual void onEnd() = 0;
  virtual void onText(std::string_view text) = 0;

  [[nodiscard]] std::size_t depth() const { return depth_; }  ///< 1 at the root
  [[nodiscard]] std::uint32_t line() const;
  [[nodiscard]] const std::string& location() const { return location_; }
  /// "location, line n"
  [[nodiscard]] std::string where() const;
  /// Namespace of a prefix at this point; nothing when it is not declared. The empty prefix always has one, if only the empty one.
  [[nodiscard]] std::optional<std::string_view> lookup(std::string_view prefix) const;

 private:
  struct Callbacks;
  struct Declaration {
    std::string prefix;
    std::string ns;
    std::size_t depth;
  };

  std::string location_;
  const Limits& limits_;
  void* context_ = nullptr;
  std::size_t depth_ = 0;
  std::vector<Declaration> declarations_;
};

}  // namespace qvx

#endif
