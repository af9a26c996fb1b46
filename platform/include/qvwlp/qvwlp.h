// SPDX-License-Identifier: Apache-2.0
#ifndef QVWLP_QVWLP_H
#define QVWLP_QVWLP_H

#include <qvb/export.h>

#include <stddef.h>
#include <stdint.h>

/// Type codes of value cells. A *type string* is a NUL-terminated byte string of them, one byte a column or parameter.
enum QvwlpType : int32_t {
  qvwlpBoolean = 2,  ///< `data.truth`
  qvwlpInteger = 7,  ///< `data.integer`, 64 bits
  qvwlpRowSet = 10,  ///< `data.rowSet`
  qvwlpString = 11   ///< `data.text` and `length`
};

/// What the operations of this library and of the proxy library return; 0 is success, everything else a failure.
enum QvwlpStatus : int32_t {
  qvwlpOk = 0,
  qvwlpBadArgument = 1,  ///< a handle, a type string or a cell is not what the operation takes
  qvwlpNoMemory = 2,
  qvwlpNoSuchMethod = 3,  ///< the proxy has no method of that name, or it takes other parameters
  qvwlpFailed = 4,        ///< the proxy class reported an error: code and text are in the response
  qvwlpBadAnswer = 5,     ///< the proxy class answered with other types than it was asked for
  qvwlpNoMoreRows = 6,    ///< the row set has been read to its end
  qvwlpNoModule = 7       ///< the proxy class could not be loaded
};

struct QvwlpRowSet;    ///< rows of value cells, all with the same columns; opaque
struct QvwlpResponse;  ///< what a proxy method answered; opaque

/// One value: a request parameter, a response parameter, or a column of a row. Zero-filled before use; arrays are contiguous.
///
/// A string's bytes are UTF-8 and NUL-terminated. In a request they are borrowed: they must stay as they are until the call that sends the cell has
/// returned. In an answer they belong to the response.
///
/// @par Layout  80 bytes: type at 0, present at 4, the value's storage at 8, length at 72.
struct QvwlpValue {
  int32_t type;     ///< a QvwlpType
  uint8_t present;  ///< 1 = holds a value, 0 = null
  uint8_t unused_[3];
  union {
    const char* text;     ///< of a string
    QvwlpRowSet* rowSet;  ///< of a row set
    int64_t integer;      ///< of a 64-bit integer
    uint8_t truth;        ///< of a boolean: 1 = true, 0 = false
  } data;
  uint8_t unusedStorage_[56];
  int32_t length;  ///< of a string: bytes without the terminating NUL
  uint8_t unusedTail_[4];
};

static_assert(sizeof(QvwlpValue) == 80 && offsetof(QvwlpValue, type) == 0 && offsetof(QvwlpValue, present) == 4 && offsetof(QvwlpValue, data) == 8 &&
                  offsetof(QvwlpValue, length) == 72,
              "libraries and proxy classes share this layout");

/// A row as it is read: its cells, in place, valid as long as the row set.
struct QvwlpRow {
  const QvwlpValue* cells;
  int32_t count;
};

static_assert(sizeof(QvwlpRow) == 16 && offsetof(QvwlpRow, cells) == 0 && offsetof(QvwlpRow, count) == 8, "libraries share this layout");

/// The parameters of an answer, in the order of the type string of the call, valid as long as the response. The cells may be changed: who sets a row
/// set's pointer to null takes that row set out of the response and destroys it himself.
struct QvwlpParameters {
  QvwlpValue* cells;
  int32_t count;
};

static_assert(sizeof(QvwlpParameters) == 16 && offsetof(QvwlpParameters, cells) == 0 && offsetof(QvwlpParameters, count) == 8,
              "libraries share this layout");

// Handles are made by the proxy library (qvjniProxyRowSetCreate, qvjniProxyCall). They belong to the proxy that made them: what has not been
// destroyed by then goes with it. Every operation runs on the caller's thread, does not wait, and is for one thread at a time per proxy. A null
// handle is qvwlpBadArgument, or a destroy without effect.

/// Appends a row to a row set.
/// @param[in] cells  one cell per column; the cells are copied, their texts are borrowed. Each is of its column's type, or absent.
/// @return 0, qvwlpBadArgument (a cell of another type) or qvwlpNoMemory; on failure the row set is unchanged
extern "C" QVB_API int32_t qvwlpRowSet_addRow(QvwlpRowSet* rows, const QvwlpValue* cells);

/// Number of rows; 0 for a null handle.
extern "C" QVB_API int32_t qvwlpRowSet_getRows(QvwlpRowSet* rows);

/// Reads the next row, from the first on.
/// @return 0, qvwlpNoMoreRows or qvwlpBadArgument; on failure `row` is unchanged
extern "C" QVB_API int32_t qvwlpRowSet_nextRow(QvwlpRowSet* rows, QvwlpRow* row);

/// Ends a row set: one made for a request, or one taken out of a response.
extern "C" QVB_API void qvwlpRowSet_destroy(QvwlpRowSet* rows);

/// Reads the parameters of a successful call. An absent row set has `present` 0.
/// @return 0, or qvwlpBadArgument when the response is that of a failed call; on failure `parameters` is unchanged
extern "C" QVB_API int32_t qvwlpResponse_parameters(QvwlpResponse* response, QvwlpParameters* parameters);

/// Ends a response with everything that was read from it, save the row sets taken out.
extern "C" QVB_API void qvwlpResponse_destroy(QvwlpResponse* response);

/// The error code of a call that failed with qvwlpFailed; 0 for any other response.
extern "C" QVB_API int32_t qvwlpError_code(QvwlpResponse* response, int32_t* code);

/// The error text of a call that failed with qvwlpFailed: NUL-terminated UTF-8, valid as long as the response; "" for any other response.
extern "C" QVB_API int32_t qvwlpError_text(QvwlpResponse* response, const char** text, int32_t* length);

#endif
