// SPDX-License-Identifier: Apache-2.0
#include "module_support.h"

#include <gtest/gtest.h>
#include <httplib.h>

#include <chrono>
#include <string>
#include <thread>

namespace qvx::test {
namespace {

const std::string kDocument = "<definitions xmlns=\"http://schemas.xmlsoap.org/wsdl/\" name=\"N\"/>";
const std::string kListed = "QName.name N\nVersion 1.1\n";

/// A server on loopback with one document at /ws and others that tests add.
class Transport : public testing::Test {
 protected:
  Transport() {
    server.Get("/ws", [](const httplib::Request&, httplib::Response& response) { response.set_content(kDocument, "text/xml"); });
  }
  ~Transport() override { stop(); }

  std::string start() {
    port_ = server.bind_to_any_port("127.0.0.1");
    thread_ = std::thread([this] { server.listen_after_bind(); });
    while (!server.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return "http://127.0.0.1:" + std::to_string(port_);
  }
  void stop() {
    server.stop();
    if (thread_.joinable()) thread_.join();
  }

  httplib::Server server;
  Engine engine;

 private:
  std::thread thread_;
  int port_ = 0;
};

TEST_F(Transport, FetchesWithImportsCompressionAndCharset) {
  server.Get("/a/main", [](const httplib::Request&, httplib::Response& response) {
    response.set_content(
        "<definitions xmlns=\"http://schemas.xmlsoap.org/wsdl/\" name=\"N\"><import location=\"../ws#x\"/><import "
        "location=\"sub?wsdl=2\"/></definitions>",
        "text/xml");
  });
  server.Get("/a/sub", [](const httplib::Request& request, httplib::Response& response) {
    response.set_content(
        "<definitions xmlns=\"http://schemas.xmlsoap.org/wsdl/\"><portType name=\"P" + request.get_param_value("wsdl") + "\"/></definitions>",
        "text/xml");
  });
  server.Get("/latin", [](const httplib::Request&, httplib::Response& response) {
    response.set_content("<definitions xmlns=\"http://schemas.xmlsoap.org/wsdl/\" name=\"caf\xe9\"/>", "text/xml; charset=\"iso-8859-1\"");
  });
  std::string accepted;
  server.Get("/big", [&](const httplib::Request& request, httplib::Response& response) {
    accepted = request.get_header_value("Accept-Encoding");
    response.set_content(kDocument + std::string(100'000, ' '), "text/xml");  // compressed by the server when that is accepted
  });
  const std::string root = start();
  EXPECT_EQ(engine.listing(root + "/a/main"), kListed + "Interface {}P2\n");
  EXPECT_EQ(engine.listing(root + "/latin"), "QName.name caf\xc3\xa9\nVersion 1.1\n");
  EXPECT_EQ(engine.listing(root + "/big"), kListed);
  EXPECT_NE(accepted.find("gzip"), std::string::npos);
}

TEST_F(Transport, SaysWhatWentWrong) {
  server.Get("/page",
             [](const httplib::Request&, httplib::Response& response) { response.set_content("<!DOCTYPE html><html><p>Hi</html>", "text/html"); });
  server.Get("/broken", [](const httplib::Request&, httplib::Response& response) {
    response.status = 500;
    response.set_content("It broke\x1b[31m", "text/plain");
  });
  server.Get("/slow", [](const httplib::Request&, httplib::Response& response) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    response.set_content(kDocument, "text/xml");
  });
  const std::string root = start();
  EXPECT_EQ(engine.listing(root + "/none"), "207: " + root + "/none: the server answered with HTTP status 404; check the address");
  EXPECT_EQ(engine.listing(root + "/broken"),
            "207: " + root + "/broken: the server answered with HTTP status 500; check the address. It said: It broke [31m");
  EXPECT_EQ(engine.listing(root + "/page").substr(0, 4), "308:");
  EXPECT_EQ(engine.listing(root + "/slow", {{"HTTP_REQUEST_TIMEOUT", "1"}}).substr(0, 4), "206:");
  EXPECT_EQ(engine.listing("https" + root.substr(4) + "/ws").substr(0, 4), "205:");
  EXPECT_EQ(engine.listing(root + "/ws", {{"WSCP_CONFIG", engine.write("c.toml", "[limits]\ndocument_bytes = 10\n")}}).substr(0, 4), "307:");
  EXPECT_EQ(engine.listing("ftp://127.0.0.1/x").substr(0, 4), "202:");
  EXPECT_EQ(engine.listing("http://name.invalid/x").substr(0, 4), "203:");
  EXPECT_EQ(engine.listing(engine.folder().string()).substr(0, 4), "201:");
  stop();
  EXPECT_EQ(engine.listing(root + "/ws").substr(0, 4), "204:");
}

TEST_F(Transport, FollowsRedirectsOnlyWhenAllowed) {
  server.Get("/one", [](const httplib::Request&, httplib::Response& response) { response.set_redirect("/two"); });
  server.Get("/two", [](const httplib::Request&, httplib::Response& response) { response.set_redirect("/ws", 308); });
  server.Get("/file", [](const httplib::Request&, httplib::Response& response) { response.set_redirect("file:///etc/hostname"); });
  server.Get("/self", [](const httplib::Request&, httplib::Response& response) {
    response.set_content("<definitions xmlns=\"http://schemas.xmlsoap.org/wsdl/\"><import location=\"again\"/><portType name=\"P\"/></definitions>",
                         "text/xml");
  });
  server.Get("/again", [](const httplib::Request&, httplib::Response& response) { response.set_redirect("/self"); });
  const std::string root = start();
  // One document under two names is read once: nothing in it stands twice.
  EXPECT_EQ(engine.listing(root + "/self", {{"WSCP_REDIRECTS", "1"}}), "Version 1.1\nInterface {}P\n");
  EXPECT_EQ(engine.logged, std::vector<std::string>());
  EXPECT_EQ(engine.listing(root + "/one"), "209: " + root + "/one: the server answered with HTTP status 302, a redirect to " + root +
                                               "/two; give that address, or allow redirects with WSCP_REDIRECTS");
  EXPECT_EQ(engine.listing(root + "/one", {{"WSCP_REDIRECTS", "1"}}).substr(0, 4), "209:");
  EXPECT_EQ(engine.listing(root + "/one", {{"WSCP_REDIRECTS", "2"}}), kListed);
  EXPECT_EQ(engine.listing(root + "/file", {{"WSCP_REDIRECTS", "2"}}).substr(0, 2), "20");
}

TEST_F(Transport, GivesCredentialsToOneOriginOnly) {
  httplib::Server other;
  std::string leaked = "not asked";
  other.Get("/ws", [&](const httplib::Request& request, httplib::Response& response) {
    leaked = request.get_header_value("Authorization") + request.get_header_value("X-Secret");
    response.set_content(kDocument, "text/xml");
  });
  const int otherPort = other.bind_to_any_port("127.0.0.1");
  std::thread otherThread([&] { other.listen_after_bind(); });
  while (!other.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  const std::string elsewhere = "http://127.0.0.1:" + std::to_string(otherPort) + "/ws";

  std::string secret;
  const auto guarded = [&](const httplib::Request& request, httplib::Response& response, const std::string& to) {
    if (request.get_header_value("Authorization") != "Basic dTpwMg==") {
      response.status = 401;
      response.set_header("WWW-Authenticate", "Basic realm=\"r\"");
      return;
    }
    secret = request.get_header_value("X-Secret");
    if (to.empty()) {
      response.set_content(
          "<definitions xmlns=\"http://schemas.xmlsoap.org/wsdl/\" name=\"N\"><import location=\"" + elsewhere + "\"/></definitions>", "text/xml");
    } else {
      response.set_redirect(to);
    }
  };
  server.Get("/import", [&](const httplib::Request& request, httplib::Response& response) { guarded(request, response, ""); });
  server.Get("/redirect", [&](const httplib::Request& request, httplib::Response& response) { guarded(request, response, elsewhere); });
  const std::string root = start();
  const std::string config = engine.write("c.toml", "[headers]\nX-Secret = \"s\"\n");
  // The later one of two passwords counts.
  const std::vector<std::pair<Cell, Cell>> options = {
      {"WSCP_USER", "u"}, {"WSCP_PASS", "p1"}, {"WSCP_PASS", "p2"}, {"WSCP_CONFIG", config}, {"WSCP_REDIRECTS", "1"}};
  for (const char* const path : {"/import", "/redirect"}) {
    leaked = "not asked";
    EXPECT_EQ(engine.listing(root + path, options), kListed);
    EXPECT_EQ(secret, "s");
    EXPECT_EQ(leaked, "") << path;
  }
  const std::string refused = engine.listing(root + "/import", {{"WSCP_USER", "u"}, {"WSCP_PASS", "wrong"}});
  EXPECT_EQ(refused.substr(0, 4), "208:");
  EXPECT_EQ(refused.find("wrong"), std::string::npos);
  other.stop();
  otherThread.join();
}

TEST_F(Transport, GoesThroughAProxyOnlyWhenToldTo) {
  std::string asked;
  server.Get(".*", [&](const httplib::Request& request, httplib::Response& response) {
    asked = request.target;
    response.set_content(kDocument, "text/xml");
  });
  const std::string root = start();
  const std::string port = root.substr(root.rfind(':') + 1);
  EXPECT_EQ(engine.listing("http://far.invalid/ws", {{"WSCP_PROXY_HOST", "127.0.0.1"}, {"WSCP_PROXY_PORT", port}}), kListed);
  EXPECT_EQ(asked, "http://far.invalid/ws");
  EXPECT_EQ(engine.listing("http://far.invalid/ws", {{"WSCP_PROXY_HOST", "127.0.0.1"}, {"WSCP_PROXY_PORT", port}, {"WSCP_NO_PROXY", "far.invalid"}})
                .substr(0, 4),
            "203:");
}

}  // namespace
}  // namespace qvx::test
