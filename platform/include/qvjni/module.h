// SPDX-License-Identifier: Apache-2.0
#ifndef QVJNI_MODULE_H
#define QVJNI_MODULE_H

#include <qvjni/qvjni.h>
#include <qvwlp/qvwlp.h>

#include <stddef.h>
#include <stdint.h>

// What a proxy module implements. A module is a dynamic library that exports `qvjniModule`; it reads requests with qvwlpRowSet_getRows() and
// qvwlpRowSet_nextRow(), and writes answers in place through the QvjniAnswer that each call is given. No exception may leave a module's operation;
// one that does is caught and becomes a failure of the call. The order of the operations is part of the binary interface.

/// Version of this interface. A module answers only for the version it was built with.
enum : int32_t { kQvjniModuleVersion = 1 };

/// Rows of an answer, written in place.
class QvjniAnswerRows {
 public:
  /// Slot 1. Appends a row and returns its cells, one per column, each already typed as its column and absent. Fill them at once or later, until the
  /// method returns: for a string set `data.text`, `length` and `present`. The text is not copied: it lives in QvjniAnswer::allocate()'s memory or
  /// longer than the instance's next call.
  /// @return null when out of memory
  virtual QvwlpValue* newRow() = 0;

 protected:
  /// Slot 2.
  virtual ~QvjniAnswerRows() = default;
};

/// The answer that a method writes.
class QvjniAnswer {
 public:
  /// Slot 1. Appends an integer to the response parameters. False when out of memory.
  virtual bool addInteger(int64_t value) = 0;
  /// Slot 2. Appends a string, which is copied; a null pointer gives an absent one. False when out of memory.
  virtual bool addString(const char* text, int32_t length) = 0;
  /// Slot 3. Appends a row set with these columns; null when out of memory. It belongs to the answer.
  virtual QvjniAnswerRows* addRows(const char* columnTypes) = 0;
  /// Slot 4. Appends an absent row set. False when out of memory.
  virtual bool addNoRows() = 0;
  /// Slot 5. Memory that lives as long as the answer, aligned for any value; null when out of memory.
  virtual void* allocate(size_t bytes) = 0;
  /// Slot 6. Makes the method fail with a code and a text (UTF-8, copied); replaces an earlier failure. The method then returns qvwlpFailed.
  virtual void fail(int32_t code, const char* text, int32_t length) = 0;

 protected:
  /// Slot 7.
  virtual ~QvjniAnswer() = default;
};

/// What the platform does for an instance.
class QvjniHost {
 public:
  /// Slot 1. Asks for a configuration value. Only inside create(); afterwards nothing is answered.
  /// @return a QvjniAnswered; text and length are valid until the next question
  virtual int32_t option(const char* key, const char** text, int32_t* length) = 0;
  /// Slot 2. Reports something: 0 = report, 1 = information, 2 = warning, 3 = error. Inside create() it reaches the creator's log callback,
  /// afterwards the log.
  virtual void log(int32_t level, const char* text) = 0;

 protected:
  /// Slot 3.
  virtual ~QvjniHost() = default;
};

/// An instance of a proxy class.
class QvjniInstance {
 public:
  /// Slot 1. Calls a method. Its answer is checked against the types that the caller expects before the caller sees it.
  /// @param[in] method      name; `getVersion` takes nothing and answers with one string
  /// @param[in] parameters  `count` cells, borrowed for the call
  /// @param[in] callback    to be polled while the method waits, or null
  /// @return 0; qvwlpNoSuchMethod; qvwlpBadArgument for parameters of other count or types; qvwlpFailed after QvjniAnswer::fail(); qvwlpNoMemory
  virtual int32_t call(const char* method, const QvwlpValue* parameters, int32_t count, QvjniInvokeCallback* callback, QvjniAnswer* answer) = 0;
  /// Slot 2. Ends the instance.
  virtual void release() = 0;

 protected:
  /// Slot 3.
  virtual ~QvjniInstance() = default;
};

/// A loaded module.
class QvjniModule {
 public:
  /// Slot 1. Makes an instance of a class.
  /// @param[in] className      full name of the class
  /// @param[in] interfaceName  the interface that calls will go through
  /// @param[in] host           outlives the instance
  /// @return null when the module has no such class or it cannot be made; the reason is reported through the host
  virtual QvjniInstance* create(const char* className, const char* interfaceName, QvjniHost* host) = 0;

 protected:
  /// Slot 2.
  virtual ~QvjniModule() = default;
};

/// The one function that a module exports, as "qvjniModule": the module for a version of this interface, or null when it does not implement that
/// version. The module lives as long as its library is loaded.
typedef QvjniModule* (*QvjniModuleEntry)(int32_t version);

#endif
