// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_XML_CHARACTERS_H
#define QVX_XML_CHARACTERS_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qvx {

/// What stands for bytes that are no UTF-8.
inline constexpr char32_t kNoCharacter = 0xFFFFFFFF;

/// Decodes the character at `at` and goes behind it (RFC 3629); behind one byte when there is none.
char32_t nextCharacter(std::string_view text, std::size_t& at);

/// Looks for what cannot stand in XML 1.0 (section 2.2) in a text that arrives in pieces.
class XmlTextCheck {
 public:
  /// What is wrong and where: "the character U+0001 at position 7 (characters from 1) …"; nothing when all is well so far.
  std::optional<std::string> feed(std::string_view piece);
  [[nodiscard]] std::optional<std::string> end() const;

 private:
  [[nodiscard]] std::string where() const;

  std::string cut_;  ///< the beginning of a character that the next piece continues
  std::size_t position_ = 1;
};

/// What is wrong with a whole text, as XmlTextCheck says it.
std::optional<std::string> unusableInXml(std::string_view text);

/// Appends a text as character data, or as a part of an attribute's value between double quotes. A reader gets back exactly the text, also its
/// carriage returns.
void appendXmlText(std::string& out, std::string_view text);
/// How many bytes appendXmlText() appends.
std::size_t xmlTextSize(std::string_view text);
void appendXmlAttribute(std::string& out, std::string_view text);

}  // namespace qvx

#endif
