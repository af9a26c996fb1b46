// SPDX-License-Identifier: Apache-2.0
#include "base/config.h"

#include "base/port.h"
#include "base/toml_file.h"

#include <qvb/message.h>
#include <qvlog/qvlog.h>

#include <exception>
#include <mutex>
#include <vector>

namespace qvp {

QvbString Config::getSource() const {
  return hasSource_ ? QvbString(source_.c_str()) : QvbString();
}

bool Config::getError(QvbString& error) const {
  error.assign(error_.empty() ? nullptr : error_.c_str());
  return !error_.empty();
}

bool Config::lookup(const QvbString& key, QvbString& value, int32_t /*flags*/) const {
  const std::string* text = key.length() > 0 ? find(std::string(key.asCstr(), static_cast<size_t>(key.length()))) : nullptr;
  if (text != nullptr) {
    value.assign(text->data(), static_cast<int32_t>(text->size()));
  } else {
    value.setNull();
  }
  return text != nullptr;
}

const std::string* Config::find(const std::string& key) const {
  const auto found = values_.find(key);
  return found != values_.end() ? &found->second : nullptr;
}

Config Config::load() {
  if (const auto named = port::environment("QVWS_CONFIG_FILE")) return load(*named);
  std::vector<std::string> paths;
  if (const auto own = port::userConfigPath("qvws/config.toml")) paths.push_back(*own);
#if !defined(_WIN32)
  paths.emplace_back("/etc/qvws/config.toml");
#endif
  Config config;
  for (const std::string& path : paths) {
    std::string document;
    std::string error;
    const port::Read read = port::readFile(path, document, error);
    if (read == port::Read::Absent) continue;
    config.hasSource_ = true;
    config.source_ = path;
    if (read == port::Read::Failed) {
      config.fail(error);
    } else {
      config.parse(path, document);
    }
    break;
  }
  return config;
}

Config Config::load(const std::string& path) {
  Config config;
  config.hasSource_ = true;
  config.source_ = path;
  std::string document;
  std::string error;
  if (port::readFile(path, document, error) == port::Read::Done) {
    config.parse(path, document);
  } else {
    config.fail(error);
  }
  return config;
}

void Config::parse(const std::string& path, const std::string& document) {
  std::string error;
  const auto keep = [this](std::string_view table, std::string_view key, std::string_view text) {
    std::string name(table);
    if (!name.empty()) name += '/';
    name += key;
    values_.emplace(std::move(name), text);
  };
  if (!readToml(document, path, true, keep, error)) fail(error);
}

void Config::fail(const std::string& what) {
  values_.clear();
  error_ = qvb_get_message(nullptr, 0, nullptr, 2103, what.c_str()).asCstr();
}

const Config& productConfig() {
  // Not destroyed at exit: others' destructors may still ask.
  static const Config* const config = new Config(Config::load());
  return *config;
}

}  // namespace qvp

const QvbConfigOptions* qvbGetConfigOptions(const QvbString& name) {
  if (name.length() > 0) return nullptr;
  try {
    const qvp::Config& config = qvp::productConfig();
    static std::once_flag reported;
    std::call_once(reported, [&config] {
      QvbString error;
      if (config.getError(error)) qvlogGetLogger("QV.Base")->log(qvlogError, __FILE__, __LINE__, error.asCstr());
    });
    return &config;
  } catch (const std::exception&) {
    return nullptr;  // no memory
  }
}
