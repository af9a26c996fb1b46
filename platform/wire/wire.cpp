// SPDX-License-Identifier: Apache-2.0
#include "wire/wire.h"

#include <limits.h>
#include <string.h>

#include <algorithm>
#include <new>

namespace qvp {

void Link::insertAfter(Link& place) noexcept {
  previous = &place;
  next = place.next;
  next->previous = this;
  place.next = this;
}

void Link::remove() noexcept {
  previous->next = next;
  next->previous = previous;
  previous = this;
  next = this;
}

Owned::~Owned() {
  while (responses.next != &responses) static_cast<QvwlpResponse*>(static_cast<ResponseLink*>(responses.next))->destroy();
  while (rowSets.next != &rowSets) static_cast<QvwlpRowSet*>(static_cast<RowSetLink*>(rowSets.next))->destroy();
}

bool knownType(int32_t type) noexcept {
  return type == qvwlpBoolean || type == qvwlpInteger || type == qvwlpRowSet || type == qvwlpString;
}

bool cellFits(const QvwlpValue& cell, int32_t type) noexcept {
  if (cell.present == 0) return true;
  if (cell.present != 1 || cell.type != type) return false;
  if (type == qvwlpString) return cell.data.text != nullptr && cell.length >= 0;
  return type != qvwlpRowSet || cell.data.rowSet != nullptr;
}

}  // namespace qvp

QvwlpRowSet* QvwlpRowSet::create(qvp::Arena* arena, const char* types, qvp::Owned& owner) noexcept {
  if (types == nullptr || *types == '\0') return nullptr;
  const size_t columns = strlen(types);
  if (columns > 4096 || !std::all_of(types, types + columns, qvp::knownType)) return nullptr;
  const char* copy = arena->copyText(types, columns);
  void* memory = copy != nullptr ? arena->allocate(sizeof(QvwlpRowSet)) : nullptr;
  if (memory == nullptr) return nullptr;
  auto* rows = new (memory) QvwlpRowSet;
  arena->retain();
  rows->arena = arena;
  rows->types = copy;
  rows->columns = static_cast<int32_t>(columns);
  rows->insertAfter(owner.rowSets);
  return rows;
}

QvwlpValue* QvwlpRowSet::newRow() noexcept {
  if (rows == INT32_MAX) return nullptr;
  const size_t rowBytes = static_cast<size_t>(columns) * sizeof(QvwlpValue);
  if (last == nullptr || last->count == last->capacity) {
    // Chunks double up to 64 KB: a few rows cost little, and many rows few chunks.
    const int32_t most = std::max(1, static_cast<int32_t>(65536 / rowBytes));
    const int32_t capacity = last == nullptr ? std::min(4, most) : std::max(last->capacity, std::min(last->capacity * 2, most));
    auto* chunk = static_cast<Chunk*>(arena->allocate(sizeof(Chunk)));
    auto* cells = chunk != nullptr ? static_cast<QvwlpValue*>(arena->allocate(static_cast<size_t>(capacity) * rowBytes)) : nullptr;
    if (cells == nullptr) return nullptr;
    *chunk = {nullptr, 0, capacity, cells};
    (last != nullptr ? last->next : first) = chunk;
    last = chunk;
  }
  QvwlpValue* row = last->cells + static_cast<ptrdiff_t>(last->count) * columns;
  memset(row, 0, rowBytes);
  for (int32_t i = 0; i < columns; ++i) row[i].type = static_cast<unsigned char>(types[i]);
  ++last->count;
  ++rows;
  return row;
}

void QvwlpRowSet::rewind() noexcept {
  reading = nullptr;
  nextInChunk = 0;
}

void QvwlpRowSet::destroy() noexcept {
  if (response != nullptr) response->forget(*this);
  remove();
  arena->release();  // this object lies in it
}

QvwlpResponse* QvwlpResponse::create(qvp::Owned& owner) noexcept {
  qvp::Arena* arena = qvp::Arena::create();
  if (arena == nullptr) return nullptr;
  void* memory = arena->allocate(sizeof(QvwlpResponse));
  if (memory == nullptr) {
    arena->release();
    return nullptr;
  }
  auto* response = new (memory) QvwlpResponse;
  response->arena = arena;
  response->insertAfter(owner.responses);
  return response;
}

QvwlpValue* QvwlpResponse::newParameter(int32_t type) noexcept {
  if (count == capacity) {
    const int32_t more = std::max(4, capacity * 2);
    auto* grown = static_cast<QvwlpValue*>(arena->allocate(static_cast<size_t>(more) * sizeof(QvwlpValue)));
    if (grown == nullptr) return nullptr;
    if (count > 0) memcpy(grown, cells, static_cast<size_t>(count) * sizeof(QvwlpValue));
    cells = grown;
    capacity = more;
  }
  QvwlpValue* cell = &cells[count++];
  memset(cell, 0, sizeof *cell);
  cell->type = type;
  return cell;
}

void QvwlpResponse::adopt(QvwlpRowSet& rowSet) noexcept {
  rowSet.response = this;
  rowSet.nextOfResponse = rowSets;
  rowSets = &rowSet;
}

void QvwlpResponse::forget(QvwlpRowSet& rowSet) noexcept {
  for (int32_t i = 0; i < count; ++i) {
    if (cells[i].type != qvwlpRowSet || cells[i].data.rowSet != &rowSet) continue;
    cells[i].data.rowSet = nullptr;
    cells[i].present = 0;
  }
  QvwlpRowSet** link = &rowSets;
  while (*link != &rowSet) link = &(*link)->nextOfResponse;
  *link = rowSet.nextOfResponse;
  rowSet.response = nullptr;
}

void QvwlpResponse::destroy() noexcept {
  while (rowSets != nullptr) {
    QvwlpRowSet* rowSet = rowSets;
    // One that no parameter names was taken out: it lives on, and with it the arena.
    const bool named =
        std::any_of(cells, cells + count, [rowSet](const QvwlpValue& cell) { return cell.type == qvwlpRowSet && cell.data.rowSet == rowSet; });
    forget(*rowSet);
    if (named) rowSet->destroy();
  }
  remove();
  arena->release();  // this object lies in it
}

int32_t qvwlpRowSet_addRow(QvwlpRowSet* rows, const QvwlpValue* cells) {
  if (rows == nullptr || cells == nullptr) return qvwlpBadArgument;
  for (int32_t i = 0; i < rows->columns; ++i) {
    if (!qvp::cellFits(cells[i], rows->types[i])) return qvwlpBadArgument;
  }
  QvwlpValue* row = rows->newRow();
  if (row == nullptr) return qvwlpNoMemory;
  for (int32_t i = 0; i < rows->columns; ++i) {
    if (cells[i].present == 0) continue;
    row[i].present = 1;
    row[i].data = cells[i].data;
    row[i].length = cells[i].length;
  }
  return qvwlpOk;
}

int32_t qvwlpRowSet_getRows(QvwlpRowSet* rows) {
  return rows != nullptr ? rows->rows : 0;
}

int32_t qvwlpRowSet_nextRow(QvwlpRowSet* rows, QvwlpRow* row) {
  if (rows == nullptr || row == nullptr) return qvwlpBadArgument;
  QvwlpRowSet::Chunk* chunk = rows->reading != nullptr ? rows->reading : rows->first;
  if (chunk != nullptr && rows->nextInChunk == chunk->count && chunk->next != nullptr) {
    chunk = chunk->next;
    rows->nextInChunk = 0;
  }
  if (chunk == nullptr || rows->nextInChunk == chunk->count) return qvwlpNoMoreRows;
  rows->reading = chunk;
  row->cells = chunk->cells + static_cast<ptrdiff_t>(rows->nextInChunk++) * rows->columns;
  row->count = rows->columns;
  return qvwlpOk;
}

void qvwlpRowSet_destroy(QvwlpRowSet* rows) {
  if (rows != nullptr) rows->destroy();
}

int32_t qvwlpResponse_parameters(QvwlpResponse* response, QvwlpParameters* parameters) {
  if (response == nullptr || parameters == nullptr || response->failed) return qvwlpBadArgument;
  parameters->cells = response->cells;
  parameters->count = response->count;
  return qvwlpOk;
}

void qvwlpResponse_destroy(QvwlpResponse* response) {
  if (response != nullptr) response->destroy();
}

int32_t qvwlpError_code(QvwlpResponse* response, int32_t* code) {
  if (response == nullptr || code == nullptr) return qvwlpBadArgument;
  *code = response->code;
  return qvwlpOk;
}

int32_t qvwlpError_text(QvwlpResponse* response, const char** text, int32_t* length) {
  if (response == nullptr || text == nullptr || length == nullptr) return qvwlpBadArgument;
  *text = response->text;
  *length = response->length;
  return qvwlpOk;
}
