// SPDX-License-Identifier: Apache-2.0
#include "wsuri.h"

QvbString WSUriVariables::getString(int32_t column) {
  const int64_t index = getColumnCount() * current_ + column;
  // The index one past the last row goes on to the tested access, which throws: reading there is the caller's error and must show.
  if (index < 0 || index > static_cast<int64_t>(rows_.size())) return {};
  return rows_.at(static_cast<size_t>(index));
}

bool WSUriVariables::getRowCount(uint64_t& count) {
  count = rows_.size();
  return true;
}

bool WSUriVariables::next() {
  ++current_;
  return current_ < static_cast<int64_t>(rows_.size());
}

bool WSUriVariables::rewind() {
  current_ = -1;
  return true;
}
