// SPDX-License-Identifier: Apache-2.0
#include "schema/sample_value.h"

#include <libxml/xmlregexp.h>
#include <libxml/xmlschemastypes.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace qvx::schema {

namespace {

constexpr int kMaxDepth = 40;
constexpr std::size_t kMaxLength = 4096;

struct BuiltInSample {
  std::string_view name;
  std::string_view text;
};

constexpr BuiltInSample kSamples[] = {
    {"anySimpleType", "text"},
    {"anyURI", "http://www.example.com/"},
    {"base64Binary", "c2FtcGxl"},
    {"boolean", "true"},
    {"byte", "1"},
    {"date", "2024-01-31"},
    {"dateTime", "2024-01-31T12:00:00Z"},
    {"decimal", "1.5"},
    {"double", "1.5"},
    {"duration", "P1D"},
    {"ENTITIES", "entity"},
    {"ENTITY", "entity"},
    {"float", "1.5"},
    {"gDay", "---31"},
    {"gMonth", "--01"},
    {"gMonthDay", "--01-31"},
    {"gYear", "2024"},
    {"gYearMonth", "2024-01"},
    {"hexBinary", "73616D706C65"},
    {"ID", "id1"},
    {"IDREF", "id1"},
    {"IDREFS", "id1"},
    {"int", "1"},
    {"integer", "1"},
    {"language", "en"},
    {"long", "1"},
    {"Name", "name"},
    {"NCName", "name"},
    {"negativeInteger", "-1"},
    {"NMTOKEN", "token"},
    {"NMTOKENS", "token"},
    {"nonNegativeInteger", "1"},
    {"nonPositiveInteger", "-1"},
    {"normalizedString", "text"},
    {"NOTATION", "name"},
    {"positiveInteger", "1"},
    {"QName", "name"},
    {"short", "1"},
    {"string", "text"},
    {"time", "12:00:00Z"},
    {"token", "text"},
    {"unsignedByte", "1"},
    {"unsignedInt", "1"},
    {"unsignedLong", "1"},
    {"unsignedShort", "1"},
};

std::string_view builtInSample(const std::string& name) {
  for (const BuiltInSample& sample : kSamples) {
    if (sample.name == name) return sample.text;
  }
  return "text";
}

struct RegexpDeleter {
  void operator()(xmlRegexp* regexp) const noexcept { xmlRegFreeRegexp(regexp); }
};
struct ValueDeleter {
  void operator()(xmlSchemaVal* value) const noexcept { xmlSchemaFreeValue(value); }
};
using ValuePtr = std::unique_ptr<xmlSchemaVal, ValueDeleter>;

const xmlChar* bytes(const std::string& text) {
  return reinterpret_cast<const xmlChar*>(text.c_str());
}

const Type* root(const Type& type) {
  const Type* current = &type;
  for (int i = 0; !current->builtIn && current->base != nullptr && i < 200; ++i) current = current->base;
  return current;
}

ValuePtr read(const Type& primitive, const std::string& text, bool& valid) {
  xmlSchemaType* type = xmlSchemaGetPredefinedType(bytes(primitive.name.local), bytes(primitive.name.ns));
  xmlSchemaVal* value = nullptr;
  valid = type == nullptr || xmlSchemaValidatePredefinedType(type, bytes(text), &value) == 0;
  return ValuePtr(value);
}

std::string collapsed(const std::string& text) {
  std::string result;
  bool blank = false;
  for (const char c : text) {
    const bool isBlank = c == ' ' || c == '\t' || c == '\n' || c == '\r';
    if (!isBlank && blank && !result.empty()) result += ' ';
    blank = isBlank;
    if (!isBlank) result += c;
  }
  return result;
}

// Length facets count octets of binaries, items of lists and characters of everything else.
std::size_t lengthOf(const Type& type, const std::string& text) {
  const std::string& name = root(type)->name.local;
  if (type.variety == Type::Variety::List || name == "NMTOKENS" || name == "IDREFS" || name == "ENTITIES") {
    const std::string items = collapsed(text);
    return items.empty() ? 0 : static_cast<std::size_t>(std::count(items.begin(), items.end(), ' ')) + 1;
  }
  if (name == "hexBinary") return text.size() / 2;
  if (name == "base64Binary") return text.size() / 4 * 3 - static_cast<std::size_t>(std::count(text.begin(), text.end(), '='));
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

bool digitsFit(const std::string& text, std::size_t total, std::size_t fraction) {
  std::string digits = text;
  if (!digits.empty() && (digits.front() == '-' || digits.front() == '+')) digits.erase(0, 1);
  const std::size_t dot = digits.find('.');
  std::string after = dot == std::string::npos ? std::string() : digits.substr(dot + 1);
  std::string before = digits.substr(0, dot);
  while (!after.empty() && after.back() == '0') after.pop_back();
  before.erase(0, std::min(before.find_first_not_of('0'), before.size()));
  return after.size() <= fraction && before.size() + after.size() <= total;
}

// "name" of a namespace, kept so until the message says which prefix stands for it.
std::string marked(const std::string& ns, const std::string& local) {
  return ns.empty() ? local : "{" + ns + "}" + local;
}

std::string base64OfZeros(std::size_t octets) {
  std::string text;
  for (; octets >= 3; octets -= 3) text += "AAAA";
  if (octets == 1) text += "AA==";
  if (octets == 2) text += "AAA=";
  return text;
}

}  // namespace

bool SampleValues::fits(Type& type, const std::string& raw, int depth) {
  index_.complete(type);
  if (depth > kMaxDepth) return true;
  const std::string& rootName = root(type)->name.local;
  const bool keepsBlanks = rootName == "string" || rootName == "normalizedString";
  const std::string text = keepsBlanks ? raw : collapsed(raw);
  if (type.builtIn) {
    if (type.name.local == "anySimpleType" || type.name.local == "QName" || type.name.local == "NOTATION") return true;
    bool valid = true;
    read(type, text, valid);
    return valid;
  }
  bool patterned = false;
  bool matched = false;
  bool enumerated = false;
  bool member = false;
  std::size_t total = kMaxLength;
  std::size_t fraction = kMaxLength;
  const std::size_t length = lengthOf(type, text);
  for (const Facet& facet : type.facets) {
    const std::size_t number = std::strtoul(facet.value.c_str(), nullptr, 10);
    if (facet.name == "pattern") {
      patterned = true;
      const std::unique_ptr<xmlRegexp, RegexpDeleter> regexp(xmlRegexpCompile(bytes(facet.value)));
      // A pattern that cannot be compiled is left out of the schema text, too.
      matched = matched || !regexp || xmlRegexpExec(regexp.get(), bytes(text)) == 1;
    } else if (facet.name == "enumeration") {
      enumerated = true;
      member = member || (facet.isName  ? marked(facet.valueNs, facet.value) == text
                          : keepsBlanks ? facet.value == text
                                        : collapsed(facet.value) == text);
    } else if (facet.name == "length") {
      if (length != number) return false;
    } else if (facet.name == "minLength") {
      if (length < number) return false;
    } else if (facet.name == "maxLength") {
      if (length > number) return false;
    } else if (facet.name == "totalDigits") {
      total = number;
    } else if (facet.name == "fractionDigits") {
      fraction = number;
    } else if (facet.name != "whiteSpace") {
      bool valid = true;
      const ValuePtr limit = read(*root(type), collapsed(facet.value), valid);
      if (!valid || !limit) continue;
      const ValuePtr value = read(*root(type), text, valid);
      if (!valid || !value) return false;
      const int order = xmlSchemaCompareValues(value.get(), limit.get());
      if (facet.name == "minInclusive" && order != 0 && order != 1) return false;
      if (facet.name == "minExclusive" && order != 1) return false;
      if (facet.name == "maxInclusive" && order != 0 && order != -1) return false;
      if (facet.name == "maxExclusive" && order != -1) return false;
    }
  }
  if ((patterned && !matched) || (enumerated && !member)) return false;
  if ((total < kMaxLength || fraction < kMaxLength) && !digitsFit(text, total, fraction)) return false;
  if (type.base != nullptr) return fits(*type.base, text, depth + 1);
  if (type.variety == Type::Variety::Union) {
    return std::any_of(type.members.begin(), type.members.end(), [&](Type* one) { return fits(*one, text, depth + 1); });
  }
  if (type.variety == Type::Variety::List && type.item != nullptr) {
    const std::string items = collapsed(text);
    for (std::size_t position = 0; position < items.size();) {
      const std::size_t end = std::min(items.find(' ', position), items.size());
      if (!fits(*type.item, items.substr(position, end - position), depth + 1)) return false;
      position = end + 1;
    }
  }
  return true;
}

void SampleValues::candidates(Type& type, std::vector<std::string>& out) {
  // All facets from here down to the built-in type.
  std::vector<const Facet*> facets;
  Type* current = &type;
  for (int i = 0; current != nullptr && !current->builtIn && i <= kMaxDepth; ++i) {
    for (const Facet& facet : index_.complete(*current).facets) facets.push_back(&facet);
    current = current->base;
  }
  const std::string& primitive = root(type)->name.local;
  const bool isList = type.variety == Type::Variety::List;
  for (const Facet* facet : facets) {
    if (facet->name == "enumeration") out.push_back(facet->isName ? marked(facet->valueNs, facet->value) : facet->value);
  }
  if (!out.empty()) return;

  std::vector<std::string> seeds;
  if (type.variety == Type::Variety::Union) {
    for (Type* member : type.members) seeds.push_back(make(*member, 1));
  } else if (isList && type.item != nullptr) {
    seeds.push_back(make(*type.item, 1));
  } else {
    seeds.emplace_back(builtInSample(primitive));
  }
  std::size_t least = 0;
  std::size_t most = kMaxLength;
  for (const Facet* facet : facets) {
    const std::size_t number = std::min<std::size_t>(std::strtoul(facet->value.c_str(), nullptr, 10), kMaxLength);
    if (facet->name == "length" || facet->name == "minLength") least = std::max(least, number);
    if (facet->name == "length" || facet->name == "maxLength") most = std::min(most, number);
  }
  for (const std::string& seed : seeds) out.push_back(seed);
  for (const Facet* facet : facets) {
    if (facet->name != "pattern") continue;
    for (std::string& text : textsForPattern(facet->value, least)) out.push_back(std::move(text));
  }
  const std::size_t wanted = std::max<std::size_t>(least, most == 0 ? 0 : 1);
  if (isList || primitive == "NMTOKENS" || primitive == "IDREFS") {
    std::string text;
    for (std::size_t i = 0; i < wanted; ++i) text += (i == 0 ? "" : " ") + seeds.front();
    out.push_back(text);
  } else if (primitive == "hexBinary") {
    out.emplace_back(wanted * 2, '0');
  } else if (primitive == "base64Binary") {
    out.push_back(base64OfZeros(wanted));
  } else {
    for (const std::string& seed : seeds) {
      std::string text = seed;
      while (text.size() < least) text += primitive == "anyURI" ? "a" : seed.empty() ? "a" : seed;
      if (text.size() > std::max(least, most)) text.resize(std::min(most, std::max(least, std::min(seed.size(), most))));
      out.push_back(text);
      text.resize(wanted, 'a');
      out.push_back(text);
    }
  }
  // Ranges: the bounds, their neighbours, something between them, and numbers of few digits.
  bool ranged = false;
  double low = 0;
  double high = 0;
  bool hasLow = false;
  bool hasHigh = false;
  for (const Facet* facet : facets) {
    const bool isLow = facet->name == "minInclusive" || facet->name == "minExclusive";
    const bool isHigh = facet->name == "maxInclusive" || facet->name == "maxExclusive";
    if (facet->name == "totalDigits" || facet->name == "fractionDigits") ranged = true;
    if (!isLow && !isHigh) continue;
    ranged = true;
    const std::string limit = collapsed(facet->value);
    out.push_back(limit);
    (isLow ? low : high) = std::strtod(limit.c_str(), nullptr);
    (isLow ? hasLow : hasHigh) = true;
    const std::size_t sign = limit.find_first_of("0123456789");
    const std::size_t yearEnd = limit.find('-', sign == std::string::npos ? 0 : sign);
    if (yearEnd != std::string::npos && sign != std::string::npos) {
      const long year = std::strtol(limit.c_str(), nullptr, 10) + (isLow ? 1 : -1);
      std::string digits = std::to_string(std::labs(year));
      while (digits.size() < 4) digits.insert(0, "0");
      out.push_back((year < 0 ? "-" : "") + digits + limit.substr(yearEnd));
      continue;
    }
    const long long whole = std::strtoll(limit.c_str(), nullptr, 10);
    if (whole > -4'000'000'000'000'000'000 && whole < 4'000'000'000'000'000'000) out.push_back(std::to_string(whole + (isLow ? 1 : -1)));
  }
  if (ranged) {
    if (hasLow && hasHigh) {
      out.push_back(std::to_string((low + high) / 2));
      std::string text = std::to_string((low + high) / 2);
      out.push_back(text.substr(0, text.find('.')));
    }
    for (const char* text : {"1", "0", "0.5", "0.1", "-1", "P1Y", "PT1S", "00:00:00", "23:59:59", "12:00:00"}) out.emplace_back(text);
  }
}

std::string SampleValues::make(Type& type, int depth) {
  index_.complete(type);
  if (type.sampled) return type.sample;
  if (depth > kMaxDepth) return "text";
  std::vector<std::string> texts;
  candidates(type, texts);
  const auto found = std::find_if(texts.begin(), texts.end(), [&](const std::string& text) { return fits(type, text, 0); });
  type.sample = found != texts.end() ? *found : texts.front();
  type.sampled = true;
  return type.sample;
}

std::string SampleValues::value(Type& type, const std::function<std::string(const std::string&)>& prefixOf, unsigned& serial) {
  std::string text = make(type, 0);
  const std::string& primitive = root(type)->name.local;
  if (primitive == "ID" && ++serial > 1) {
    // Identifiers are unique in a message.
    const std::string numbered = text == "id1" ? "id" + std::to_string(serial) : text + std::to_string(serial);
    if (fits(type, numbered, 0)) text = numbered;
  }
  if (text.size() > 1 && text.front() == '{' && (primitive == "QName" || primitive == "NOTATION")) {
    const std::size_t end = text.rfind('}');
    text = prefixOf(text.substr(1, end - 1)) + ":" + text.substr(end + 1);
  }
  return text;
}

bool SampleValues::accepts(Type& type, const std::string& text) {
  const std::string& primitive = root(index_.complete(type))->name.local;
  return !((primitive == "QName" || primitive == "NOTATION") && text.find(':') != std::string::npos) && fits(type, text, 0);
}

bool SampleValues::impossible(Type& type) {
  const std::string& primitive = root(index_.complete(type))->name.local;
  const Type* item = type.variety == Type::Variety::List ? type.item : nullptr;
  const std::string& each = item != nullptr ? root(*item)->name.local : primitive;
  return each == "ENTITY" || each == "ENTITIES" || each == "NOTATION";
}

}  // namespace qvx::schema
