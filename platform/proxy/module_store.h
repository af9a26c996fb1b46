// SPDX-License-Identifier: Apache-2.0
#ifndef QVP_PROXY_MODULE_STORE_H
#define QVP_PROXY_MODULE_STORE_H

#include <qvjni/module.h>

#include <string>

namespace qvp {

/// Path of the module that stands for an archive.
/// @param[in]  archive    file name of the archive; its suffix is exchanged for the system's
/// @param[in]  directory  folder below the proxy root; empty for the root itself
/// @param[out] error      on failure a sentence
bool modulePath(const std::string& archive, const std::string& directory, std::string& path, std::string& error);

/// The module of a library, which is opened at the first call and stays open: code of a closed one might still be on its way out of the process.
/// @param[out] error  on failure a sentence
QvjniModule* loadModule(const std::string& path, std::string& error);

}  // namespace qvp

#endif
