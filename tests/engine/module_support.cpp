// SPDX-License-Identifier: Apache-2.0
#include "module_support.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>

struct QvwlpRowSet {
  std::vector<std::vector<QvwlpValue>> rows;
  std::size_t next = 0;
};

extern "C" std::int32_t qvwlpRowSet_getRows(QvwlpRowSet* rows) {
  return static_cast<std::int32_t>(rows->rows.size());
}

extern "C" std::int32_t qvwlpRowSet_nextRow(QvwlpRowSet* rows, QvwlpRow* row) {
  if (rows->next == rows->rows.size()) return qvwlpNoMoreRows;
  const auto& cells = rows->rows[rows->next++];
  *row = {cells.data(), static_cast<std::int32_t>(cells.size())};
  return qvwlpOk;
}

namespace qvx::test {

namespace {

QvwlpValue textCell(const Cell& text) {
  QvwlpValue cell{};
  cell.type = qvwlpString;
  cell.present = text ? 1 : 0;
  cell.data.text = text ? text->c_str() : nullptr;
  cell.length = text ? static_cast<std::int32_t>(text->size()) : 0;
  return cell;
}

QvwlpValue rowSetCell(QvwlpRowSet& set) {
  QvwlpValue cell{};
  cell.type = qvwlpRowSet;
  cell.present = 1;
  cell.data.rowSet = &set;
  return cell;
}

class RecordedRows final : public QvjniAnswerRows {
 public:
  explicit RecordedRows(std::size_t columns) : columns_(columns) {}
  QvwlpValue* newRow() override {
    auto& cells = rows.emplace_back(new QvwlpValue[columns_]());
    return cells.get();
  }
  std::vector<Row> read() const {
    std::vector<Row> out;
    for (const auto& cells : rows) {
      Row& row = out.emplace_back();
      for (std::size_t i = 0; i < columns_; ++i) {
        const QvwlpValue& cell = cells[i];
        row.push_back(cell.present != 0 ? Cell(std::string(cell.data.text, static_cast<std::size_t>(cell.length))) : Cell());
        if (cell.present != 0 && cell.data.text[cell.length] != '\0') throw std::logic_error("a text is not terminated");
      }
    }
    return out;
  }
  std::vector<std::unique_ptr<QvwlpValue[]>> rows;

 private:
  std::size_t columns_;
};

class RecordedAnswer final : public QvjniAnswer {
 public:
  bool addInteger(std::int64_t value) override {
    result.integers.push_back(value);
    return true;
  }
  bool addString(const char* text, std::int32_t length) override {
    result.strings.emplace_back(text, static_cast<std::size_t>(length));
    return true;
  }
  QvjniAnswerRows* addRows(const char* types) override { return sets_.emplace_back(std::make_unique<RecordedRows>(std::strlen(types))).get(); }
  bool addNoRows() override { return false; }
  void* allocate(std::size_t bytes) override { return memory_.emplace_back(new char[bytes]).get(); }
  void fail(std::int32_t code, const char* text, std::int32_t length) override {
    result.code = code;
    result.error.assign(text, static_cast<std::size_t>(length));
  }
  Answered take() {
    for (const auto& set : sets_) result.rows.push_back(set->read());
    return std::move(result);
  }
  Answered result;

 private:
  std::vector<std::unique_ptr<RecordedRows>> sets_;
  std::vector<std::unique_ptr<char[]>> memory_;
};

std::string shown(const Row& row) {
  std::string out;
  for (const Cell& cell : row) out += (out.empty() ? "" : " ") + cell.value_or("-");
  return out;
}

}  // namespace

Engine::Engine() {
  std::string name = (std::filesystem::temp_directory_path() / "engineXXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder");
  folder_ = std::filesystem::canonical(name);
  instance_ = qvjniModule(kQvjniModuleVersion)->create("com.quillvex.proxy.ws.WebServiceClientJPC", "WebServiceClient", this);
}

Engine::~Engine() {
  instance_->release();
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

std::string Engine::write(const std::string& name, const std::string& text) {
  const auto path = folder_ / name;
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
  return path.string();
}

Answered Engine::run(const std::string& method, const std::vector<QvwlpValue>& cells, QvjniInvokeCallback* callback) {
  RecordedAnswer answer;
  const std::int32_t status = instance_->call(method.c_str(), cells.data(), static_cast<std::int32_t>(cells.size()), callback, &answer);
  Answered out = answer.take();
  out.status = status;
  return out;
}

Answered Engine::call(const std::string& method, const std::string& types, const std::vector<std::string>& texts) {
  std::vector<QvwlpValue> cells;
  std::vector<Cell> kept(texts.begin(), texts.end());
  for (std::size_t i = 0; i < types.size(); ++i) {
    if (types[i] == qvwlpInteger) {
      QvwlpValue cell{};
      cell.type = qvwlpInteger;
      cell.present = 1;
      cell.data.integer = std::stoll(texts[i]);
      cells.push_back(cell);
    } else {
      cells.push_back(textCell(kept[i]));
    }
  }
  return run(method, cells);
}

Answered Engine::callRows(const std::string& method, const std::vector<std::pair<Cell, Cell>>& rows, QvjniInvokeCallback* callback) {
  QvwlpRowSet set;
  for (const auto& [name, value] : rows) set.rows.push_back({textCell(name), textCell(value)});
  return run(method, {rowSetCell(set)}, callback);
}

Answered Engine::setParameters(const std::vector<Row>& rows) {
  QvwlpRowSet set;
  for (const Row& row : rows) {
    QvwlpValue flag{};
    flag.type = qvwlpBoolean;
    flag.present = row.at(4) ? 1 : 0;
    flag.data.truth = row.at(4) == "1" ? 1 : 0;
    set.rows.push_back({textCell(row[0]), textCell(row[1]), textCell(row[2]), textCell(row[3]), flag});
  }
  return run("SetParameters", {rowSetCell(set)});
}

Answered Engine::invoke(const std::vector<std::pair<Cell, Cell>>& values, QvjniInvokeCallback* callback) {
  return callRows("Invoke", values, callback);
}

std::vector<Row> boundText(const std::string& name, const std::string& direction, const Cell& value, const char* isXml) {
  std::vector<Row> rows{{{}, name, "direction", direction, {}}, {{}, {}, "type", "String", isXml}};
  if (value) rows.push_back({{}, {}, "Value", value, isXml});
  return rows;
}

Answered Engine::discover(const std::string& address, std::vector<std::pair<Cell, Cell>> options) {
  options.emplace_back("WSCP_ADDRESS", address);
  Answered set = setOptions(options);
  return set.status != 0 ? set : call("Discover");
}

std::string Engine::summary(const Answered& discovered) {
  std::string out;
  for (const Row& row : discovered.rows.at(0)) out += shown(row) + "\n";
  const std::vector<Row>& objects = discovered.rows.at(1);
  for (std::size_t i = 0; i + 1 < objects.size(); i += 2) {
    const std::string kind = objects[i].at(0).value_or("-");
    const std::string ns = objects[i].at(2).value_or("-");
    const std::string local = objects[i + 1].at(2).value_or("-");
    out += kind + " {" + ns + "}" + local + "\n";
    const Answered one = call("Discover" + kind, "\x07\x0b\x0b", {std::to_string(discovered.integers.at(0)), ns, local});
    if (one.status != 0) return out + std::to_string(one.code) + ": " + one.error;
    for (const Row& row : one.rows.at(0)) out += "  " + shown(row) + "\n";
    for (const Row& row : one.rows.at(1)) out += (row[0] ? "  " : "    ") + shown(row) + "\n";
  }
  return out;
}

std::string Engine::listing(const std::string& address, const std::vector<std::pair<Cell, Cell>>& options) {
  const Answered discovered = discover(address, options);
  if (discovered.status != 0) return std::to_string(discovered.code) + ": " + discovered.error;
  return summary(discovered);
}

bool Engine::hasLogged(const std::string& part) const {
  for (const std::string& line : logged) {
    if (line.find(part) != std::string::npos) return true;
  }
  return false;
}

std::int32_t Engine::option(const char* /*key*/, const char** /*text*/, std::int32_t* /*length*/) {
  return 1;
}

void Engine::log(std::int32_t /*level*/, const char* text) {
  logged.emplace_back(text);
}

std::string wsdl(const std::string& definitions) {
  return R"(<?xml version="1.0"?>
<definitions xmlns="http://schemas.xmlsoap.org/wsdl/" xmlns:soap="http://schemas.xmlsoap.org/wsdl/soap/" xmlns:soap12="http://schemas.xmlsoap.org/wsdl/soap12/"
 xmlns:http="http://schemas.xmlsoap.org/wsdl/http/" xmlns:mime="http://schemas.xmlsoap.org/wsdl/mime/" xmlns:xs="http://www.w3.org/2001/XMLSchema" xmlns:t="urn:t"
 targetNamespace="urn:t" name="N">)" +
         definitions + "</definitions>";
}

const char* const kMessages =
    R"(<types><xs:schema targetNamespace="urn:t"><xs:element name="in" type="xs:int"/><xs:element name="out" type="xs:string"/></xs:schema></types>
<message name="In"><part name="p" element="t:in"/></message><message name="Out"><part name="p" element="t:out"/></message>)";

}  // namespace qvx::test
