// SPDX-License-Identifier: Apache-2.0
#include "module_support.h"

#include <gtest/gtest.h>
#include <httplib.h>

#include <memory>
#include <string>
#include <thread>

namespace qvx::test {
namespace {

const std::string kSoap11 = "http://schemas.xmlsoap.org/soap/envelope/";
const std::string kSoap12 = "http://www.w3.org/2003/05/soap-envelope";

std::string envelope(const std::string& body, const std::string& ns = kSoap11) {
  return "<s:Envelope xmlns:s=\"" + ns + "\"><s:Body>" + body + "</s:Body></s:Envelope>";
}

std::string shown(const std::vector<Row>& rows) {
  std::string out;
  for (const Row& row : rows) {
    for (const Cell& cell : row) out += cell.value_or("-") + "|";
    out += "\n";
  }
  return out;
}

/// A service on loopback that answers with what a test says, and keeps the request.
class Invoke : public testing::Test {
 protected:
  Invoke() {
    server.Post(".*", [this](const httplib::Request& request, httplib::Response& response) {
      request_ = request;
      ++calls_;
      response.status = status;
      for (const auto& [name, value] : headers) response.headers.emplace(name, value);
      response.set_content(body, type);
    });
    port_ = server.bind_to_any_port("127.0.0.1");
    thread_ = std::thread([this] { server.listen_after_bind(); });
    while (!server.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  ~Invoke() override {
    engine_.reset();  // the server waits for its connections
    server.stop();
    thread_.join();
  }

  [[nodiscard]] std::string at(const std::string& path = "/s") const { return "http://127.0.0.1:" + std::to_string(port_) + path; }
  void set(std::vector<std::pair<Cell, Cell>> options, const std::string& path = "/s") {
    options.emplace_back("WSCP_ADDRESS", at(path));
    const Answered done = engine.setOptions(options);
    ASSERT_EQ(done.status, 0) << done.error;
  }
  void bind(const std::vector<std::vector<Row>>& values) {
    std::vector<Row> rows;
    for (const auto& value : values) rows.insert(rows.end(), value.begin(), value.end());
    const Answered done = engine.setParameters(rows);
    ASSERT_EQ(done.status, 0) << done.error;
  }

  std::unique_ptr<Engine> engine_ = std::make_unique<Engine>();
  Engine& engine = *engine_;
  int status = 200;
  std::string type = "text/xml; charset=utf-8";
  std::string body = envelope("<r xmlns=\"urn:t\">ok</r>");
  std::vector<std::pair<std::string, std::string>> headers;
  httplib::Request request_;
  int calls_ = 0;

 private:
  httplib::Server server;
  std::thread thread_;
  int port_ = 0;
};

TEST_F(Invoke, SendsAndAnswers) {
  set({{"WSCP_ACTION", "urn:t/op"}});
  bind({boundText("{urn:t}op", "Input", "<?xml version='1.0'?>\n<op xmlns='urn:t'>1</op> "), boundText("{urn:t}r", "Output", "what it was before"),
        boundText("{urn:t}absent", "Output"), boundText("{" + kSoap12 + "}Body", "Output")});
  headers = {{"X-Two", "a"}, {"X-Two", "b"}, {"X-Empty", ""}};
  const Answered done = engine.invoke({{"HTTP_HEADER/X-Own", "1"}, {"HTTP_HEADER/X-Own", "2"}, {"HTTP_HEADER/User-Agent", "host"}});
  ASSERT_EQ(done.status, 0) << done.error;
  EXPECT_NE(request_.body.find("<op xmlns='urn:t'>1</op></"), std::string::npos) << request_.body;
  EXPECT_EQ(request_.get_header_value("SOAPAction"), "\"urn:t/op\"");
  EXPECT_EQ(request_.get_header_value("Content-Type"), "text/xml; charset=utf-8");
  EXPECT_EQ(request_.get_header_value_count("X-Own"), 2U);
  EXPECT_EQ(request_.get_header_value("User-Agent"), "host");
  EXPECT_EQ(shown(done.rows.at(0)), "urn:t|r|<r xmlns=\"urn:t\">ok</r>|\n" + kSoap12 + "|Body|<r xmlns=\"urn:t\">ok</r>|\n");
  const std::string values = shown(done.rows.at(1));
  EXPECT_EQ(values.find("HTTP_STATUS|200|\nHTTP_REASON|OK|\nHTTP_VERSION|HTTP/1.1|\nHTTP_HEADER/"), 0U) << values;
  EXPECT_NE(values.find("HTTP_HEADER/X-Two|a|\nHTTP_HEADER/X-Two|b|\n"), std::string::npos) << values;
  EXPECT_NE(values.find("HTTP_HEADER/X-Empty||\n"), std::string::npos) << values;

  // A reset forgets the values and nothing else.
  ASSERT_EQ(engine.call("Reset").status, 0);
  const Answered empty = engine.invoke();
  EXPECT_EQ(empty.status, 0) << empty.error;
  EXPECT_TRUE(empty.rows.at(0).empty());
  EXPECT_EQ(request_.body.find("<op"), std::string::npos);
  EXPECT_EQ(request_.get_header_value("SOAPAction"), "\"urn:t/op\"");
}

TEST_F(Invoke, ActionsAndVersions) {
  struct Case {
    std::vector<std::pair<Cell, Cell>> options;
    std::string input;
    std::vector<std::pair<Cell, Cell>> values;
    std::string contentType;
    Cell action;
  };
  const std::string input12 = envelope("<x/>", kSoap12);
  const Case cases[] = {
      {{}, "", {}, "text/xml; charset=utf-8", "\"\""},
      {{{"WSCP_ACTION", "\"urn:q\""}}, "", {}, "text/xml; charset=utf-8", "\"urn:q\""},
      {{{"WSCP_ACTION", "urn:a"}, {"WSCP_SOAP_VERSION", "1.2"}}, "", {}, "application/soap+xml; charset=utf-8; action=\"urn:a\"", {}},
      {{{"WSCP_SOAP_VERSION", "1.2"}, {"WSCP_ACTION", ""}}, "", {}, "application/soap+xml; charset=utf-8", {}},
      {{{"WSCP_ACTION", "urn:a"}}, input12, {}, "application/soap+xml; charset=utf-8; action=\"urn:a\"", {}},
      {{}, "", {{"HTTP_HEADER/content-type", "text/plain"}, {"HTTP_HEADER/soapaction", "x"}}, "text/plain", "x"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.contentType + one.action.value_or("-"));
    set(one.options);
    if (one.input.empty()) {
      ASSERT_EQ(engine.call("Reset").status, 0);
    } else {
      bind({boundText("{" + kSoap12 + "}Envelope", "Input", one.input)});
    }
    const Answered done = engine.invoke(one.values);
    ASSERT_EQ(done.status, 0) << done.error;
    EXPECT_EQ(request_.get_header_value("Content-Type"), one.contentType);
    EXPECT_EQ(request_.has_header("SOAPAction") ? Cell(request_.get_header_value("SOAPAction")) : Cell(), one.action);
    if (!one.input.empty()) {
      EXPECT_EQ(request_.body, one.input);
    }
  }
}

TEST_F(Invoke, JudgesAnswers) {
  struct Case {
    int status;
    std::string type;
    std::string body;
    int code;
    std::string text;  ///< in the failure
  };
  const std::string fault = envelope("<s:Fault><faultcode xmlns:c=\"urn:c\">c:Bad</faultcode><faultstring>no  such\nthing</faultstring></s:Fault>");
  const std::string fault12 =
      envelope("<s:Fault><s:Code><s:Value>s:Sender</s:Value></s:Code><s:Reason><s:Text xml:lang=\"en\">why</s:Text></s:Reason></s:Fault>", kSoap12);
  const Case cases[] = {
      {200, "text/xml", "", 0, ""},
      {202, "text/xml", "", 0, ""},
      {202, "text/html", "<p>thank you", 0, ""},
      {204, "text/xml", "", 0, ""},
      {500, "text/xml", fault, 401, "Code: {urn:c}Bad\nReason: no such thing"},
      {200, "text/xml", fault, 401, "HTTP status 200"},
      {401, "application/soap+xml", fault12, 401, "Code: {" + kSoap12 + "}Sender\nReason: why"},
      {401, "text/plain", "who are you", 208, "WSCP_USER"},
      {407, "text/plain", "", 208, "WSCP_PROXY_USER"},
      {404, "text/html", "<h1>not\nhere</h1>" + std::string(300, '.') + "END", 207,
       "HTTP status 404 Not Found; check the address. It said: <h1>not here"},
      {500, "text/xml", body, 207, "HTTP status 500"},
      {200, "text/html", "<p>welcome", 402, "text/html"},
      {200, "text/xml", "<a/>", 402, "SOAP envelope"},
      {200, "text/xml", body.substr(0, body.size() - 5), 402, "not understood"},
      {302, "text/xml", "", 209, ""},
  };
  set({});
  bind({boundText("{urn:t}r", "Output")});
  for (const Case& one : cases) {
    SCOPED_TRACE(std::to_string(one.status) + " " + one.body);
    status = one.status;
    type = one.type;
    body = one.body;
    if (one.status == 302) headers = {{"Location", at("/other")}};
    const Answered done = engine.invoke();
    EXPECT_EQ(done.code, one.code) << done.error;
    EXPECT_EQ(done.status, one.code == 0 ? 0 : qvwlpFailed);
    EXPECT_NE(done.error.find(one.text), std::string::npos) << done.error;
    EXPECT_EQ(done.error.find("END"), std::string::npos);
    if (one.code == 0) {
      EXPECT_TRUE(done.rows.at(0).empty());
    }
  }
}

TEST_F(Invoke, RefusesBeforeAnythingIsSent) {
  const Answered bound = engine.setParameters(boundText("{urn:t}op", "Input", "<op xmlns='urn:t'/>"));
  ASSERT_EQ(bound.status, 0);
  EXPECT_EQ(engine.invoke().code, 104);
  struct Case {
    std::string address;
    std::vector<std::pair<Cell, Cell>> options;
    std::vector<Row> rows;
    std::vector<std::pair<Cell, Cell>> values;
    int code;
    std::string text;
  };
  const std::vector<Row> fine = boundText("{urn:t}op", "Input");
  const std::vector<Row> nameless{{{}, {}, "type", "String", "1"}};
  const std::vector<Row> pathless{{{}, "o", "direction", "Output", {}}, {{}, {}, "type", "File", "1"}};
  const std::vector<Row> odd{{{}, "o", "direction", "Output", {}}, {{}, {}, "Colour", "red", "1"}};
  const auto file = [](const char* name) {
    return std::vector<Row>{{{}, name, "direction", "Output", {}}, {{}, {}, "type", "File", "1"}, {{}, {}, "Path", "x", "1"}};
  };
  std::vector<Row> twice = file("o");
  for (const Row& row : file("p")) twice.push_back(row);
  const Case cases[] = {
      {"/etc/passwd", {}, fine, {}, 202, "endpoint"},
      {"http://h/{x", {}, fine, {}, 106, "position 10"},
      {"http://h/{x}", {}, fine, {{"y", "1"}}, 106, "'y'"},
      {"http://h/", {}, fine, {{"y", "1"}}, 106, "it has none"},
      {"http://h/", {}, fine, {{"HTTP_HEADER/X", "a\r\nEvil: 1"}}, 106, "HTTP_HEADER/X"},
      {"http://h/", {}, fine, {{"HTTP_HEADER/content-length", "1"}}, 106, "length"},
      {"http://h/", {{"WSCP_ACTION", "a\nb"}}, fine, {}, 106, "WSCP_ACTION"},
      {"http://h/", {{"WSCP_SOAP_VERSION", "2"}}, fine, {}, 101, "WSCP_SOAP_VERSION"},
      {"http://h/", {{"WSCP_WS-SECURITY_DIGEST", "perhaps"}}, fine, {}, 101, "WSCP_WS-SECURITY_DIGEST"},
      {"http://h/", {}, boundText("{urn:t", "Input"), {}, 106, "{urn:t"},
      {"http://h/", {}, boundText("a", "Sideways"), {}, 106, "'a'"},
      {"http://h/", {}, nameless, {}, 106, "no name"},
      {"http://h/", {}, pathless, {}, 106, "'o'"},
      {"http://h/", {}, odd, {}, 106, "Colour"},
      {"http://h/", {}, twice, {}, 106, "'p'"},
      {"http://h/", {}, boundText("{urn:t}op", "Input", "<other/>"), {}, 106, "other"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.text);
    auto options = one.options;
    options.emplace_back("WSCP_ADDRESS", one.address);
    Answered done = engine.setOptions(options);
    if (done.status == 0) done = engine.setParameters(one.rows);
    if (done.status == 0) done = engine.invoke(one.values);
    EXPECT_EQ(done.code, one.code) << done.error;
    EXPECT_NE(done.error.find(one.text), std::string::npos) << done.error;
  }
  EXPECT_EQ(calls_, 0);
}

TEST_F(Invoke, AsksTheCallback) {
  struct Record {
    QvjniInvokeCallback head;
    int polls;
    int stopAt;
  };
  const auto poll = [](QvjniInvokeCallback* head) -> std::int32_t {
    auto& record = *reinterpret_cast<Record*>(head);
    return ++record.polls == record.stopAt ? 1 : 0;
  };
  set({});
  Record patient{{1, poll}, 0, 0};
  EXPECT_EQ(engine.invoke({}, &patient.head).status, 0);
  EXPECT_GE(patient.polls, 1);
  Record hasty{{0, poll}, 0, 1};
  const Answered stopped = engine.invoke({}, &hasty.head);
  EXPECT_EQ(stopped.code, 211) << stopped.error;
  EXPECT_EQ(calls_, 1);
  EXPECT_EQ(engine.invoke().status, 0);
}

}  // namespace
}  // namespace qvx::test
