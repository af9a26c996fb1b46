// SPDX-License-Identifier: Apache-2.0
#ifndef QVWSCLI_FILES_H
#define QVWSCLI_FILES_H

#include <string>

namespace qvwscli {

/// All bytes of a file, or of standard input when it is named "-".
/// @throw Failure  Input: it cannot be read
std::string readAll(const std::string& path);

/// Whether a path names a regular file, which can be read more than once and from any place.
bool isRegularFile(const std::string& path);

}  // namespace qvwscli

#endif
