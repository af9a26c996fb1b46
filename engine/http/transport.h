// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_HTTP_TRANSPORT_H
#define QVX_HTTP_TRANSPORT_H

#include "http/exchange.h"
#include "http/location.h"
#include "xml/sax.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace qvx {

/// How documents are fetched and services are called.
struct TransportOptions {
  std::string user, password, domain;
  std::string authentication;  ///< basic, digest, ntlm, negotiate, any; empty: basic over https, any over http
  std::string proxyHost;
  std::int64_t proxyPort = 0;  ///< 0: 1080's place is taken by 3128, the usual one of HTTP proxies
  std::string proxyUser, proxyPassword, proxyDomain, noProxy;
  std::int64_t requestSeconds = 300;  ///< 0 = no limit
  std::int64_t connectSeconds = 30;
  std::int64_t redirects = 0;
  std::string caFile, certificateFile, keyFile;
  bool insecure = false;
  std::vector<std::string> headers;  ///< "Name: value"
};

/// A fetched document.
struct Fetched {
  std::shared_ptr<const std::string> bytes;
  std::string encoding;  ///< what the server said of it; may be empty
  Location location;     ///< where it came from in the end
};

/// Gets documents from files and over HTTP. Keeps its connections. One thread at a time.
class Transport {
 public:
  using Log = std::function<void(int level, const std::string& text)>;

  Transport(TransportOptions options, const Limits& limits, Log log);
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;
  ~Transport();

  /// The one origin that is given credentials.
  void trust(const std::string& origin) { trusted_ = origin; }
  /// @throw Error with a code of the 200s, or LimitExceeded
  Fetched fetch(const Location& location);

  /// Posts a body and hands the answer to a sink. Sends at most once: a request whose answer was lost is never sent again.
  /// Answers of any status reach the sink; it is for the caller to judge them. Redirects with 307 and 308 are followed as the options allow.
  /// @param[in] watch  asked while this waits; null = never
  /// @throw Error Cancelled when the watch says so, within 250 ms, with the connection dropped; other codes of the 200s; what source and sink throw
  void exchange(const Exchange& call, ReplySink& sink, Watch* watch);

 private:
  using Clock = std::chrono::steady_clock;
  class Transfer;
  class Document;
  class Call;
  struct Handle;

  [[nodiscard]] Fetched readFile(const Location& location) const;
  Fetched get(const Location& location);
  Handle& handle();
  void configure(Handle& handle, const std::string& url, bool trusted) const;
  void preparePost(Handle& handle, const std::string& url, bool trusted, const Exchange& call);
  [[nodiscard]] std::vector<std::string> headersFor(const Exchange& call, bool trusted) const;
  void post(Handle& handle, const std::string& name, RequestSource& body, Call& transfer, Clock::time_point start);
  void limitTime(Handle& handle, Clock::time_point start) const;
  int run(Handle& handle, Transfer& transfer, bool& stopped);
  void perform(Handle& handle, const std::string& name, Transfer& transfer);
  [[nodiscard]] Location redirectTarget(Handle& handle, const Location& from, const std::string& answered, std::int64_t redirected) const;

  TransportOptions options_;
  const Limits& limits_;
  Log log_;
  std::string trusted_;
  std::unique_ptr<Handle> handle_;
};

}  // namespace qvx

#endif
