// SPDX-License-Identifier: Apache-2.0
#ifndef QVLOG_QVLOG_H
#define QVLOG_QVLOG_H

#include <qvb/export.h>

#include <stdarg.h>
#include <stdint.h>

/// How much a log line matters. A line is written when its level is not below the logger's.
enum QvlogLevel : int32_t {
  qvlogTrace = 1,    ///< every step
  qvlogReport = 2,   ///< reports, notices, properties that nobody recognises
  qvlogInfo = 3,     ///< what the proxy has to say
  qvlogWarning = 4,  ///< went wrong, and the work went on
  qvlogError = 5,    ///< went wrong
  qvlogOff = 6       ///< as a logger's level: nothing is written
};

/// A named logger. The order of the operations is part of the binary interface; slots 1, 4, 5 and 8 are what libraries call.
///
/// Lines go to standard error, those of level 4 and 5 unless the configuration says otherwise: "LOG/LEVEL" is a number from 1 to 6, "LOG/FILE" a file
/// to append to instead; the environment variables `QVWS_LOG_LEVEL` and `QVWS_LOG_FILE` come before both. A message becomes one line: control
/// characters in it are written as escapes, so that a text from a network neither drives a terminal nor forges a line.
///
/// A line reads "2026-01-31T23:59:59.123Z WARNING QV.Proxy: text" (UTC); at level 1 the source position follows as " [file.cpp:12]". Escaped are
/// control characters (`\n`, `\r`, `\t`, else `\x1b` or `\u009b`), line separators and bidirectional controls, and bytes that are not UTF-8.
///
/// No operation fails: a line that cannot be written is lost. A log file that cannot be opened is reported on standard error, where the lines then
/// go.
///
/// @par Ownership  The logging library's; a logger lives as long as the process and is never released.
/// @par Threads    Any. Lines of different threads do not mix.
class QvlogLogger {
 public:
  /// Slot 1. The level in force.
  virtual int32_t getLevel() = 0;
  /// Slot 2. Sets the level of this logger; values outside 1 to 6 go to the nearer end.
  virtual void setLevel(int32_t level) = 0;
  /// Slot 3. The name it was asked for with.
  virtual const char* getName() = 0;
  /// Slot 4. Logs a finished text.
  /// @param[in] file  source file that reports; may be null
  /// @param[in] text  UTF-8; null reads as ""
  virtual void log(int32_t level, const char* file, int32_t line, const char* text) = 0;
  /// Slot 5. Logs a printf-style format with a list of arguments.
  virtual void logFormat(int32_t level, const char* file, int32_t line, const char* format, va_list arguments) QVB_PRINTF(5, 0) = 0;
  /// Slot 6. Whether a line of that level would be written.
  virtual bool isEnabled(int32_t level) = 0;
  /// Slot 7. Writes what is still held back.
  virtual void flush() = 0;
  /// Slot 8. Logs a catalogued message; the arguments are those of qvb_get_message().
  virtual void logMessage(int32_t level, const char* file, int32_t line, int32_t id, ...) = 0;

 protected:
  /// Slot 9.
  virtual ~QvlogLogger() = default;
};

/// The logger of a name, made at the first call: one per name and process.
/// @param[in] name  NUL-terminated; null reads as ""
/// @return the logger; never null
/// @par Threads  Any.
extern "C" QVB_API QvlogLogger* qvlogGetLogger(const char* name);

#endif
