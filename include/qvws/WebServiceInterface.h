// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_WEBSERVICEINTERFACE_H
#define QVWS_WEBSERVICEINTERFACE_H

#include <qvb/string.h>
#include <qvws/qname.h>

#include <stdint.h>

class WebServiceBinding;
class WebServiceOperation;

/// An interface (a WSDL 1.1 port type) with its operations. The order of the operations is part of the binary interface.
///
/// Nothing here waits. Indexes run from 0 in ascending order of the names' text forms. Pointers handed out live until the discovery is released.
///
/// @par Ownership  The discovery's.
/// @par Threads    One thread at a time per client.
class WebServiceInterface {
 public:
  /// Slot 1. The binding of that name, null when there is none. Bindings do not register with their interface, so there is never one here: ask
  /// the discovery.
  virtual WebServiceBinding* getBinding(const QName& name) = 0;
  /// Slot 2. As getBinding() by index: always null, with message 1420 in `err`.
  virtual WebServiceBinding* getBindingAt(int32_t index, QvbString& err) = 0;
  /// Slot 3. Always 0.
  virtual int32_t getBindingCount() = 0;
  /// Slot 4. The text of its documentation; null when there is none.
  virtual QvbString getDocumentation() = 0;
  /// Slot 5. Its name.
  virtual QName getQName() = 0;
  /// Slot 6. The operation of that name; null when there is none.
  virtual WebServiceOperation* getOperation(const QName& name) = 0;
  /// Slot 7. The operation at an index; null when the index is out of range, with message 1420 in `err`, which is otherwise left as it was.
  virtual WebServiceOperation* getOperationAt(int32_t index, QvbString& err) = 0;
  /// Slot 8. Number of operations.
  virtual int32_t getOperationCount() = 0;

 protected:
  /// Slot 9.
  virtual ~WebServiceInterface() = default;
};

#endif
