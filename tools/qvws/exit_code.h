// SPDX-License-Identifier: Apache-2.0
#ifndef QVWSCLI_EXIT_CODE_H
#define QVWSCLI_EXIT_CODE_H

#include <stdexcept>
#include <string>
#include <string_view>

namespace qvwscli {

/// What the program ends with. Scripts depend on the numbers: none is ever given another meaning. 1 is left out, because a shell, a wrapper and a
/// runtime that gives up use it for anything.
enum class ExitCode : int {
  Success = 0,
  Usage = 2,
  SetUp = 3,
  Transport = 4,
  Refused = 5,
  Document = 6,
  Name = 7,
  Style = 8,
  Service = 9,
  Output = 10,
  Internal = 70
};

/// The exit codes with their causes, a line each, for `--help`.
std::string exitCodeHelp();

/// The exit code for a message of the library, told by its number and, for message 1725, by the engine's code in it.
ExitCode exitCodeOf(std::string_view message);

/// A failure on its way to main(): what the user reads, and what the program ends with.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
  [[nodiscard]] ExitCode code() const noexcept { return code_; }

 private:
  ExitCode code_;
};

}  // namespace qvwscli

#endif
