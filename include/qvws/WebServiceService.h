// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_WEBSERVICESERVICE_H
#define QVWS_WEBSERVICESERVICE_H

#include <qvb/string.h>
#include <qvws/qname.h>

#include <stdint.h>

class WebServiceEndpoint;
class WebServiceInterface;

/// A service with its endpoints. The order of the operations is part of the binary interface.
///
/// Nothing here waits. Indexes run from 0 in ascending order of the endpoints' names. Pointers handed out live until the discovery is released.
///
/// @par Ownership  The discovery's.
/// @par Threads    One thread at a time per client.
class WebServiceService {
 public:
  /// Slot 1. The text of its documentation; null when there is none.
  virtual QvbString getDocumentation() = 0;
  /// Slot 2. The endpoint of that name; null when there is none.
  virtual WebServiceEndpoint* getEndpoint(const QvbString& name) = 0;
  /// Slot 3. The endpoint at an index.
  /// @param[out] err  receives message 1420 when the index is out of range, otherwise left as it was; not null
  /// @return null when the index is out of range
  virtual WebServiceEndpoint* getEndpointAt(int32_t index, QvbString* err) = 0;
  /// Slot 4. Number of endpoints.
  virtual int32_t getEndpointCount() = 0;
  /// Slot 5. Its name.
  virtual QName getQName() = 0;
  /// Slot 6. The interface that it implements; null when its description names none.
  virtual WebServiceInterface* getInterface() = 0;

 protected:
  /// Slot 7.
  virtual ~WebServiceService() = default;
};

#endif
