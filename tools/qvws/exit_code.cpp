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
    {ExitCode::Internal, "internal: out of memory, an error in this program, or standard output cannot be written"},
    {ExitCode::Usage, "usage: a wrong command line, option or configuration file"},
    {ExitCode::Wsdl, "WSDL: it cannot be read or understood, or has no style that can be used (only \"document\" can)"},
    {ExitCode::Name, "name: nothing of that name, or several things; no port, or several"},
    {ExitCode::Input, "input: data or files of the call that cannot be used, or an output file that cannot be written"},
    {ExitCode::Connect, "connect: a server cannot be found or reached, or the transfer broke off"},
    {ExitCode::TimeOut, "time-out"},
    {ExitCode::Tls, "TLS: it failed, or a certificate was refused"},
    {ExitCode::Authentication, "authentication: the server or the HTTP proxy refused the credentials"},
    {ExitCode::HttpStatus, "HTTP: another status that is no success, or a redirect that was refused"},
    {ExitCode::Fault, "fault: the service answered with a SOAP fault"},
    {ExitCode::Reply, "reply: it is not understood or beyond a limit"},
    {ExitCode::Credentials, "credentials: the stored ones cannot be used"},
    {ExitCode::Engine, "engine: it is missing or cannot be loaded"},
    {ExitCode::Cancelled, "cancelled with Ctrl-C"},
};

/// Codes of the engine; one that stands in no row is internal.
struct EngineCodes {
  int first;
  int last;
  ExitCode discovering;
  ExitCode invoking;
};

constexpr EngineCodes kEngineCodes[] = {
    {101, 102, ExitCode::Usage, ExitCode::Usage},
    {103, 103, ExitCode::Name, ExitCode::Name},
    {104, 104, ExitCode::Usage, ExitCode::Usage},
    {106, 106, ExitCode::Usage, ExitCode::Input},
    {201, 201, ExitCode::Wsdl, ExitCode::Input},
    {202, 202, ExitCode::Wsdl, ExitCode::Usage},  // the address of a call can be given
    {203, 204, ExitCode::Connect, ExitCode::Connect},
    {205, 205, ExitCode::Tls, ExitCode::Tls},
    {206, 206, ExitCode::TimeOut, ExitCode::TimeOut},
    {207, 207, ExitCode::HttpStatus, ExitCode::HttpStatus},
    {208, 208, ExitCode::Authentication, ExitCode::Authentication},
    {209, 209, ExitCode::HttpStatus, ExitCode::HttpStatus},
    {210, 210, ExitCode::Connect, ExitCode::Connect},
    {211, 211, ExitCode::Cancelled, ExitCode::Cancelled},
    {212, 212, ExitCode::Input, ExitCode::Input},
    {300, 399, ExitCode::Wsdl, ExitCode::Reply},
    {401, 401, ExitCode::Fault, ExitCode::Fault},
    {402, 402, ExitCode::Reply, ExitCode::Reply},
};

/// Messages of the library, in which the engine has no part.
struct MessageCode {
  int message;
  ExitCode code;
};

constexpr MessageCode kMessageCodes[] = {
    {1442, ExitCode::Usage},       {1774, ExitCode::Wsdl},  {1776, ExitCode::Wsdl},        {1777, ExitCode::Wsdl},
    {1778, ExitCode::Usage},       {1779, ExitCode::Wsdl},  {1801, ExitCode::Wsdl},        {2101, ExitCode::Credentials},
    {2102, ExitCode::Credentials}, {2103, ExitCode::Usage}, {2104, ExitCode::Credentials},
};

constexpr std::string_view kPrefix = "QVWS-";

/// The number that follows `prefix` in a text; -1 when it is not there.
int numberAfter(std::string_view text, std::string_view prefix) {
  const std::size_t at = text.find(prefix);
  if (at == std::string_view::npos) return -1;
  int number = -1;
  std::from_chars(text.data() + at + prefix.size(), text.data() + text.size(), number);
  return number;
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

int engineCodeOf(std::string_view message) {
  if (message.substr(0, kPrefix.size()) != kPrefix || numberAfter(message, kPrefix) != 1725) return -1;
  return numberAfter(message, " failed with code ");
}

ExitCode exitCodeOf(std::string_view message, Doing doing) {
  // What has no number is what the engine's creation reported.
  if (message.substr(0, kPrefix.size()) != kPrefix) return ExitCode::Engine;
  const int engineCode = engineCodeOf(message);
  for (const EngineCodes& codes : kEngineCodes) {
    if (engineCode >= codes.first && engineCode <= codes.last) return doing == Doing::Discovering ? codes.discovering : codes.invoking;
  }
  const int number = numberAfter(message, kPrefix);
  for (const MessageCode& row : kMessageCodes) {
    if (number == row.message) return row.code;
  }
  return ExitCode::Internal;
}

}  // namespace qvwscli
