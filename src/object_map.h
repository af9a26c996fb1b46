// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_SRC_OBJECT_MAP_H
#define QVWS_SRC_OBJECT_MAP_H

#include "report.h"

#include <qvb/string.h>

#include <stdint.h>

#include <iterator>
#include <map>
#include <memory>
#include <new>
#include <utility>

/// Orders keys by the base string's comparison, with the flag that the map was made with.
struct KeyOrder {
  bool collation;
  bool operator()(const QvbString& a, const QvbString& b) const { return a.compare(b, collation) < 0; }
};

/// An ordered map that also finds by position. It remembers the last position asked for, so that walking it by index costs one step an entry.
template <class Value>
class IndexedMap {
 public:
  using Map = std::map<QvbString, Value, KeyOrder>;
  using iterator = typename Map::iterator;

  explicit IndexedMap(bool collation) : map_(KeyOrder{collation}) {}
  IndexedMap(const IndexedMap&) = delete;
  IndexedMap& operator=(const IndexedMap&) = delete;

  iterator begin() { return map_.begin(); }
  iterator end() { return map_.end(); }
  iterator find(const QvbString& key) { return map_.find(key); }
  [[nodiscard]] int32_t count() const { return static_cast<int32_t>(map_.size()); }
  [[nodiscard]] bool empty() const { return map_.empty(); }

  /// The entry of a key, made when there is none; whether it was made.
  template <class... Arguments>
  std::pair<iterator, bool> tryEmplace(const QvbString& key, Arguments&&... arguments) {
    position_ = -1;
    return map_.try_emplace(key, std::forward<Arguments>(arguments)...);
  }
  iterator erase(iterator entry) {
    position_ = -1;
    return map_.erase(entry);
  }
  /// Takes the first entry out, so that it ends outside of the map.
  typename Map::node_type takeFirst() {
    position_ = -1;
    return map_.extract(map_.begin());
  }

  void clear() {
    position_ = -1;
    map_.clear();
  }

  /// The entry at a position in key order; the end when there is none.
  iterator at(int32_t index) {
    if (index < 0 || index >= count()) return map_.end();
    if (position_ < 0 || index < position_ - index) {  // nothing remembered, or nearer to the front
      entry_ = map_.begin();
      position_ = 0;
    }
    std::advance(entry_, index - position_);
    position_ = index;
    return entry_;
  }

 private:
  Map map_;
  iterator entry_;
  int32_t position_ = -1;  // of entry_; -1 = nothing is remembered
};

/// Discovered objects by the text of their name. Owning, unless `Pointer` is a raw pointer.
template <class Object, class Pointer = std::unique_ptr<Object>>
class ObjectMap {
 public:
  using iterator = typename IndexedMap<Pointer>::iterator;

  ObjectMap() : objects_(true) {}

  iterator begin() { return objects_.begin(); }
  iterator end() { return objects_.end(); }
  iterator erase(iterator entry) { return objects_.erase(entry); }
  [[nodiscard]] int32_t count() const { return objects_.count(); }
  [[nodiscard]] bool empty() const { return objects_.empty(); }

  /// The object of that key; null when there is none.
  Object* find(const QvbString& key) {
    const auto entry = objects_.find(key);
    return entry != objects_.end() ? &*entry->second : nullptr;
  }

  /// The object at a position in key order; null when there is none, with message 1420 in `err` when that is not null.
  Object* at(int32_t index, QvbString* err, const char* file = __builtin_FILE(), int32_t line = __builtin_LINE()) {
    const auto entry = objects_.at(index);
    if (entry != objects_.end()) return &*entry->second;
    if (err != nullptr) setMessage(*err, MessageAt(kMsgIndexOutOfRange, file, line));
    return nullptr;
  }

  /// Makes an object of these arguments and stores it under a key.
  /// @return the object; null with message 444, or with 1776, the kind and the key when that is taken: nothing is stored then
  template <class... Arguments>
  Object* add(const QvbString& key, const char* kind, QvbString& err, Arguments&&... arguments) {
    Pointer object(new (std::nothrow) Object(std::forward<Arguments>(arguments)...));
    if (object == nullptr) {
      setMessage(err, kMsgOutOfMemory);
      return nullptr;
    }
    const auto [entry, added] = objects_.tryEmplace(key, std::move(object));
    if (added) return &*entry->second;
    setMessage(err, kMsgDuplicate, kind, key.asCstr());
    return nullptr;
  }

  void removeKey(const QvbString& key) {
    const auto entry = objects_.find(key);
    if (entry != objects_.end()) objects_.erase(entry);
  }

  /// Ends the objects, the first one first.
  void clear() {
    while (!objects_.empty()) objects_.takeFirst();
  }

 private:
  IndexedMap<Pointer> objects_;
};

#endif
