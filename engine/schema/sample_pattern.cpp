// SPDX-License-Identifier: Apache-2.0
#include "schema/sample_value.h"

#include <algorithm>
#include <cstdint>
#include <memory>

namespace qvx::schema {

namespace {

constexpr int kMaxDepth = 60;
constexpr std::size_t kMaxText = 4096;

/// A parsed piece of a regular expression (XML Schema part 2, appendix F): what it may begin with is all that a sample needs of a class.
struct Piece {
  std::string letters;                           ///< one of these, ASCII, best first; empty for a group
  std::string literal;                           ///< a character beyond ASCII
  std::vector<std::vector<Piece>> alternatives;  ///< of a group
  unsigned min = 1;
  unsigned max = 1;
};

using Branch = std::vector<Piece>;

std::string range(char first, char last) {
  std::string text;
  for (char c = first; c <= last; ++c) text += c;
  return text;
}

const std::string& printable() {
  // The friendliest characters first.
  static const std::string kAll = range('a', 'z') + range('A', 'Z') + range('0', '9') + "-_.:/@ ,;+*#()[]{}<>=!?&%$'\"|~^`\\\t\n\r";
  return kAll;
}

std::string without(const std::string& from, const std::string& letters) {
  std::string rest;
  std::copy_if(from.begin(), from.end(), std::back_inserter(rest), [&](char c) { return letters.find(c) == std::string::npos; });
  return rest;
}

class Parser {
 public:
  explicit Parser(std::string_view text) : text_(text) {}

  bool parse(std::vector<Branch>& out) { return alternatives(out, 0) && position_ == text_.size(); }

 private:
  [[nodiscard]] bool more() const { return position_ < text_.size(); }
  [[nodiscard]] char peek() const { return text_[position_]; }

  bool alternatives(std::vector<Branch>& out, int depth) {
    if (depth > kMaxDepth) return false;
    out.emplace_back();
    while (more() && peek() != ')') {
      if (peek() == '|') {
        ++position_;
        out.emplace_back();
        continue;
      }
      Piece piece;
      if (!atom(piece, depth) || !quantifier(piece)) return false;
      out.back().push_back(std::move(piece));
    }
    return true;
  }

  bool atom(Piece& piece, int depth) {
    const char c = peek();
    if (c == '(') {
      ++position_;
      if (!alternatives(piece.alternatives, depth + 1) || !more()) return false;
      ++position_;
      return true;
    }
    if (c == '[') return characterClass(piece.letters, depth);
    if (c == '\\') return escape(piece.letters);
    if (c == '.') {
      piece.letters = without(printable(), "\n\r");
      ++position_;
      return true;
    }
    if (c == '?' || c == '*' || c == '+' || c == '{' || c == '}' || c == ']') return false;
    if (static_cast<unsigned char>(c) < 0x80) {
      piece.letters = std::string(1, c);
      ++position_;
      return true;
    }
    do {
      piece.literal += text_[position_++];
    } while (more() && (static_cast<unsigned char>(peek()) & 0xC0) == 0x80);
    return true;
  }

  bool escape(std::string& letters) {
    if (++position_ >= text_.size()) return false;
    const char c = text_[position_++];
    const std::string digits = range('0', '9');
    const std::string alpha = range('a', 'z') + range('A', 'Z');
    switch (c) {
      case 'n':
        letters = "\n";
        return true;
      case 'r':
        letters = "\r";
        return true;
      case 't':
        letters = "\t";
        return true;
      case 'd':
        letters = digits;
        return true;
      case 'D':
        letters = without(printable(), digits);
        return true;
      case 's':
        letters = " \t\n\r";
        return true;
      case 'S':
        letters = without(printable(), " \t\n\r");
        return true;
      case 'w':
        letters = alpha + digits + "$+<=>^`|~";
        return true;
      case 'W':
        letters = without(printable(), alpha + digits + "$+<=>^`|~");
        return true;
      case 'i':
        letters = alpha + "_:";
        return true;
      case 'I':
        letters = without(printable(), alpha + "_:");
        return true;
      case 'c':
        letters = alpha + digits + "-_.:";
        return true;
      case 'C':
        letters = without(printable(), alpha + digits + "-_.:");
        return true;
      case 'p':
      case 'P':
        return category(letters, c == 'P');
      default:
        letters = std::string(1, c);
        return true;
    }
  }

  bool category(std::string& letters, bool negated) {
    if (!more() || peek() != '{') return false;
    const std::size_t end = text_.find('}', position_);
    if (end == std::string_view::npos) return false;
    const std::string_view name = text_.substr(position_ + 1, end - position_ - 1);
    position_ = end + 1;
    if (name == "L") {
      letters = range('a', 'z') + range('A', 'Z');
    } else if (name == "Lu") {
      letters = range('A', 'Z');
    } else if (name == "Ll") {
      letters = range('a', 'z');
    } else if (name == "N" || name == "Nd") {
      letters = range('0', '9');
    } else if (name.substr(0, 1) == "P") {
      letters = name == "Pd" ? "-" : name == "Pc" ? "_" : name == "Ps" ? "([{" : name == "Pe" ? ")]}" : ".:/@,;*#!?&%'\"-_";
    } else if (name.substr(0, 1) == "S") {
      letters = name == "Sc" ? "$" : "+<=>|~^`";
    } else if (name.substr(0, 1) == "Z") {
      letters = " ";
    } else if (name == "IsBasicLatin") {
      letters = printable();
    } else {
      letters.clear();
    }
    if (negated) letters = without(printable(), letters);
    return !letters.empty();
  }

  bool characterClass(std::string& letters, int depth) {
    if (depth > kMaxDepth) return false;
    ++position_;
    const bool negated = more() && peek() == '^';
    if (negated) ++position_;
    std::string wide;  // characters beyond ASCII, of which the first is used when there is nothing else
    bool first = true;
    while (more() && (peek() != ']' || first)) {
      first = false;
      if (peek() == '-' && position_ + 1 < text_.size() && text_[position_ + 1] == '[') {
        ++position_;
        std::string rest;
        if (!characterClass(rest, depth + 1)) return false;
        letters = without(negated ? without(printable(), letters) : letters, rest);
        if (!more() || peek() != ']') return false;
        ++position_;
        return !letters.empty();
      }
      std::string one;
      if (peek() == '\\') {
        if (!escape(one)) return false;
      } else if (static_cast<unsigned char>(peek()) < 0x80) {
        one = std::string(1, text_[position_++]);
      } else {
        ++position_;
        continue;
      }
      if (one.size() == 1 && position_ + 1 < text_.size() && peek() == '-' && text_[position_ + 1] != ']' && text_[position_ + 1] != '[') {
        ++position_;
        std::string last;
        if (peek() == '\\') {
          if (!escape(last)) return false;
        } else {
          last = std::string(1, text_[position_++]);
        }
        if (last.size() != 1) return false;
        const int end = static_cast<unsigned char>(last.front());
        for (int c = static_cast<unsigned char>(one.front()); c <= std::min(end, 0x7E); ++c) letters += static_cast<char>(c);
        continue;
      }
      letters += one;
    }
    if (!more()) return false;
    ++position_;
    if (negated) letters = without(printable(), letters);
    return !letters.empty();
  }

  bool quantifier(Piece& piece) {
    if (!more()) return true;
    const char c = peek();
    if (c == '?' || c == '*' || c == '+') {
      ++position_;
      piece.min = c == '+' ? 1 : 0;
      piece.max = c == '?' ? 1 : kUnbounded;
      return true;
    }
    if (c != '{') return true;
    ++position_;
    const auto number = [&](unsigned& value) {
      const std::size_t start = position_;
      for (value = 0; more() && peek() >= '0' && peek() <= '9' && value < 1000000; ++position_)
        value = value * 10 + static_cast<unsigned>(peek() - '0');
      return position_ > start;
    };
    if (!number(piece.min)) return false;
    piece.max = piece.min;
    if (more() && peek() == ',') {
      ++position_;
      if (!number(piece.max)) piece.max = kUnbounded;
    }
    if (!more() || peek() != '}') return false;
    ++position_;
    return true;
  }

  std::string_view text_;
  std::size_t position_ = 0;
};

struct Style {
  std::size_t branch = 0;  ///< which alternative of every group
  unsigned extra = 0;      ///< repetitions beyond the least
  std::size_t letter = 0;  ///< which letter of every class
};

void generate(const std::vector<Branch>& alternatives, const Style& style, std::string& out) {
  if (alternatives.empty()) return;
  for (const Piece& piece : alternatives[style.branch % alternatives.size()]) {
    const unsigned count = piece.max - piece.min < style.extra ? piece.max : piece.min + style.extra;
    for (unsigned i = 0; i < count && out.size() < kMaxText; ++i) {
      if (!piece.alternatives.empty()) {
        generate(piece.alternatives, style, out);
      } else if (!piece.literal.empty()) {
        out += piece.literal;
      } else {
        out += piece.letters[style.letter % piece.letters.size()];
      }
    }
  }
}

}  // namespace

std::vector<std::string> textsForPattern(std::string_view pattern, std::size_t length) {
  std::vector<Branch> branches;
  if (!Parser(pattern).parse(branches)) return {};
  std::vector<std::string> texts;
  const auto wanted = static_cast<unsigned>(std::min<std::size_t>(length, kMaxText));
  for (const unsigned extra : {0U, 1U, 2U, 3U, 4U, 7U, 11U, wanted > 0 ? wanted - 1 : 0U, wanted}) {
    for (std::size_t branch = 0; branch < std::min<std::size_t>(std::max<std::size_t>(branches.size(), 3), 16); ++branch) {
      for (const std::size_t letter : {1U, 0U, 2U}) {
        std::string text;
        generate(branches, Style{branch, extra, letter}, text);
        if (std::find(texts.begin(), texts.end(), text) == texts.end()) texts.push_back(std::move(text));
      }
    }
  }
  return texts;
}

}  // namespace qvx::schema
