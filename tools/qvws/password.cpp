// SPDX-License-Identifier: Apache-2.0
#include "password.h"

#include "exit_code.h"
#include "interrupt.h"
#include "text.h"

#include <qvb/subject.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace qvwscli {
namespace {

/// A descriptor that is closed with this.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ > STDERR_FILENO) close(number_);
  }
  [[nodiscard]] int number() const { return number_; }

 private:
  int number_;
};

[[noreturn]] void unusable(const std::string& from, const std::string& why) {
  throw Failure(ExitCode::Input, from + " cannot be used: " + why);
}

/// The first line, read byte by byte so that nothing of it stays in a buffer.
/// @param[in] from  where it comes from, for people
QvbString firstLine(int descriptor, const std::string& from) {
  QvbString line;
  for (;;) {
    char c = 0;
    const ssize_t got = read(descriptor, &c, 1);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) unusable(from, std::strerror(errno));
    if (got == 0 && line.isNull()) unusable(from, "there is nothing in it");
    if (line.isNull()) line = "";
    if (got == 0 || c == '\n') break;
    if (c == '\0') unusable(from, "it has a zero byte");
    line.append(&c, 1);
  }
  if (line.length() > 0 && line.asCstr()[line.length() - 1] == '\r') line = line.mid(0, line.length() - 1);
  return line;
}

QvbString fromFile(const std::string& path) {
  const Descriptor file(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC));
  const std::string from = "the password file " + (path == "-" ? "(standard input)" : path);
  if (file.number() < 0) unusable(from, std::strerror(errno));
  return firstLine(file.number(), from);
}

QvbString fromTerminal(const std::string& user) {
  const Descriptor terminal(open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (terminal.number() < 0) {
    throw Failure(ExitCode::Usage, "there is no terminal to ask for the password on; give it with --password-file FILE, or - for standard input");
  }
  const EchoOff silence(terminal.number());
  const std::string prompt = "Password for " + safe(user, Escape::Line) + ": ";
  const std::string from = "the terminal's answer";
  if (!silence.works() || write(terminal.number(), prompt.data(), prompt.size()) < 0) unusable(from, std::strerror(errno));
  return firstLine(terminal.number(), from);
}

void checkDomain(const QvbString& domain) {
  QvbString user;
  QvbString password;
  QvbString further;
  QvbString err;
  const bool used = qvbSubjectAccess() != nullptr;
  const bool found = used && qvbSubjectCredentials(domain, user, password, &further);
  const bool decoded = found && qvbSubjectDecodePW(password, password, &err);
  if (used) qvbSubjectRelease();
  if (decoded) return;
  std::string text = "no stored credentials can be used for \"" + std::string(view(domain)) + "\"";
  for (const QvbString* more : {&further, &err}) {
    if (more->length() > 0) text += ": " + std::string(view(*more));
  }
  throw Failure(ExitCode::Credentials, text + "\nthey stand in the credentials file (~/.config/qvws/credentials.toml, mode 600)");
}

}  // namespace

Login login(const LoginArguments& arguments) {
  Login login;
  if (!arguments.domain.empty()) {
    login.domain = text(arguments.domain);
    checkDomain(login.domain);
  }
  if (arguments.user.empty()) return login;
  login.user = text(arguments.user);
  login.password = arguments.passwordFile.empty() ? fromTerminal(arguments.user) : fromFile(arguments.passwordFile);
  // A sealed one is opened when the client is set up; one that cannot be opened would go out as none.
  if (login.password.length() > 0 && qvbDecryptString(login.password).isNull()) {
    throw Failure(ExitCode::Credentials, "the sealed password of " + arguments.user + " cannot be opened");
  }
  return login;
}

}  // namespace qvwscli
