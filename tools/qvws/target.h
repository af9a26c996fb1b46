// SPDX-License-Identifier: Apache-2.0
#ifndef QVWSCLI_TARGET_H
#define QVWSCLI_TARGET_H

#include "session.h"

#include <optional>
#include <string>

namespace qvwscli {

/// Which of the ports that offer an operation is meant; empty = any.
struct PortChoice {
  std::string service;  ///< local name or QName text
  std::string port;
  std::string soap;  ///< "1.1" or "1.2"
};

/// What a description says of one message; empty texts where it says nothing.
struct MessageText {
  std::string name;    ///< QName text
  std::string schema;  ///< XML Schema of the payload
  std::string sample;  ///< a whole envelope
};

/// An operation at one port.
struct Target {
  std::string operation;  ///< QName text
  std::string service;    ///< QName text; empty when no port offers the operation
  std::string port;
  std::string soap;  ///< "1.1" or "1.2": the version of the port's sample envelope
  std::optional<std::string> address;
  std::optional<std::string> action;
  MessageText input;
  MessageText output;
};

/// Whether ports that differ in nothing but their name and address may stand for each other.
enum class Ports { Differ, SameMessageWillDo };

/// Finds the operation of that name (local name or QName text, alone or below its binding or interface: "PARENT/NAME") and the port to call it at.
/// Address and action are that port's own.
/// @throw Failure  what Session throws; nothing of that name, or several ports: the text lists them and what tells them apart
Target findTarget(const Request& request, const Login& login, const std::string& operation, const PortChoice& choice, Ports ports);

}  // namespace qvwscli

#endif
