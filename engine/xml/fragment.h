// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_XML_FRAGMENT_H
#define QVX_XML_FRAGMENT_H

#include "xml/push_reader.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace qvx {

/// Where the elements of a fragment lie. Offsets count bytes of the text as UTF-8, from behind its byte order mark.
struct Extent {
  std::uint64_t content = 0;  ///< behind an XML declaration and the white space before it
  std::uint64_t begin = 0;    ///< of the first element
  std::uint64_t end = 0;      ///< behind the last element
  std::size_t elements = 0;
  bool text = false;  ///< there is text outside of the elements that is not white space
};

/// Checks a text that is to stand inside another document: elements side by side, with text between them. An XML declaration and white space before
/// it are passed over. What it throws has no location but ", line n: …", to be put behind the name of the text.
class FragmentReader : protected PushReader {
 public:
  explicit FragmentReader(const Limits& limits) : PushReader({}, limits) {}

  /// @param[in] context  declarations of namespaces that hold around the text, each with a blank before it: ` xmlns:p="…"`
  void begin(const std::string& context);
  /// Takes the next bytes as UTF-8, without a byte order mark. An XML declaration has to be in the first piece.
  /// @throw Error NotWellFormed, DtdRefused, LimitExceeded, BadReference (a prefix that is not declared), or what onTop() threw
  void feed(std::string_view bytes);
  /// @throw Error as feed()
  const Extent& end();

 protected:
  /// An element that lies in no other one of the text. extent() counts it already.
  virtual void onTop(const PushTag& tag) = 0;

  /// Text outside of the elements that is not white space. It may come in pieces.
  virtual void onTopText() {}

  [[nodiscard]] const Extent& extent() const { return extent_; }
  /// The offset in the text of an offset that the reader reports.
  [[nodiscard]] std::uint64_t inText(std::uint64_t offset) const { return offset - before_ + extent_.content; }

 private:
  void onStart(const PushTag& tag) final;
  void onEnd(std::uint64_t begin, std::uint64_t end) final;
  void onText(std::string_view text) final;
  void refuseDoctype(std::string_view content) const;

  std::string opening_;
  Extent extent_;
  std::uint64_t before_ = 0;  ///< bytes that were put before the content
  bool begun_ = false;
  bool closing_ = false;
};

}  // namespace qvx

#endif
