// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_XML_TEXT_POOL_H
#define QVX_XML_TEXT_POOL_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace qvx {

/// Keeps texts until it ends. What it returns is NUL-terminated, so that a cell of an answer can borrow it.
class TextPool {
 public:
  std::string_view store(std::string_view text) {
    if (text.empty()) return "";
    if (left_ < text.size() + 1) {
      left_ = std::max<std::size_t>(text.size() + 1, std::size_t{64} * 1024);
      blocks_.push_back(std::make_unique<char[]>(left_));
      next_ = blocks_.back().get();
    }
    char* const at = next_;
    std::memcpy(at, text.data(), text.size());
    at[text.size()] = '\0';
    next_ += text.size() + 1;
    left_ -= text.size() + 1;
    return {at, text.size()};
  }

  /// As store(), but one copy of equal texts.
  std::string_view intern(std::string_view text) {
    const auto found = known_.find(text);
    if (found != known_.end()) return *found;
    return *known_.insert(store(text)).first;
  }

 private:
  std::vector<std::unique_ptr<char[]>> blocks_;
  char* next_ = nullptr;
  std::size_t left_ = 0;
  std::unordered_set<std::string_view> known_;
};

}  // namespace qvx

#endif
