// SPDX-License-Identifier: Apache-2.0
#ifndef QVWSCLI_EXIT_CODE_H
#define QVWSCLI_EXIT_CODE_H

#include <stdexcept>
#include <string>
#include <string_view>

namespace qvwscli {

/// What the program ends with. Scripts depend on the numbers: none is ever given another meaning.
enum class ExitCode : int {
  Success = 0,
  Internal = 1,
  Usage = 2,
  Wsdl = 3,
  Name = 4,
  Input = 5,
  Connect = 6,
  TimeOut = 7,
  Tls = 8,
  Authentication = 9,
  HttpStatus = 10,
  Fault = 11,
  Reply = 12,
  Credentials = 13,
  Engine = 14,
  Cancelled = 130
};

/// The exit codes with their causes, a line each, for `--help`.
std::string exitCodeHelp();

/// What the program was at when a message came: a file that cannot be read is the description in one case, a parameter's value in the other.
enum class Doing { Discovering, Invoking };

/// The engine's code in a message 1725; -1 in any other.
int engineCodeOf(std::string_view message);

/// The exit code for a message of the library, told by its number and, for message 1725, by the engine's code in it.
ExitCode exitCodeOf(std::string_view message, Doing doing = Doing::Discovering);

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
