// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_WEBSERVICEENDPOINT_H
#define QVWS_WEBSERVICEENDPOINT_H

#include <qvb/string.h>

class WebServiceBinding;
class WebServiceService;

/// An endpoint (a WSDL 1.1 port) of a service. The order of the operations is part of the binary interface.
///
/// Nothing here fails or waits. Pointers handed out live until the discovery is released.
///
/// @par Ownership  The service's.
/// @par Threads    One thread at a time per client.
class WebServiceEndpoint {
 public:
  /// Slot 1. The binding it uses; null when its description names none.
  virtual WebServiceBinding* getBinding() = 0;
  /// Slot 2. The text of its documentation; null when there is none.
  virtual QvbString getDocumentation() = 0;
  /// Slot 3. Its name.
  virtual QvbString getName() = 0;
  /// Slot 4. The service it belongs to.
  virtual WebServiceService* getService() = 0;

 protected:
  /// Slot 5.
  virtual ~WebServiceEndpoint() = default;
};

#endif
