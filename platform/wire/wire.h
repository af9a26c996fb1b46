// SPDX-License-Identifier: Apache-2.0
#ifndef QVP_WIRE_WIRE_H
#define QVP_WIRE_WIRE_H

#include "wire/arena.h"

#include <qvwlp/qvwlp.h>

namespace qvp {

/// A member of the list of what a proxy has made and what goes with it.
struct Link {
  Link* previous = this;
  Link* next = this;

  void insertAfter(Link& place) noexcept;
  void remove() noexcept;
};

struct ResponseLink : Link {};
struct RowSetLink : Link {};

/// What a proxy has made: unended responses and row sets.
struct Owned {
  ResponseLink responses;
  RowSetLink rowSets;

  Owned() = default;
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  ~Owned();
};

}  // namespace qvp

/// Rows in chunks that never move, so that a row can be read in place.
struct QvwlpRowSet : qvp::RowSetLink {
  struct Chunk {
    Chunk* next;
    int32_t count;
    int32_t capacity;
    QvwlpValue* cells;
  };

  qvp::Arena* arena = nullptr;
  const char* types = nullptr;
  int32_t columns = 0;
  int32_t rows = 0;
  Chunk* first = nullptr;
  Chunk* last = nullptr;
  Chunk* reading = nullptr;
  int32_t nextInChunk = 0;
  QvwlpRowSet* nextOfResponse = nullptr;
  QvwlpResponse* response = nullptr;  ///< whose parameter it is; null for a request's, and once taken out of an ended response

  /// A row set on an arena that it becomes a user of; null when out of memory or when the types are none.
  static QvwlpRowSet* create(qvp::Arena* arena, const char* types, qvp::Owned& owner) noexcept;
  /// Appends a row of absent cells of the columns' types; null when out of memory.
  QvwlpValue* newRow() noexcept;
  void rewind() noexcept;
  void destroy() noexcept;
};

/// What a method answered.
struct QvwlpResponse : qvp::ResponseLink {
  qvp::Arena* arena = nullptr;
  QvwlpValue* cells = nullptr;
  int32_t count = 0;
  int32_t capacity = 0;
  QvwlpRowSet* rowSets = nullptr;  ///< all that were made for it, linked by nextOfResponse, unless ended before
  bool failed = false;
  int32_t code = 0;
  const char* text = "";
  int32_t length = 0;

  static QvwlpResponse* create(qvp::Owned& owner) noexcept;
  /// Appends an absent parameter of a type; null when out of memory.
  QvwlpValue* newParameter(int32_t type) noexcept;
  /// Makes a row set one of this response's.
  void adopt(QvwlpRowSet& rowSet) noexcept;
  /// Forgets a row set that ends before this response.
  void forget(QvwlpRowSet& rowSet) noexcept;
  void destroy() noexcept;
};

namespace qvp {

/// Whether a cell can stand in a column or parameter of a type: absent, or of that type with a value that can be read.
bool cellFits(const QvwlpValue& cell, int32_t type) noexcept;
bool knownType(int32_t type) noexcept;

}  // namespace qvp

#endif
