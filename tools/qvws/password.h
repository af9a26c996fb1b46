// SPDX-License-Identifier: Apache-2.0
#ifndef QVWSCLI_PASSWORD_H
#define QVWSCLI_PASSWORD_H

#include "session.h"

#include <string>

namespace qvwscli {

/// How the command line says who logs in.
struct LoginArguments {
  std::string user;
  std::string passwordFile;  ///< "-" is standard input; empty = ask on the terminal
  std::string domain;        ///< label of stored credentials
};

/// Gets the password of a user from the file's first line or from the terminal, and checks that a label's credentials are there.
/// @throw Failure  Usage: there is no terminal to ask on; Input: the file cannot be read; Credentials: there are none, or they cannot be used
Login login(const LoginArguments& arguments);

}  // namespace qvwscli

#endif
