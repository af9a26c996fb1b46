// SPDX-License-Identifier: Apache-2.0
// What a call costs over a kept connection: bench_call BASE-URL [SECONDS], against the server that bench/run-calls starts.
//
// The library is measured beside a bare libcurl loop that sends the same bytes and reads the answer into a buffer. All of them take turns in short
// rounds, so that what else the machine does hits them alike; Google Benchmark, which runs one benchmark after the other and knows no percentiles, is
// not made for that.
#include <qvws/qvws.h>

#include <curl/curl.h>
#include <httplib.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr char kPayload[] = "<ask xmlns=\"urn:bench\"><article>bolt</article></ask>";

using Headers = std::multimap<std::string, std::string>;
using Clock = std::chrono::steady_clock;

/// What reaches a server.
struct Request {
  Headers headers;
  std::string body;
  bool operator==(const Request&) const = default;
};

/// The request that `call` sends to the address it is given; it is answered with an empty envelope.
Request capture(const std::function<void(const std::string& address)>& call) {
  Request request;
  httplib::Server server;
  server.Post(".*", [&](const httplib::Request& received, httplib::Response& response) {
    request.body = received.body;
    for (const auto& [name, value] : received.headers) {
      const bool ofConnection = name == "Host" || name.starts_with("REMOTE_") || name.starts_with("LOCAL_");
      if (!ofConnection) request.headers.emplace(name, value);
    }
    response.set_content("<e:Envelope xmlns:e='http://schemas.xmlsoap.org/soap/envelope/'><e:Body/></e:Envelope>", "text/xml");
  });
  const int port = server.bind_to_any_port("127.0.0.1");
  std::thread listener([&] { server.listen_after_bind(); });
  while (!server.is_running()) std::this_thread::yield();
  const auto stop = [&] {
    server.stop();
    listener.join();
  };
  try {
    call("http://127.0.0.1:" + std::to_string(port) + "/");
  } catch (...) {
    stop();
    throw;
  }
  stop();
  return request;
}

/// One way to make the call. What fails throws.
class Caller {
 public:
  Caller() = default;
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;
  virtual ~Caller() = default;
  virtual void call() = 0;
  /// Bytes of the last answer that the caller was given.
  [[nodiscard]] virtual std::size_t received() = 0;
};

/// A loop around curl_easy_perform.
class Bare : public Caller {
 public:
  Bare(const std::string& address, Request request) : request_(std::move(request)), curl_(curl_easy_init()) {
    const auto header = [this](const std::string& line) { headers_ = curl_slist_append(headers_, line.c_str()); };
    for (const auto& [name, value] : request_.headers)
      if (name != "Content-Length") header(std::string(name).append(": ").append(value));
    for (const char* own : {"Accept", "Content-Type", "Expect"})
      if (!request_.headers.contains(own)) header(std::string(own) + ":");  // libcurl leaves its own out
    curl_easy_setopt(curl_, CURLOPT_URL, address.c_str());
    curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, headers_);
    curl_easy_setopt(curl_, CURLOPT_POSTFIELDS, request_.body.c_str());
    curl_easy_setopt(curl_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request_.body.size()));
    if (request_.body.empty()) curl_easy_setopt(curl_, CURLOPT_HTTPGET, 1L);
    curl_easy_setopt(curl_, CURLOPT_WRITEDATA, &answer_);
    curl_easy_setopt(
        curl_, CURLOPT_WRITEFUNCTION, +[](char* bytes, std::size_t one, std::size_t count, void* to) {
          static_cast<std::string*>(to)->append(bytes, one * count);
          return one * count;
        });
  }
  ~Bare() override {
    curl_easy_cleanup(curl_);
    curl_slist_free_all(headers_);
  }

  void call() override {
    answer_.clear();
    const CURLcode code = curl_easy_perform(curl_);
    long status = 0;
    curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &status);
    if (code != CURLE_OK || status != 200)
      throw std::runtime_error("libcurl: " + std::string(curl_easy_strerror(code)) + ", " + std::to_string(status));
  }
  std::size_t received() override { return answer_.size(); }
  [[nodiscard]] const std::string& answer() const { return answer_; }

 private:
  const Request request_;
  CURL* const curl_;
  curl_slist* headers_ = nullptr;
  std::string answer_;
};

/// A client of the library with values bound to input and output.
class Bound : public Caller {
 public:
  explicit Bound(const std::string& address) : client_(qvwsCreateWebServiceClient(&err_)) {
    check(client_ != nullptr && client_->SetOption("WSCP_ADDRESS", address.c_str(), err_) &&
          client_->SetOption("WSCP_ACTION", "urn:bench/ask", err_));
    bind();
  }
  ~Bound() override {
    if (client_ != nullptr) client_->Release();
  }

  void call() override { check(client_->Invoke(nullptr, err_)); }
  std::size_t received() override {
    QvbString text;
    output_->getProperty("wsps.string.value", text);
    return static_cast<std::size_t>(text.length());
  }

 protected:
  void bind() {
    WebServiceParmValue* input = qvwsCreateWebServiceParmValue(WSPStyle::String, &err_);
    output_ = qvwsCreateWebServiceParmValue(WSPStyle::String, &err_);
    check(input != nullptr && output_ != nullptr && input->setProperty("wsps.string.value", kPayload, err_) &&
          client_->SetInputParmValue("{urn:bench}ask", input, err_) && client_->SetOutputParmValue("{urn:bench}answer", output_, err_));
  }
  void check(bool done) const {
    if (!done) throw std::runtime_error(err_.asCstr());
  }

  QvbString err_;
  WebServiceClient* const client_;
  WebServiceParmValue* output_ = nullptr;
};

/// The same with new values for each call, and a look at everything that came.
class Rebound final : public Bound {
 public:
  using Bound::Bound;

  void call() override {
    bind();
    Bound::call();
    QvbString text;
    QvbString status;
    check(output_->getProperty("wsps.string.value", text) && client_->GetResponseValue("HTTP_STATUS", status));
    received_ = static_cast<std::size_t>(text.length());
  }
  std::size_t received() override { return received_; }

 private:
  std::size_t received_ = 0;
};

double cpuMicroseconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto micros = [](const timeval& time) { return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec); };
  return micros(usage.ru_utime) + micros(usage.ru_stime);
}

double quantile(std::vector<double> values, double part) {
  const auto at = values.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), at, values.end());
  return *at;
}

/// A caller and what it took.
struct Contender {
  const char* name;
  std::unique_ptr<Caller> caller;
  std::vector<double> calls = {};   ///< microseconds of each call
  std::vector<double> rounds = {};  ///< microseconds of each round
  double cpu = 0;

  void round(int count) {
    const double cpuBefore = cpuMicroseconds();
    double sum = 0;
    for (int i = 0; i < count; ++i) {
      const Clock::time_point start = Clock::now();
      caller->call();
      calls.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
      sum += calls.back();
    }
    rounds.push_back(sum);
    cpu += cpuMicroseconds() - cpuBefore;
  }
  /// How many times as long as the first of them it took: the median of the rounds.
  [[nodiscard]] double ratio(const Contender& first) const {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < rounds.size(); ++i) ratios.push_back(rounds[i] / first.rounds[i]);
    return quantile(std::move(ratios), 0.5);
  }
};

/// Connections that the server has accepted so far, this question's own included.
long accepted(const std::string& base) {
  Bare status(base + "/status", {});
  status.call();
  const std::string& text = status.answer();
  const std::size_t line = text.find("requests\n");
  if (line == std::string::npos) throw std::runtime_error("The server does not tell its connections: " + text);
  return std::strtol(text.c_str() + line + 9, nullptr, 10);
}

void measure(const std::string& base, const char* path, const Request& request, double seconds) {
  const long before = accepted(base);
  const std::string address = base + path;
  std::vector<Contender> contenders;
  contenders.push_back({"bare libcurl", std::make_unique<Bare>(address, request)});
  contenders.push_back({"Invoke", std::make_unique<Bound>(address)});
  contenders.push_back({"bind, Invoke, read", std::make_unique<Rebound>(address)});

  // Rounds of about 20 ms; each contender begins as often as the others do.
  for (Contender& contender : contenders) contender.caller->call();
  const Clock::time_point start = Clock::now();
  for (int i = 0; i < 100; ++i) contenders[0].caller->call();
  const double perCall = std::chrono::duration<double>(Clock::now() - start).count() / 100;
  const int count = std::max(5, static_cast<int>(0.02 / perCall));
  const Clock::time_point end = Clock::now() + std::chrono::microseconds(static_cast<long>(seconds * 1e6));
  for (std::size_t round = 0; Clock::now() < end; ++round)
    for (std::size_t i = 0; i < contenders.size(); ++i) contenders[(i + round) % contenders.size()].round(count);

  std::printf("\n%s: %zu rounds of %d calls\n%-20s %10s %10s %10s %12s %12s %8s\n", path, contenders[0].rounds.size(), count, "", "calls/s", "p50 us",
              "p99 us", "CPU us/call", "answer B", "ratio");
  for (const Contender& contender : contenders) {
    double sum = 0;
    for (const double micros : contender.rounds) sum += micros;
    const auto calls = static_cast<double>(contender.calls.size());
    std::printf("%-20s %10.0f %10.1f %10.1f %12.1f %12zu %8.3f\n", contender.name, calls / sum * 1e6, quantile(contender.calls, 0.5),
                quantile(contender.calls, 0.99), contender.cpu / calls, contender.caller->received(), contender.ratio(contenders[0]));
  }
  const long connections = accepted(base) - before - 1;
  const long kept = static_cast<long>(contenders.size());
  std::printf("connections: %ld%s\n", connections, connections == kept ? ", one each, kept" : "; NOT KEPT, so this compares something else");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) return std::fprintf(stderr, "usage: bench_call BASE-URL [SECONDS]; bench/run-calls starts the server for it\n"), 2;
  const double seconds = argc == 3 ? std::atof(argv[2]) : 5;
  curl_global_init(CURL_GLOBAL_DEFAULT);
  try {
    const Request ours = capture([](const std::string& address) { Bound(address).call(); });
    const Request theirs = capture([&](const std::string& address) { Bare(address, ours).call(); });
    std::printf("The request: %zu bytes of body", ours.body.size());
    for (const auto& [name, value] : ours.headers) std::printf("\n  %s: %s", name.c_str(), value.c_str());
    std::printf("\n");
    if (ours != theirs) throw std::runtime_error("The bare loop sends something else than the library");
    for (const char* path : {"/small", "/large"}) measure(argv[1], path, ours, seconds);
  } catch (const std::exception& error) {
    return std::fprintf(stderr, "bench_call: %s\n", error.what()), 1;
  }
  curl_global_cleanup();
  return 0;
}
