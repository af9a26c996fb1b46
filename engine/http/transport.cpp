// SPDX-License-Identifier: Apache-2.0
#include "http/transport.h"

#include "error.h"

#include <curl/curl.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <mutex>
#include <new>
#include <system_error>
#include <utility>

namespace qvx {

namespace {

struct FreeEasy {
  void operator()(CURL* easy) const noexcept { curl_easy_cleanup(easy); }
};
struct FreeList {
  void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
};

struct Sink {
  std::string bytes;
  std::size_t limit = 0;
  bool over = false;
  bool noMemory = false;
};

std::size_t receive(char* data, std::size_t size, std::size_t count, void* to) noexcept {
  auto& sink = *static_cast<Sink*>(to);
  const std::size_t length = size * count;
  if (sink.bytes.size() + length > sink.limit) {
    sink.over = true;
    return 0;
  }
  try {
    sink.bytes.append(data, length);
  } catch (...) {
    sink.noMemory = true;
    return 0;
  }
  return length;
}

std::string charsetOf(const char* contentType) {
  if (contentType == nullptr) return {};
  std::string type(contentType);
  std::string lower = type;
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  const std::size_t at = lower.find("charset=");
  if (at == std::string::npos) return {};
  std::string charset = type.substr(at + 8);
  charset = charset.substr(0, charset.find(';'));
  charset.erase(std::remove_if(charset.begin(), charset.end(), [](char c) { return c == '"' || c == '\'' || c == ' '; }), charset.end());
  return charset;
}

std::string beginningOf(const std::string& body) {
  std::string text;
  for (const char c : body.substr(0, 200)) text += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
  // A character that the cut went through is left out.
  std::size_t end = text.size();
  while (end > 0 && (static_cast<unsigned char>(text[end - 1]) & 0xC0) == 0x80) --end;
  if (end > 0 && (static_cast<unsigned char>(text[end - 1]) & 0xC0) == 0xC0) text.resize(end - 1);
  return text;
}

std::string account(const std::string& domain, const std::string& user) {
  return domain.empty() ? user : domain + "\\" + user;
}

}  // namespace

struct Transport::Handle {
  std::unique_ptr<CURL, FreeEasy> easy{curl_easy_init()};
};

Transport::Transport(TransportOptions options, const Limits& limits, Log log) : options_(std::move(options)), limits_(limits), log_(std::move(log)) {}
Transport::~Transport() = default;

Fetched Transport::fetch(const Location& location) {
  return location.isFile ? readFile(location) : get(location);
}

Fetched Transport::readFile(const Location& location) const {
  const auto fail = [&](const std::string& why) -> Error {
    return {ErrorCode::FileUnreadable, location.text + ": the file cannot be read (" + why + "); check the path and its permissions"};
  };
  std::error_code failed;
  const auto status = std::filesystem::status(location.text, failed);
  if (!std::filesystem::exists(status)) throw fail(failed ? failed.message() : "No such file or directory");
  if (std::filesystem::is_directory(status)) throw fail("it is a directory");
  errno = 0;
  std::ifstream in(location.text, std::ios::binary);
  if (!in) throw fail(std::strerror(errno));
  auto bytes = std::make_shared<std::string>();
  const auto size = std::filesystem::file_size(location.text, failed);
  if (!failed && size <= limits_.documentBytes) bytes->reserve(static_cast<std::size_t>(size) + 1);
  constexpr std::size_t kChunk = std::size_t{1} << 16;
  for (;;) {
    const std::size_t had = bytes->size();
    bytes->resize(had + kChunk);
    in.read(bytes->data() + had, static_cast<std::streamsize>(kChunk));
    bytes->resize(had + static_cast<std::size_t>(in.gcount()));
    if (bytes->size() > limits_.documentBytes) {
      throw Error(ErrorCode::LimitExceeded, location.text + ": the document is larger than " + std::to_string(limits_.documentBytes) +
                                                " bytes; raise limits.document_bytes in the configuration file if that is right");
    }
    if (in.bad()) throw fail("reading it failed");
    if (!in) break;
  }
  return {bytes, {}, location};
}

Fetched Transport::get(const Location& first) {
  static std::once_flag initialised;
  std::call_once(initialised, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
  if (handle_ == nullptr) handle_ = std::make_unique<Handle>();
  CURL* const easy = handle_->easy.get();
  if (easy == nullptr) throw std::bad_alloc();
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  Location location = first;
  bool sameOrigin = trusted_ == originOf(first);
  for (std::int64_t redirected = 0;; ++redirected) {
    const std::string name = printable(location);
    const bool https = location.text.rfind("https:", 0) == 0;
    curl_easy_reset(easy);
    Sink sink;
    sink.limit = limits_.documentBytes;
    char detail[CURL_ERROR_SIZE] = "";
    curl_easy_setopt(easy, CURLOPT_URL, location.text.c_str());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, detail);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, receive);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &sink);
    curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
    curl_easy_setopt(easy, CURLOPT_USERAGENT, "qvws");
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT, static_cast<long>(options_.connectSeconds));
    if (options_.requestSeconds > 0) {
      const auto used = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
      curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(std::max<std::int64_t>(1, options_.requestSeconds * 1000 - used)));
    }
    // The environment's proxy variables are not looked at: what a call does hangs on its options alone.
    curl_easy_setopt(easy, CURLOPT_PROXY, options_.proxyHost.c_str());
    if (!options_.proxyHost.empty()) {
      curl_easy_setopt(easy, CURLOPT_PROXYPORT, options_.proxyPort > 0 ? static_cast<long>(options_.proxyPort) : 3128L);
      if (!options_.noProxy.empty()) curl_easy_setopt(easy, CURLOPT_NOPROXY, options_.noProxy.c_str());
      if (!options_.proxyUser.empty()) {
        curl_easy_setopt(easy, CURLOPT_PROXYAUTH, CURLAUTH_ANY);
        curl_easy_setopt(easy, CURLOPT_PROXYUSERNAME, account(options_.proxyDomain, options_.proxyUser).c_str());
        curl_easy_setopt(easy, CURLOPT_PROXYPASSWORD, options_.proxyPassword.c_str());
      }
    }
    if (!options_.caFile.empty()) curl_easy_setopt(easy, CURLOPT_CAINFO, options_.caFile.c_str());
    if (options_.insecure && https) {
      log_(2, name + ": the server's certificate is not checked, because WSCP_TLS_INSECURE is set");
      curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 0L);
      curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 0L);
    }
    std::unique_ptr<curl_slist, FreeList> headers;
    if (sameOrigin) {
      if (!options_.certificateFile.empty()) curl_easy_setopt(easy, CURLOPT_SSLCERT, options_.certificateFile.c_str());
      if (!options_.keyFile.empty()) curl_easy_setopt(easy, CURLOPT_SSLKEY, options_.keyFile.c_str());
      for (const std::string& header : options_.headers) {
        curl_slist* const longer = curl_slist_append(headers.get(), header.c_str());
        if (longer == nullptr) throw std::bad_alloc();
        static_cast<void>(headers.release());  // it is the head of the longer one
        headers.reset(longer);
      }
      if (headers) curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers.get());
      if (!options_.user.empty()) {
        const std::string& kind = options_.authentication;
        long mask = static_cast<long>(https ? CURLAUTH_BASIC : CURLAUTH_ANY);
        if (kind == "basic") mask = CURLAUTH_BASIC;
        if (kind == "digest") mask = CURLAUTH_DIGEST;
        if (kind == "ntlm") mask = CURLAUTH_NTLM;
        if (kind == "negotiate") mask = CURLAUTH_NEGOTIATE;
        if (kind == "any") mask = static_cast<long>(CURLAUTH_ANY);
        const bool windows = (static_cast<unsigned long>(mask) & (CURLAUTH_NTLM | CURLAUTH_NEGOTIATE)) != 0;
        curl_easy_setopt(easy, CURLOPT_HTTPAUTH, mask);
        curl_easy_setopt(easy, CURLOPT_USERNAME, windows ? account(options_.domain, options_.user).c_str() : options_.user.c_str());
        curl_easy_setopt(easy, CURLOPT_PASSWORD, options_.password.c_str());
      }
    }
    const CURLcode code = curl_easy_perform(easy);
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, nullptr);
    if (sink.noMemory) throw std::bad_alloc();
    if (sink.over) {
      throw Error(ErrorCode::LimitExceeded, name + ": the document is larger than " + std::to_string(limits_.documentBytes) +
                                                " bytes; raise limits.document_bytes in the configuration file if that is right");
    }
    const std::string why = name + ": " + (detail[0] != '\0' ? detail : curl_easy_strerror(code));
    switch (code) {
      case CURLE_OK:
        break;
      case CURLE_OUT_OF_MEMORY:
        throw std::bad_alloc();
      case CURLE_COULDNT_RESOLVE_HOST:
      case CURLE_COULDNT_RESOLVE_PROXY:
        throw Error(ErrorCode::Resolve, why + "; check the host name, or map the address to a local copy with a catalogue");
      case CURLE_COULDNT_CONNECT:
        throw Error(ErrorCode::Connect, why + "; check host and port, and whether a proxy is needed");
      case CURLE_OPERATION_TIMEDOUT:
        throw Error(ErrorCode::TimeOut, why + "; raise REQUEST_TIMEOUT or WSCP_CONNECT_TIMEOUT if the server is just slow");
      case CURLE_SSL_CONNECT_ERROR:
      case CURLE_PEER_FAILED_VERIFICATION:
      case CURLE_SSL_CERTPROBLEM:
      case CURLE_SSL_CIPHER:
      case CURLE_SSL_CACERT_BADFILE:
      case CURLE_SSL_ISSUER_ERROR:
      case CURLE_SSL_ENGINE_INITFAILED:
        throw Error(ErrorCode::Tls, why + "; check the certificates, or name the authority's file with WSCP_TLS_CA_FILE");
      case CURLE_LOGIN_DENIED:
        throw Error(ErrorCode::Authentication, why + "; check user, password and WSCP_AUTH");
      default:
        throw Error(ErrorCode::Transfer, why + "; try again, and check what lies between here and the server");
    }
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    const std::string answered = name + ": the server answered with HTTP status " + std::to_string(status);
    if (status >= 300 && status < 400) {
      const char* target = nullptr;
      curl_easy_getinfo(easy, CURLINFO_REDIRECT_URL, &target);
      if (target == nullptr) throw Error(ErrorCode::HttpStatus, answered + " and no place to go to");
      const Location next = locate(target);
      if (redirected >= options_.redirects) {
        throw Error(ErrorCode::Redirect, answered + ", a redirect to " + printable(next) +
                                             (options_.redirects == 0 ? "; give that address, or allow redirects with WSCP_REDIRECTS"
                                                                      : ", which is one more than WSCP_REDIRECTS allows"));
      }
      if (next.isFile || (https && next.text.rfind("https:", 0) != 0)) {
        throw Error(ErrorCode::Redirect,
                    answered + ", a redirect to " + printable(next) + ", which is refused because it leaves https; give that address if it is right");
      }
      sameOrigin = sameOrigin && originOf(next) == originOf(location);
      location = next;
      continue;
    }
    if (status == 401 || status == 407) {
      const bool proxy = status == 407;
      throw Error(ErrorCode::Authentication,
                  answered + (proxy ? "; check WSCP_PROXY_USER and its password" : "; check WSCP_USER, its password and WSCP_AUTH"));
    }
    if (status < 200 || status >= 300) {
      const std::string body = beginningOf(sink.bytes);
      throw Error(ErrorCode::HttpStatus, answered + "; check the address" + (body.empty() ? "" : ". It said: " + body));
    }
    const char* type = nullptr;
    curl_easy_getinfo(easy, CURLINFO_CONTENT_TYPE, &type);
    return {std::make_shared<const std::string>(std::move(sink.bytes)), charsetOf(type), location};
  }
}

}  // namespace qvx
