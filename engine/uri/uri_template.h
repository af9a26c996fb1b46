// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_URI_URI_TEMPLATE_H
#define QVX_URI_URI_TEMPLATE_H

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace qvx {

/// A URI template of any of the four levels (RFC 6570).
class UriTemplate {
 public:
  using List = std::vector<std::string>;
  using Pairs = std::vector<std::pair<std::string, std::string>>;
  /// The value of a variable; the first alternative is an undefined one.
  using Value = std::variant<std::monostate, std::string, List, Pairs>;

  /// @throw Error BadRequest naming the position (characters from 1) and what is wrong there
  explicit UriTemplate(std::string_view text);

  /// Names of the variables in order of appearance, each once.
  [[nodiscard]] const std::vector<std::string>& variables() const { return variables_; }
  /// @throw Error BadRequest for a value that its expression cannot take (RFC 6570 section 2.4.1: a prefix of a list)
  [[nodiscard]] std::string expand(const std::function<Value(const std::string& name)>& value) const;

 private:
  struct Variable {
    std::string name;
    int prefix = 0;  ///< characters to take; 0 = all
    bool explode = false;
  };
  struct Part {
    std::string literal;  ///< of text: percent-encoded as it is to appear
    char op = 0;          ///< of an expression: its operator, or a blank for none
    std::vector<Variable> variables;
  };
  std::vector<Part> parts_;
  std::vector<std::string> variables_;
};

}  // namespace qvx

#endif
