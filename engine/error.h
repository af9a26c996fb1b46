// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_ERROR_H
#define QVX_ERROR_H

#include <cstdint>
#include <stdexcept>
#include <string>

namespace qvx {

/// Why a method of the proxy class failed. The numbers reach programs in message 1725 and the command line's exit codes hang on them: a number is never given to
/// something else, and new ones go to the end of their hundred.
enum class ErrorCode : std::int32_t {
  // What the caller asked for.
  BadOption = 101,      ///< an option's value does not convert
  BadConfig = 102,      ///< the configuration file cannot be read, is malformed or has an unknown key
  UnknownName = 103,    ///< no service, port, binding, interface or operation of that name
  NoAddress = 104,      ///< no address was given
  UnknownHandle = 105,  ///< a discovery that was released or never made
  BadRequest = 106,     ///< a request value or parameter that cannot be used
  // Getting something from somewhere.
  FileUnreadable = 201,     ///< a local file cannot be read
  UnsupportedScheme = 202,  ///< a URL whose scheme is not file, http or https
  Resolve = 203,            ///< a host name does not resolve
  Connect = 204,            ///< a connection cannot be made
  Tls = 205,                ///< TLS failed or a certificate was refused
  TimeOut = 206,            ///< the time-out passed
  HttpStatus = 207,         ///< the server answered with a status that is no success
  Authentication = 208,     ///< the server or the HTTP proxy refused the credentials
  Redirect = 209,           ///< a redirect was refused
  Transfer = 210,           ///< the transfer broke off
  Cancelled = 211,          ///< the caller stopped the call
  FileUnwritable = 212,     ///< a file for an output cannot be written
  // Understanding a document.
  NotWellFormed = 301,       ///< not well-formed XML
  NotWsdl = 302,             ///< XML, but no WSDL document
  UnsupportedVersion = 303,  ///< a version of WSDL or SOAP that is not read
  UnresolvedImport = 304,    ///< an imported or included document cannot be had
  BadReference = 305,        ///< a name that is defined nowhere, or a prefix that is not declared
  BadStructure = 306,        ///< an element or attribute that is missing or misplaced
  LimitExceeded = 307,       ///< a document beyond the limits
  DtdRefused = 308,          ///< a document type declaration
  // What a service answered.
  Fault = 401,     ///< a SOAP fault
  BadReply = 402,  ///< a reply that is not understood
  // This module.
  NoMemory = 901,
  Internal = 902
};

/// A failure on its way to the method's boundary. `what()` says what happened, where (document, line, element) and what to try, for people.
class Error : public std::runtime_error {
 public:
  Error(ErrorCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
  [[nodiscard]] ErrorCode code() const noexcept { return code_; }

 private:
  ErrorCode code_;
};

}  // namespace qvx

#endif
