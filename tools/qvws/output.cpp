// SPDX-License-Identifier: Apache-2.0
#include "output.h"

#include "exit_code.h"
#include "text.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace qvwscli {

void print(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0) return;
  throw Failure(ExitCode::Internal, std::string("standard output cannot be written: ") + std::strerror(errno));
}

void printXml(std::string_view xml) {
  if (isatty(STDOUT_FILENO) == 1) {
    print(safe(xml, Escape::Xml));
  } else {
    print(xml);
  }
}

}  // namespace qvwscli
