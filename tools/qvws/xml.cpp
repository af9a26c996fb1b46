// SPDX-License-Identifier: Apache-2.0
#include "xml.h"

#include "exit_code.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlreader.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>

namespace qvwscli {
namespace {

constexpr int kOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_HUGE;

std::string_view bytes(const xmlChar* text) {
  return text == nullptr ? std::string_view() : std::string_view(reinterpret_cast<const char*>(text));
}

[[noreturn]] void refuse(const std::string& where, const std::string& why) {
  throw Failure(ExitCode::Input, where + ": " + why);
}

[[noreturn]] void refuseLast(const std::string& where) {
  const xmlError* error = xmlGetLastError();
  if (error == nullptr || error->message == nullptr) refuse(where, "not well-formed XML");
  std::string text = error->message;
  while (!text.empty() && text.back() == '\n') text.pop_back();
  refuse(where, (error->line > 0 ? "line " + std::to_string(error->line) + ": " : "") + text);
}

/// Whether XML 1.0 (section 2.2) can hold what the bytes from `at` stand for; moves on by one character.
bool isCharacter(std::string_view text, std::size_t& at) {
  int length = static_cast<int>(std::min<std::size_t>(text.size() - at, 4));
  const int code = xmlGetUTF8Char(reinterpret_cast<const unsigned char*>(text.data() + at), &length);
  if (code < 0 || length <= 0) return false;
  at += static_cast<std::size_t>(length);
  return IS_CHAR(static_cast<unsigned>(code)) != 0;
}

}  // namespace

Document parse(std::string_view text, const std::string& where) {
  if (text.size() > INT_MAX) refuse(where, "more than 2 GiB; give it as a file");
  xmlResetLastError();
  Document document(xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, kOptions));
  if (document == nullptr) refuseLast(where);
  if (document->intSubset != nullptr || document->extSubset != nullptr) refuse(where, "a document type declaration is refused");
  return document;
}

std::string declarations(const Namespaces& namespaces) {
  std::string text;
  for (const auto& [prefix, uri] : namespaces) {
    text += (prefix.empty() ? " xmlns" : " xmlns:" + prefix) + "=\"" + escaped(uri, "a namespace", true) + "\"";
  }
  return text;
}

Document parseContent(std::string& text, const Namespaces& namespaces, const std::string& where) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  if (text.compare(0, kMark.size(), kMark) == 0) text.erase(0, kMark.size());
  // With these it is a document, perhaps in another encoding, and no mere content.
  for (const std::string_view begin : {"<?xml", "<!DOCTYPE", "\xFE\xFF", "\xFF\xFE"}) {
    if (text.compare(0, begin.size(), begin) == 0) text = standAlone(xmlDocGetRootElement(parse(text, where).get()));
  }
  Document document = parse("<content" + declarations(namespaces) + ">" + text + "</content>", where);
  const xmlError* error = xmlGetLastError();
  if (error != nullptr && error->domain == XML_FROM_NAMESPACE) refuseLast(where);
  return document;
}

xmlNode* firstElement(xmlNode* parent) {
  return parent == nullptr ? nullptr : xmlFirstElementChild(parent);
}
xmlNode* nextElement(xmlNode* element) {
  return xmlNextElementSibling(element);
}

std::string_view localName(const xmlNode* node) {
  return bytes(node->name);
}
std::string_view namespaceOf(const xmlNode* node) {
  return node->ns == nullptr ? std::string_view() : bytes(node->ns->href);
}
std::string qualifiedName(std::string_view ns, std::string_view local) {
  return ns.empty() ? std::string(local) : "{" + std::string(ns) + "}" + std::string(local);
}
std::string qualifiedName(const xmlNode* node) {
  return qualifiedName(namespaceOf(node), localName(node));
}

std::string attribute(xmlNode* element, const char* name) {
  xmlChar* value = xmlGetNoNsProp(element, reinterpret_cast<const xmlChar*>(name));
  std::string text(bytes(value));
  xmlFree(value);
  return text;
}

std::string standAlone(xmlNode* element) {
  const Document alone(xmlNewDoc(nullptr));
  xmlNode* copy = alone == nullptr ? nullptr : xmlDocCopyNode(element, alone.get(), 1);
  if (copy == nullptr) throw std::bad_alloc();
  xmlDocSetRootElement(alone.get(), copy);
  const std::unique_ptr<xmlBuffer, decltype(&xmlBufferFree)> buffer(xmlBufferCreate(), &xmlBufferFree);
  if (buffer == nullptr || xmlNodeDump(buffer.get(), alone.get(), copy, 0, 0) < 0) throw std::bad_alloc();
  return {reinterpret_cast<const char*>(xmlBufferContent(buffer.get())), static_cast<std::size_t>(xmlBufferLength(buffer.get()))};
}

xmlNode* partOf(const Document& envelope, std::string_view name) {
  xmlNode* root = xmlDocGetRootElement(envelope.get());
  for (xmlNode* part = firstElement(root); part != nullptr; part = nextElement(part)) {
    if (localName(part) == name && namespaceOf(part) == namespaceOf(root)) return part;
  }
  return nullptr;
}

std::string rootNameOf(const std::string& file) {
  xmlResetLastError();
  const auto close = [](std::FILE* opened) { (void)std::fclose(opened); };  // it was only read
  const std::unique_ptr<std::FILE, decltype(close)> opened(std::fopen(file.c_str(), "rb"), close);
  if (opened == nullptr) refuse(file, std::string("it cannot be read: ") + std::strerror(errno));
  const std::unique_ptr<xmlTextReader, decltype(&xmlFreeTextReader)> reader(xmlReaderForFd(fileno(opened.get()), nullptr, nullptr, kOptions),
                                                                            &xmlFreeTextReader);
  if (reader == nullptr) throw std::bad_alloc();
  for (int more = xmlTextReaderRead(reader.get()); more == 1; more = xmlTextReaderRead(reader.get())) {
    if (xmlTextReaderNodeType(reader.get()) != XML_READER_TYPE_ELEMENT) continue;
    return qualifiedName(bytes(xmlTextReaderConstNamespaceUri(reader.get())), bytes(xmlTextReaderConstLocalName(reader.get())));
  }
  refuseLast(file);
}

std::string escaped(std::string_view text, const std::string& where, bool inAttribute) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t begin = at;
    if (!isCharacter(text, at)) {
      char code[8];
      std::snprintf(code, sizeof code, "0x%02X", static_cast<unsigned>(static_cast<std::uint8_t>(text[begin])));
      refuse(where,
             "byte " + std::to_string(begin + 1) + " (" + code + ") is nothing that XML can hold: binary data has to be encoded, texts are UTF-8");
    }
    switch (text[begin]) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\r':
        out += "&#13;";
        break;
      case '\n':
      case '\t':
        // An attribute's value would lose them (XML 1.0 section 3.3.3).
        if (inAttribute) {
          out += text[begin] == '\n' ? "&#10;" : "&#9;";
          break;
        }
        [[fallthrough]];
      default:
        out += text.substr(begin, at - begin);
    }
  }
  return out;
}

}  // namespace qvwscli
