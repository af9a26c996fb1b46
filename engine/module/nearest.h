// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_MODULE_NEAREST_H
#define QVX_MODULE_NEAREST_H

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qvx {

/// The name that takes the fewest edits to become; empty when all are too far away.
inline std::string nearest(std::string_view text, const std::vector<std::string_view>& names) {
  std::string best;
  std::size_t least = text.size() / 2 + 1;
  for (const std::string_view name : names) {
    std::vector<std::size_t> row(name.size() + 1);
    for (std::size_t i = 0; i < row.size(); ++i) row[i] = i;
    for (std::size_t i = 0; i < text.size(); ++i) {
      std::size_t diagonal = row[0];
      row[0] = i + 1;
      for (std::size_t j = 0; j < name.size(); ++j) {
        const std::size_t replaced = diagonal + (text[i] == name[j] ? 0 : 1);
        diagonal = row[j + 1];
        row[j + 1] = std::min({row[j] + 1, row[j + 1] + 1, replaced});
      }
    }
    if (row.back() < least) {
      least = row.back();
      best = std::string(name);
    }
  }
  return best;
}

}  // namespace qvx

#endif
