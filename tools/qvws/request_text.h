// SPDX-License-Identifier: Apache-2.0
#ifndef QVWSCLI_REQUEST_TEXT_H
#define QVWSCLI_REQUEST_TEXT_H

#include "payload.h"
#include "target.h"

#include <string>
#include <vector>

namespace qvwscli {

/// What the command line says of the data of a call.
struct DataArguments {
  std::string data;                 ///< file of the payload, "-" = standard input; empty = none given
  std::vector<std::string> values;  ///< of -p
  std::string header;               ///< file of header blocks; empty = none
  bool hasToken = false;            ///< the call adds a security header of its own
};

/// A value of the request: where it goes and what it is.
struct Input {
  std::string name;  ///< QName text
  bool isFile = false;
  std::string text;  ///< XML, or the path of its file
};

/// Makes the values of a request out of its data.
/// @throw Failure  Input
std::vector<Input> inputsOf(const Target& target, const DataArguments& data, const Namespaces& namespaces);

/// The envelope that these values come to, but for what a call adds for its security.
/// @throw Failure  Input: a value is not well-formed, or is not what its name says
std::string envelopeOf(const Target& target, const std::vector<Input>& inputs, const Namespaces& namespaces);

/// The name of a part of the envelope, "Header", "Body" or "Envelope", or of the envelope itself, as QName text.
std::string soapName(const Target& target, std::string_view part);

}  // namespace qvwscli

#endif
