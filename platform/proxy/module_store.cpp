// SPDX-License-Identifier: Apache-2.0
#include "proxy/module_store.h"

#include "base/port.h"
#include "proxy/library.h"

#include <exception>
#include <map>
#include <mutex>
#include <string_view>

namespace qvp {
namespace {

/// Whether a path stays below the folder that it is appended to, on every system.
bool staysBelow(std::string_view path) {
  if (path.find_first_of(std::string_view("\\:\0", 3)) != std::string_view::npos || path.starts_with('/')) return false;
  while (!path.empty()) {
    const size_t slash = path.find('/');
    if (path.substr(0, slash) == "..") return false;
    path = slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
  }
  return true;
}

QvjniModule* open(const std::string& path, std::string& error) {
  std::string reason;
  void* library = port::openLibrary(path, reason);
  if (library == nullptr) {
    error = "The proxy module '" + path + "' cannot be loaded: " + reason + ".";
    return nullptr;
  }
  const auto entry = reinterpret_cast<QvjniModuleEntry>(port::libraryFunction(library, "qvjniModule"));
  if (entry == nullptr) {
    error = "'" + path + "' is not a proxy module: it exports no function qvjniModule.";
    return nullptr;
  }
  QvjniModule* module = entry(kQvjniModuleVersion);
  if (module == nullptr) {
    error = "The proxy module '" + path + "' does not implement version " + std::to_string(kQvjniModuleVersion) +
            " of the module interface; use the one of this release.";
  }
  return module;
}

}  // namespace

bool modulePath(const std::string& archive, const std::string& directory, std::string& path, std::string& error) {
  if (archive.empty() || archive.find('/') != std::string::npos || !staysBelow(archive)) {
    error = "'" + archive + "' is not the file name of an archive.";
    return false;
  }
  if (!staysBelow(directory)) {
    error = "The proxy directory '" + directory + "' does not lie below the proxy root; answer a relative one without '..'.";
    return false;
  }
  const std::string root = port::environment("QVWS_PROXY_ROOT").value_or(port::ownFolder());
  if (root.empty()) {
    error = "The folder of the proxy modules is not known; name it in QVWS_PROXY_ROOT.";
    return false;
  }
  const size_t dot = archive.find_last_of('.');
  path = root + '/' + (directory.empty() ? "" : directory + '/') + archive.substr(0, dot == 0 ? std::string::npos : dot) + port::kLibrarySuffix;
  return true;
}

QvjniModule* loadModule(const std::string& path, std::string& error) {
  struct Modules {
    std::mutex mutex;
    std::map<std::string, QvjniModule*> byPath;
  };
  static auto* const modules = new Modules;
  const std::lock_guard<std::mutex> lock(modules->mutex);
  QvjniModule*& module = modules->byPath[path];
  try {
    if (module == nullptr) module = open(path, error);
  } catch (const std::exception& problem) {
    error = "The proxy module '" + path + "' failed to start: " + problem.what() + ".";
  }
  return module;
}

}  // namespace qvp
