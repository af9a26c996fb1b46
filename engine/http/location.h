// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_HTTP_LOCATION_H
#define QVX_HTTP_LOCATION_H

#include <string>
#include <string_view>

namespace qvx {

/// Where a document lies: an absolute path, or an http(s) URL without a fragment. Equal texts are the same document.
struct Location {
  bool isFile = true;
  std::string text;
};

/// Reads what a user gave: a path, a file: URL or an http(s) URL.
/// @throw Error UnsupportedScheme, BadRequest (a malformed URL)
Location locate(std::string_view address);

/// Resolves a reference as it stands in a document against that document's location (RFC 3986 section 5).
/// @throw Error as locate()
Location resolve(const Location& base, std::string_view reference);

/// "https://host:443" of a URL; empty for a file.
std::string originOf(const Location& location);

/// The location for people: without a user name or a password.
std::string printable(const Location& location);

}  // namespace qvx

#endif
