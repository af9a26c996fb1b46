// SPDX-License-Identifier: Apache-2.0
#include "scripted_proxy.h"

#include <qvb/config.h>
#include <qvb/subject.h>
#include <qvjni/qvjni.h>
#include <qvlog/qvlog.h>
#include <qvwlp/qvwlp.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <algorithm>
#include <new>
#include <set>
#include <utility>

using scripted::script;

struct QvjniProxy {};
struct QvwlpRowSet {
  QvjniProxy* proxy;
  std::string columns;                         // of a request
  scripted::Rows rows;                         // of an answer
  std::vector<std::vector<QvwlpValue>> cells;  // of either
  size_t next = 0;
};
struct QvwlpResponse {
  QvjniProxy* proxy;
  std::string method;
  scripted::Reply reply;
  std::vector<QvwlpValue> parameters;
};

namespace {

// Everything handed out belongs to its proxy and goes with it at the latest.
std::set<QvwlpRowSet*> rowSets;
std::set<QvwlpResponse*> responses;

QvwlpRowSet* newRowSet(QvjniProxy* proxy, std::string columns, scripted::Rows rows) {
  ++script().live;
  return *rowSets.insert(new QvwlpRowSet{proxy, std::move(columns), std::move(rows), {}}).first;
}

bool fails(const char* function) {
  if (!script().failOnly.empty() && script().failOnly != function) return false;
  const int32_t call = ++script().platformCalls;
  const bool now = call == script().failAt || (script().failOn && script().failAt > 0 && call > script().failAt);
  if (now && script().failed.empty()) script().failed = function;
  return now;
}

constexpr char kNoPosition[] = "NO POSITION";
bool hasPosition(const char* file, int32_t line) {
  return file != nullptr && *file != 0 && line > 0;
}

/// A message as "1725(Reset, 12, said)", so that tests see the arguments and not the catalogue's words. What stands for an argument: s or i.
std::string render(const char* file, int32_t line, int32_t id, va_list arguments) {
  static const std::map<int32_t, const char*> kSignatures = {{29, "s"},    {247, ""},    {444, ""},      {768, "i"},   {1420, ""},   {1442, "sss"},
                                                             {1590, "s"},  {1603, "s"},  {1725, "sis"},  {1726, "si"}, {1774, "ss"}, {1776, "ss"},
                                                             {1777, "ss"}, {1778, "ss"}, {1779, "ssss"}, {1801, "ss"}, {1837, "s"}};
  if (!hasPosition(file, line)) return kNoPosition;
  std::string text = std::to_string(id) + "(";
  for (const char* argument = kSignatures.at(id); *argument != 0; ++argument) {
    if (text.back() != '(') text += ", ";
    text += *argument == 's' ? std::string(va_arg(arguments, const char*)) : std::to_string(va_arg(arguments, int32_t));
  }
  return text + ")";
}

std::string typesOf(const char* types) {
  std::string text;
  for (; *types != 0; ++types) text += (text.empty() ? "" : ",") + std::to_string(*types);
  return text;
}

/// Whether a cell has anything in it but what its type says, and nothing at all when it is absent.
bool isDirty(const QvwlpValue& value) {
  QvwlpValue clean{};
  clean.type = value.type;
  clean.present = value.present;
  if (value.present != 0) clean.data = value.data;
  if (value.present != 0 && value.type == qvwlpString) clean.length = value.length;
  // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): every byte is meant, those between the members too
  return value.present > 1 || memcmp(&clean, &value, sizeof value) != 0;
}

std::string print(const QvwlpValue& value) {
  if (isDirty(value)) return "DIRTY";
  if (value.present == 0) return "-";
  if (value.type == qvwlpInteger) return std::to_string(value.data.integer);
  if (value.type == qvwlpBoolean) return value.data.truth != 0 ? "true" : "false";
  if (value.type == qvwlpRowSet) {
    std::string text = "[" + typesOf(value.data.rowSet->columns.c_str()) + ":";
    for (const std::vector<QvwlpValue>& row : value.data.rowSet->cells) {
      text += " ";
      for (const QvwlpValue& cell : row) text += (&cell != row.data() ? "|" : "") + print(cell);
      text += ";";
    }
    return text + "]";
  }
  // The length and the terminating NUL must agree, and the bytes still be there when the call is made.
  if (strlen(value.data.text) != static_cast<size_t>(value.length)) return "BAD LENGTH";
  return value.data.text;
}

class Logger final : public QvlogLogger {
 public:
  int32_t getLevel() override { return script().logLevel; }
  void setLevel(int32_t level) override { script().logLevel = level; }
  const char* getName() override { return "scripted"; }
  void log(int32_t level, const char* file, int32_t line, const char* text) override { add(level, hasPosition(file, line) ? text : kNoPosition); }
  void logFormat(int32_t level, const char* file, int32_t line, const char* format, va_list arguments) override {
    char text[500];
    vsnprintf(text, sizeof text, format, arguments);
    log(level, file, line, text);
  }
  bool isEnabled(int32_t level) override { return level >= script().logLevel; }
  void flush() override {}
  void logMessage(int32_t level, const char* file, int32_t line, int32_t id, ...) override {
    va_list arguments;
    va_start(arguments, id);
    add(level, render(file, line, id, arguments));
    va_end(arguments);
  }

 private:
  static void add(int32_t level, const std::string& text) { script().log.push_back(std::to_string(level) + " " + text); }
};

class Config final : public QvbConfigOptions {
 public:
  [[nodiscard]] QvbString getSource() const override { return {}; }
  bool getError(QvbString& error) const override {
    error.setNull();
    return false;
  }
  bool lookup(const QvbString& key, QvbString& value, int32_t /*flags*/) const override {
    const auto entry = script().config.find(scripted::str(key));
    value = entry == script().config.end() ? QvbString() : QvbString(entry->second.c_str());
    return entry != script().config.end();
  }
};

}  // namespace

namespace scripted {

Script& script() {
  static Script current;
  return current;
}
void reset() {
  script() = Script();
}
void answerTree() {
  const auto answer = [](const char* question, std::vector<std::optional<Rows>> rows) {
    script().answers[question] = {{.rows = std::move(rows), .handle = 42}};
  };
  answer("Discover", {Rows{{"Version", "1.1"}}, objects({{"Service", "S"}, {"Binding", "B"}, {"Interface", "I"}})});
  answer("DiscoverInterface I",
         {Rows{{"Documentation", "idoc"}}, Rows{{"Operation", "x", "b"}, {null, "Documentation", "bdoc"}, {"Operation", "x", "a"}}});
  answer("DiscoverBinding B",
         {Rows{{"Documentation", "doc"}, {"Interface.Name", "I"}, {"Interface.Namespace", "x"}, {"Style", "document"}},
          Rows{{"Operation", "x", "a"}, {null, "Documentation", "adoc"}, {null, "WSCP_ACTION", "act"}, {null, "WSCP_ADDRESS", "http://h"}}});
  answer(
      "DiscoverService S",
      {Rows{{"Documentation", "sdoc"}, {"Interface.Name", "I"}, {"Interface.Namespace", "x"}},
       Rows{{"Endpoint", "q"}, {"Endpoint", "p"}, {null, "Documentation", "edoc"}, {null, "Binding.Name", "B"}, {null, "Binding.Namespace", "x"}}});
  answer("DiscoverParameters",
         {Rows{{"Input", "x", "in"}, {null, "Schema", "xsd"}, {"Fault", "x", "f"}, {null, "Schema", "-"}, {"Output", "x", "out"}}});
}
Rows objects(const std::vector<std::pair<Text, std::string>>& list) {
  Rows rows;
  for (const auto& [kind, name] : list) {
    rows.push_back({kind, "QName.namespace", "x"});
    rows.push_back({null, "QName.name", name});
  }
  return rows;
}
std::string str(const QvbString& text) {
  return text.isNull() ? "(null)" : std::string(text.asCstr(), static_cast<size_t>(text.length()));
}
int32_t id(const QvbString& text) {
  if (text.isNull()) return 0;
  int32_t number = -1;
  return sscanf(text.asCstr(), "%d(", &number) == 1 ? number : -1;
}
void Script::fail(const char* function, int32_t k) {
  failOnly = function != nullptr ? function : "";
  failAt = k;
  platformCalls = 0;
  failed.clear();
}
std::string Script::logged() {
  std::string all;
  for (const std::string& line : log) all += line + "\n";
  log.clear();
  return all;
}
std::vector<std::string> Script::calls() const {
  std::vector<std::string> methods;
  for (const std::string& line : trace) methods.push_back(line.substr(0, line.find('(')));
  return methods;
}

}  // namespace scripted

// The proxy library.
extern "C" int32_t qvjniProxyCreate(const char* archive, const char* interfaceName, const char* className, QvjniOptionCallback* option,
                                    QvjniLogCallback* log, QvjniProxy** proxy) {
  script().trace.push_back(std::string("create(") + archive + " " + interfaceName + " " + className + ")");
  *proxy = nullptr;
  int32_t status = script().onCreate ? script().onCreate(option, log) : 0;
  if (fails("create")) {
    log->log(log, 3, "cannot be made");
    status = qvwlpNoModule;
  }
  if (status != 0) return status;
  *proxy = new QvjniProxy;
  ++script().live;
  return 0;
}

extern "C" QvwlpRowSet* qvjniProxyRowSetCreate(QvjniProxy* proxy, const char* columnTypes) {
  return fails("rowSetCreate") ? nullptr : newRowSet(proxy, columnTypes, {});
}

extern "C" int32_t qvjniProxyCall(QvjniProxy* proxy, QvjniInvokeCallback* callback, const char* interfaceName, const char* method,
                                  const char* responseTypes, int32_t count, const QvwlpValue* parameters, QvwlpResponse** response) {
  std::string line = std::string(method) + "(";
  for (int32_t i = 0; i < count; ++i) line += (i > 0 ? ", " : "") + print(parameters[i]);
  script().trace.push_back(line + ")" + typesOf(responseTypes));
  if (proxy == nullptr || strcmp(interfaceName, "WebServiceClient") != 0 || (count == 0) != (parameters == nullptr)) return qvwlpBadArgument;
  if (script().onCall) script().onCall(method, callback);
  if (fails("call")) {
    if (script().failed == "call") script().failed += std::string(" ") + method;
    return qvwlpNoMemory;
  }
  auto answers = script().answers.find(count > 2 ? std::string(method) + " " + print(parameters[2]) : method);
  if (answers == script().answers.end()) answers = script().answers.find(method);
  scripted::Reply reply;
  if (answers != script().answers.end()) {
    reply = answers->second.front();
    if (answers->second.size() > 1) answers->second.pop_front();
  }
  if (reply.status != 0 && reply.status != qvwlpFailed) return reply.status;
  *response = *responses.insert(new QvwlpResponse{proxy, method, reply, {}}).first;
  ++script().live;
  size_t set = 0;
  for (; *responseTypes != 0 && (*response)->parameters.size() < reply.parameters; ++responseTypes) {
    QvwlpValue value{};
    value.type = static_cast<unsigned char>(*responseTypes);
    if (*responseTypes == qvwlpInteger) {
      value.present = 1;
      value.data.integer = reply.handle;
    } else if (set < reply.rows.size() && reply.rows[set]) {
      value.present = 1;
      value.data.rowSet = newRowSet(proxy, "", *reply.rows[set]);
    }
    if (*responseTypes == qvwlpRowSet) ++set;
    (*response)->parameters.push_back(value);
  }
  return reply.status;
}

extern "C" void qvjniProxyDestroy(QvjniProxy* proxy) {
  script().trace.emplace_back("destroy()");
  if (proxy != nullptr) --script().live;
  const auto leave = [proxy](const auto& handles, const auto& name, auto destroy) {
    for (auto* handle : std::vector(handles.begin(), handles.end())) {
      if (handle->proxy != proxy) continue;
      script().left.push_back(name(*handle));
      ++script().live;
      destroy(handle);
    }
  };
  leave(
      responses, [](const QvwlpResponse& response) { return "response " + response.method; }, qvwlpResponse_destroy);
  leave(
      rowSets, [](const QvwlpRowSet& rows) { return "rows " + typesOf(rows.columns.c_str()); }, qvwlpRowSet_destroy);
  delete proxy;
}

// The wire library.
extern "C" int32_t qvwlpRowSet_addRow(QvwlpRowSet* rows, const QvwlpValue* cells) {
  if (fails("addRow")) return qvwlpNoMemory;
  for (size_t i = 0; i < rows->columns.size(); ++i) {
    if (cells[i].type != rows->columns[i]) return qvwlpBadArgument;
  }
  rows->cells.emplace_back(cells, cells + rows->columns.size());  // their texts are borrowed until the call
  return 0;
}
extern "C" int32_t qvwlpRowSet_getRows(QvwlpRowSet* rows) {
  std::deque<int32_t>& counts = script().rowCounts;
  if (counts.empty()) return static_cast<int32_t>(rows->rows.size());
  const int32_t count = counts.front();
  if (counts.size() > 1) counts.pop_front();
  return count;
}
extern "C" int32_t qvwlpRowSet_nextRow(QvwlpRowSet* rows, QvwlpRow* row) {
  if (fails("nextRow")) return qvwlpBadArgument;
  if (rows->next == rows->rows.size()) return qvwlpNoMoreRows;
  std::vector<QvwlpValue>& cells = rows->cells.emplace_back();
  for (const scripted::Text& text : rows->rows[rows->next++]) {
    QvwlpValue value{};
    value.type = qvwlpString;
    value.present = text ? 1 : 0;
    value.data.text = text ? text->c_str() : nullptr;
    value.length = text ? static_cast<int32_t>(text->size()) : 0;
    if (text && *text == "#number") value.type = qvwlpInteger;  // a cell of another type than asked for
    cells.push_back(value);
  }
  *row = {cells.data(), static_cast<int32_t>(cells.size())};
  return 0;
}
extern "C" void qvwlpRowSet_destroy(QvwlpRowSet* rows) {
  if (rowSets.erase(rows) == 0) abort();  // not one of ours, or ended twice
  --script().live;
  delete rows;
}
extern "C" int32_t qvwlpResponse_parameters(QvwlpResponse* response, QvwlpParameters* parameters) {
  if (fails("parameters")) return qvwlpBadArgument;
  *parameters = {response->parameters.data(), static_cast<int32_t>(response->parameters.size())};
  return 0;
}
extern "C" void qvwlpResponse_destroy(QvwlpResponse* response) {
  if (responses.erase(response) == 0) abort();
  for (const QvwlpValue& value : response->parameters) {
    if (value.type != qvwlpRowSet || value.present == 0) continue;
    if (value.data.rowSet == nullptr) {
      ++script().takenOut;
    } else {
      qvwlpRowSet_destroy(value.data.rowSet);
    }
  }
  --script().live;
  delete response;
}
extern "C" int32_t qvwlpError_code(QvwlpResponse* response, int32_t* code) {
  *code = response->reply.code;
  return 0;
}
extern "C" int32_t qvwlpError_text(QvwlpResponse* response, const char** text, int32_t* length) {
  *text = response->reply.text.c_str();
  *length = static_cast<int32_t>(response->reply.text.size());
  return 0;
}

// What the linker puts before the real base library, logger and allocator.
extern "C" {
QvlogLogger* __wrap_qvlogGetLogger(const char* name) {
  static Logger logger;
  if (strcmp(name, "QV.WebService.Client") != 0) abort();
  return &logger;
}
const QvbConfigOptions* __wrap_qvbGetConfigOptions(const QvbString& name) {
  static const Config config;
  return name.length() == 0 && script().hasConfig ? &config : nullptr;
}
QvbSubject* __wrap_qvbSubjectAccess() {
  if (!script().hasSubject) return nullptr;
  ++script().live;
  return reinterpret_cast<QvbSubject*>(&script());
}
void __wrap_qvbSubjectRelease() {
  --script().live;
}
bool __wrap_qvbSubjectCredentials(const QvbString& domain, QvbString& user, QvbString& password, QvbString* /*further*/) {
  const auto entry = script().credentials.find(scripted::str(domain));
  if (entry == script().credentials.end()) return false;
  user = entry->second.first.c_str();
  password = entry->second.second.c_str();
  return true;
}
bool __wrap_qvbSubjectDecodePW(const QvbString& password, QvbString& decoded, QvbString* err) {
  if (scripted::str(password) == "bad" || fails("decode")) {
    *err = "2101()";
    return false;
  }
  if (!password.isNull()) decoded = QvbString(password).append("-decoded");
  return true;
}
void* __real_realloc(void* block, size_t size);
void* __wrap_realloc(void* block, size_t size) {
  return script().failRealloc ? nullptr : __real_realloc(block, size);
}
// The non-throwing operator new, under a name that no memory checker puts its own in place of.
void* __real__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag);
void* __wrap__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag) {
  return fails("new") ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}
}

// Those that return a class are C++ functions under the linker's name.
QvbString wrapDecrypt(const QvbString& text) __asm__("__wrap__Z16qvbDecryptStringRK9QvbString");
QvbString wrapDecrypt(const QvbString& text) {
  return QvbString(text).append("-decrypted");
}
QvbString wrapMessage(const char* file, int32_t line, const char* component, int32_t id, ...) __asm__("__wrap__Z15qvb_get_messagePKciS0_iz");
QvbString wrapMessage(const char* file, int32_t line, const char* component, int32_t id, ...) {
  if (strcmp(component, "Web Service Client") != 0) return "OTHER COMPONENT";
  va_list arguments;
  va_start(arguments, id);
  const std::string text = render(file, line, id, arguments);
  va_end(arguments);
  return text.c_str();
}

// A base library whose two orders differ: with the flag set, upper and lower case are alike.
int32_t realCompare(const QvbString* self, const QvbString& other, bool collation) noexcept __asm__("__real__ZNK9QvbString7compareERKS_b");
int32_t wrapCompare(const QvbString* self, const QvbString& other, bool collation) noexcept __asm__("__wrap__ZNK9QvbString7compareERKS_b");
int32_t wrapCompare(const QvbString* self, const QvbString& other, bool collation) noexcept {
  if (!collation || self->isNull() || other.isNull()) return realCompare(self, other, collation);
  return strcasecmp(self->asCstr(), other.asCstr());
}
int32_t wrapCompareText(const QvbString* self, const char* other, bool collation) noexcept __asm__("__wrap__ZNK9QvbString7compareEPKcb");
int32_t wrapCompareText(const QvbString* self, const char* other, bool collation) noexcept {
  return wrapCompare(self, other, collation);
}
