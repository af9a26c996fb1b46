// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_MODULE_CONFIG_FILE_H
#define QVX_MODULE_CONFIG_FILE_H

#include "module/options.h"

#include <string>

namespace qvx {

/// Reads a configuration file into options: defaults for those that the caller may set, static headers, limits, the catalogue.
/// @throw Error BadConfig naming file and line: unreadable, malformed, an unknown key, a value of another type
void readConfigFile(const std::string& path, Options& options);

}  // namespace qvx

#endif
