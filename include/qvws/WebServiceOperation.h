// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_WEBSERVICEOPERATION_H
#define QVWS_WEBSERVICEOPERATION_H

#include <qvb/string.h>
#include <qvws/qname.h>

class WebServiceInterface;
class WebServiceParameter;

/// An operation, of an interface or of a binding. The order of the operations is part of the binary interface.
///
/// Text getters return copies, null when the service's description does not say; only getInputParameter() and getOutputParameter() can wait or fail.
///
/// @par Ownership  The interface's or binding's that answered with it; it lives until the discovery is released.
/// @par Threads    One thread at a time per client.
class WebServiceOperation {
 public:
  /// Slot 1. The SOAP action (WSDL 1.1 section 3.4): what an invocation sets as option "WSCP_ACTION". Empty when an empty one is declared.
  ///
  /// Action and address live on the interface's operation, which every binding of that interface shares: the binding discovered last, in the order of
  /// their names, decides. Options "WSCP_SERVICE" and "WSCP_PORT" narrow a discovery to one port, whose own they then are.
  virtual QvbString getAction() = 0;
  /// Slot 2. The address of the service: what an invocation sets as option "WSCP_ADDRESS".
  virtual QvbString getAddress() = 0;
  /// Slot 3. The text of its documentation.
  virtual QvbString getDocumentation() = 0;
  /// Slot 4. The message sent to the service.
  ///
  /// The first such request of a binding's operation asks the proxy and waits, at most as long as the client's request time-out; what was found is
  /// kept. An operation that has no such message asks again every time. An interface's operation has no parameters: it answers null at once.
  ///
  /// @param[out] err  on failure the message; an interface's operation sets it to null; left as it was when the parameter was known already
  /// @return the parameter, which lives as long as this operation; null when there is none or on failure, with one of
  ///         - 444   out of memory, or an answer that cannot be read
  ///         - 1725  the proxy reported an error; the message quotes its code and text
  ///         - 1726  the call of the proxy failed
  ///         - 1777  the answer holds something other than parameters
  ///         - any message of connection set-up
  virtual WebServiceParameter* getInputParameter(QvbString& err) = 0;
  /// Slot 5. The interface it belongs to; null when its binding names none. It lives as long as the discovery.
  virtual WebServiceInterface* getInterface() = 0;
  /// Slot 6. Its name.
  virtual QName getQName() = 0;
  /// Slot 7. The message that the service answers with: as getInputParameter().
  virtual WebServiceParameter* getOutputParameter(QvbString& err) = 0;

 protected:
  /// Slot 8.
  virtual ~WebServiceOperation() = default;
};

#endif
