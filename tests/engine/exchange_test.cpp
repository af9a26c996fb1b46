// SPDX-License-Identifier: Apache-2.0
#include "error.h"
#include "http/transport.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace qvx {
namespace {

/// A server that speaks bytes: tests decide what comes back on each request, down to closing the connection.
class RawServer {
 public:
  /// Takes the number of the request, from 0, and the request; gives the answer, empty to close without one.
  using Answer = std::function<std::string(int number, const std::string& request)>;

  explicit RawServer(Answer answer) : answer_(std::move(answer)), listener_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(listener_, 8) != 0) throw std::runtime_error("no port");
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { run(); });
  }
  RawServer(const RawServer&) = delete;
  RawServer& operator=(const RawServer&) = delete;
  ~RawServer() {
    shutdown(listener_, SHUT_RDWR);
    shutdown(connection_, SHUT_RDWR);
    thread_.join();
    close(listener_);
  }

  [[nodiscard]] std::string url(const std::string& path = "/") const { return "http://127.0.0.1:" + std::to_string(port_) + path; }
  [[nodiscard]] std::vector<std::string> requests() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
  }
  [[nodiscard]] int connections() const { return connections_; }

 private:
  void run() {
    for (;;) {
      const int connection = accept(listener_, nullptr, nullptr);
      if (connection < 0) return;
      connection_ = connection;
      ++connections_;
      for (std::string request = receive(connection); !request.empty(); request = receive(connection)) {
        int number = 0;
        {
          const std::lock_guard<std::mutex> lock(mutex_);
          number = static_cast<int>(requests_.size());
          requests_.push_back(request);
        }
        const std::string answer = answer_(number, request);
        if (answer.empty()) break;
        if (::send(connection, answer.data(), answer.size(), MSG_NOSIGNAL) < 0) break;
      }
      connection_ = -1;
      close(connection);
    }
  }

  static std::string receive(int connection) {
    std::string text;
    std::size_t needed = 0;
    char piece[65536];
    while (needed == 0 || text.size() < needed) {
      const ssize_t got = recv(connection, piece, sizeof piece, 0);
      if (got <= 0) return {};
      text.append(piece, static_cast<std::size_t>(got));
      if (text[0] == '\x16') return text;  // TLS, which nothing here speaks
      const std::size_t end = text.find("\r\n\r\n");
      if (needed != 0 || end == std::string::npos) continue;
      const std::size_t at = text.find("Content-Length: ");
      needed = end + 4 + (at < end ? std::stoul(text.substr(at + 16)) : 0);
      if (text.find("Expect: 100-continue") < end) ::send(connection, "HTTP/1.1 100 Continue\r\n\r\n", 25, MSG_NOSIGNAL);
    }
    return text;
  }

  Answer answer_;
  int listener_;
  std::atomic<int> connection_{-1};
  std::atomic<int> connections_{0};
  int port_ = 0;
  std::mutex mutex_;
  std::vector<std::string> requests_;
  std::thread thread_;
};

std::string answer(const std::string& status, const std::string& headers, const std::string& body) {
  return "HTTP/1.1 " + status + "\r\n" + headers + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

/// A body in memory, or one that has to be read.
class Body final : public RequestSource {
 public:
  explicit Body(std::string text, bool streamed = false) : text_(std::move(text)), streamed_(streamed) {}
  [[nodiscard]] std::uint64_t size() const override { return text_.size(); }
  [[nodiscard]] std::optional<std::string_view> whole() const override { return streamed_ ? std::nullopt : std::optional<std::string_view>(text_); }
  std::size_t read(char* to, std::size_t most) override {
    const std::size_t length = text_.copy(to, most, at_);
    at_ += length;
    return length;
  }
  void rewind() override { at_ = 0; }

 private:
  std::string text_;
  bool streamed_;
  std::size_t at_ = 0;
};

struct Sink final : ReplySink {
  void begin(const ReplyHead& one) override {
    head = one;
    ++begun;
  }
  void data(std::string_view bytes) override {
    if (failing) throw Error(ErrorCode::FileUnwritable, "full");
    text += bytes;
  }
  ReplyHead head;
  int begun = 0;
  std::string text;
  bool failing = false;
};

/// A transport that trusts the server, and what it logged.
struct Line {
  explicit Line(const std::string& url, TransportOptions options = {}) : transport(std::move(options), limits, [](int, const std::string&) {}) {
    transport.trust(originOf({false, url}));
    call.url = url;
  }
  /// 0, or the code of the failure, whose text is kept.
  int exchange(RequestSource& body, ReplySink& sink) {
    call.body = &body;
    try {
      transport.exchange(call, sink, nullptr);
      return 0;
    } catch (const Error& error) {
      text = error.what();
      return static_cast<int>(error.code());
    }
  }
  Limits limits;
  Transport transport;
  Exchange call;
  std::string text;
};

TEST(Exchange, SendsARequestAtMostOnce) {
  RawServer server([](int number, const std::string&) { return number == 0 ? answer("200 OK", "", "one") : std::string(); });
  for (const bool streamed : {false, true}) {
    Line line(server.url());
    const std::size_t before = server.requests().size();
    Body body("<x/>", streamed);
    Sink sink;
    if (!streamed) {
      ASSERT_EQ(line.exchange(body, sink), 0) << line.text;
    }
    EXPECT_EQ(line.exchange(body, sink), 210) << line.text;
    EXPECT_EQ(server.requests().size(), before + (streamed ? 1 : 2));
    if (!streamed) {
      EXPECT_NE(line.text.find("not sent again"), std::string::npos) << line.text;
    }
  }
}

TEST(Exchange, KeepsTheConnectionAndHandsOverTheHeadThatCounts) {
  RawServer server([](int, const std::string&) {
    return "HTTP/1.1 103 Early Hints\r\nLink: x\r\n\r\n" + answer("299 Fine  indeed ", "X-A: 1\r\nx-b:\r\nX-A:  2 \r\n folded\r\n", "text");
  });
  Line line(server.url());
  line.call.headers = {"X-Own: a", "X-Empty;"};
  for (int i = 0; i < 3; ++i) {
    Sink sink;
    Body body("<x/>", i == 1);
    ASSERT_EQ(line.exchange(body, sink), 0) << line.text;
    EXPECT_EQ(sink.begun, 1);
    EXPECT_EQ(sink.text, "text");
    EXPECT_EQ(sink.head.status, 299);
    EXPECT_EQ(sink.head.version, "HTTP/1.1");
    EXPECT_EQ(sink.head.reason, "Fine  indeed");
    const std::vector<std::pair<std::string, std::string>> expected = {{"X-A", "1"}, {"x-b", ""}, {"X-A", "2 folded"}, {"Content-Length", "4"}};
    EXPECT_EQ(sink.head.headers, expected);
    EXPECT_EQ(sink.head.header("X-B"), "");
    EXPECT_EQ(sink.head.header("x-a"), "1");
  }
  EXPECT_EQ(server.connections(), 1);
  for (const std::string& request : server.requests()) {
    EXPECT_NE(request.find("\r\nX-Own: a\r\nX-Empty:\r\n"), std::string::npos) << request;
    EXPECT_EQ(request.substr(request.size() - 4), "<x/>");
    EXPECT_EQ(request.find("Expect"), std::string::npos);
  }
}

// Ways to authenticate that begin with a question are no reason to fail where nobody wants to know.
TEST(Exchange, SendsOnceWhereNoAuthenticationIsWanted) {
  RawServer server([](int, const std::string& request) {
    const bool empty = request.find("Content-Length: 0\r\n") != std::string::npos;
    return empty ? answer("500 No", "", "nothing to read") : answer("200 OK", "", "in");
  });
  TransportOptions options;
  options.user = "u";
  options.authentication = "digest";
  Line line(server.url(), options);
  for (const bool streamed : {false, true}) {
    Sink sink;
    Body body("<x/>", streamed);
    ASSERT_EQ(line.exchange(body, sink), 0) << line.text;
    EXPECT_EQ(sink.text, "in");
    EXPECT_EQ(sink.begun, 1);
  }
  EXPECT_EQ(server.requests().size(), 4U);
}

TEST(Exchange, FollowsOnlyTheRedirectsItShould) {
  RawServer other([](int, const std::string&) { return answer("200 OK", "", "elsewhere"); });
  RawServer server([&](int, const std::string& request) {
    const std::string path = request.substr(6, request.find(' ', 6) - 6);
    if (path == "here") return answer("200 OK", "", "here");
    const bool away = path.find("away") != std::string::npos;
    return answer(path.substr(0, 3) + " X", "Location: " + (away ? other.url("/x") : "/here") + "\r\n", "moved");
  });
  struct Case {
    const char* path;
    int redirects;
    bool secret;
    int code;
    const char* text;
  };
  const Case cases[] = {{"/307", 0, false, 209, "WSCP_REDIRECTS"},  {"/307", 1, true, 0, "here"},           {"/308", 5, false, 0, "here"},
                        {"/302", 5, false, 209, "another request"}, {"/307away", 1, false, 0, "elsewhere"}, {"/307away", 1, true, 209, "password"}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.path);
    TransportOptions options;
    options.redirects = one.redirects;
    options.user = "u";
    options.password = "p";
    options.authentication = "basic";
    options.headers = {"X-Static: s"};
    Line line(server.url(one.path), options);
    line.call.headers = {"Content-Type: text/xml", "X-Key: k"};
    line.call.bodyHasSecret = one.secret;
    Sink sink;
    Body body("<x/>");
    EXPECT_EQ(line.exchange(body, sink), one.code) << line.text;
    EXPECT_NE((one.code == 0 ? sink.text : line.text).find(one.text), std::string::npos) << line.text;
    EXPECT_EQ(sink.begun, one.code == 0 ? 1 : 0);
  }
  for (const std::string& request : server.requests()) EXPECT_NE(request.find("Authorization: Basic"), std::string::npos);
  ASSERT_EQ(other.requests().size(), 1U);
  for (const char* const kept : {"Authorization", "X-Static", "X-Key"}) EXPECT_EQ(other.requests()[0].find(kept), std::string::npos) << kept;
  EXPECT_NE(other.requests()[0].find("Content-Type: text/xml"), std::string::npos);
}

TEST(Exchange, FailuresOfSourceAndSinkReachTheCaller) {
  struct Broken final : RequestSource {
    [[nodiscard]] std::uint64_t size() const override { return 100; }
    [[nodiscard]] std::optional<std::string_view> whole() const override { return std::nullopt; }
    std::size_t read(char*, std::size_t) override { throw Error(ErrorCode::FileUnreadable, "gone"); }
    void rewind() override {}
  };
  RawServer server([](int, const std::string&) { return answer("200 OK", "", "text"); });
  Line line(server.url());
  Broken broken;
  Sink sink;
  EXPECT_EQ(line.exchange(broken, sink), 201);
  Body body(std::string(3 << 20, 'x'), true);
  sink.failing = true;
  EXPECT_EQ(line.exchange(body, sink), 212);
  Sink good;
  EXPECT_EQ(line.exchange(body, good), 0) << line.text;
  EXPECT_EQ(good.text, "text");
  EXPECT_NE(server.requests().back().find("Expect: 100-continue"), std::string::npos);
}

TEST(Exchange, TellsWhatFailed) {
  RawServer server([](int, const std::string& request) {
    std::this_thread::sleep_for(std::chrono::milliseconds(request.find("/slow") != std::string::npos ? 1500 : 0));
    return std::string("nonsense\r\n\r\n");
  });
  const int closed = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  ASSERT_EQ(bind(closed, reinterpret_cast<sockaddr*>(&address), length), 0);
  getsockname(closed, reinterpret_cast<sockaddr*>(&address), &length);
  struct Case {
    std::string url;
    int code;
  };
  const Case cases[] = {{"http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/", 204},
                        {"http://name.invalid/", 203},
                        {server.url(), 210},
                        {server.url("/slow"), 206},
                        {"https" + server.url().substr(4), 205}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.url);
    TransportOptions options;
    options.requestSeconds = 1;
    Line line(one.url, options);
    Sink sink;
    Body body("<x/>");
    EXPECT_EQ(line.exchange(body, sink), one.code) << line.text;
    EXPECT_EQ(line.text.find(one.url), 0U) << line.text;
    EXPECT_EQ(sink.begun, 0);
  }
  close(closed);
}

}  // namespace
}  // namespace qvx
