// SPDX-License-Identifier: Apache-2.0
#include "base/config.h"
#include "base/port.h"
#include "log/printable.h"

#include <qvb/message.h>
#include <qvlog/qvlog.h>

#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace {

constexpr int kStandardError = 2;

const char* levelWord(int32_t level) {
  static constexpr const char* kWords[] = {"TRACE", "REPORT", "INFO", "WARNING", "ERROR"};
  return kWords[std::clamp(level, 1, 5) - 1];
}

std::string timeNow() {
  timespec now{};
  timespec_get(&now, TIME_UTC);
  tm parts{};
#if defined(_WIN32)
  gmtime_s(&parts, &now.tv_sec);
#else
  gmtime_r(&now.tv_sec, &parts);
#endif
  char text[32];
  const size_t length = strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  char fraction[16];
  const int extra = snprintf(fraction, sizeof fraction, ".%03dZ", static_cast<int>(now.tv_nsec / 1000000));
  return std::string(text, length).append(fraction, static_cast<size_t>(extra));
}

std::string lineOf(int32_t level, const char* name, std::string_view text) {
  std::string line = timeNow() + ' ' + levelWord(level) + ' ';
  qvp::appendPrintable(name, line);
  line += ": ";
  qvp::appendPrintable(text, line);
  line += '\n';
  return line;
}

/// Where lines go and from which level on, by environment and configuration.
class Sink {
 public:
  static Sink& instance() {
    // Not destroyed at exit: others' destructors may still log.
    static Sink* const sink = new Sink;
    return *sink;
  }

  [[nodiscard]] int32_t level() const { return level_; }
  /// One system call a line, so that lines of threads and processes do not mix.
  void write(const std::string& line) const noexcept { qvp::port::writeAll(descriptor_, line.data(), line.size()); }

 private:
  Sink() {
    const auto setting = [](const char* variable, const char* key) {
      auto value = qvp::port::environment(variable);
      if (!value) {
        if (const std::string* configured = qvp::productConfig().find(key)) value = *configured;
      }
      return value;
    };
    if (const auto file = setting("QVWS_LOG_FILE", "LOG/FILE")) {
      std::string error;
      const int descriptor = qvp::port::openAppend(*file, error);
      if (descriptor >= 0) {
        descriptor_ = descriptor;
      } else {
        write(lineOf(qvlogWarning, "QV.Log", "The log file cannot be used, lines go to standard error: " + error));
      }
    }
    if (const auto level = setting("QVWS_LOG_LEVEL", "LOG/LEVEL")) {
      if (level->size() == 1 && level->front() >= '1' && level->front() <= '6') {
        level_ = level->front() - '0';
      } else {
        write(lineOf(qvlogWarning, "QV.Log", "The log level '" + *level + "' is not a number from 1 to 6; 4 is used."));
      }
    }
  }

  int descriptor_ = kStandardError;
  int32_t level_ = qvlogWarning;
};

class Logger final : public QvlogLogger {
 public:
  explicit Logger(std::string name) : name_(std::move(name)) {}

  int32_t getLevel() override {
    const int32_t own = level_.load(std::memory_order_relaxed);
    if (own != 0) return own;
    try {
      return Sink::instance().level();
    } catch (const std::exception&) {
      return qvlogWarning;
    }
  }

  void setLevel(int32_t level) override { level_.store(std::clamp<int32_t>(level, qvlogTrace, qvlogOff), std::memory_order_relaxed); }
  const char* getName() override { return name_.c_str(); }
  bool isEnabled(int32_t level) override { return level >= getLevel() && getLevel() < qvlogOff; }
  void flush() override {}

  void log(int32_t level, const char* file, int32_t line, const char* text) override {
    if (!isEnabled(level)) return;
    try {
      write(level, file, line, text != nullptr ? text : "");
    } catch (const std::exception&) {
      // No memory for the line: it is lost.
    }
  }

  void logFormat(int32_t level, const char* file, int32_t line, const char* format, va_list arguments) override QVB_PRINTF(5, 0) {
    if (!isEnabled(level) || format == nullptr) return;
    try {
      va_list again;
      va_copy(again, arguments);
      const int length = vsnprintf(nullptr, 0, format, again);
      va_end(again);
      if (length < 0) return;
      std::string text(static_cast<size_t>(length), '\0');
      vsnprintf(text.data(), text.size() + 1, format, arguments);
      write(level, file, line, text);
    } catch (const std::exception&) {
    }
  }

  void logMessage(int32_t level, const char* file, int32_t line, int32_t id, ...) override {
    if (!isEnabled(level)) return;
    va_list arguments;
    va_start(arguments, id);
    const QvbString text = qvb_get_message_v(file, line, name_.c_str(), id, arguments);
    va_end(arguments);
    log(level, file, line, text.asCstr());
  }

 private:
  void write(int32_t level, const char* file, int32_t line, std::string text) {
    // Source positions are for who traces; to others they are noise.
    if (getLevel() <= qvlogTrace && file != nullptr) {
      const char* slash = strrchr(file, '/');
      text += std::string(" [") + (slash != nullptr ? slash + 1 : file) + ':' + std::to_string(line) + ']';
    }
    Sink::instance().write(lineOf(level, name_.c_str(), text));
  }

  std::string name_;
  std::atomic<int32_t> level_{0};  // 0 = the one in force for all
};

}  // namespace

QvlogLogger* qvlogGetLogger(const char* name) {
  struct Loggers {
    std::mutex mutex;
    std::map<std::string, std::unique_ptr<Logger>, std::less<>> byName;
    Logger spare{std::string()};
  };
  static auto* const loggers = new Loggers;
  const std::string_view wanted = name != nullptr ? name : "";
  try {
    const std::lock_guard<std::mutex> lock(loggers->mutex);
    const auto found = loggers->byName.find(wanted);
    if (found != loggers->byName.end()) return found->second.get();
    auto made = std::make_unique<Logger>(std::string(wanted));
    return loggers->byName.emplace(std::string(wanted), std::move(made)).first->second.get();
  } catch (const std::exception&) {
    return &loggers->spare;  // no memory for a name of its own
  }
}
