// SPDX-License-Identifier: Apache-2.0
// Seals a password for the credentials file: reads it from standard input and prints the form to store.
#include "base/seal.h"

#include <stdio.h>
#include <string.h>

#include <exception>

#if !defined(_WIN32)
#include <termios.h>
#include <unistd.h>
#endif

namespace {

#if defined(_WIN32)
class SilentTerminal {};
#else
/// Keeps a terminal from showing what is typed.
class SilentTerminal {
 public:
  SilentTerminal() : is_(isatty(STDIN_FILENO) == 1 && tcgetattr(STDIN_FILENO, &before_) == 0) {
    if (!is_) return;
    termios silent = before_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    fputs("Password: ", stderr);
  }
  SilentTerminal(const SilentTerminal&) = delete;
  SilentTerminal& operator=(const SilentTerminal&) = delete;
  ~SilentTerminal() {
    if (!is_) return;
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
    fputs("\n", stderr);
  }

 private:
  termios before_{};
  bool is_;
};
#endif

bool readLine(qvp::Secret& line) {
  const SilentTerminal terminal;
  setvbuf(stdin, nullptr, _IONBF, 0);  // no copy is left in a buffer
  line.text.reserve(4096);
  for (;;) {
    const int c = getchar();
    if (c == EOF) return ferror(stdin) == 0 && !line.text.empty();
    if (c == '\n') break;
    if (line.text.size() == 4095) return false;
    line.text += static_cast<char>(c);
  }
  if (!line.text.empty() && line.text.back() == '\r') line.text.pop_back();
  return !line.text.empty();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) {
    const bool help = strcmp(argv[1], "--help") == 0;
    fputs(
        "Usage: qvseal\n"
        "Reads a password from standard input (one line, at most 4094 bytes) and prints it sealed, for a 'password' in the credentials file or a "
        "password\n"
        "option. The key is seal.key beside the credentials file (QVWS_CREDENTIALS_FILE, else qvws/credentials.toml in the user's configuration "
        "folder);\n"
        "it is made when it is not there.\n",
        help ? stdout : stderr);
    return help ? 0 : 2;
  }
  try {
    qvp::Secret password;
    if (!readLine(password)) {
      fputs("qvseal: no password on standard input, or one that is too long\n", stderr);
      return 2;
    }
    std::string sealed;
    qvp::SealError error;
    if (!qvp::sealText(password.text, qvp::sealKeyPath(), sealed, error)) {
      fprintf(stderr, "qvseal: %s\n", error.text.c_str());
      return 1;
    }
    return printf("%s\n", sealed.c_str()) > 0 && fflush(stdout) == 0 ? 0 : 1;
  } catch (const std::exception& problem) {
    fprintf(stderr, "qvseal: %s\n", problem.what());
    return 1;
  }
}
