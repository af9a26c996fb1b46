// SPDX-License-Identifier: Apache-2.0
#ifndef QVP_WIRE_ARENA_H
#define QVP_WIRE_ARENA_H

#include <stddef.h>
#include <stdint.h>

namespace qvp {

/// Memory that is given out piece by piece and freed at once. Shared by counting its users; for one thread.
class Arena {
 public:
  /// An arena with one user; null when out of memory.
  static Arena* create() noexcept;
  void retain() noexcept { ++users_; }
  /// Frees the arena with its last user.
  void release() noexcept;

  /// Aligned for any value; null when out of memory.
  void* allocate(size_t bytes) noexcept;
  /// A copy that ends in a NUL.
  char* copyText(const char* text, size_t length) noexcept;

  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;

 private:
  struct Block {
    Block* next;
  };

  Arena() = default;
  ~Arena() = default;
  bool grow(size_t bytes) noexcept;

  Block* blocks_ = nullptr;
  char* free_ = nullptr;
  size_t left_ = 0;
  size_t nextSize_ = 2048;
  int32_t users_ = 1;
};

}  // namespace qvp

#endif
