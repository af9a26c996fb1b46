// SPDX-License-Identifier: Apache-2.0
#include "proxy/answer.h"

#include <limits.h>
#include <string.h>

#include <new>

namespace qvp {
namespace {

/// Lies in the arena of the response like the rows themselves, and needs no destruction.
class AnswerRows final : public QvjniAnswerRows {
 public:
  explicit AnswerRows(QvwlpRowSet& rows) : rows_(rows) {}
  QvwlpValue* newRow() override { return rows_.newRow(); }

 private:
  QvwlpRowSet& rows_;
};

size_t lengthOf(const char* text, int32_t length) {
  return length >= 0 ? static_cast<size_t>(length) : strnlen(text, INT_MAX - 1);
}

bool checkRows(const QvwlpRowSet& rows, std::string& problem) {
  int32_t number = 0;
  for (const QvwlpRowSet::Chunk* chunk = rows.first; chunk != nullptr; chunk = chunk->next) {
    for (int32_t i = 0; i < chunk->count; ++i, ++number) {
      const QvwlpValue* row = chunk->cells + static_cast<ptrdiff_t>(i) * rows.columns;
      for (int32_t column = 0; column < rows.columns; ++column) {
        // A row set within a row would outlive nothing and belong to nobody.
        const bool fits = row[column].type == rows.types[column] && cellFits(row[column], rows.types[column]);
        if (fits && (rows.types[column] != qvwlpRowSet || row[column].present == 0)) continue;
        problem = "row " + std::to_string(number + 1) + ", column " + std::to_string(column + 1) + " does not hold a value of its column's type";
        return false;
      }
    }
  }
  return true;
}

}  // namespace

bool Answer::addInteger(int64_t value) {
  QvwlpValue* cell = response_.newParameter(qvwlpInteger);
  if (cell == nullptr) return false;
  cell->present = 1;
  cell->data.integer = value;
  return true;
}

bool Answer::addString(const char* text, int32_t length) {
  const size_t bytes = text != nullptr ? lengthOf(text, length) : 0;
  const char* copy = text != nullptr ? response_.arena->copyText(text, bytes) : nullptr;
  if (text != nullptr && copy == nullptr) return false;
  QvwlpValue* cell = response_.newParameter(qvwlpString);
  if (cell == nullptr) return false;
  cell->present = text != nullptr ? 1 : 0;
  cell->data.text = copy;
  cell->length = static_cast<int32_t>(bytes);
  return true;
}

QvjniAnswerRows* Answer::addRows(const char* columnTypes) {
  void* memory = response_.arena->allocate(sizeof(AnswerRows));
  QvwlpRowSet* rows = memory != nullptr ? QvwlpRowSet::create(response_.arena, columnTypes, owner_) : nullptr;
  if (rows == nullptr) return nullptr;
  QvwlpValue* cell = response_.newParameter(qvwlpRowSet);
  if (cell == nullptr) {
    rows->destroy();
    return nullptr;
  }
  response_.adopt(*rows);
  cell->present = 1;
  cell->data.rowSet = rows;
  return new (memory) AnswerRows(*rows);
}

bool Answer::addNoRows() {
  return response_.newParameter(qvwlpRowSet) != nullptr;
}

void* Answer::allocate(size_t bytes) {
  return response_.arena->allocate(bytes);
}

void Answer::fail(int32_t code, const char* text, int32_t length) {
  const size_t bytes = text != nullptr ? lengthOf(text, length) : 0;
  const char* copy = text != nullptr ? response_.arena->copyText(text, bytes) : nullptr;
  response_.failed = true;
  response_.code = code;
  // Without memory for the text the code still says what happened.
  response_.text = copy != nullptr ? copy : "";
  response_.length = copy != nullptr ? static_cast<int32_t>(bytes) : 0;
}

bool checkAnswer(const QvwlpResponse& response, const char* types, std::string& problem) {
  const size_t expected = strlen(types);
  if (static_cast<size_t>(response.count) != expected) {
    problem = std::to_string(response.count) + " parameters instead of " + std::to_string(expected);
    return false;
  }
  for (int32_t i = 0; i < response.count; ++i) {
    const QvwlpValue& cell = response.cells[i];
    const bool fits = cell.type == types[i] && cellFits(cell, types[i]);
    if (!fits) problem = "another type than asked for";
    if (!fits || (cell.type == qvwlpRowSet && cell.present != 0 && !checkRows(*cell.data.rowSet, problem))) {
      problem.insert(0, "parameter " + std::to_string(i + 1) + ": ");
      return false;
    }
  }
  return true;
}

}  // namespace qvp
