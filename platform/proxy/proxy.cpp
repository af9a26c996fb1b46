// SPDX-License-Identifier: Apache-2.0
#include "proxy/answer.h"
#include "proxy/module_store.h"
#include "wire/wire.h"

#include <qvb/config.h>
#include <qvjni/module.h>
#include <qvjni/qvjni.h>
#include <qvlog/qvlog.h>

#include <string.h>

#include <exception>
#include <memory>
#include <new>
#include <string>

namespace qvp {
namespace {

// Levels of a module's reports (0 to 3), which the log callback takes as they are: from 2 on it is a warning or an error.
constexpr int32_t kInformation = 1;
constexpr int32_t kError = 3;

QvlogLogger* logger() {
  return qvlogGetLogger("QV.Proxy");
}

struct InstanceEnd {
  void operator()(QvjniInstance* instance) const noexcept {
    try {
      instance->release();
    } catch (...) {
      logger()->log(qvlogError, __FILE__, __LINE__, "A proxy class threw an exception at its end; it was caught.");
    }
  }
};

/// What the platform does for an instance: inside the creation with the creator's callbacks, later with the log.
class Host final : public QvjniHost {
 public:
  Host(QvjniOptionCallback* option, QvjniLogCallback* log) : option_(option), log_(log) {}

  int32_t option(const char* key, const char** text, int32_t* length) override {
    if (option_ == nullptr || key == nullptr || text == nullptr || length == nullptr) return qvjniNoAnswer;
    return option_->answer(option_, key, nullptr, text, length);
  }

  void log(int32_t level, const char* text) override {
    const char* shown = text != nullptr ? text : "";
    if (log_ != nullptr) {
      log_->log(log_, level, shown);
    } else {
      static constexpr int32_t kLevels[] = {qvlogReport, qvlogInfo, qvlogWarning, qvlogError};
      logger()->log(kLevels[level < 0 || level > kError ? kError : level], __FILE__, __LINE__, shown);
    }
  }

  void endOptions() { option_ = nullptr; }
  void endCreation() {
    option_ = nullptr;
    log_ = nullptr;
  }

 private:
  QvjniOptionCallback* option_;
  QvjniLogCallback* log_;
};

}  // namespace
}  // namespace qvp

struct QvjniProxy {
  QvjniProxy(QvjniOptionCallback* option, QvjniLogCallback* log, const char* name) : host(option, log), interfaceName(name) {}

  qvp::Host host;
  std::string interfaceName;
  std::unique_ptr<QvjniInstance, qvp::InstanceEnd> instance;
  qvp::Owned owned;  // ended before the instance, whose memory its texts may lie in
};

namespace qvp {
namespace {

/// Asks one of the platform's own questions. No answer is an empty text.
int32_t ask(Host& host, const char* key, std::string& answer) {
  const char* text = nullptr;
  int32_t length = 0;
  const int32_t answered = host.option(key, &text, &length);
  answer.clear();
  if (answered == qvjniAnswered && text != nullptr && length > 0) answer.assign(text, static_cast<size_t>(length));
  if (answered != qvjniAnswerNoMemory) return qvwlpOk;
  host.log(kError, (std::string("There was no memory for the answer to '") + key + "'.").c_str());
  return qvwlpNoMemory;
}

/// Runs a method and turns whatever can go wrong in it into a status.
int32_t run(QvjniProxy& proxy, const char* method, const QvwlpValue* parameters, int32_t count, QvjniInvokeCallback* callback, const char* types,
            QvwlpResponse*& response) {
  QvwlpResponse* made = QvwlpResponse::create(proxy.owned);
  if (made == nullptr) return qvwlpNoMemory;
  Answer answer(*made, proxy.owned);
  int32_t status = qvwlpOk;
  std::string problem;
  try {
    status = proxy.instance->call(method, parameters, count, callback, &answer);
    if (status == qvwlpOk && made->failed) status = qvwlpFailed;
    if (status == qvwlpFailed && !made->failed) answer.fail(0, "the proxy class gave no reason", -1);
    if (status == qvwlpOk && !checkAnswer(*made, types, problem)) {
      status = qvwlpBadAnswer;
      logger()->log(qvlogError, __FILE__, __LINE__, ("The proxy method " + std::string(method) + " answered wrongly: " + problem + ".").c_str());
    }
  } catch (const std::bad_alloc&) {
    status = qvwlpNoMemory;
  } catch (const std::exception& thrown) {
    status = qvwlpFailed;
    answer.fail(0, thrown.what(), -1);
  } catch (...) {
    status = qvwlpFailed;
    answer.fail(0, "the proxy class threw an exception of unknown kind", -1);
  }
  if (status == qvwlpOk || status == qvwlpFailed) {
    response = made;
  } else {
    made->destroy();
  }
  return status;
}

/// Asks an instance for its version, and reports it.
int32_t reportVersion(QvjniProxy& proxy, const char* className) {
  const char types[] = {qvwlpString, '\0'};
  QvwlpResponse* response = nullptr;
  const int32_t status = run(proxy, "getVersion", nullptr, 0, nullptr, types, response);
  std::string text = std::string("The proxy class ") + className;
  if (status == qvwlpOk) {
    const QvwlpValue& version = response->cells[0];
    text += std::string(" has version ") + (version.present != 0 ? version.data.text : "unknown") + ".";
  } else if (status == qvwlpFailed) {
    text += " did not tell its version, error " + std::to_string(response->code) + ": " + response->text;
  } else {
    text += " did not tell its version: status " + std::to_string(status) + ".";
  }
  qvwlpResponse_destroy(response);
  proxy.host.log(status == qvwlpOk ? kInformation : kError, text.c_str());
  return status;
}

int32_t makeInstance(QvjniProxy& proxy, const char* archive, const char* className) {
  Host& host = proxy.host;
  QvbString problem;
  const QvbConfigOptions* config = qvbGetConfigOptions(QvbString());
  if (config == nullptr) return qvwlpNoMemory;
  if (config->getError(problem)) {
    host.log(kError, problem.asCstr());
    return qvwlpNoModule;
  }
  std::string directory;
  if (const int32_t status = ask(host, "JAVA_PROXY/DIRECTORY", directory); status != qvwlpOk) return status;
  std::string path;
  std::string error;
  QvjniModule* module = modulePath(archive, directory, path, error) ? loadModule(path, error) : nullptr;
  if (module == nullptr) {
    host.log(kError, error.c_str());
    return qvwlpNoModule;
  }
  proxy.instance.reset(module->create(className, proxy.interfaceName.c_str(), &host));
  if (proxy.instance == nullptr) {
    host.log(kError, ("The proxy module '" + path + "' has made no instance of the class '" + className + "'.").c_str());
    return qvwlpNoModule;
  }
  std::string versioned;
  if (const int32_t status = ask(host, "JAVA_PROXY/HAS_GETVERSION", versioned); status != qvwlpOk) return status;
  host.endOptions();
  return versioned == proxy.interfaceName ? reportVersion(proxy, className) : qvwlpOk;
}

}  // namespace
}  // namespace qvp

int32_t qvjniProxyCreate(const char* archive, const char* interfaceName, const char* className, QvjniOptionCallback* option, QvjniLogCallback* log,
                         QvjniProxy** proxy) {
  if (proxy == nullptr) return qvwlpBadArgument;
  *proxy = nullptr;
  if (archive == nullptr || interfaceName == nullptr || className == nullptr || option == nullptr || log == nullptr) return qvwlpBadArgument;
  int32_t status = qvwlpNoMemory;
  try {
    auto made = std::make_unique<QvjniProxy>(option, log, interfaceName);
    status = qvp::makeInstance(*made, archive, className);
    // What the end of a failed instance reports still goes to the creator.
    if (status == qvwlpOk) {
      made->host.endCreation();
      *proxy = made.release();
    }
    return status;
  } catch (const std::bad_alloc&) {
    status = qvwlpNoMemory;
  } catch (const std::exception& thrown) {
    log->log(log, qvp::kError, thrown.what());
    return qvwlpNoModule;
  } catch (...) {
    log->log(log, qvp::kError, "The proxy module threw an exception of unknown kind.");
    return qvwlpNoModule;
  }
  log->log(log, qvp::kError, "There was no memory for the proxy.");
  return status;
}

QvwlpRowSet* qvjniProxyRowSetCreate(QvjniProxy* proxy, const char* columnTypes) {
  if (proxy == nullptr) return nullptr;
  qvp::Arena* arena = qvp::Arena::create();
  if (arena == nullptr) return nullptr;
  QvwlpRowSet* rows = QvwlpRowSet::create(arena, columnTypes, proxy->owned);
  arena->release();  // the row set's from here on
  return rows;
}

int32_t qvjniProxyCall(QvjniProxy* proxy, QvjniInvokeCallback* callback, const char* interfaceName, const char* method, const char* responseTypes,
                       int32_t count, const QvwlpValue* parameters, QvwlpResponse** response) {
  if (response == nullptr) return qvwlpBadArgument;
  *response = nullptr;
  if (proxy == nullptr || interfaceName == nullptr || method == nullptr || responseTypes == nullptr || count < 0 ||
      (count > 0 && parameters == nullptr))
    return qvwlpBadArgument;
  if (proxy->interfaceName != interfaceName) return qvwlpBadArgument;
  for (int32_t i = 0; i < count; ++i) {
    const QvwlpValue& cell = parameters[i];
    if (!qvp::knownType(cell.type) || !qvp::cellFits(cell, cell.type)) return qvwlpBadArgument;
    // A row set may be sent more than once.
    if (cell.type == qvwlpRowSet && cell.present != 0) cell.data.rowSet->rewind();
  }
  return qvp::run(*proxy, method, parameters, count, callback, responseTypes, *response);
}

void qvjniProxyDestroy(QvjniProxy* proxy) {
  delete proxy;
}
