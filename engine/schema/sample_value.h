// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_SCHEMA_SAMPLE_VALUE_H
#define QVX_SCHEMA_SAMPLE_VALUE_H

#include "schema/schema_index.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace qvx::schema {

/// Texts that a pattern facet should match, shortest first, some of them at least `length` characters long. Best effort: the caller checks them.
/// Empty when the pattern is not understood.
std::vector<std::string> textsForPattern(std::string_view pattern, std::size_t length);

/// Makes sample texts for simple types.
class SampleValues {
 public:
  explicit SampleValues(Index& index) : index_(index) {}

  /// A text of the type. `prefixOf` names a namespace for values that are qualified names; `serial` numbers the ID values of one message.
  std::string value(Type& type, const std::function<std::string(const std::string&)>& prefixOf, unsigned& serial);
  /// True when the text is valid for the type in a message that declares no prefixes for it.
  bool accepts(Type& type, const std::string& text);
  /// True when no text of a message can be valid: entities and notations need declarations that a message does not have.
  bool impossible(Type& type);

 private:
  std::string make(Type& type, int depth);
  bool fits(Type& type, const std::string& text, int depth);
  void candidates(Type& type, std::vector<std::string>& out);

  Index& index_;
};

}  // namespace qvx::schema

#endif
