// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_WEBSERVICEBINDING_H
#define QVWS_WEBSERVICEBINDING_H

#include <qvb/string.h>
#include <qvws/qname.h>

#include <stdint.h>

class WebServiceOperation;

/// A binding of an interface to a protocol, with its operations. The order of the operations is part of the binary interface.
///
/// Nothing here waits. Indexes run from 0 in ascending order of the names' text forms. Pointers handed out live until the discovery is released.
///
/// @par Ownership  The discovery's.
/// @par Threads    One thread at a time per client.
class WebServiceBinding {
 public:
  /// Slot 1. The text of its documentation; null when there is none.
  virtual QvbString getDocumentation() = 0;
  /// Slot 2. Its name.
  virtual QName getQName() = 0;
  /// Slot 3. The operation of that name.
  /// @param[out] err  receives message 1603 with the local name when there is none; may be null; otherwise left as it was
  /// @return null when there is none
  virtual WebServiceOperation* getOperation(const QName& name, QvbString* err) = 0;
  /// Slot 4. The operation at an index; null when the index is out of range, with message 1420 in `err`, which is otherwise left as it was.
  virtual WebServiceOperation* getOperationAt(int32_t index, QvbString& err) = 0;
  /// Slot 5. Number of operations.
  virtual int32_t getOperationCount() = 0;

 protected:
  /// Slot 6.
  virtual ~WebServiceBinding() = default;
};

#endif
