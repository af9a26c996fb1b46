// SPDX-License-Identifier: Apache-2.0
#ifndef QVWSCLI_XML_H
#define QVWSCLI_XML_H

#include <libxml/tree.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvwscli {

/// Namespaces of the SOAP envelope.
inline constexpr std::string_view kSoap11Envelope = "http://schemas.xmlsoap.org/soap/envelope/";
inline constexpr std::string_view kSoap12Envelope = "http://www.w3.org/2003/05/soap-envelope";

struct FreeDocument {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
using Document = std::unique_ptr<xmlDoc, FreeDocument>;

/// Parses a document without looking at anything outside of it; a document type declaration is refused.
/// @param where  names the text in messages
/// @throw Failure  Input: what is wrong and in which line
Document parse(std::string_view text, const std::string& where);

/// Namespaces with their prefixes.
using Namespaces = std::vector<std::pair<std::string, std::string>>;

/// Declarations of namespaces as they stand in a tag.
std::string declarations(const Namespaces& namespaces);

/// Parses what is to become the content of an element around which `namespaces` are declared, as the content of the document's root.
/// @param text  loses its XML declaration, and becomes UTF-8
/// @throw Failure  Input: as parse(), and a prefix that is not declared
Document parseContent(std::string& text, const Namespaces& namespaces, const std::string& where);

/// The children of a node that are elements.
xmlNode* firstElement(xmlNode* parent);
xmlNode* nextElement(xmlNode* element);

std::string_view localName(const xmlNode* node);
std::string_view namespaceOf(const xmlNode* node);
/// "{namespace}local"
std::string qualifiedName(const xmlNode* node);
std::string qualifiedName(std::string_view ns, std::string_view local);
/// An attribute that is in no namespace; empty when it is absent.
std::string attribute(xmlNode* element, const char* name);

/// The element as text, with the namespace declarations that it needs from around it.
std::string standAlone(xmlNode* element);

/// The child of a sample's envelope with that name: "Header" or "Body"; null when there is none.
xmlNode* partOf(const Document& envelope, std::string_view name);

/// The name of a file's root element, as QName text, read no further than that.
/// @throw Failure  Input: it cannot be read, or does not begin like an XML document
std::string rootNameOf(const std::string& file);

/// Text as the content of an element or in an attribute.
/// @throw Failure  Input: there is a character in it that XML cannot hold, or it is no UTF-8; `where` names it
std::string escaped(std::string_view text, const std::string& where, bool inAttribute = false);

}  // namespace qvwscli

#endif
