// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_SRC_WSURI_H
#define QVWS_SRC_WSURI_H

#include <qvb/cursor.h>
#include <qvb/string.h>

#include <stdint.h>

#include <utility>
#include <vector>

/// The variables of a URI: a cursor over one column of texts. Open to heirs, whose number of columns counts.
class WSUriVariables : public QvbStringCursor {
 public:
  WSUriVariables() = default;
  WSUriVariables(const WSUriVariables&) = delete;
  WSUriVariables& operator=(const WSUriVariables&) = delete;

  bool isOpen() override { return true; }
  QvbString getColumnName(int32_t /*column*/) override { return {}; }
  int32_t getColumnCount() override { return 1; }
  QvbString getString(int32_t column) override;
  QvbString getColumnLabel(int32_t /*column*/) override { return {}; }
  bool getRowCount(uint64_t& count) override;
  bool next() override;
  void release() override { delete this; }
  bool rewind() override;

  void append(QvbString text) { rows_.push_back(std::move(text)); }

 protected:
  ~WSUriVariables() override = default;

 private:
  std::vector<QvbString> rows_;
  int64_t current_ = -1;
};

#endif
