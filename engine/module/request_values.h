// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_MODULE_REQUEST_VALUES_H
#define QVX_MODULE_REQUEST_VALUES_H

#include "uri/uri_template.h"

#include <qvwlp/qvwlp.h>

#include <string>
#include <string_view>
#include <vector>

namespace qvx {

/// Request and response values of this prefix are HTTP headers.
inline constexpr std::string_view kHeaderPrefix = "HTTP_HEADER/";

/// The request values of a call: HTTP headers, and variables of the address's template.
class RequestValues {
 public:
  /// @param[in] rows  name and value; values of one name in their order
  /// @throw Error BadRequest naming a header that cannot be sent
  explicit RequestValues(const QvwlpValue& rows);

  /// As "Name: value".
  [[nodiscard]] const std::vector<std::string>& headers() const { return headers_; }
  [[nodiscard]] bool hasVariables() const { return !variables_.empty(); }
  /// The address with its variables filled in; those without a value are left out.
  /// @throw Error BadRequest naming a value that is no variable of the address, or where the template is malformed
  [[nodiscard]] std::string fill(const std::string& address) const;

 private:
  struct Variable {
    std::string name;
    UriTemplate::List values;
  };
  std::vector<std::string> headers_;
  std::vector<Variable> variables_;
};

}  // namespace qvx

#endif
