// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_WSDL_LOADER_H
#define QVX_WSDL_LOADER_H

#include "http/transport.h"
#include "schema/schema_set.h"
#include "wsdl/model.h"
#include "xml/sax.h"

#include <functional>
#include <string>
#include <vector>

namespace qvx::wsdl {

/// A WSDL with everything it imports.
struct Loaded {
  Model model;
  std::vector<SchemaDocument> documents;  ///< all of them, in the order of `model.documents`
};

/// Maps where a document should be to where it is.
using LocationMap = std::function<Location(const Location&)>;

/// Fetches a WSDL and, each once, the documents it imports and includes, directly or over others.
/// @throw Error what Transport::fetch() and readDocument() throw; UnresolvedImport for a document that an import names
void load(const Location& address, Transport& transport, const LocationMap& map, const Limits& limits, Loaded& out);

}  // namespace qvx::wsdl

#endif
