// SPDX-License-Identifier: Apache-2.0
#ifndef QVP_PROXY_LIBRARY_H
#define QVP_PROXY_LIBRARY_H

#include <string>

// Dynamic libraries of the operating system.
namespace qvp::port {

/// What a dynamic library's file name ends in.
extern const char* const kLibrarySuffix;

/// Folder of the library (or program) that this code is part of; empty when the system does not tell.
std::string ownFolder();
/// Opens a library for good; null with the reason on failure.
void* openLibrary(const std::string& path, std::string& error);
/// A function of an open library; null when it has none of that name.
void* libraryFunction(void* library, const char* name);

}  // namespace qvp::port

#endif
