// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_HTTP_HEADER_H
#define QVX_HTTP_HEADER_H

#include <string>
#include <string_view>

namespace qvx {

/// Whether this is the name and the value of a header (RFC 9110 section 5): a token, and a text without line breaks and other control characters.
bool isHeader(std::string_view name, std::string_view value);

/// Names of headers are the same in any case.
bool sameHeader(std::string_view one, std::string_view other);

/// "Name: value" as the transport takes it.
std::string headerLine(std::string_view name, std::string_view value);

/// The media type of a content type, without its parameters.
std::string_view mediaTypeOf(std::string_view contentType);

/// The charset parameter of a content type (RFC 9110 section 8.3.2); empty when there is none.
std::string charsetOf(std::string_view contentType);

/// The first 200 characters of what a server sent, on one line, for a message; U+FFFD for bytes that are no UTF-8.
std::string beginningOf(std::string_view body);

}  // namespace qvx

#endif
