// SPDX-License-Identifier: Apache-2.0
#ifndef QVP_BASE_WIPE_H
#define QVP_BASE_WIPE_H

#include <stddef.h>
#include <string.h>

#include <string>

namespace qvp {

/// Clears memory in a way that the optimiser keeps, although nothing reads it again.
inline void wipe(void* memory, size_t bytes) noexcept {
  memset(memory, 0, bytes);
#if defined(__GNUC__)
  __asm__ __volatile__("" : : "r"(memory) : "memory");
#else
  volatile char* bytesKept = static_cast<char*>(memory);
  for (size_t i = 0; i < bytes; ++i) bytesKept[i] = 0;
#endif
}

inline void wipe(std::string& text) noexcept {
  wipe(text.data(), text.size());
  text.clear();
}

/// A text that is wiped when it goes out of scope.
class Secret {
 public:
  Secret() = default;
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;
  ~Secret() { wipe(text); }

  std::string text;
};

}  // namespace qvp

#endif
