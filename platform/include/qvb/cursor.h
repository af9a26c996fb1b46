// SPDX-License-Identifier: Apache-2.0
#ifndef QVB_CURSOR_H
#define QVB_CURSOR_H

#include <qvb/string.h>

#include <stdint.h>

/// A forward cursor over rows of texts. The order of the operations is part of the binary interface.
///
/// A fresh cursor stands before its first row: call next() before every row, and stop when it gives false.
///
/// @par Ownership  Whoever received the cursor ends it with release(); it is never deleted.
/// @par Threads    One thread at a time.
class QvbStringCursor {
 public:
  /// Slot 1. Whether rows can be read.
  virtual bool isOpen() = 0;
  /// Slot 2. Name of the column, from 0; null when columns have none.
  virtual QvbString getColumnName(int32_t column) = 0;
  /// Slot 3. Texts in a row.
  virtual int32_t getColumnCount() = 0;
  /// Slot 4. The text of the current row's column, from 0; null before the first row. Reading past the last row is the caller's error and
  /// may throw `std::out_of_range`.
  virtual QvbString getString(int32_t column) = 0;
  /// Slot 5. Label of the column for people; null when columns have none.
  virtual QvbString getColumnLabel(int32_t column) = 0;
  /// Slot 6. Writes the number of rows; false when it is not known.
  virtual bool getRowCount(uint64_t& count) = 0;
  /// Slot 7. Moves to the next row; false when there is none.
  virtual bool next() = 0;
  /// Slot 8. Ends the cursor; the pointer is dead afterwards.
  virtual void release() = 0;
  /// Slot 9. Moves before the first row; false when that is not possible.
  virtual bool rewind() = 0;

 protected:
  /// Slot 10.
  virtual ~QvbStringCursor() = default;
};

#endif
