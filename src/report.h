// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_SRC_REPORT_H
#define QVWS_SRC_REPORT_H

#include "names.h"

#include <qvb/message.h>
#include <qvb/string.h>
#include <qvlog/qvlog.h>

#include <stdint.h>

#include <type_traits>

/// Numbers of the catalogued messages that the library reports or logs.
enum MessageId : int32_t {
  kMsgBufferNotGrown = 29,
  kMsgUnknownStyle = 247,
  kMsgOutOfMemory = 444,
  kMsgRowNotTaken = 768,
  kMsgIndexOutOfRange = 1420,
  kMsgPrefixBound = 1442,
  kMsgOutputNotBound = 1590,
  kMsgNoSuchOperation = 1603,
  kMsgProxyError = 1725,
  kMsgCallFailed = 1726,
  kMsgNoSuchReference = 1774,
  kMsgDuplicate = 1776,
  kMsgUnexpectedRow = 1777,
  kMsgOptionType = 1778,
  kMsgNotInInterface = 1779,
  kMsgStyleRefused = 1801,
  kMsgNoSuchBinding = 1837
};

/// The source position of whoever names it.
struct Here {
  explicit Here(const char* sourceFile = __builtin_FILE(), int32_t sourceLine = __builtin_LINE()) : file(sourceFile), line(sourceLine) {}
  const char* file;
  int32_t line;
};

/// A message's number with the source position that reports it.
struct MessageAt {
  MessageAt(MessageId number, const char* sourceFile = __builtin_FILE(),  // NOLINT(google-explicit-constructor): takes the position along
            int32_t sourceLine = __builtin_LINE())
      : id(number), file(sourceFile), line(sourceLine) {}
  MessageId id;
  const char* file;
  int32_t line;
};

/// Writes a catalogued message into an error text. Arguments are `const char*` and `int32_t`, in the catalogue's order.
template <class... Arguments>
void setMessage(QvbString& err, MessageAt message, Arguments... arguments) {
  static_assert(((std::is_same_v<Arguments, const char*> || std::is_same_v<Arguments, int32_t>)&&...), "what the catalogue's formats take");
  err = qvb_get_message(message.file, message.line, names::kComponent, message.id, arguments...);
}

/// Passes a printf-style line on to the logger.
void logLine(QvlogLogger& logger, int32_t level, Here here, const char* format, ...) QVB_PRINTF(4, 5);

#endif
