// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_SOAP_SAMPLE_MESSAGE_H
#define QVX_SOAP_SAMPLE_MESSAGE_H

#include <string>
#include <vector>

#include "names.h"
#include "schema/schema_set.h"

namespace qvx {

enum class SoapVersion { Soap11, Soap12 };

/// What a binding makes of one message: the parts that go into the body, those that go into the header, and for a fault the wrapping that SOAP asks for.
struct MessageShape {
  SoapVersion version = SoapVersion::Soap11;
  QualifiedName message;             ///< the wsdl:message
  std::vector<MessagePart> body;     ///< in order
  std::vector<MessagePart> headers;  ///< in order
  bool isFault = false;              ///< the body's parts lie in the fault's detail
};

/// The texts that describe one message to a host.
struct MessageTexts {
  QualifiedName name;  ///< the element when the body is one element, else the message
  std::string schema;  ///< XML Schema text of the payload; empty when the body is empty
  std::string xml;     ///< a whole sample envelope
  std::string xpath;   ///< from the root of `xml` to the payload, without prefixes
};

/// Makes the texts of a message (SOAP 1.1 section 4, SOAP 1.2 part 1 section 5).
MessageTexts describeMessage(const MessageShape& shape, SchemaSet& schemas);

}  // namespace qvx

#endif
