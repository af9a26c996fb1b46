// SPDX-License-Identifier: Apache-2.0
#ifndef QVP_BASE_CONFIG_H
#define QVP_BASE_CONFIG_H

#include <qvb/config.h>

#include <map>
#include <string>

namespace qvp {

class Config final : public QvbConfigOptions {
 public:
  [[nodiscard]] QvbString getSource() const override;
  bool getError(QvbString& error) const override;
  bool lookup(const QvbString& key, QvbString& value, int32_t flags) const override;

  /// Reads the file that is in force by the environment, or a given one that must exist.
  static Config load();
  static Config load(const std::string& path);

  /// The value of a key, or null.
  [[nodiscard]] const std::string* find(const std::string& key) const;

 private:
  void parse(const std::string& path, const std::string& document);
  void fail(const std::string& what);

  bool hasSource_ = false;
  std::string source_;
  std::string error_;  // catalogued message; empty when the file could be read
  std::map<std::string, std::string> values_;
};

/// The product's configuration, read at the first call and not reported on: the log asks for it, too.
const Config& productConfig();

}  // namespace qvp

#endif
