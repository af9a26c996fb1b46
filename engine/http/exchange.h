// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_HTTP_EXCHANGE_H
#define QVX_HTTP_EXCHANGE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// What a call hands to the transport and gets back from it.

namespace qvx {

/// The body of a request. It is read from its beginning as often as it has to be sent: once, unless an authentication or a redirect asks for more.
class RequestSource {
 public:
  RequestSource() = default;
  RequestSource(const RequestSource&) = delete;
  RequestSource& operator=(const RequestSource&) = delete;
  virtual ~RequestSource() = default;

  /// Bytes in all.
  [[nodiscard]] virtual std::uint64_t size() const = 0;
  /// The whole body when it lies in memory; nothing when it has to be read.
  [[nodiscard]] virtual std::optional<std::string_view> whole() const = 0;
  /// Reads the next bytes; 0 at the end.
  /// @throw Error FileUnreadable
  virtual std::size_t read(char* to, std::size_t most) = 0;
  /// Goes back to the first byte.
  virtual void rewind() = 0;
};

/// The status line and the headers of an answer, as received, in order.
struct ReplyHead {
  int status = 0;
  std::string version;  ///< as in the status line: "HTTP/1.1"
  std::string reason;   ///< empty when there is none
  std::vector<std::pair<std::string, std::string>> headers;

  /// Value of the first header of that name, which is compared without regard to case; empty when there is none.
  [[nodiscard]] std::string_view header(std::string_view name) const;
};

/// Takes an answer as it arrives, content codings undone. What it throws ends the exchange and reaches the caller.
class ReplySink {
 public:
  ReplySink() = default;
  ReplySink(const ReplySink&) = delete;
  ReplySink& operator=(const ReplySink&) = delete;
  virtual ~ReplySink() = default;

  /// The head of the answer that counts: not that of a challenge that is met, a redirect that is followed or a 1xx.
  virtual void begin(const ReplyHead& head) = 0;
  virtual void data(std::string_view bytes) = 0;
};

/// Asked while an exchange waits, and while its answer is read.
class Watch {
 public:
  Watch() = default;
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
  virtual ~Watch() = default;

  /// Whether to stop. Cheap: it may be asked at any time, and asks on only when it is time to.
  virtual bool stop() = 0;
  /// Milliseconds until it wants to be asked again, at least 1.
  [[nodiscard]] virtual int wait() const = 0;
};

/// A call over HTTP.
struct Exchange {
  std::string url;                   ///< http or https
  std::vector<std::string> headers;  ///< "Name: value", or "Name;" for an empty value; they win over the transport's own and the static ones
  RequestSource* body = nullptr;     ///< borrowed
  bool bodyHasSecret = false;        ///< then it goes to no other origin, whatever redirects are allowed
};

}  // namespace qvx

#endif
