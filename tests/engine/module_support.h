// SPDX-License-Identifier: Apache-2.0
#ifndef MODULE_SUPPORT_H
#define MODULE_SUPPORT_H

#include <qvjni/module.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace qvx::test {

using Cell = std::optional<std::string>;
using Row = std::vector<Cell>;

/// What a method answered; row sets in order.
struct Answered {
  std::int32_t status = 0;
  std::int32_t code = 0;
  std::string error;
  std::vector<std::int64_t> integers;
  std::vector<std::string> strings;
  std::vector<std::vector<Row>> rows;
};

/// An instance of the engine's class, and a folder of documents for it to read.
class Engine final : private QvjniHost {
 public:
  Engine();
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;
  ~Engine() override;

  /// Writes a file and returns its path.
  std::string write(const std::string& name, const std::string& text);
  /// `types` is the type string, which also says how to read `texts`: a handle is decimal.
  Answered call(const std::string& method, const std::string& types = "", const std::vector<std::string>& texts = {});
  /// Calls a method that takes rows of two texts.
  Answered callRows(const std::string& method, const std::vector<std::pair<Cell, Cell>>& rows, QvjniInvokeCallback* callback = nullptr);
  Answered setOptions(const std::vector<std::pair<Cell, Cell>>& rows) { return callRows("SetOptions", rows); }
  /// SetParameters; a row's fifth cell is the XML flag, "1" or "0".
  Answered setParameters(const std::vector<Row>& rows);
  /// Invoke with request values.
  Answered invoke(const std::vector<std::pair<Cell, Cell>>& values = {}, QvjniInvokeCallback* callback = nullptr);
  /// SetOptions with the address and others, then Discover.
  Answered discover(const std::string& address, std::vector<std::pair<Cell, Cell>> options = {});
  /// Everything that the methods answer of a discovery, a line each, in the order of the answers.
  std::string summary(const Answered& discovered);
  /// discover() and summary(), or "code: text".
  std::string listing(const std::string& address, const std::vector<std::pair<Cell, Cell>>& options = {});

  std::vector<std::string> logged;
  [[nodiscard]] bool hasLogged(const std::string& part) const;
  [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }

 private:
  std::int32_t option(const char* key, const char** text, std::int32_t* length) override;
  void log(std::int32_t level, const char* text) override;
  Answered run(const std::string& method, const std::vector<QvwlpValue>& cells, QvjniInvokeCallback* callback = nullptr);

  std::filesystem::path folder_;
  QvjniInstance* instance_;
};

/// The rows that bind a text value.
std::vector<Row> boundText(const std::string& name, const std::string& direction, const Cell& value = {}, const char* isXml = "1");

/// A WSDL of namespace urn:t (prefix t; soap, soap12, http, mime and xs are declared) around these definitions.
std::string wsdl(const std::string& definitions);
/// Messages `In` and `Out`, of the elements t:in and t:out, and the schema that defines them.
extern const char* const kMessages;

}  // namespace qvx::test

extern "C" QvjniModule* qvjniModule(std::int32_t version);

#endif
