// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_SRC_ANSWER_H
#define QVWS_SRC_ANSWER_H

#include "proxy_call.h"
#include "report.h"

#include <qvb/string.h>
#include <qvlog/qvlog.h>
#include <qvwlp/qvwlp.h>
#include <qvws/qname.h>

#include <stdint.h>

#include <initializer_list>
#include <span>
#include <string_view>
#include <utility>

// Everything that is read of an answer goes through this file. Whatever the proxy sends, a cell that is missing, absent or of another type reads as
// null.

/// The parameters of an answer, valid as long as its call.
class Answer {
 public:
  /// False with 444.
  bool read(const ProxyCall& call, QvbString& err);
  /// An integer; 0 when there is none.
  [[nodiscard]] int64_t integer(int32_t parameter) const;
  /// A row set; null when there is none.
  [[nodiscard]] QvwlpRowSet* rows(int32_t parameter) const;
  /// Takes a row set out of the answer, which then holds none there; null when there was none.
  RowSetHandle takeRows(int32_t parameter);

 private:
  QvwlpParameters parameters_{nullptr, 0};
};

/// A row of an answer, read in place. Columns count from 1.
class AnswerRow {
 public:
  /// Whether the column holds a text.
  [[nodiscard]] bool has(int32_t column) const;
  /// The column's text; null when it holds none.
  [[nodiscard]] QvbString text(int32_t column) const;
  /// Whether the column's text is this word, byte for byte.
  [[nodiscard]] bool is(int32_t column, std::string_view word) const;
  /// Columns 2 and 3 as a name.
  [[nodiscard]] QName qname() const { return {text(2), text(3)}; }

 private:
  friend class AnswerRows;
  [[nodiscard]] const QvwlpValue* cell(int32_t column) const;
  QvwlpRow row_{nullptr, 0};
};

/// The rows of a row set, in their order. The number of rows is taken first, and again when asked for.
class AnswerRows {
 public:
  AnswerRows() = default;
  explicit AnswerRows(QvwlpRowSet* rows);
  [[nodiscard]] int32_t count() const { return count_; }
  /// The number of rows that the row set has by now.
  int32_t recount();
  [[nodiscard]] const AnswerRow& row() const { return row_; }
  /// Makes the next row the current one. False with 444.
  bool fetch(QvbString& err);

 private:
  QvwlpRowSet* rows_ = nullptr;
  int32_t count_ = 0;
  AnswerRow row_;
};

enum class Taken {
  Yes,
  Unrecognised,  ///< logged, and the reader goes on
  Failed         ///< the error text has the message
};

/// What becomes of the property of a name: its value goes where `where` says, or else to `take`.
template <class Reader>
struct PropertyRule {
  const char* name;
  QvbString& (*where)(Reader& reader);
  Taken (*take)(Reader& reader, const QvbString& value, QvbString& err);
};

inline constexpr char kPropertyWarning[] = "Property '%s' (value '%s') was unrecognized.";
inline constexpr char kParameterPropertyWarning[] = "Parameter property '%s' (value '%s') was unrecognized.";

/// What a reader of properties needs besides the rows: the rules, in the order in which they are tried, and who logs a name that none of them has.
template <class Reader>
struct PropertyReader {
  std::span<const PropertyRule<Reader>> rules;
  Reader& reader;
  QvlogLogger& logger;
  const char* warning = kPropertyWarning;

  /// Takes the property whose name and value stand in two neighbouring columns.
  bool takeProperty(const AnswerRow& row, int32_t nameColumn, QvbString& err) const {
    const QvbString name = row.text(nameColumn);
    QvbString value = row.text(nameColumn + 1);
    for (const PropertyRule<Reader>& rule : rules) {
      if (name.compare(rule.name, false) != 0) continue;
      if (rule.where != nullptr) {
        rule.where(reader) = std::move(value);
        return true;
      }
      const Taken taken = rule.take(reader, value, err);
      if (taken == Taken::Unrecognised) break;
      return taken == Taken::Yes;
    }
    logLine(logger, qvlogReport, Here(), warning, name.asCstr(), value.asCstr());
    return true;
  }
};

/// Reads a list of properties: column 1 the name, column 2 the value. No row set is an empty list.
template <class Reader>
bool readPropertyList(QvwlpRowSet* rowSet, const PropertyReader<Reader>& properties, QvbString& err) {
  AnswerRows rows(rowSet);
  for (int32_t i = 0; i < rows.count(); ++i) {
    if (!rows.fetch(err) || !properties.takeProperty(rows.row(), 1, err)) return false;
  }
  return true;
}

/// A cursor over a stream of objects, shared by those who read it: a row with column 1 starts an object of that kind, rows without it hold the
/// object's properties, names in column 2 and values in column 3.
class ObjectStream {
 public:
  /// A stream without rows.
  ObjectStream() = default;
  explicit ObjectStream(QvwlpRowSet* rowSet) : rows_(rowSet) {}

  /// The current row: the header of an object, unless the proxy sent something else.
  [[nodiscard]] const AnswerRow& row() const { return rows_.row(); }
  /// Whether the current row starts an object of one of these kinds. Message 1777 names the reader and what it expected when it does not.
  bool startsObject(std::initializer_list<const char*> kinds, const char* reader, const char* expected, QvbString& err,
                    MessageAt message = kMsgUnexpectedRow) const {
    for (const char* kind : kinds) {
      if (row().is(1, kind)) return true;
    }
    setMessage(err, message, reader, expected);
    return false;
  }
  /// Counts the current row as consumed.
  void consume() { ++counter_; }

  /// Reads the properties of the object whose header was consumed. Stops at the next header, which stays the current row, uncounted.
  template <class Reader>
  bool readProperties(const PropertyReader<Reader>& properties, QvbString& err) {
    while (!done()) {
      if (!rows_.fetch(err)) return false;
      if (row().has(1)) return true;
      if (!properties.takeProperty(row(), 2, err)) return false;
      consume();
    }
    return true;
  }

  /// Reads one object after another: `readObject` checks the header, consumes it and reads the properties.
  template <class ReadObject>
  bool readObjects(QvbString& err, ReadObject readObject) {
    if (rows_.count() < 1) return true;
    if (!rows_.fetch(err)) return false;
    do {
      if (!readObject(*this)) return false;
    } while (!done());
    return true;
  }

 private:
  [[nodiscard]] bool done() const { return counter_ >= rows_.count(); }

  AnswerRows rows_;
  int32_t counter_ = 0;
};

/// A reference to another object: its name comes first, its namespace completes it.
struct Reference {
  QvbString localName;

  /// Looks the object up. Message 1774 names the kind and the reference when there is none.
  template <class Object, class Lookup>
  Taken complete(const QvbString& uri, const char* kind, Object*& object, QvbString& err, Lookup lookup,
                 MessageAt message = kMsgNoSuchReference) const {
    const QName name(uri, localName);
    object = lookup(name);
    if (object != nullptr) return Taken::Yes;
    setMessage(err, message, kind, name.toText().asCstr());
    return Taken::Failed;
  }
};

#endif
