// SPDX-License-Identifier: Apache-2.0
#include "soap/fault_reader.h"

#include "names.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <utility>

namespace qvx {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::size_t kLongestText = std::size_t{64} << 10;
constexpr std::size_t kMostRepeated = 100;

bool sameLetters(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c == '_' ? '-' : c; };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [&](char x, char y) { return lower(x) == lower(y); });
}

std::string_view primary(std::string_view language) {
  return language.substr(0, language.find_first_of("-_"));
}

// "de_DE.UTF-8@euro" is "de_DE".
std::string_view processLanguage() {
  for (const char* const name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nothing here changes the environment
    if (value == nullptr || *value == '\0') continue;
    const std::string_view language(value);
    return language.substr(0, language.find_first_of(".@"));
  }
  return {};
}

std::string expanded(const std::string& code, const FaultReader::Lookup& lookup) {
  const std::size_t colon = code.find(':');
  const bool prefixed = colon != std::string::npos;
  const auto ns = lookup(prefixed ? std::string_view(code).substr(0, colon) : std::string_view());
  if (!ns || ns->empty()) return code;
  return QualifiedName{std::string(*ns), prefixed ? code.substr(colon + 1) : code}.text();
}

}  // namespace

std::string collapsed(std::string_view text) {
  std::string result;
  for (std::size_t at = text.find_first_not_of(kBlanks); at != std::string_view::npos;) {
    const std::size_t end = std::min(text.find_first_of(kBlanks, at), text.size());
    if (!result.empty()) result += ' ';
    result += text.substr(at, end - at);
    at = text.find_first_not_of(kBlanks, end);
  }
  return result;
}

std::size_t fittingLanguage(const std::vector<std::string_view>& languages, std::string_view own) {
  const std::string_view wide = primary(own);
  const auto fits = [&](std::string_view one, std::size_t degree) {
    switch (degree) {
      case 0:
        return !own.empty() && sameLetters(one, own);
      case 1:
        return !wide.empty() && sameLetters(primary(one), wide);
      default:
        return sameLetters(primary(one), "en");
    }
  };
  for (std::size_t degree = 0; degree < 3; ++degree) {
    const auto found = std::find_if(languages.begin(), languages.end(), [&](std::string_view one) { return fits(one, degree); });
    if (found != languages.end()) return static_cast<std::size_t>(std::distance(languages.begin(), found));
  }
  return 0;
}

void FaultReader::begin() {
  fault_ = {};
  reasons_.clear();
  path_.clear();
  text_.clear();
}

FaultReader::Field FaultReader::field() const {
  static constexpr std::pair<std::string_view, Field> kFields[] = {
      {"/faultcode", Field::Code},     {"/faultstring", Field::Reason}, {"/faultactor", Field::Actor}, {"/Code/Value", Field::Code},
      {"/Reason/Text", Field::Reason}, {"/Node", Field::Actor},         {"/Role", Field::Role},
  };
  const auto* const found = std::find_if(std::begin(kFields), std::end(kFields), [&](const auto& one) { return one.first == path_; });
  if (found != std::end(kFields)) return found->second;
  const bool subcode = path_.rfind("/Code/Subcode/", 0) == 0 && path_.size() > 6 && path_.compare(path_.size() - 6, 6, "/Value") == 0;
  return subcode ? Field::Subcode : Field::None;
}

bool FaultReader::start(const PushTag& tag) {
  // The children of a fault of SOAP 1.1 have no namespace, but some services give them that of the envelope.
  const bool known = tag.ns.empty() || tag.ns == xmlns::kSoap11Envelope || tag.ns == xmlns::kSoap12Envelope;
  if (path_.empty() && known && (tag.local == "detail" || tag.local == "Detail")) return true;
  path_ += '/';
  path_ += known ? tag.local : "?";
  text_.clear();
  language_ = std::string(tag.element.attribute("lang", xmlns::kXml).value_or(""));
  return false;
}

void FaultReader::text(std::string_view text) {
  if (field() != Field::None) text_ += text.substr(0, kLongestText - std::min(kLongestText, text_.size()));
}

void FaultReader::end(const Lookup& lookup) {
  const std::string value = collapsed(text_);
  switch (field()) {
    case Field::Code:
      fault_.code = expanded(value, lookup);
      break;
    case Field::Subcode:
      if (fault_.subcodes.size() < kMostRepeated) fault_.subcodes.push_back(expanded(value, lookup));
      break;
    case Field::Reason:
      if (reasons_.size() < kMostRepeated) reasons_.push_back({language_, value});
      break;
    case Field::Actor:
      fault_.actor = value;
      break;
    case Field::Role:
      fault_.role = value;
      break;
    case Field::None:
      break;
  }
  path_.erase(path_.rfind('/'));
  text_.clear();
}

SoapFault FaultReader::finish() {
  std::vector<std::string_view> languages;
  for (const Reason& one : reasons_) languages.emplace_back(one.language);
  if (!reasons_.empty()) fault_.reason = std::move(reasons_[fittingLanguage(languages, processLanguage())].text);
  return std::move(fault_);
}

std::string SoapFault::text() const {
  std::string result;
  const auto line = [&](std::string_view name, const std::string& value) {
    if (value.empty()) return;
    if (!result.empty()) result += '\n';
    result.append(name).append(": ").append(value);
  };
  line("Code", collapsed(code));
  for (const std::string& one : subcodes) line("Subcode", collapsed(one));
  line("Reason", collapsed(reason));
  line("Actor", collapsed(actor));
  line("Role", collapsed(role));
  line("Detail", detail);
  return result;
}

}  // namespace qvx
