// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_WEBSERVICEDISCOVERY_H
#define QVWS_WEBSERVICEDISCOVERY_H

#include <qvb/string.h>
#include <qvws/qname.h>

#include <stdint.h>

class WebServiceBinding;
class WebServiceInterface;
class WebServiceService;

/// What a WSDL document describes: its services, bindings and interfaces. The order of the operations is part of the binary interface.
///
/// Complete and read-only from the start. Nothing here waits, save release(). Indexes run from 0 in ascending order of the names' text forms.
/// Pointers handed out live until release().
///
/// @par Ownership  The caller's of WebServiceClient::Discover(), who ends it with release() while the client still lives.
/// @par Threads    One thread at a time per client.
class WebServiceDiscovery {
 public:
  /// Slot 1. The binding of that name.
  /// @param[out] err  receives message 1837 with the local name when there is none; may be null; otherwise left as it was
  /// @return null when there is none
  virtual WebServiceBinding* getBinding(const QName& name, QvbString* err) = 0;
  /// Slot 2. The binding at an index.
  /// @param[out] err  receives message 1420 when the index is out of range, otherwise left as it was; not null
  /// @return null when the index is out of range
  virtual WebServiceBinding* getBindingAt(int32_t index, QvbString* err) = 0;
  /// Slot 3. Number of bindings.
  virtual int32_t getBindingCount() = 0;
  /// Slot 4. The text of the description's documentation; null when there is none.
  virtual QvbString getDocumentation() = 0;
  /// Slot 5. The interface of that name; null when there is none.
  virtual WebServiceInterface* getInterface(const QName& name) = 0;
  /// Slot 6. The interface at an index: as getBindingAt().
  virtual WebServiceInterface* getInterfaceAt(int32_t index, QvbString* err) = 0;
  /// Slot 7. Number of interfaces.
  virtual int32_t getInterfaceCount() = 0;
  /// Slot 8. The service of that name; null when there is none.
  virtual WebServiceService* getService(const QName& name) = 0;
  /// Slot 9. The service at an index: as getBindingAt().
  virtual WebServiceService* getServiceAt(int32_t index, QvbString* err) = 0;
  /// Slot 10. Number of services.
  virtual int32_t getServiceCount() = 0;
  /// Slot 11. The version of WSDL that the description is written in, such as "1.1".
  virtual QvbString getVersion() = 0;
  /// Slot 12. Ends the discovery and everything it handed out, and tells the proxy; that it could not be told is not reported.
  virtual void release() = 0;

 protected:
  /// Slot 13.
  virtual ~WebServiceDiscovery() = default;
};

#endif
