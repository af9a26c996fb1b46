// SPDX-License-Identifier: Apache-2.0
#include "proxy/library.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace qvp::port {
namespace {

std::string folderOf(const std::string& path) {
  const size_t slash = path.find_last_of("/\\");
  return slash == std::string::npos ? "." : path.substr(0, slash);
}

const char kOwnAddress = 0;

}  // namespace

#if defined(_WIN32)

const char* const kLibrarySuffix = ".dll";

std::string ownFolder() {
  HMODULE self = nullptr;
  constexpr DWORD kFlags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  if (!GetModuleHandleExA(kFlags, &kOwnAddress, &self)) return {};
  char path[4096];
  const DWORD length = GetModuleFileNameA(self, path, sizeof path);
  return length == 0 || length == sizeof path ? std::string() : folderOf(std::string(path, length));
}

void* openLibrary(const std::string& path, std::string& error) {
  HMODULE library = LoadLibraryExA(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (library == nullptr) error = "system error " + std::to_string(GetLastError());
  return reinterpret_cast<void*>(library);
}

void* libraryFunction(void* library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

#else

const char* const kLibrarySuffix = ".so";

std::string ownFolder() {
  Dl_info info{};
  if (dladdr(&kOwnAddress, &info) == 0 || info.dli_fname == nullptr) return {};
  return folderOf(info.dli_fname);
}

void* openLibrary(const std::string& path, std::string& error) {
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    const char* reason = dlerror();
    error = reason != nullptr ? reason : "unknown reason";
  }
  return library;
}

void* libraryFunction(void* library, const char* name) {
  return dlsym(library, name);
}

#endif

}  // namespace qvp::port
