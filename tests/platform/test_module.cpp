// SPDX-License-Identifier: Apache-2.0
// A proxy module whose methods behave and misbehave as their names say.
#include <qvjni/module.h>

#include <string.h>

#include <new>
#include <stdexcept>
#include <string>

namespace {

constexpr char kTwoTexts[] = {qvwlpString, qvwlpString, 0};

void setText(QvwlpValue& cell, const char* text) {
  cell.present = 1;
  cell.data.text = text;
  cell.length = static_cast<int32_t>(strlen(text));
}

class Instance final : public QvjniInstance {
 public:
  explicit Instance(QvjniHost* host) : host_(host) {}

  int32_t call(const char* method, const QvwlpValue* parameters, int32_t count, QvjniInvokeCallback* callback, QvjniAnswer* answer) override {
    const std::string name = method;
    if (name == "getVersion") return answer->addString("7.1", -1) ? qvwlpOk : qvwlpNoMemory;
    if (name == "Echo") return echo(parameters, count, answer);
    if (name == "Fail") answer->fail(203, "no such host", -1);
    if (name == "Fail" || name == "FailSilently") return qvwlpFailed;
    if (name == "Throw") throw std::runtime_error("thrown");
    if (name == "ThrowNumber") throw 7;
    if (name == "ThrowMemory") throw std::bad_alloc();
    if (name == "Poll") return answer->addInteger(callback != nullptr ? callback->poll(callback) : -1) ? qvwlpOk : qvwlpNoMemory;
    if (name == "Log") {
      const char* text = nullptr;
      int32_t length = 0;
      host_->log(3, host_->option("ANY", &text, &length) == qvjniNoAnswer ? "told\nlater" : "still answered");
      return qvwlpOk;
    }
    if (name == "Absent") return answer->addInteger(5) && answer->addNoRows() && answer->addString(nullptr, 0) ? qvwlpOk : qvwlpNoMemory;
    if (name.rfind("Bad", 0) == 0) return misbehave(name, answer);
    return qvwlpNoSuchMethod;
  }
  void release() override { delete this; }

 private:
  /// Answers with the rows of the first parameter, columns exchanged, and their number.
  static int32_t echo(const QvwlpValue* parameters, int32_t count, QvjniAnswer* answer) {
    if (count != 1 || parameters[0].type != qvwlpRowSet) return qvwlpBadArgument;
    QvjniAnswerRows* out = answer->addRows(kTwoTexts);
    QvwlpRow row{};
    while (qvwlpRowSet_nextRow(parameters[0].data.rowSet, &row) == qvwlpOk) {
      QvwlpValue* cells = out->newRow();
      if (cells == nullptr) return qvwlpNoMemory;
      cells[0] = row.cells[1];
      cells[1] = row.cells[0];
    }
    return answer->addInteger(qvwlpRowSet_getRows(parameters[0].data.rowSet)) ? qvwlpOk : qvwlpNoMemory;
  }

  /// All are asked for rows of two texts.
  static int32_t misbehave(const std::string& name, QvjniAnswer* answer) {
    if (name == "BadCount") return qvwlpOk;
    if (name == "BadType") return answer->addInteger(1) ? qvwlpOk : qvwlpNoMemory;
    if (answer->addRows("\x05") != nullptr || answer->addRows("") != nullptr) return qvwlpOk;
    QvjniAnswerRows* rows = answer->addRows(kTwoTexts);
    rows->newRow();
    QvwlpValue* cells = rows->newRow();
    setText(cells[0], "x");
    setText(cells[1], "y");
    if (name == "BadCellType") cells[1].type = qvwlpRowSet;
    if (name == "BadText") cells[1].data.text = nullptr;
    if (name == "BadLength") cells[1].length = -1;
    if (name == "BadPresent") cells[1].present = 2;
    return qvwlpOk;
  }

  QvjniHost* host_;
};

class Module final : public QvjniModule {
 public:
  QvjniInstance* create(const char* className, const char* /*interfaceName*/, QvjniHost* host) override {
    const std::string name = className;
    if (name == "test.Throws") throw std::runtime_error("cannot be made");
    if (name != "test.Class") return nullptr;
    const char* text = nullptr;
    int32_t length = 0;
    if (host->option("GREETING", &text, &length) == qvjniAnswered) host->log(0, text);
    return new Instance(host);
  }
};

}  // namespace

extern "C" QVB_API QvjniModule* qvjniModule(int32_t version) {
  static Module module;
  return version == kQvjniModuleVersion ? &module : nullptr;
}
