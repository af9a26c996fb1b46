// SPDX-License-Identifier: Apache-2.0
#include "xml/to_utf8.h"

#include "error.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace qvx {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t kLongestDeclaration = 1024;
constexpr std::size_t kLongestMark = 4;

struct Mark {
  std::string_view bytes;
  const char* encoding;
  std::size_t skipped;
};

// Longer ones first: the mark of UTF-32LE begins with that of UTF-16LE. Those without a mark are "<" and "<?" as they look there.
constexpr std::array kMarks{
    Mark{"\0\0\xFE\xFF"sv, "UTF-32BE", 4}, Mark{"\xFF\xFE\0\0"sv, "UTF-32LE", 4}, Mark{"\xFE\xFF"sv, "UTF-16BE", 2},
    Mark{"\xFF\xFE"sv, "UTF-16LE", 2},     Mark{"\xEF\xBB\xBF"sv, "UTF-8", 3},    Mark{"\0\0\0<"sv, "UTF-32BE", 0},
    Mark{"<\0\0\0"sv, "UTF-32LE", 0},      Mark{"\0<"sv, "UTF-16BE", 0},          Mark{"<\0"sv, "UTF-16LE", 0},
};

std::string upper(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  return result;
}

bool isUtf8(std::string_view encoding) {
  const std::string name = upper(encoding);
  return name == "UTF-8" || name == "UTF8" || name == "US-ASCII" || name == "ASCII";
}

// The encoding pseudo attribute of an XML declaration.
std::string declaredEncoding(std::string_view declaration) {
  constexpr std::string_view kBlank = " \t\r\n";
  for (std::size_t at = declaration.find("encoding"); at != std::string_view::npos; at = declaration.find("encoding", at + 1)) {
    std::size_t to = declaration.find_first_not_of(kBlank, at + 8);
    if (to == std::string_view::npos || declaration[to] != '=') continue;
    to = declaration.find_first_not_of(kBlank, to + 1);
    if (to == std::string_view::npos || (declaration[to] != '"' && declaration[to] != '\'')) continue;
    const std::size_t behind = declaration.find(declaration[to], to + 1);
    if (behind != std::string_view::npos) return std::string(declaration.substr(to + 1, behind - to - 1));
  }
  return {};
}

}  // namespace

void ToUtf8::begin(const std::string& encoding, const std::string& location) {
  close();
  location_ = location;
  transport_ = encoding;
  encoding_.clear();
  decided_ = passing_ = false;
  held_.clear();
}

void ToUtf8::close() noexcept {
  if (converter_ != noConverter()) iconv_close(converter_);
  converter_ = noConverter();
}

void ToUtf8::open(const std::string& encoding) {
  close();
  encoding_ = encoding;
  decided_ = true;
  passing_ = isUtf8(encoding);
  if (passing_) return;
  converter_ = iconv_open("UTF-8", encoding.c_str());
  if (converter_ == noConverter() && errno == ENOMEM) throw std::bad_alloc();
}

// Looks at the first bytes, which are held; false when there have to be more of them.
bool ToUtf8::decide(bool atEnd) {
  const std::string_view first = held_;
  if (first.size() < kLongestMark && !atEnd) return false;
  const auto* const mark =
      std::find_if(kMarks.begin(), kMarks.end(), [&](const Mark& one) { return first.substr(0, one.bytes.size()) == one.bytes; });
  if (mark != kMarks.end() && mark->skipped > 0) {
    open(mark->encoding);
    held_.erase(0, mark->skipped);
    return true;
  }
  if (!transport_.empty()) {
    // RFC 2781 section 4.3: without a mark UTF-16 begins with the higher byte, unless it plainly does not.
    const std::string name = upper(transport_);
    const bool wide = name == "UTF-16" || name == "UTF-32";
    open(!wide ? transport_ : mark != kMarks.end() ? mark->encoding : name + "BE");
    if (passing_ || converter_ != noConverter()) return true;
    decided_ = false;
  }
  if (mark != kMarks.end()) {
    open(mark->encoding);
    return true;
  }
  if (first.substr(0, 4) != "<?xm") {
    open("UTF-8");
    return true;
  }
  const std::size_t behind = first.find("?>");
  if (behind == std::string_view::npos && first.size() < kLongestDeclaration && !atEnd) return false;
  std::string declared = declaredEncoding(first.substr(0, behind));
  // A declaration that can be read byte by byte is in none of these; some senders turn a text that says so into UTF-8.
  const std::string name = upper(declared);
  if (declared.empty() || name.substr(0, 6) == "UTF-16" || name.substr(0, 6) == "UTF-32" || name.substr(0, 9) == "ISO-10646") declared = "UTF-8";
  open(declared);
  if (!passing_ && converter_ == noConverter()) {
    throw Error(ErrorCode::NotWellFormed, location_ + ", line 1: the document declares the encoding '" + declared + "', which is not known here");
  }
  return true;
}

std::string_view ToUtf8::feed(std::string_view bytes) {
  if (decided_) return passing_ ? bytes : convert(bytes);
  // Nearly always the decision is made by the first bytes and needs no copy of them.
  const bool plain = held_.empty() && bytes.size() >= kLongestMark && bytes[0] == '<' && bytes[1] != '\0';
  if (plain && (transport_.empty() ? bytes.substr(0, 4) != "<?xm" : isUtf8(transport_))) {
    decided_ = passing_ = true;
    return bytes;
  }
  held_ += bytes;
  if (!decide(false)) return {};
  out_.swap(held_);
  held_.clear();
  if (passing_) return out_;
  const std::string first = std::move(out_);
  return convert(first);
}

std::string_view ToUtf8::end() {
  if (!decided_) {
    if (held_.empty()) return {};
    static_cast<void>(decide(true));
    out_.swap(held_);
    held_.clear();
    if (passing_) return out_;
    const std::string first = std::move(out_);
    const std::string converted(convert(first));
    out_ = converted + std::string(end());
    return out_;
  }
  if (passing_) return {};
  if (!held_.empty()) throw Error(ErrorCode::NotWellFormed, location_ + ": the document ends within a character of its encoding '" + encoding_ + "'");
  return {};
}

std::string_view ToUtf8::convert(std::string_view bytes) {
  if (!held_.empty()) {
    held_ += bytes;
    bytes = held_;
  }
  std::size_t written = 0;
  char* from = const_cast<char*>(bytes.data());  // NOLINT(cppcoreguidelines-pro-type-const-cast): iconv does not write there
  std::size_t left = bytes.size();
  bool more = left > 0;
  while (more) {
    if (out_.size() - written < left + 16) out_.resize(written + left + left / 2 + 64);
    char* to = out_.data() + written;
    std::size_t room = out_.size() - written;
    const std::size_t result = iconv(converter_, &from, &left, &to, &room);
    written = out_.size() - room;
    more = result == static_cast<std::size_t>(-1) && errno == E2BIG;
    if (result == static_cast<std::size_t>(-1) && errno != E2BIG && errno != EINVAL) {
      throw Error(ErrorCode::NotWellFormed,
                  location_ + ": the document is not in its encoding '" + encoding_ + "' (" + std::generic_category().message(errno) + ")");
    }
  }
  held_ = std::string(from, left);
  return std::string_view(out_).substr(0, written);
}

}  // namespace qvx
