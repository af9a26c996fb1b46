// SPDX-License-Identifier: Apache-2.0
// A host for the tests of calls: reads a job as JSON from standard input, does it with one client, and prints what came of it as JSON.
//
//   {"options": {name: text}, "namespaces": {prefix: URI}, "uri": template, "slowNamesMs": how long the look-up of a host's name takes,
//    "calls": [{"pauseMs": milliseconds before it, "reset": true, "requestValues": {name: [text]},
//               "inputs": [{"name": QName, "text"|"file": text, "xml": bool}], "outputs": [{"name": QName, "file": path}],
//               "repeat": times, "cancelAfterMs": [milliseconds], "pollMs": milliseconds}]}
//
// A call without inputs or outputs keeps those that are bound. It is made once, `repeat` times, or once for each time after which it is to be
// cancelled.
#include <qvws/qvws.h>

#include <dlfcn.h>
#include <netdb.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

namespace {

using nlohmann::json;
using Clock = std::chrono::steady_clock;

QvbString text(const std::string& from) {
  return {from.data(), static_cast<std::int32_t>(from.size())};
}

json shown(const QvbString& value) {
  return value.isNull() ? json() : json(std::string(value.asCstr(), static_cast<std::size_t>(value.length())));
}

/// What an object has under a key; nothing when it has none.
const json& part(const json& object, const char* key) {
  static const json kNothing;
  const auto found = object.find(key);
  return found == object.end() ? kNothing : *found;
}

void require(bool succeeded, const QvbString& err) {
  if (!succeeded) throw std::runtime_error(err.asCstr());
}

double millisecondsSince(Clock::time_point when) {
  return std::chrono::duration<double, std::milli>(Clock::now() - when).count();
}

/// Cancels once a time has passed, and remembers when it first said so.
class Stopwatch final : public WebServiceInvokeCallback {
 public:
  Stopwatch(std::int32_t pollMs, double cancelAfterMs) : pollMs_(pollMs), cancelAfterMs_(cancelAfterMs) {}

  std::int32_t getOption() override { return pollMs_; }
  bool isCancelled() override {
    ++polls_;
    if (cancelAfterMs_ < 0 || millisecondsSince(start_) < cancelAfterMs_) return false;
    if (!said_) said_ = true, saidAt_ = Clock::now();
    return true;
  }
  void tell(json& result) const {
    result["polls"] = polls_;
    if (said_) result["sinceCancelMs"] = millisecondsSince(saidAt_);
  }

 private:
  const std::int32_t pollMs_;
  const double cancelAfterMs_;
  const Clock::time_point start_ = Clock::now();
  int polls_ = 0;
  bool said_ = false;
  Clock::time_point saidAt_;
};

std::ptrdiff_t descriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return std::distance(begin(all), end(all));
}

std::string peakKiB() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    if (word == "VmHWM:" && status >> word) return word;
  }
  throw std::runtime_error("there is no VmHWM in /proc/self/status");
}

std::atomic<int> slowNamesMs;

class Driver {
 public:
  explicit Driver(const json& job) {
    QvbString err;
    client_ = qvwsCreateWebServiceClient(&err);
    require(client_ != nullptr, err);
    for (const auto& [name, value] : part(job, "options").items()) require(client_->SetOption(text(name), text(value), err), err);
    for (const auto& [prefix, uri] : part(job, "namespaces").items()) require(client_->AddNamespace(text(prefix), text(uri), err), err);
  }
  Driver(const Driver&) = delete;
  Driver& operator=(const Driver&) = delete;
  ~Driver() { client_->Release(); }

  json uriVariables(const std::string& uri) {
    QvbString err;
    QvbStringCursor* const cursor = client_->DiscoverURI(text(uri), err);
    if (cursor == nullptr) return {{"err", shown(err)}};
    json names = json::array();
    while (cursor->next()) names.push_back(shown(cursor->getString(0)));
    cursor->release();
    return names;
  }

  void call(const json& one, json& results) {
    prepare(one);
    const std::int32_t pollMs = one.value("pollMs", 0);
    if (one.contains("cancelAfterMs")) {
      for (const json& after : one["cancelAfterMs"]) results.push_back(invoke(pollMs, after));
    } else {
      for (int i = one.value("repeat", 1); i > 0; --i) results.push_back(invoke(pollMs, -1));
    }
  }

 private:
  void prepare(const json& one) {
    std::this_thread::sleep_for(std::chrono::milliseconds(one.value("pauseMs", 0)));
    QvbString err;
    if (one.value("reset", false)) {
      outputs_.clear();
      require(client_->Reset(err), err);
    }
    for (const auto& [name, values] : part(one, "requestValues").items()) {
      bool first = true;
      for (const json& value : values) {
        require(std::exchange(first, false) ? client_->SetRequestValue(text(name), text(value), err)
                                            : client_->AddRequestValue(text(name), text(value), err),
                err);
      }
    }
    for (const json& input : part(one, "inputs")) bind(&WebServiceClient::SetInputParmValue, input);
    for (const json& output : part(one, "outputs")) outputs_[output["name"]] = bind(&WebServiceClient::SetOutputParmValue, output);
  }

  /// The value is the client's afterwards, and lives until it is reset or another is bound in its place.
  WebServiceParmValue* bind(bool (WebServiceClient::*set)(const QvbString&, WebServiceParmValue*, QvbString&), const json& described) {
    QvbString err;
    const bool isFile = described.contains("file");
    WebServiceParmValue* const value = qvwsCreateWebServiceParmValue(isFile ? WSPStyle::File : WSPStyle::String, &err);
    require(value != nullptr, err);
    const char* const key = isFile ? "file" : "text";
    if (described.contains(key)) value->setProperty(isFile ? "wsps.file.path" : "wsps.string.value", text(described[key]), err);
    if (described.contains("xml")) value->setValueIsXml(described["xml"]);
    require((client_->*set)(text(described["name"]), value, err), err);
    return value;
  }

  json invoke(std::int32_t pollMs, double cancelAfterMs) {
    Stopwatch watch(pollMs, cancelAfterMs);
    QvbString err;
    const Clock::time_point start = Clock::now();
    const bool succeeded = client_->Invoke(&watch, err);
    json result{{"ok", succeeded}, {"elapsedMs", millisecondsSince(start)}};
    watch.tell(result);
    result["descriptors"] = descriptors();
    if (!succeeded) result["err"] = shown(err);
    for (const auto& [name, value] : outputs_) {
      QvbString stored;
      value->getProperty("wsps.string.value", stored);
      result["outputs"][name] = shown(stored);
    }
    result["responseValues"] = responseValues();
    return result;
  }

  json responseValues() {
    json all = json::object();
    QvbString name;
    QvbString value;
    for (std::int32_t i = 0; i < client_->GetResponseValueCount(); ++i) {
      for (std::int32_t k = 0; client_->GetResponseValueByIndex(i, k, &name, value); ++k) all[name.asCstr()].push_back(shown(value));
    }
    return all;
  }

  WebServiceClient* client_ = nullptr;
  std::map<std::string, WebServiceParmValue*> outputs_;  ///< the client's
};

json run(const json& job) {
  json result;
  slowNamesMs = job.value("slowNamesMs", 0);
  result["descriptorsBefore"] = descriptors();
  {
    Driver driver(job);
    if (job.contains("uri")) result["uri"] = driver.uriVariables(job["uri"]);
    result["calls"] = json::array();
    for (const json& one : part(job, "calls")) driver.call(one, result["calls"]);
  }
  result["descriptorsAfter"] = descriptors();
  result["peakKiB"] = std::stol(peakKiB());
#if defined(__SANITIZE_ADDRESS__)
  result["sanitized"] = true;
#else
  result["sanitized"] = false;
#endif
  return result;
}

}  // namespace

/// Stands before the system's own, for libcurl too.
extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** found) {
  std::this_thread::sleep_for(std::chrono::milliseconds(slowNamesMs));
  static const auto system = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return system(name, service, hints, found);
}

int main() {
  try {
    std::cout << run(json::parse(std::cin)).dump() << '\n';
    return 0;
  } catch (const std::exception& failure) {
    std::cerr << "driver: " << failure.what() << '\n';
    return 1;
  }
}
