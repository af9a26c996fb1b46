// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_XML_PARSER_GLUE_H
#define QVX_XML_PARSER_GLUE_H

#include "xml/sax.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlversion.h>

#include <cstddef>
#include <string>
#include <string_view>

// What the readers on top of libxml2 share.

namespace qvx {

#if LIBXML_VERSION >= 21200
using ParserComplaint = const xmlError*;
#else
using ParserComplaint = xmlError*;
#endif

/// What libxml2 gives as null is empty.
inline std::string_view view(const xmlChar* text) {
  return text == nullptr ? std::string_view() : std::string_view(reinterpret_cast<const char*>(text));
}

struct FreeParser {
  void operator()(xmlParserCtxt* context) const noexcept { xmlFreeParserCtxt(context); }
};

/// To be called before anything else of libxml2; safe from any thread.
void initialiseParser();

/// The message without the line end it comes with.
std::string complaintText(const xmlError& error);

/// @throw Error LimitExceeded
void checkElementLimits(const Limits& limits, std::size_t depth, std::size_t attributes, std::string_view local, const std::string& where);

}  // namespace qvx

#endif
