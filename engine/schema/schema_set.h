// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_SCHEMA_SCHEMA_SET_H
#define QVX_SCHEMA_SCHEMA_SET_H

#include "names.h"

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace qvx {

/// A document that holds schemas: an XML Schema document, or a WSDL document with schemas inside its wsdl:types.
struct SchemaDocument {
  std::string location;                      ///< absolute path or URL, for messages
  std::shared_ptr<const std::string> bytes;  ///< as fetched; well-formed
  std::string encoding;                      ///< what the transport said of its encoding; empty = what the document says
  /// Where the document's schemaLocation texts lead, as written there, to indexes of documents in the set; a text that is missing leads nowhere.
  std::unordered_map<std::string, std::size_t> references;
};

/// One part of a message: an element, or a type under the part's name.
struct MessagePart {
  std::string part;    ///< name of the part
  QualifiedName name;  ///< the element, or the type
  bool isType = false;
};

/// The schemas that a WSDL and everything it imports hold. Documents are parsed when something is first asked for, not before. Wrong schemas are no
/// error: what cannot be resolved is left open (any content) and said in a comment or a log line. One thread at a time.
class SchemaSet {
 public:
  explicit SchemaSet(std::vector<SchemaDocument> documents);
  SchemaSet(const SchemaSet&) = delete;
  SchemaSet& operator=(const SchemaSet&) = delete;
  ~SchemaSet();

  /// One self-contained XML Schema 1.0 text that defines the payload: the parts' elements and everything they need. Empty when there are no parts.
  std::string schemaText(const std::vector<MessagePart>& parts);

  /// Appends a sample of an element to `out`, as a stand-alone fragment that declares the prefixes it uses, indented by `indent` spaces, ending in a
  /// newline.
  void appendSample(const MessagePart& part, int indent, std::string& out);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace qvx

#endif
