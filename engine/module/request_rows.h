// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_MODULE_REQUEST_ROWS_H
#define QVX_MODULE_REQUEST_ROWS_H

#include "error.h"

#include <qvwlp/qvwlp.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace qvx {

/// The text of a cell; null when it is absent.
inline std::string_view text(const QvwlpValue& cell) {
  if (cell.present == 0 || cell.data.text == nullptr) return {};
  return {cell.data.text, static_cast<std::size_t>(cell.length)};
}

/// Gives the cells of each row of a request to an action. An absent row set has no rows.
/// @throw Error BadRequest for rows of other columns
template <typename Action>
void forRows(const QvwlpValue& parameter, std::string_view columns, Action action) {
  if (parameter.present == 0) return;
  const std::int32_t count = qvwlpRowSet_getRows(parameter.data.rowSet);
  for (std::int32_t i = 0; i < count; ++i) {
    QvwlpRow row{};
    if (qvwlpRowSet_nextRow(parameter.data.rowSet, &row) != qvwlpOk) throw Error(ErrorCode::BadRequest, "A row of the request cannot be read");
    bool fits = static_cast<std::size_t>(row.count) == columns.size();
    for (std::size_t k = 0; fits && k < columns.size(); ++k) fits = row.cells[k].type == columns[k];
    if (!fits) throw Error(ErrorCode::BadRequest, "A row of the request does not have the columns that the method takes");
    action(row.cells);
  }
}

}  // namespace qvx

#endif
