// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_WEBSERVICEPARAMETER_H
#define QVWS_WEBSERVICEPARAMETER_H

#include <qvb/string.h>
#include <qvws/qname.h>

/// One message of an operation: its whole input or its whole output. The order of the operations is part of the binary interface.
///
/// Nothing here fails or waits; every getter returns a copy, null when the service's description does not say.
///
/// @par Ownership  The binding operation's that answered with it; it lives until the discovery is released.
/// @par Threads    One thread at a time per client.
class WebServiceParameter {
 public:
  /// Slot 1. The text of its documentation.
  virtual QvbString getDocumentation() = 0;
  /// Slot 2. The name of the message's element, or of the message where it is not one element.
  virtual QName getQName() = 0;
  /// Slot 3. A self-contained XML Schema document that defines the payload (XML Schema 1.0).
  virtual QvbString getSchema() = 0;
  /// Slot 4. A sample of the whole message as it goes over the wire (SOAP 1.1 section 4, SOAP 1.2 part 1 section 5).
  virtual QvbString getXML() = 0;

 protected:
  /// Slot 5.
  virtual ~WebServiceParameter() = default;
};

#endif
