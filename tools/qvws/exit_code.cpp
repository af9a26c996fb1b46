// SPDX-License-Identifier: Apache-2.0
#include "exit_code.h"

#include <charconv>

namespace qvwscli {
namespace {

struct Cause {
  ExitCode code;
  const char* text;
};

constexpr Cause kCauses[] = {
    {ExitCode::Success, "success"},
    {ExitCode::Usage, "usage: a wrong command line, or an option's value that cannot be used"},
    {ExitCode::SetUp, "set-up: the configuration, the stored credentials or the engine cannot be used"},
    {ExitCode::Transport, "transport: a file cannot be read, a server not reached, or it answered with an error"},
    {ExitCode::Refused, "refused: the server wants other credentials, or TLS failed"},
    {ExitCode::Document, "document: not a WSDL document, not well-formed, or one that refers to what is not there"},
    {ExitCode::Name, "name: nothing of that name, or several things"},
    {ExitCode::Style, "style: no binding can be used, only style \"document\" can"},
    {ExitCode::Service, "service: the service answered with a fault, or with something not understood"},
    {ExitCode::Output, "output: standard output cannot be written"},
    {ExitCode::Internal, "internal: out of memory, or an error in this program"},
};

/// The number that follows `prefix` in a text; -1 when it is not there.
int numberAfter(std::string_view text, std::string_view prefix) {
  const std::size_t at = text.find(prefix);
  if (at == std::string_view::npos) return -1;
  int number = -1;
  std::from_chars(text.data() + at + prefix.size(), text.data() + text.size(), number);
  return number;
}

ExitCode ofEngine(int code) {
  switch (code) {
    case 101:
    case 104:
    case 106:
      return ExitCode::Usage;
    case 102:
      return ExitCode::SetUp;
    case 103:
      return ExitCode::Name;
    case 205:
    case 208:
      return ExitCode::Refused;
    default:
      break;
  }
  switch (code / 100) {
    case 2:
      return ExitCode::Transport;
    case 3:
      return ExitCode::Document;
    case 4:
      return ExitCode::Service;
    default:
      return ExitCode::Internal;
  }
}

}  // namespace

std::string exitCodeHelp() {
  std::string help = "Exit codes:\n";
  for (const Cause& cause : kCauses) {
    const std::string number = std::to_string(static_cast<int>(cause.code));
    help += std::string(number.size() < 4 ? 4 - number.size() : 0, ' ') + number + "  " + cause.text + "\n";
  }
  return help;
}

ExitCode exitCodeOf(std::string_view message) {
  constexpr std::string_view kPrefix = "QVWS-";
  // What has no number is what the engine's creation reported.
  if (message.substr(0, kPrefix.size()) != kPrefix) return ExitCode::SetUp;
  switch (numberAfter(message, kPrefix)) {
    case 1725:
      return ofEngine(numberAfter(message, " failed with code "));
    case 1442:
    case 1778:
      return ExitCode::Usage;
    case 2101:
    case 2102:
    case 2103:
    case 2104:
      return ExitCode::SetUp;
    case 1774:
    case 1776:
    case 1777:
    case 1779:
      return ExitCode::Document;
    case 1801:
      return ExitCode::Style;
    default:
      return ExitCode::Internal;
  }
}

}  // namespace qvwscli
