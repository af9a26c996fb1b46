// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_SOAP_REQUEST_ENVELOPE_H
#define QVX_SOAP_REQUEST_ENVELOPE_H

#include "http/exchange.h"
#include "names.h"
#include "security/username_token.h"
#include "soap/sample_message.h"
#include "xml/sax.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvx {

/// A value bound to the request.
struct InputValue {
  QualifiedName name;
  bool isFile = false;  ///< `text` is a path
  bool isXml = true;    ///< the value is XML, not text to be escaped
  std::string text;     ///< the value, or the path of the file that holds it; empty makes an empty element
};

/// What an envelope is made of; everything is borrowed until the envelope has ended.
struct EnvelopeParts {
  const std::vector<InputValue>& inputs;
  const std::vector<std::pair<std::string, std::string>>& namespaces;  ///< prefix and namespace, declared on the envelope
  std::optional<SoapVersion> version;                                  ///< nothing: that of a finished envelope, else 1.1
  const UsernameToken* token = nullptr;                                ///< first in the header; a finished envelope is sent without it
  const Limits& limits;
  Watch* watch = nullptr;  ///< asked while files are checked
};

/// The request of a call, checked and ready to be sent. Values from files are checked in one pass and read again while they are sent; everything else
/// lies in memory.
class RequestEnvelope final : public RequestSource {
 public:
  /// @throw Error BadRequest naming the value and the place in it; FileUnreadable; LimitExceeded; Cancelled
  explicit RequestEnvelope(const EnvelopeParts& parts);
  ~RequestEnvelope() override;

  [[nodiscard]] SoapVersion version() const;
  /// For the content type: "utf-8", or that of a finished envelope.
  [[nodiscard]] const std::string& charset() const;
  /// Whether a password is in it.
  [[nodiscard]] bool hasSecret() const;

  [[nodiscard]] std::uint64_t size() const override;
  [[nodiscard]] std::optional<std::string_view> whole() const override;
  std::size_t read(char* to, std::size_t most) override;
  void rewind() override;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace qvx

#endif
