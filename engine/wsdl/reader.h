// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_WSDL_READER_H
#define QVX_WSDL_READER_H

#include "wsdl/model.h"
#include "xml/sax.h"

#include <string>
#include <string_view>
#include <vector>

namespace qvx::wsdl {

/// A document that another one names.
struct Reference {
  std::string location;  ///< as written
  std::string base;      ///< the xml:base texts around it, outermost first, joined by '\n'
  std::string ns;
  std::string element;  ///< as people know it: "wsdl:import"
  std::uint32_t line = 0;
};

/// What a document turned out to be.
struct Contents {
  bool isSchema = false;      ///< an XML Schema document
  bool holdsSchemas = false;  ///< it, or something in its types, is a schema
  std::vector<Reference> references;
};

/// Reads one document into the model. The first one has to be a WSDL; others may be schemas, which are only looked through for what they refer to.
/// @param[in] document  its index in `model.documents`
/// @throw Error as SaxReader::read(), and NotWsdl, UnsupportedVersion, BadReference
Contents readDocument(std::string_view bytes, const std::string& encoding, std::uint32_t document, const Limits& limits, Model& model);

}  // namespace qvx::wsdl

#endif
