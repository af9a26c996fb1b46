// SPDX-License-Identifier: Apache-2.0
#ifndef QVWSCLI_CALL_H
#define QVWSCLI_CALL_H

#include "exit_code.h"
#include "password.h"
#include "request_text.h"
#include "session.h"
#include "target.h"

#include <string>
#include <vector>

namespace qvwscli {

/// Everything that "qvws call" can be told.
struct CallArguments {
  Request request;
  std::string operation;
  PortChoice choice;
  DataArguments data;
  LoginArguments login;
  std::string wss;      ///< "text" or "digest"; empty = the login is HTTP's
  std::string address;  ///< empty = the port's
  std::string action;   ///< as `hasAction` says
  bool hasAction = false;
  int maxTime = 0;                     ///< seconds; 0 = the default
  std::vector<std::string> headers;    ///< "Name: value"
  std::vector<std::string> variables;  ///< NAME=VALUE of the address's template
  std::string file;                    ///< for the answer's payload
  std::vector<std::string> outputs;    ///< QNAME=FILE
  bool raw = false;
  bool dryRun = false;
  bool json = false;
};

/// Calls an operation and prints its answer.
ExitCode call(const CallArguments& arguments);

/// Prints the sample of an operation's request.
ExitCode sample(const CallArguments& arguments);

/// Prints the variables of a URI template, one a line.
ExitCode uri(const Request& request, const std::string& uriTemplate, bool json);

}  // namespace qvwscli

#endif
