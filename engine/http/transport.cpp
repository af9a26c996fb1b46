// SPDX-License-Identifier: Apache-2.0
#include "http/transport.h"

#include "error.h"
#include "http/header.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <exception>
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

Error tooLarge(const std::string& name, std::size_t limit) {
  return {ErrorCode::LimitExceeded, name + ": the document is larger than " + std::to_string(limit) +
                                        " bytes; raise limits.document_bytes in the configuration file if that is right"};
}

struct CleanMulti {
  void operator()(CURLM* multi) const noexcept { curl_multi_cleanup(multi); }
};

constexpr const char* kMayHaveActed = "; the service may have acted on the request: find out whether it has before you send it again";

std::string account(const std::string& domain, const std::string& user) {
  return domain.empty() ? user : domain + "\\" + user;
}

}  // namespace

/// What one request sends and receives. No exception may pass through libcurl's frames: it is kept, and thrown when they are gone.
class Transport::Transfer {
 public:
  explicit Transfer(Watch* watch) : watch_(watch) {}
  /// Whether a request has left that may not leave twice.
  [[nodiscard]] virtual bool hasSent() const { return false; }
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;
  virtual ~Transfer() = default;

  static std::size_t write(char* data, std::size_t size, std::size_t count, void* self) noexcept {
    const std::size_t length = size * count;
    return guarded(self, [&](Transfer& transfer) { transfer.data({data, length}); }) ? length : length + 1;
  }
  static std::size_t header(char* data, std::size_t size, std::size_t count, void* self) noexcept {
    const std::size_t length = size * count;
    return guarded(self, [&](Transfer& transfer) { transfer.headerLine({data, length}); }) ? length : length + 1;
  }
  static std::size_t read(char* to, std::size_t size, std::size_t count, void* self) noexcept {
    std::size_t length = 0;
    return guarded(self, [&](Transfer& transfer) { length = transfer.source(to, size * count); }) ? length : CURL_READFUNC_ABORT;
  }
  static int seek(void* self, curl_off_t offset, int origin) noexcept {
    if (offset != 0 || origin != SEEK_SET) return CURL_SEEKFUNC_CANTSEEK;
    return guarded(self, [](Transfer& transfer) { transfer.rewind(); }) ? CURL_SEEKFUNC_OK : CURL_SEEKFUNC_FAIL;
  }
  static int send(void* self, char* /*peer*/, char* /*local*/, int /*peerPort*/, int /*localPort*/) noexcept {
    return guarded(self, [](Transfer& transfer) { transfer.aboutToSend(); }) ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
  }

  bool stopped() { return watch_ != nullptr && watch_->stop(); }
  /// Milliseconds to wait at most for something to happen.
  [[nodiscard]] int wait() const {
    constexpr int kMost = 100;
    return watch_ == nullptr ? 10 * kMost : std::min(kMost, watch_->wait());
  }
  void rethrow() {
    if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
  }

 protected:
  virtual void data(std::string_view bytes) = 0;
  virtual void headerLine(std::string_view /*line*/) {}
  virtual std::size_t source(char* /*to*/, std::size_t /*most*/) { return 0; }
  virtual void rewind() {}
  virtual void aboutToSend() {}

 private:
  template <typename Action>
  static bool guarded(void* self, Action action) noexcept {
    auto& transfer = *static_cast<Transfer*>(self);
    try {
      if (transfer.stopped()) return false;
      action(transfer);
      return true;
    } catch (...) {
      transfer.thrown_ = std::current_exception();
      return false;
    }
  }

  Watch* watch_;
  std::exception_ptr thrown_;
};

/// A document, up to a limit.
class Transport::Document final : public Transfer {
 public:
  Document(const std::string& name, std::size_t limit) : Transfer(nullptr), name_(name), limit_(limit) {}
  std::string bytes;

 private:
  void data(std::string_view more) override {
    if (bytes.size() + more.size() > limit_) throw tooLarge(name_, limit_);
    bytes += more;
  }

  const std::string& name_;
  std::size_t limit_;
};

/// A call: its body goes out, its answer goes to a sink.
class Transport::Call final : public Transfer {
 public:
  /// @param[in] easy  the handle, when it authenticates in a way that begins with a request without its body; else null
  Call(const std::string& name, RequestSource& body, ReplySink& sink, Watch* watch, CURL* easy)
      : Transfer(watch), name_(name), body_(body), sink_(sink), easy_(easy) {}

  /// The answer is complete.
  void finish(std::int64_t received) {
    if (begun_ || passedOver()) return;
    // libcurl takes a stream that ends before its first byte for an empty one. An empty one has 20 bytes with gzip.
    constexpr std::int64_t kEmptyGzip = 20;
    if (received > 0 && received < kEmptyGzip && sameHeader(head_.header("Content-Encoding"), "gzip")) {
      throw Error(ErrorCode::Transfer, name_ + ": the compressed answer ends before its content" + kMayHaveActed);
    }
    begin();
  }
  [[nodiscard]] bool hasSent() const override { return sent_; }
  /// Whether a service that wants no authentication has been asked without the body, and found that wrong.
  [[nodiscard]] bool askedInVain() const {
    if (easy_ == nullptr || head_.status < 400 || head_.status == 401 || head_.status == 407 || body_.size() == 0) return false;
    curl_off_t sent = 0;
    curl_easy_getinfo(easy_, CURLINFO_SIZE_UPLOAD_T, &sent);
    return sent == 0;
  }
  [[nodiscard]] const ReplyHead& head() const { return head_; }
  /// Whether the answer only says where to go.
  [[nodiscard]] bool redirected() const {
    constexpr std::array kRedirects = {301, 302, 303, 307, 308};
    return std::find(kRedirects.begin(), kRedirects.end(), head_.status) != kRedirects.end() && !head_.header("Location").empty();
  }

 private:
  // The body of an answer that libcurl goes on from, such as a challenge, never gets here.
  void data(std::string_view bytes) override {
    if (passedOver()) return;
    if (!begun_) begin();
    sink_.data(bytes);
  }

  void begin() {
    begun_ = true;
    const std::string_view coding = head_.header("Content-Encoding");
    constexpr std::array kUndone = {"", "identity", "gzip", "x-gzip", "deflate"};
    if (std::none_of(kUndone.begin(), kUndone.end(), [&](const char* one) { return sameHeader(coding, one); })) {
      throw Error(ErrorCode::BadReply, name_ + ": the answer has the content coding '" + std::string(coding) + "', which was not asked for");
    }
    sink_.begin(head_);
  }

  [[nodiscard]] bool passedOver() const { return redirected() || (!begun_ && askedInVain()); }

  void headerLine(std::string_view line) override {
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.remove_suffix(1);
    if (!begun_ && line.substr(0, 5) == "HTTP/") {
      statusLine(line);
    } else if (line.empty()) {
      if (head_.status >= 200) answered_ = complete_ = true;
    } else if (!complete_) {  // what comes later is a trailer
      field(line);
    }
  }

  void statusLine(std::string_view line) {
    complete_ = false;
    head_.headers.clear();
    const std::size_t end = std::min(line.find(' '), line.size());
    head_.version = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
    head_.status = 0;
    const auto [rest, error] = std::from_chars(line.data(), line.data() + line.size(), head_.status);
    if (error != std::errc()) head_.status = 0;
    line.remove_prefix(static_cast<std::size_t>(rest - line.data()));
    head_.reason = trimmed(line);
  }

  void field(std::string_view line) {
    if ((line.front() == ' ' || line.front() == '\t') && !head_.headers.empty()) {  // RFC 9112 section 5.2: a folded line goes on
      head_.headers.back().second.append(" ").append(trimmed(line));
      return;
    }
    const std::size_t colon = line.find(':');
    if (colon != std::string_view::npos) head_.headers.emplace_back(line.substr(0, colon), trimmed(line.substr(colon + 1)));
  }

  std::size_t source(char* to, std::size_t most) override { return body_.read(to, most); }
  void rewind() override { body_.rewind(); }

  // libcurl sends a request again, unasked, when a kept connection ends before the first byte of an answer. The service may have acted on it by then.
  void aboutToSend() override {
    if (sent_ && !answered_) {
      throw Error(ErrorCode::Transfer,
                  name_ + ": the connection was lost after the request had been sent, and it was not sent again" + kMayHaveActed);
    }
    sent_ = true;
    answered_ = false;
  }

  static std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    return first == std::string_view::npos ? std::string_view() : text.substr(first, text.find_last_not_of(" \t") - first + 1);
  }

  const std::string& name_;
  RequestSource& body_;
  ReplySink& sink_;
  CURL* easy_;
  ReplyHead head_;
  bool begun_ = false;     ///< the sink has the head
  bool complete_ = false;  ///< the head is
  bool sent_ = false;
  bool answered_ = false;  ///< since it was sent
};

struct Transport::Handle {
  std::unique_ptr<CURLM, CleanMulti> multi{curl_multi_init()};
  std::unique_ptr<CURL, FreeEasy> easy{curl_easy_init()};
  std::unique_ptr<curl_slist, FreeList> headers;
  std::string detail = std::string(CURL_ERROR_SIZE, '\0');
  std::string name;                ///< of `url`, for people
  std::string url;                 ///< that `easy` is ready to post to; empty = to none
  std::vector<std::string> lines;  ///< headers it does so with

  /// Takes the header lines over.
  void setHeaders(const std::vector<std::string>& all) {
    headers.reset();
    for (const std::string& line : all) {
      curl_slist* const longer = curl_slist_append(headers.get(), line.c_str());
      if (longer == nullptr) throw std::bad_alloc();
      static_cast<void>(headers.release());  // it is the head of the longer one
      headers.reset(longer);
    }
    if (headers) curl_easy_setopt(easy.get(), CURLOPT_HTTPHEADER, headers.get());
  }
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
      throw tooLarge(location.text, limits_.documentBytes);
    }
    if (in.bad()) throw fail("reading it failed");
    if (!in) break;
  }
  return {bytes, {}, location};
}

Transport::Handle& Transport::handle() {
  static std::once_flag initialised;
  std::call_once(initialised, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
  if (handle_ == nullptr) handle_ = std::make_unique<Handle>();
  if (handle_->easy == nullptr || handle_->multi == nullptr) throw std::bad_alloc();
  return *handle_;
}

void Transport::configure(Handle& handle, const std::string& url, bool trusted) const {
  CURL* const easy = handle.easy.get();
  const bool https = url.rfind("https:", 0) == 0;
  handle.url.clear();
  curl_easy_reset(easy);
  curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, handle.detail.data());
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Transfer::write);
  curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
  curl_easy_setopt(easy, CURLOPT_USERAGENT, "qvws");
  curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT, static_cast<long>(options_.connectSeconds));
  // The environment's proxy variables are not looked at: what a call does hangs on its options alone.
  curl_easy_setopt(easy, CURLOPT_PROXY, options_.proxyHost.c_str());
  if (!options_.proxyHost.empty()) {
    curl_easy_setopt(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
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
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 0L);
  }
  if (!trusted) return;
  if (!options_.certificateFile.empty()) curl_easy_setopt(easy, CURLOPT_SSLCERT, options_.certificateFile.c_str());
  if (!options_.keyFile.empty()) curl_easy_setopt(easy, CURLOPT_SSLKEY, options_.keyFile.c_str());
  // A key with a password of its own fails; otherwise it would be asked for at the terminal.
  curl_easy_setopt(easy, CURLOPT_KEYPASSWD, "");
  if (options_.user.empty()) return;
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

void Transport::limitTime(Handle& handle, Clock::time_point start) const {
  if (options_.requestSeconds == 0) return;
  const auto used = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
  curl_easy_setopt(handle.easy.get(), CURLOPT_TIMEOUT_MS, static_cast<long>(std::max<std::int64_t>(1, options_.requestSeconds * 1000 - used)));
}

/// Runs a transfer. libcurl's own loop would not ask the watch often enough.
int Transport::run(Handle& handle, Transfer& transfer, bool& stopped) {
  CURLM* const multi = handle.multi.get();
  CURL* const easy = handle.easy.get();
  CURLMcode failed = curl_multi_add_handle(multi, easy);
  int running = 1;
  while (failed == CURLM_OK) {
    failed = curl_multi_perform(multi, &running);
    if (running == 0 || failed != CURLM_OK) break;
    if (transfer.stopped()) {
      stopped = true;
      // Otherwise taking the handle out would wait for a name that is still being looked up.
      curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);
      break;
    }
    failed = curl_multi_poll(multi, nullptr, 0, transfer.wait(), nullptr);
  }
  CURLcode code = CURLE_ABORTED_BY_CALLBACK;
  int left = 0;
  while (const CURLMsg* const message = curl_multi_info_read(multi, &left)) {
    if (message->msg == CURLMSG_DONE && message->easy_handle == easy) code = message->data.result;
  }
  curl_multi_remove_handle(multi, easy);
  if (failed != CURLM_OK) throw std::bad_alloc();  // it only fails for want of memory or of a descriptor to wait with
  return code;
}

namespace {

/// What a failed transfer means.
ErrorCode errorOf(CURLcode code, std::string_view detail) {
  // With TLS 1.3 a server refuses a client's certificate when the handshake is over for the client: then an alert comes in place of the answer.
  if (code == CURLE_RECV_ERROR && detail.find(" alert ") != std::string_view::npos) return ErrorCode::Tls;
  switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return ErrorCode::Resolve;
    case CURLE_COULDNT_CONNECT:
      return ErrorCode::Connect;
    case CURLE_OPERATION_TIMEDOUT:
      return ErrorCode::TimeOut;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_ENGINE_INITFAILED:
      return ErrorCode::Tls;
    case CURLE_LOGIN_DENIED:
      return ErrorCode::Authentication;
    default:
      return ErrorCode::Transfer;
  }
}

const char* adviceFor(ErrorCode code) {
  switch (code) {
    case ErrorCode::Resolve:
      return "; check the host name, or map the address to a local copy with a catalogue";
    case ErrorCode::Connect:
      return "; check host and port, and whether a proxy is needed";
    case ErrorCode::TimeOut:
      return "; raise REQUEST_TIMEOUT or WSCP_CONNECT_TIMEOUT if the server is just slow";
    case ErrorCode::Tls:
      return "; check the certificates, or name the authority's file with WSCP_TLS_CA_FILE";
    case ErrorCode::Authentication:
      return "; check user, password and WSCP_AUTH";
    default:
      return "; try again, and check what lies between here and the server";
  }
}

}  // namespace

void Transport::perform(Handle& handle, const std::string& name, Transfer& transfer) {
  CURL* const easy = handle.easy.get();
  handle.detail[0] = '\0';
  if (options_.insecure && name.rfind("https:", 0) == 0) {
    log_(2, name + ": the server's certificate is not checked, because WSCP_TLS_INSECURE is set");
  }
  bool stopped = transfer.stopped();
  const auto code = static_cast<CURLcode>(stopped ? CURLE_ABORTED_BY_CALLBACK : run(handle, transfer, stopped));
  if (code == CURLE_OK) return;
  handle.url.clear();
  transfer.rethrow();
  if (stopped || transfer.stopped()) throw Error(ErrorCode::Cancelled, name + ": the caller stopped it");
  // libcurl has the same code for both.
  if (code == CURLE_OUT_OF_MEMORY) {
    throw Error(ErrorCode::Transfer, name + ": out of memory, or a line of the answer's head is longer than 100 KiB");
  }
  if (code == CURLE_BAD_CONTENT_ENCODING || code == CURLE_WRITE_ERROR) {
    throw Error(ErrorCode::BadReply, name + ": the answer's content coding cannot be undone; check what lies between here and the server");
  }
  long connected = 0;
  curl_easy_getinfo(easy, CURLINFO_HTTP_CONNECTCODE, &connected);
  if (connected == 407) {
    throw Error(ErrorCode::Authentication, name + ": the HTTP proxy answered with HTTP status 407; check WSCP_PROXY_USER and its password");
  }
  const ErrorCode error = connected >= 300 ? ErrorCode::Connect : errorOf(code, handle.detail.c_str());
  const char* const advice = error == ErrorCode::Transfer && transfer.hasSent() ? kMayHaveActed : adviceFor(error);
  throw Error(error, name + ": " + (handle.detail[0] != '\0' ? handle.detail.c_str() : curl_easy_strerror(code)) + advice);
}

Location Transport::redirectTarget(Handle& handle, const Location& from, const std::string& answered, std::int64_t redirected) const {
  const char* target = nullptr;
  curl_easy_getinfo(handle.easy.get(), CURLINFO_REDIRECT_URL, &target);
  if (target == nullptr) throw Error(ErrorCode::HttpStatus, answered + " and no place to go to");
  Location next = locate(target);
  if (redirected >= options_.redirects) {
    throw Error(ErrorCode::Redirect, answered + ", a redirect to " + printable(next) +
                                         (options_.redirects == 0 ? "; give that address, or allow redirects with WSCP_REDIRECTS"
                                                                  : ", which is one more than WSCP_REDIRECTS allows"));
  }
  const bool https = from.text.rfind("https:", 0) == 0;
  if (next.isFile || (https && next.text.rfind("https:", 0) != 0)) {
    throw Error(ErrorCode::Redirect,
                answered + ", a redirect to " + printable(next) + ", which is refused because it leaves https; give that address if it is right");
  }
  return next;
}

Fetched Transport::get(const Location& first) {
  Handle& handle = this->handle();
  CURL* const easy = handle.easy.get();
  const auto start = Clock::now();
  Location location = first;
  bool sameOrigin = trusted_ == originOf(first);
  for (std::int64_t redirected = 0;; ++redirected) {
    const std::string name = printable(location);
    Document document(name, limits_.documentBytes);
    configure(handle, location.text, sameOrigin);
    if (sameOrigin) handle.setHeaders(options_.headers);
    limitTime(handle, start);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, static_cast<Transfer*>(&document));
    perform(handle, name, document);
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    const std::string answered = name + ": the server answered with HTTP status " + std::to_string(status);
    if (status >= 300 && status < 400) {
      Location next = redirectTarget(handle, location, answered, redirected);
      sameOrigin = sameOrigin && originOf(next) == originOf(location);
      location = std::move(next);
      continue;
    }
    if (status == 401 || status == 407) {
      const bool proxy = status == 407;
      throw Error(ErrorCode::Authentication,
                  answered + (proxy ? "; check WSCP_PROXY_USER and its password" : "; check WSCP_USER, its password and WSCP_AUTH"));
    }
    if (status < 200 || status >= 300) {
      const std::string body = beginningOf(document.bytes);
      throw Error(ErrorCode::HttpStatus, answered + "; check the address" + (body.empty() ? "" : ". It said: " + body));
    }
    const char* type = nullptr;
    curl_easy_getinfo(easy, CURLINFO_CONTENT_TYPE, &type);
    return {std::make_shared<const std::string>(std::move(document.bytes)), charsetOf(type == nullptr ? "" : type), location};
  }
}

std::vector<std::string> Transport::headersFor(const Exchange& call, bool trusted) const {
  std::vector<std::string> all;
  const auto name = [](std::string_view line) { return line.substr(0, line.find_first_of(":;")); };
  for (const std::string& line : call.headers) {
    // Any header of the caller's may be a credential; elsewhere only those go that make the request what it is.
    if (trusted || sameHeader(name(line), "Content-Type") || sameHeader(name(line), "SOAPAction")) all.push_back(line);
  }
  if (!trusted) return all;
  for (const std::string& line : options_.headers) {
    const auto same = [&](const std::string& other) { return sameHeader(name(line), name(other)); };
    if (std::none_of(call.headers.begin(), call.headers.end(), same)) all.push_back(line);
  }
  return all;
}

void Transport::preparePost(Handle& handle, const std::string& url, bool trusted, const Exchange& call) {
  // libcurl hands over what it has received in pieces of this size, and makes the buffer anew for each call: from 64 KiB on that makes the allocator
  // tidy up all it has.
  constexpr long kBuffer = 1L << 15;
  CURL* const easy = handle.easy.get();
  configure(handle, url, trusted);
  handle.setHeaders(headersFor(call, trusted));
  curl_easy_setopt(easy, CURLOPT_POST, 1L);
  curl_easy_setopt(easy, CURLOPT_BUFFERSIZE, kBuffer);
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &Transfer::header);
  curl_easy_setopt(easy, CURLOPT_READFUNCTION, &Transfer::read);
  curl_easy_setopt(easy, CURLOPT_SEEKFUNCTION, &Transfer::seek);
  curl_easy_setopt(easy, CURLOPT_PREREQFUNCTION, &Transfer::send);
}

void Transport::post(Handle& handle, const std::string& name, RequestSource& body, Call& transfer, Clock::time_point start) {
  CURL* const easy = handle.easy.get();
  auto* const self = static_cast<Transfer*>(&transfer);
  for (const CURLoption option : {CURLOPT_WRITEDATA, CURLOPT_HEADERDATA, CURLOPT_READDATA, CURLOPT_SEEKDATA, CURLOPT_PREREQDATA}) {
    curl_easy_setopt(easy, option, self);
  }
  const auto whole = body.whole();
  curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  curl_easy_setopt(easy, CURLOPT_POSTFIELDS, whole ? whole->data() : nullptr);
  if (!whole) body.rewind();
  limitTime(handle, start);
  perform(handle, name, transfer);
  curl_off_t received = 0;
  curl_easy_getinfo(easy, CURLINFO_SIZE_DOWNLOAD_T, &received);
  transfer.finish(received);
}

void Transport::exchange(const Exchange& call, ReplySink& sink, Watch* watch) {
  Handle& handle = this->handle();
  const auto start = Clock::now();
  Location location{false, call.url};
  // A handle that is ready from the call before is left as it is.
  if (handle.url != call.url || handle.lines != call.headers) {
    preparePost(handle, call.url, trusted_ == originOf(location), call);
    handle.name = printable(location);
    handle.lines = call.headers;
    handle.url = call.url;
  }
  std::string name = handle.name;
  const std::string& kind = options_.authentication;
  const bool probes = !options_.user.empty() && (kind == "digest" || kind == "ntlm" || kind == "negotiate");
  bool sameOrigin = true;
  bool plainly = !probes;
  for (std::int64_t redirected = 0;;) {
    Call transfer(name, *call.body, sink, watch, plainly ? nullptr : handle.easy.get());
    post(handle, name, *call.body, transfer, start);
    if (transfer.askedInVain()) {
      // Nothing of the call has been sent yet, so it still is sent once.
      curl_easy_setopt(handle.easy.get(), CURLOPT_HTTPAUTH, CURLAUTH_NONE);
      handle.url.clear();
      plainly = true;
      continue;
    }
    if (!transfer.redirected()) return;

    handle.url.clear();
    const int status = transfer.head().status;
    const std::string answered = name + ": the server answered with HTTP status " + std::to_string(status);
    Location next = redirectTarget(handle, location, answered, redirected++);
    const std::string there = answered + ", a redirect to " + printable(next);
    if (status != 307 && status != 308) throw Error(ErrorCode::Redirect, there + " that would turn the call into another request; give that address");
    sameOrigin = sameOrigin && originOf(next) == originOf(location);
    if (!sameOrigin && call.bodyHasSecret) {
      throw Error(ErrorCode::Redirect,
                  there + ", which is refused because the password in the message is not for another server; give that address if it is right");
    }
    location = std::move(next);
    name = printable(location);
    preparePost(handle, location.text, sameOrigin && trusted_ == originOf(location), call);
  }
}

std::string_view ReplyHead::header(std::string_view name) const {
  const auto found = std::find_if(headers.begin(), headers.end(), [&](const auto& one) { return sameHeader(one.first, name); });
  return found == headers.end() ? std::string_view() : std::string_view(found->second);
}

}  // namespace qvx
