// SPDX-License-Identifier: Apache-2.0
#ifndef QVJNI_QVJNI_H
#define QVJNI_QVJNI_H

#include <qvb/export.h>
#include <qvwlp/qvwlp.h>

#include <stddef.h>
#include <stdint.h>

struct QvjniProxy;  ///< an instance of a proxy class; opaque

/// Answers of an option callback.
enum QvjniAnswered : int32_t { qvjniAnswered = 0, qvjniNoAnswer = 1, qvjniAnswerNoMemory = 2 };

/// The head of an option callback record: the function. What follows it in memory is the caller's own.
///
/// The function is asked for a configuration value by its key (NUL-terminated UTF-8) and writes a text and its length in bytes, which stay valid
/// until the next question; it returns a QvjniAnswered. `reserved` is null.
struct QvjniOptionCallback {
  int32_t (*answer)(QvjniOptionCallback* record, const char* key, void* reserved, const char** text, int32_t* length);
};

/// The head of a log callback record. The function takes a level (0 = report, 1 = information, anything else = a warning or an error) and a text.
struct QvjniLogCallback {
  void (*log)(QvjniLogCallback* record, int32_t level, const char* text);
};

/// The head of an invoke callback record: what the caller's callback object answered when it was asked for its option, then the function to poll
/// while a call waits, which returns 1 to stop the call and 0 to let it go on.
struct QvjniInvokeCallback {
  int32_t option;
  int32_t (*poll)(QvjniInvokeCallback* record);
};

static_assert(sizeof(QvjniOptionCallback) == 8 && sizeof(QvjniLogCallback) == 8, "the caller's record continues at 8");
static_assert(offsetof(QvjniInvokeCallback, option) == 0 && offsetof(QvjniInvokeCallback, poll) == 8 && sizeof(QvjniInvokeCallback) == 16,
              "the caller's record continues at 16");

// The callbacks run on the thread that is inside the call. The option and the log callback record are used during qvjniProxyCreate() only; what the
// proxy class reports afterwards goes to the log, or with the failure of its method.

/// Makes an instance of a proxy class.
///
/// It asks the option callback for "JAVA_PROXY/DIRECTORY", looks there below the proxy root for the module that has the archive's name with the
/// system's module suffix ("qvx-proxy-ws.jar" becomes `qvx-proxy-ws.so`), loads it and makes an instance of the class. The root is the directory that
/// the environment variable `QVWS_PROXY_ROOT` names, else the one that holds this library. A directory that is absolute or leads upwards (`..`), or
/// has a backslash or a colon in it, is refused; without an answer it is the root itself. A module stays loaded once it is. Then it asks for
/// "JAVA_PROXY/HAS_GETVERSION" and, when the answer is the interface's name, calls `getVersion` and reports the version. Every failure is reported
/// through the log callback, one sentence each, before this returns. So is a product configuration that cannot be read: it fails the creation.
///
/// @param[in]  archive        file name of the archive that holds the class
/// @param[in]  interfaceName  name of the interface that calls go through
/// @param[in]  className      full name of the class
/// @param[in]  option, log    the callback records
/// @param[out] proxy          the instance; null on failure. End it with qvjniProxyDestroy().
/// @return 0, or a QvwlpStatus
/// @par Threads  A proxy is for one thread at a time.
extern "C" QVB_API int32_t qvjniProxyCreate(const char* archive, const char* interfaceName, const char* className, QvjniOptionCallback* option,
                                            QvjniLogCallback* log, QvjniProxy** proxy);

/// Makes an empty row set for a request.
/// @param[in] columnTypes  type string of its columns, at least one
/// @return the row set, to be ended with qvwlpRowSet_destroy(); null when out of memory or the type string is none
extern "C" QVB_API QvwlpRowSet* qvjniProxyRowSetCreate(QvjniProxy* proxy, const char* columnTypes);

/// Calls a method of the proxy class and waits for its answer.
///
/// @param[in]  callback       polled while the method waits; null for methods that cannot be stopped
/// @param[in]  interfaceName  as at creation
/// @param[in]  method         name of the method
/// @param[in]  responseTypes  type string of the expected answer; an answer of another count or other types, also of a single cell
///                            in its rows, is qvwlpBadAnswer, and the log ("QV.Proxy") says what differs
/// @param[in]  count          number of parameters
/// @param[in]  parameters     the parameters; may be null when the count is 0. A row set is read from its first row, also when it is sent again.
/// @param[out] response       what was answered, to be ended with qvwlpResponse_destroy(); after qvwlpFailed it holds the error; null after every
/// other
///                            failure
/// @return 0, or a QvwlpStatus
extern "C" QVB_API int32_t qvjniProxyCall(QvjniProxy* proxy, QvjniInvokeCallback* callback, const char* interfaceName, const char* method,
                                          const char* responseTypes, int32_t count, const QvwlpValue* parameters, QvwlpResponse** response);

/// Ends an instance with every row set and response that it made. A null handle is ignored.
extern "C" QVB_API void qvjniProxyDestroy(QvjniProxy* proxy);

#endif
