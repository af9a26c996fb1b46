// SPDX-License-Identifier: Apache-2.0
#include "xml/fragment.h"

#include "error.h"

#include <algorithm>

namespace qvx {

namespace {

constexpr std::string_view kWhite = " \t\r\n";

// Bytes up to behind the XML declaration; 0 when there is none.
std::size_t declarationEnd(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(kWhite);
  if (begin == std::string_view::npos || text.substr(begin, 5) != "<?xml") return 0;
  if (begin + 5 == text.size() || kWhite.find(text[begin + 5]) == std::string_view::npos) return 0;
  const std::size_t end = text.find("?>", begin);
  return end == std::string_view::npos ? 0 : end + 2;
}

}  // namespace

// Inside an element the parser takes it for a tag that is misspelt.
void FragmentReader::refuseDoctype(std::string_view content) const {
  const std::size_t begin = content.find_first_not_of(kWhite);
  if (begin == std::string_view::npos || content.substr(begin, 9) != "<!DOCTYPE") return;
  // The reader has not come that far.
  const auto lines =
      std::count(opening_.begin(), opening_.end(), '\n') + std::count(content.begin(), content.begin() + static_cast<std::ptrdiff_t>(begin), '\n');
  throw Error(ErrorCode::DtdRefused, ", line " + std::to_string(lines + 1) + ": a document type declaration (<!DOCTYPE>) is refused; remove it");
}

void FragmentReader::begin(const std::string& context) {
  // An element around the text brings the namespaces, and lets several elements and text stand side by side.
  opening_ = "<value" + context + ">";
  extent_ = {};
  before_ = 0;
  begun_ = closing_ = false;
  PushReader::begin("UTF-8");
}

void FragmentReader::feed(std::string_view bytes) {
  if (bytes.empty()) return;
  if (!begun_) {
    begun_ = true;
    extent_.content = declarationEnd(bytes);
    const std::string_view dropped = bytes.substr(0, static_cast<std::size_t>(extent_.content));
    // Keeps the count of lines.
    opening_.append(static_cast<std::size_t>(std::count(dropped.begin(), dropped.end(), '\n')), '\n');
    before_ = opening_.size();
    PushReader::feed(opening_);
    bytes.remove_prefix(dropped.size());
    refuseDoctype(bytes);
  }
  PushReader::feed(bytes);
}

const Extent& FragmentReader::end() {
  if (!begun_) PushReader::feed(opening_);
  if (depth() > 1) throw Error(ErrorCode::NotWellFormed, where() + ": not well-formed XML (it ends inside an element)");
  closing_ = true;
  PushReader::feed("</value>");
  PushReader::end();
  return extent_;
}

void FragmentReader::onStart(const PushTag& tag) {
  if (depth() != 2) return;
  if (extent_.elements++ == 0) extent_.begin = inText(tag.begin);
  onTop(tag);
}

void FragmentReader::onEnd(std::uint64_t /*begin*/, std::uint64_t end) {
  if (depth() == 2) extent_.end = inText(end);
  if (depth() == 1 && !closing_) throw Error(ErrorCode::NotWellFormed, where() + ": not well-formed XML (an end tag without a start tag)");
}

void FragmentReader::onText(std::string_view text) {
  if (depth() != 1 || text.find_first_not_of(kWhite) == std::string_view::npos) return;
  extent_.text = true;
  onTopText();
}

}  // namespace qvx
