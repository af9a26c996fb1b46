// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_MODULE_INVOKER_H
#define QVX_MODULE_INVOKER_H

#include "http/transport.h"
#include "module/bound_values.h"
#include "module/options.h"
#include "module/request_values.h"
#include "soap/reply_reader.h"

#include <qvjni/module.h>

#include <string>
#include <utility>
#include <vector>

namespace qvx {

/// Calls the operation that the options name. One thread at a time.
class Invoker {
 public:
  using Namespaces = std::vector<std::pair<std::string, std::string>>;

  /// Options and namespaces are borrowed as long as this lives.
  Invoker(const Options& options, const Namespaces& namespaces, Transport::Log log);

  /// Sends one request and waits for its answer, which is written as the rows of "Invoke": the values found, then the response values. Texts of
  /// values are valid until the next call.
  /// @throw Error NoAddress; BadRequest; UnsupportedScheme; of sending and receiving, the 200s; Fault; BadReply; LimitExceeded
  void call(const BoundValues& values, const RequestValues& requestValues, QvjniInvokeCallback* callback, QvjniAnswer& answer);

 private:
  class Receiver;

  void aim(const RequestValues& requestValues);
  [[nodiscard]] Exchange exchangeOf(RequestEnvelope& envelope, const RequestValues& requestValues) const;
  void judge() const;
  void write(const BoundValues& values, QvjniAnswer& answer) const;

  const Options& options_;
  const Namespaces& namespaces_;
  Transport::Log log_;
  Transport transport_;  ///< keeps the connection between calls
  Location target_;
  bool targetIsFixed_ = false;  ///< whether it is that of every call
  ReplyReader reader_;
  ReplyHead head_;  ///< of the last answer
};

}  // namespace qvx

#endif
