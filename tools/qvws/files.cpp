// SPDX-License-Identifier: Apache-2.0
#include "files.h"

#include "exit_code.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace qvwscli {

std::string readAll(const std::string& path) {
  const auto close = [](std::FILE* file) {
    if (file != stdin) (void)std::fclose(file);  // nothing was written to it
  };
  const std::unique_ptr<std::FILE, decltype(close)> file(path == "-" ? stdin : std::fopen(path.c_str(), "rb"), close);
  const std::string name = path == "-" ? "standard input" : path;
  if (file == nullptr) throw Failure(ExitCode::Input, name + " cannot be read: " + std::strerror(errno));
  std::string text;
  char buffer[65536];
  while (const std::size_t got = std::fread(buffer, 1, sizeof buffer, file.get())) text.append(buffer, got);
  if (std::ferror(file.get()) != 0) throw Failure(ExitCode::Input, name + " cannot be read: " + std::strerror(errno));
  return text;
}

bool isRegularFile(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace qvwscli
