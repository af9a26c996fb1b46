// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_SECURITY_USERNAME_TOKEN_H
#define QVX_SECURITY_USERNAME_TOKEN_H

#include "soap/sample_message.h"

#include <string>
#include <string_view>

namespace qvx {

/// A user name and a password to be put into a message (OASIS Web Services Security UsernameToken Profile 1.1.1).
struct UsernameToken {
  std::string user;
  std::string domain;  ///< goes before the user with a backslash; empty = none
  std::string password;
  bool digest = false;
  bool mustUnderstand = false;

  /// Appends a wsse:Security header block with a Timestamp and the token; with a nonce and a time of its own each time.
  /// @param[in] soapPrefix  prefix of the envelope's namespace, for mustUnderstand
  void appendTo(std::string& out, std::string_view soapPrefix) const;
};

}  // namespace qvx

#endif
