// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_XML_TO_UTF8_H
#define QVX_XML_TO_UTF8_H

#include <iconv.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qvx {

/// Turns the bytes of a document into UTF-8 as they arrive. The encoding is that of the byte order mark, else what the transport said, else what the
/// document looks like or declares, else UTF-8 (XML 1.0 appendix F; RFC 7303 section 3). Bytes that are UTF-8 already are handed through.
class ToUtf8 {
 public:
  ToUtf8() = default;
  ToUtf8(const ToUtf8&) = delete;
  ToUtf8& operator=(const ToUtf8&) = delete;
  ~ToUtf8() { close(); }

  /// @param[in] encoding  what the transport said; ignored when it is not known
  void begin(const std::string& encoding, const std::string& location);
  /// Takes the next bytes and returns what they come to, without the byte order mark: a view of `bytes` or of this object, valid until the next call.
  /// @throw Error NotWellFormed
  std::string_view feed(std::string_view bytes);
  /// What was held back.
  /// @throw Error NotWellFormed
  std::string_view end();
  /// Whether the bytes are UTF-8 already; known as soon as feed() or end() returned some.
  [[nodiscard]] bool passesThrough() const { return passing_; }
  /// The encoding that was found; may be empty for UTF-8.
  [[nodiscard]] const std::string& encoding() const { return encoding_; }

 private:
  [[nodiscard]] bool decide(bool atEnd);
  void open(const std::string& encoding);
  void close() noexcept;
  std::string_view convert(std::string_view bytes);

  std::string location_;
  std::string transport_;
  std::string encoding_;
  bool decided_ = false;
  bool passing_ = false;
  iconv_t converter_ = noConverter();
  std::string held_;  ///< before the decision the first bytes, then those of a broken character
  std::string out_;

  static iconv_t noConverter() { return reinterpret_cast<iconv_t>(-1); }  // NOLINT(performance-no-int-to-ptr)
};

}  // namespace qvx

#endif
