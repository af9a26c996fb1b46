// SPDX-License-Identifier: Apache-2.0
#include "answer.h"

bool Answer::read(const ProxyCall& call, QvbString& err) {
  if (qvwlpResponse_parameters(call.response(), &parameters_) == qvwlpOk) return true;
  setMessage(err, kMsgOutOfMemory);
  return false;
}

int64_t Answer::integer(int32_t parameter) const {
  if (parameter >= parameters_.count) return 0;
  const QvwlpValue& cell = parameters_.cells[parameter];
  return cell.type == qvwlpInteger && cell.present != 0 ? cell.data.integer : 0;
}

QvwlpRowSet* Answer::rows(int32_t parameter) const {
  if (parameter >= parameters_.count) return nullptr;
  const QvwlpValue& cell = parameters_.cells[parameter];
  return cell.type == qvwlpRowSet && cell.present != 0 ? cell.data.rowSet : nullptr;
}

// NOLINTNEXTLINE(readability-make-member-function-const): it changes the answer
RowSetHandle Answer::takeRows(int32_t parameter) {
  RowSetHandle taken(rows(parameter));
  if (taken != nullptr) parameters_.cells[parameter].data.rowSet = nullptr;
  return taken;
}

const QvwlpValue* AnswerRow::cell(int32_t column) const {
  if (column > row_.count) return nullptr;
  const QvwlpValue* cell = row_.cells + (column - 1);
  return cell->type == qvwlpString && cell->present != 0 && cell->data.text != nullptr ? cell : nullptr;
}

bool AnswerRow::has(int32_t column) const {
  return cell(column) != nullptr;
}

QvbString AnswerRow::text(int32_t column) const {
  const QvwlpValue* value = cell(column);
  return value != nullptr ? QvbString(value->data.text, value->length) : QvbString();
}

bool AnswerRow::is(int32_t column, std::string_view word) const {
  const QvwlpValue* value = cell(column);
  return value != nullptr && value->length >= 0 && std::string_view(value->data.text, static_cast<size_t>(value->length)) == word;
}

AnswerRows::AnswerRows(QvwlpRowSet* rows) : rows_(rows) {
  recount();
}

int32_t AnswerRows::recount() {
  count_ = rows_ != nullptr ? qvwlpRowSet_getRows(rows_) : 0;
  return count_;
}

bool AnswerRows::fetch(QvbString& err) {
  if (qvwlpRowSet_nextRow(rows_, &row_.row_) == qvwlpOk) return true;
  setMessage(err, kMsgOutOfMemory);
  return false;
}
