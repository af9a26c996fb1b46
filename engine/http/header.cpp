// SPDX-License-Identifier: Apache-2.0
#include "http/header.h"

#include "xml/characters.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

namespace qvx {

namespace {

char lower(char c) {
  return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

}  // namespace

bool isHeader(std::string_view name, std::string_view value) {
  constexpr std::string_view kToken = "!#$%&'*+-.^_`|~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  const bool token = !name.empty() && name.find_first_not_of(kToken) == std::string_view::npos;
  return token && std::none_of(value.begin(), value.end(), [](char c) { return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F; });
}

bool sameHeader(std::string_view one, std::string_view other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(), [](char a, char b) { return lower(a) == lower(b); });
}

std::string headerLine(std::string_view name, std::string_view value) {
  std::string line(name);
  // An empty value needs a semicolon: with a colon the header is taken out.
  return line.append(value.empty() ? ";" : ": ").append(value);
}

std::string_view mediaTypeOf(std::string_view contentType) {
  contentType = contentType.substr(0, contentType.find(';'));
  while (!contentType.empty() && (contentType.back() == ' ' || contentType.back() == '\t')) contentType.remove_suffix(1);
  return contentType;
}

std::string charsetOf(std::string_view contentType) {
  bool quoted = false;
  std::size_t begin = contentType.size();
  for (std::size_t at = 0; at <= contentType.size(); ++at) {
    const bool end = at == contentType.size();
    if (!end && contentType[at] == '"') quoted = !quoted;
    if (!end && (quoted || contentType[at] != ';')) continue;
    std::string_view parameter = begin < at ? contentType.substr(begin, at - begin) : std::string_view();
    parameter.remove_prefix(std::min(parameter.find_first_not_of(" \t"), parameter.size()));
    constexpr std::string_view kName = "charset=";
    if (sameHeader(parameter.substr(0, kName.size()), kName)) {
      std::string charset(parameter.substr(kName.size()));
      charset.erase(std::remove_if(charset.begin(), charset.end(), [](char c) { return c == '"' || c == '\'' || c == ' '; }), charset.end());
      return charset;
    }
    begin = at + 1;
  }
  return {};
}

std::string beginningOf(std::string_view body) {
  constexpr std::size_t kCharacters = 200;
  std::string text;
  std::size_t at = 0;
  for (std::size_t characters = 0; characters < kCharacters && at < body.size(); ++characters) {
    const std::size_t first = at;
    const char32_t c = nextCharacter(body, at);
    if (c == kNoCharacter) {
      text += "\xEF\xBF\xBD";  // U+FFFD: a message is UTF-8, whatever it quotes
    } else if (c < 0x20) {
      text += ' ';
    } else {
      text += body.substr(first, at - first);
    }
  }
  return text;
}

}  // namespace qvx
