// SPDX-License-Identifier: Apache-2.0
// What a call costs whose payload or answer is a large file: bench_files [MiB], 1024 by default, beside a bare libcurl that sends or receives the
// same number of bytes. Each case is a process of its own, as is the server, so that its highest resident size is the case's alone. Google Benchmark
// repeats a case in one process and is no help with that.
#include <qvws/qvws.h>

#include <curl/curl.h>
#include <httplib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr char kEnvelope[] = "<soap:Envelope xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\"><soap:Body>";
constexpr char kEnvelopeEnd[] = "</soap:Body></soap:Envelope>";

/// A text that is too large to be held: a block that repeats between a head and a tail.
class Large {
 public:
  Large(std::string head, const std::string& line, std::string tail, std::uint64_t size) : head_(std::move(head)), tail_(std::move(tail)) {
    while (block_.size() < kBlock) block_ += line;
    blocks_ = size / block_.size() + 1;
  }
  [[nodiscard]] std::uint64_t size() const { return head_.size() + blocks_ * block_.size() + tail_.size(); }
  /// What lies in one piece in memory from there on; empty at the end.
  [[nodiscard]] std::string_view from(std::uint64_t offset) const {
    if (offset < head_.size()) return std::string_view(head_).substr(offset);
    offset -= head_.size();
    if (offset < blocks_ * block_.size()) return std::string_view(block_).substr(offset % block_.size());
    return std::string_view(tail_).substr(std::min<std::uint64_t>(offset - blocks_ * block_.size(), tail_.size()));
  }
  [[nodiscard]] Large in(const std::string& before, const std::string& after) const {
    Large more = *this;
    more.head_ = before + head_;
    more.tail_ = tail_ + after;
    return more;
  }

 private:
  static constexpr std::size_t kBlock = 65536;

  std::string head_;
  std::string block_;
  std::string tail_;
  std::uint64_t blocks_ = 0;
};

/// A payload in the two shapes that large ones have: many small elements, or one text.
struct Shape {
  const char* name;
  Large payload;
};

std::vector<Shape> shapes(std::uint64_t size) {
  const std::string base64(76, 'Q');
  return {{"rows", Large("<all xmlns=\"urn:bench\">", "<line><article>M8 bolt</article><pieces>1200</pieces></line>\n", "</all>", size)},
          {"text", Large("<all xmlns=\"urn:bench\">", base64 + "\n", "</all>", size)}};
}

/// Serves on that port until it is killed: "/sink" answers with how many bytes it was sent, "/source/<shape>" with the payload of that shape.
[[noreturn]] void serve(const std::vector<Shape>& all, int portTo) {
  httplib::Server server;
  server.set_payload_max_length(std::numeric_limits<std::size_t>::max());
  server.Post("/sink", [](const httplib::Request&, httplib::Response& response, const httplib::ContentReader& read) {
    std::uint64_t bytes = 0;
    read([&](const char*, std::size_t count) {
      bytes += count;
      return true;
    });
    response.set_content(kEnvelope + ("<got xmlns=\"urn:bench\">" + std::to_string(bytes) + "</got>") + kEnvelopeEnd, "text/xml");
  });
  for (const Shape& shape : all) {
    const Large answer = shape.payload.in(kEnvelope, kEnvelopeEnd);
    server.Post(std::string("/source/") + shape.name, [answer](const httplib::Request&, httplib::Response& response) {
      response.set_content_provider(answer.size(), "text/xml", [answer](std::size_t offset, std::size_t, httplib::DataSink& sink) {
        const std::string_view piece = answer.from(offset);
        return sink.write(piece.data(), piece.size());
      });
    });
  }
  const int port = server.bind_to_any_port("127.0.0.1");
  if (port < 0 || write(portTo, &port, sizeof port) != sizeof port) _exit(1);
  close(portTo);
  server.listen_after_bind();
  _exit(1);
}

void expect(bool done, const QvbString& why) {
  if (!done) throw std::runtime_error(why.asCstr());
}

/// Calls with a payload that is a text or a file, and an answer of that name that goes into a file or is returned.
std::string invoke(const std::string& address, WSPStyle inStyle, const std::string& in, const char* outName, WSPStyle outStyle,
                   const std::string& out) {
  QvbString err;
  const std::unique_ptr<WebServiceClient, void (*)(WebServiceClient*)> client(qvwsCreateWebServiceClient(&err), [](auto* it) { it->Release(); });
  const auto bind = [&](decltype(&WebServiceClient::SetInputParmValue) how, const char* name, WSPStyle style, const std::string& text) {
    WebServiceParmValue* value = qvwsCreateWebServiceParmValue(style, &err);
    expect(value != nullptr, err);
    value->setProperty(style == WSPStyle::File ? "wsps.file.path" : "wsps.string.value", text.c_str(), err);
    expect((client.get()->*how)(name, value, err), err);
    return value;
  };
  expect(client != nullptr && client->SetOption("WSCP_ADDRESS", address.c_str(), err) && client->SetOption("WSCP_ACTION", "urn:bench", err) &&
             client->SetOption("HTTP_REQUEST_TIMEOUT", "3600", err),
         err);
  bind(&WebServiceClient::SetInputParmValue, "{urn:bench}all", inStyle, in);
  WebServiceParmValue* output = bind(&WebServiceClient::SetOutputParmValue, outName, outStyle, out);
  expect(client->Invoke(nullptr, err), err);
  QvbString text;
  output->getProperty("wsps.string.value", text);
  return text.asCstr();
}

/// The same bytes without anything else: `in` is sent when it is a file, and the answer written to `out`.
void bare(const std::string& address, const std::string& in, const std::string& out) {
  const std::unique_ptr<CURL, void (*)(CURL*)> curl(curl_easy_init(), curl_easy_cleanup);
  using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
  const File source(in.empty() ? nullptr : std::fopen(in.c_str(), "rb"), std::fclose);
  const File target(std::fopen(out.c_str(), "wb"), std::fclose);
  expect(target != nullptr && (in.empty() || source != nullptr), "a file cannot be opened");
  curl_easy_setopt(curl.get(), CURLOPT_URL, address.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_POST, 1L);
  curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(in.empty() ? 0 : fs::file_size(in)));
  if (in.empty()) curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, "");
  curl_easy_setopt(curl.get(), CURLOPT_READDATA, source.get());
  curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, target.get());
  const CURLcode code = curl_easy_perform(curl.get());
  expect(code == CURLE_OK, curl_easy_strerror(code));
}

/// Highest resident size so far, in MiB.
double peakMebibytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with("VmHWM:")) return std::strtod(line.c_str() + 6, nullptr) / 1024;
  return 0;
}

/// Runs a case in a process of its own and prints its line; false when it failed.
bool measure(const std::string& name, std::uint64_t bytes, const std::function<void()>& run) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    std::signal(SIGINT, SIG_DFL);
    try {
      const auto start = std::chrono::steady_clock::now();
      run();
      const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
      std::printf("%-24s %8.2f s %8.0f MB/s %8.1f MiB\n", name.c_str(), seconds, static_cast<double>(bytes) / seconds / 1e6, peakMebibytes());
      std::fflush(stdout);
      _exit(0);
    } catch (const std::exception& error) {
      std::fprintf(stderr, "%s: %s\n", name.c_str(), error.what());
      _exit(1);
    }
  }
  int status = 0;
  const bool ended = child > 0 && waitpid(child, &status, 0) == child;
  if (!ended || WIFSIGNALED(status)) throw std::runtime_error(name + " did not come to its end");
  return WEXITSTATUS(status) == 0;
}

void writeFile(const std::string& path, const Large& text) {
  std::ofstream out(path, std::ios::binary);
  for (std::uint64_t at = 0; at < text.size();) {
    const std::string_view piece = text.from(at);
    out.write(piece.data(), static_cast<std::streamsize>(piece.size()));
    at += piece.size();
  }
  expect(static_cast<bool>(out.flush()), "the input file cannot be written");
}

bool measureAll(const std::vector<Shape>& all, const fs::path& folder, const std::string& base) {
  const std::string in = folder / "in.xml";
  const std::string out = folder / "out.xml";
  bool well = true;
  std::printf("%-24s %10s %13s %12s\n", "", "time", "rate", "peak RSS");
  for (const Shape& shape : all) {
    const std::uint64_t size = shape.payload.size();
    const std::string source = base + "/source/" + shape.name;
    const auto line = [&](const char* what, const std::function<void()>& run) {
      well = measure(std::string(shape.name) + " " + what, size, run) && well;
    };
    writeFile(in, shape.payload);
    line("in, bare libcurl", [&] { bare(base + "/sink", in, out); });
    line("in", [&] {
      const std::string got = invoke(base + "/sink", WSPStyle::File, in, "{urn:bench}got", WSPStyle::String, "");
      const std::size_t digits = got.find('>') + 1;
      expect(std::strtoull(got.c_str() + digits, nullptr, 10) > size, ("the server got too little: " + got).c_str());
    });
    line("out, bare libcurl", [&] { bare(source, "", out); });
    line("out", [&] {
      invoke(source, WSPStyle::String, "<all xmlns=\"urn:bench\"/>", "{urn:bench}all", WSPStyle::File, out);
      expect(fs::file_size(out) >= size, "the answer's file is too short");
    });
  }
  return well;
}

}  // namespace

int main(int argc, char** argv) {
  const std::uint64_t mebibytes = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 1024;
  if (argc > 2 || mebibytes == 0) return std::fprintf(stderr, "usage: bench_files [MiB]\n"), 2;
  const std::vector<Shape> all = shapes(mebibytes << 20);
  std::signal(SIGINT, SIG_IGN);  // it ends the case that runs, and then this cleans up
  int ports[2];
  if (pipe(ports) != 0) return std::perror("pipe"), 1;
  const pid_t server = fork();
  if (server == 0) serve(all, ports[1]);
  close(ports[1]);
  int port = 0;
  std::string name = (fs::temp_directory_path() / "bench_files.XXXXXX").string();
  bool well = false;
  if (read(ports[0], &port, sizeof port) != sizeof port || mkdtemp(name.data()) == nullptr) {
    std::fprintf(stderr, "bench_files: there is no server or no folder\n");
  } else {
    try {
      well = measureAll(all, name, "http://127.0.0.1:" + std::to_string(port));
    } catch (const std::exception& error) {
      std::fprintf(stderr, "bench_files: %s\n", error.what());
    }
    fs::remove_all(name);
  }
  kill(server, SIGKILL);
  waitpid(server, nullptr, 0);
  return well ? 0 : 1;
}
