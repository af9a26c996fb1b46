// SPDX-License-Identifier: Apache-2.0
// What a discovery costs as documents grow. Each operation has a request and a response element of 8 fields. After the table, the cost per operation
// is set in relation to that of the smallest document: it stays near 1 when no step grows faster than the document.
#include <qvws/qvws.h>

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;

/// A folder that goes with the process.
class Folder {
 public:
  Folder() {
    std::string name = (fs::temp_directory_path() / "bench_discovery.XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      std::perror(name.c_str());
      std::exit(1);
    }
    path_ = name;
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() { fs::remove_all(path_); }

  /// The document with that many operations, written when first asked for.
  std::string document(int64_t operations) {
    const fs::path path = path_ / (std::to_string(operations) + ".wsdl");
    if (!fs::exists(path)) write(path, operations);
    return path.string();
  }

 private:
  static void write(const fs::path& path, int64_t operations) {
    std::ofstream out(path);
    out << "<definitions name='Big' targetNamespace='urn:big' xmlns='http://schemas.xmlsoap.org/wsdl/' "
           "xmlns:s='http://schemas.xmlsoap.org/wsdl/soap/' "
           "xmlns:b='urn:big' xmlns:xs='http://www.w3.org/2001/XMLSchema'>\n<types><xs:schema targetNamespace='urn:big' "
           "elementFormDefault='qualified'>\n";
    const char* const types[] = {"string", "int", "decimal", "dateTime", "boolean", "long", "date", "base64Binary"};
    const auto element = [&](const std::string& name) {
      out << "<xs:element name='" << name << "'><xs:complexType><xs:sequence>\n";
      int field = 0;
      for (const char* type : types) {
        ++field;
        out << "  <xs:element name='field" << field << "' type='xs:" << type << "' minOccurs='" << field % 2 << "'/>\n";
      }
      out << "</xs:sequence></xs:complexType></xs:element>\n";
    };
    std::vector<std::string> names;
    for (int64_t i = 0; i < operations; ++i) names.push_back("Operation" + std::to_string(i));
    for (const std::string& name : names) {
      element(name);
      element(name + "Response");
    }
    out << "</xs:schema></types>\n";
    for (const std::string& name : names) {
      out << "<message name='" << name << "In'><part name='p' element='b:" << name << "'/></message>\n"
          << "<message name='" << name << "Out'><part name='p' element='b:" << name << "Response'/></message>\n";
    }
    out << "<portType name='I'>\n";
    for (const std::string& name : names) {
      out << "<operation name='" << name << "'><documentation>Does " << name << ".</documentation><input message='b:" << name
          << "In'/><output message='b:" << name << "Out'/></operation>\n";
    }
    out << "</portType><binding name='B' type='b:I'><s:binding transport='http://schemas.xmlsoap.org/soap/http'/>\n";
    for (const std::string& name : names) {
      out << "<operation name='" << name << "'><s:operation soapAction='urn:big/" << name
          << "'/><input><s:body use='literal'/></input><output><s:body use='literal'/></output></operation>\n";
    }
    out << "</binding><service name='S'><port name='P' binding='b:B'><s:address location='http://127.0.0.1:9/'/></port></service></definitions>\n";
    if (!out.flush()) {
      std::perror(path.c_str());
      std::exit(1);
    }
  }

  fs::path path_;
};

Folder& folder() {
  static Folder it;
  return it;
}

struct Release {
  void operator()(WebServiceClient* client) const { client->Release(); }
  void operator()(WebServiceDiscovery* discovery) const { discovery->release(); }
};

/// A client with its discovery.
struct Discovered {
  explicit Discovered(const std::string& location) : client(qvwsCreateWebServiceClient(&err)) {
    if (client != nullptr && client->SetOption("WSCP_ADDRESS", location.c_str(), err)) discovery.reset(client->Discover(err));
  }

  QvbString err;
  std::unique_ptr<WebServiceClient, Release> client;
  std::unique_ptr<WebServiceDiscovery, Release> discovery;
};

/// Walks everything by index, as hosts do; the number of bytes and pointers seen, or -1.
int64_t walk(WebServiceDiscovery& discovery, bool parameters) {
  QvbString err;
  int64_t seen = 0;
  const auto text = [&](const QvbString& value) { seen += value.length(); };
  for (int32_t i = 0; i < discovery.getServiceCount(); ++i) {
    WebServiceService* service = discovery.getServiceAt(i, &err);
    for (int32_t k = 0; k < service->getEndpointCount(); ++k) text(service->getEndpointAt(k, &err)->getName());
  }
  for (int32_t i = 0; i < discovery.getInterfaceCount(); ++i) {
    WebServiceInterface* interface = discovery.getInterfaceAt(i, &err);
    for (int32_t k = 0; k < interface->getOperationCount(); ++k) text(interface->getOperationAt(k, err)->getDocumentation());
  }
  for (int32_t i = 0; i < discovery.getBindingCount(); ++i) {
    WebServiceBinding* binding = discovery.getBindingAt(i, &err);
    for (int32_t k = 0; k < binding->getOperationCount(); ++k) {
      WebServiceOperation* operation = binding->getOperationAt(k, err);
      text(operation->getQName().toText());
      text(operation->getAction());
      text(operation->getAddress());
      if (!parameters) continue;
      for (WebServiceParameter* parameter : {operation->getInputParameter(err), operation->getOutputParameter(err)}) {
        if (parameter == nullptr) return -1;
        text(parameter->getSchema());
        text(parameter->getXML());
      }
    }
  }
  return seen;
}

/// A line of /proc/self/status in bytes.
int64_t statusBytes(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.compare(0, name.size() + 1, name + ":") == 0) return std::strtoll(line.c_str() + name.size() + 1, nullptr, 10) * 1024;
  }
  return 0;
}

int64_t heldBytes() {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<int64_t>(info.uordblks + info.hblkhd);
}

void discovery(benchmark::State& state, bool parameters) {
  const int64_t operations = state.range(0);
  const std::string location = folder().document(operations);

  // Memory first, once: what is held while the discovery lives, and the highest resident size on the way there.
  malloc_trim(0);
  std::ofstream("/proc/self/clear_refs") << "5";  // begins a new high-water mark
  const int64_t heldBefore = heldBytes();
  const int64_t residentBefore = statusBytes("VmRSS");
  {
    const Discovered discovered(location);
    if (discovered.discovery == nullptr) return state.SkipWithError(discovered.err.asCstr());
    if (walk(*discovered.discovery, parameters) < 0) return state.SkipWithError("a parameter cannot be had");
    state.counters["held_B/op"] = static_cast<double>(heldBytes() - heldBefore) / static_cast<double>(operations);
    state.counters["peak_B/op"] = static_cast<double>(statusBytes("VmHWM") - residentBefore) / static_cast<double>(operations);
  }

  for (auto _ : state) {
    const Discovered discovered(location);
    if (discovered.discovery == nullptr) return state.SkipWithError(discovered.err.asCstr());
    benchmark::DoNotOptimize(walk(*discovered.discovery, parameters));
  }
  state.counters["time/op"] =
      benchmark::Counter(static_cast<double>(operations), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

BENCHMARK_CAPTURE(discovery, list, false)->Arg(500)->Arg(1000)->Arg(2000)->Arg(4000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(discovery, describe_all, true)->Arg(500)->Arg(1000)->Arg(2000)->Arg(4000)->Unit(benchmark::kMillisecond);

/// Prints the table, then each cost per operation as a multiple of the smallest document's.
class Ratios : public benchmark::ConsoleReporter {
 public:
  Ratios() : ConsoleReporter(isatty(STDOUT_FILENO) == 1 ? OO_ColorTabular : OO_Tabular) {}
  void ReportRuns(const std::vector<Run>& runs) override {
    benchmark::ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      failed_ = failed_ || run.error_occurred;
      if (run.error_occurred || run.run_type != Run::RT_Iteration) continue;
      for (const auto& [counter, value] : run.counters)
        lines_[run.run_name.function_name + " " + counter].emplace_back(run.run_name.args, value.value);
    }
  }
  void Finalize() override {
    GetOutputStream() << "\nper operation, relative to the smallest document:\n";
    for (const auto& [name, values] : lines_) {
      GetOutputStream() << name << ":";
      for (const auto& [size, value] : values) GetOutputStream() << "  " << size << " x" << value / values.front().second;
      GetOutputStream() << "\n";
    }
  }
  [[nodiscard]] bool failed() const { return failed_; }

 private:
  std::map<std::string, std::vector<std::pair<std::string, double>>> lines_;
  bool failed_ = false;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  Ratios ratios;
  benchmark::RunSpecifiedBenchmarks(&ratios);
  return ratios.failed() ? 1 : 0;
}
