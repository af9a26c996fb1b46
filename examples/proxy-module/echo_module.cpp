// SPDX-License-Identifier: Apache-2.0
// A proxy class of one's own. It answers under the name of the one that reads WSDL, from a description in memory: an interface, a binding and a
// service. Its one operation sends back what it was given. docs/proxy-protocol.md says what each method takes and answers.
//
//   export QVWS_PROXY_ROOT=build/release/examples/proxy-module
//   build/release/bin/qvws describe memory: EchoService
//   build/release/bin/qvws call memory: Echo -p text=hello
#include <qvjni/module.h>

#include <string.h>

#include <initializer_list>
#include <map>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

constexpr int64_t kHandle = 1;  // there is one description, so one handle serves all discoveries
constexpr char kNamespace[] = "urn:example:echo";
constexpr char kAction[] = "urn:example:echo#Echo";
constexpr char kInput[] = "{urn:example:echo}Echo";
constexpr char kSchema[] =
    "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' xmlns:e='urn:example:echo' targetNamespace='urn:example:echo' "
    "elementFormDefault='qualified'>"
    "<xs:element name='Echo'><xs:complexType><xs:sequence><xs:element name='text' type='xs:string'/></xs:sequence></xs:complexType></xs:element>"
    "<xs:element name='EchoResponse'><xs:complexType><xs:sequence><xs:element ref='e:Echo'/></xs:sequence></xs:complexType></xs:element>"
    "</xs:schema>";
constexpr char kSample[] =
    "<soap:Envelope xmlns:soap='http://schemas.xmlsoap.org/soap/envelope/'><soap:Body>"
    "<Echo xmlns='urn:example:echo'><text>string</text></Echo>"
    "</soap:Body></soap:Envelope>";

/// What a host may bind an output to: the payload, or the content of the SOAP body, which is the payload.
constexpr struct {
  const char* uri;
  const char* localName;
} kOutputs[] = {{kNamespace, "EchoResponse"}, {"http://schemas.xmlsoap.org/soap/envelope/", "Body"}};

constexpr char kTwoTexts[] = {qvwlpString, qvwlpString, 0};
constexpr char kThreeTexts[] = {qvwlpString, qvwlpString, qvwlpString, 0};

/// Codes of failures. A host sees them in message 1725; the command line ends with what it has for them, so they are those of our own engine.
enum Code : int32_t { kNoSuchObject = 103, kNotSendable = 106 };

void setText(QvwlpValue& cell, const char* text, size_t length) {
  cell.present = 1;
  cell.data.text = text;
  cell.length = static_cast<int32_t>(length);
}

/// Answers with rows of texts that live as long as the program; a null pointer is an absent cell.
void answerRows(QvjniAnswer& answer, const char* columns, std::initializer_list<std::initializer_list<const char*>> rows) {
  QvjniAnswerRows* out = answer.addRows(columns);
  if (out == nullptr) throw std::bad_alloc();
  for (const auto& row : rows) {
    QvwlpValue* cell = out->newRow();
    if (cell == nullptr) throw std::bad_alloc();
    for (const char* text : row) {
      if (text != nullptr) setText(*cell, text, strlen(text));
      ++cell;
    }
  }
}

/// Text of a cell; empty when it is absent.
std::string_view textOf(const QvwlpValue& cell) {
  return cell.present != 0 ? std::string_view(cell.data.text, static_cast<size_t>(cell.length)) : std::string_view();
}

std::string escaped(std::string_view text) {
  std::string xml;
  for (const char c : text) {
    if (c == '<') {
      xml += "&lt;";
    } else if (c == '&') {
      xml += "&amp;";
    } else {
      xml += c;
    }
  }
  return xml;
}

class Echo final : public QvjniInstance {
 public:
  int32_t call(const char* method, const QvwlpValue* parameters, int32_t count, QvjniInvokeCallback* /*callback*/, QvjniAnswer* answer) override {
    for (const Method& candidate : kMethods) {
      if (strcmp(method, candidate.name) != 0) continue;
      if (static_cast<size_t>(count) != strlen(candidate.parameterTypes)) return qvwlpBadArgument;
      for (int32_t i = 0; i < count; ++i) {
        if (parameters[i].type != candidate.parameterTypes[i]) return qvwlpBadArgument;
      }
      try {
        return (this->*candidate.answer)(parameters, *answer);
      } catch (const std::bad_alloc&) {
        return qvwlpNoMemory;
      }
    }
    return qvwlpNoSuchMethod;
  }
  void release() override { delete this; }

 private:
  /// A value that the host has bound.
  struct Value {
    std::string name;
    bool isInput = false;
    std::string text{};
    bool isXml = true;
  };
  struct Method {
    const char* name;
    const char* parameterTypes;
    int32_t (Echo::*answer)(const QvwlpValue* parameters, QvjniAnswer& answer);
  };
  static const Method kMethods[13];

  static int32_t fail(QvjniAnswer& answer, Code code, const std::string& text) {
    answer.fail(code, text.c_str(), static_cast<int32_t>(text.size()));
    return qvwlpFailed;
  }
  /// Whether a question is about one of our objects: parameters are the handle, then namespace and local name of each.
  static bool asksFor(const QvwlpValue* parameters, std::initializer_list<const char*> localNames) {
    if (parameters[0].data.integer != kHandle) return false;
    const QvwlpValue* cell = parameters + 1;
    for (const char* localName : localNames) {
      if (textOf(cell[0]) != kNamespace || textOf(cell[1]) != localName) return false;
      cell += 2;
    }
    return true;
  }

  int32_t getVersion(const QvwlpValue* /*parameters*/, QvjniAnswer& answer) { return answer.addString("1.0", -1) ? qvwlpOk : qvwlpNoMemory; }

  int32_t discover(const QvwlpValue* /*parameters*/, QvjniAnswer& answer) {
    if (!answer.addInteger(kHandle)) return qvwlpNoMemory;
    answerRows(answer, kTwoTexts, {{"QName.name", "Echo"}, {"QName.namespace", kNamespace}, {"Version", "1.1"}});
    answerRows(answer, kThreeTexts,
               {{"Interface", "QName.namespace", kNamespace},
                {nullptr, "QName.name", "EchoInterface"},
                {"Binding", "QName.namespace", kNamespace},
                {nullptr, "QName.name", "EchoBinding"},
                {"Service", "QName.namespace", kNamespace},
                {nullptr, "QName.name", "EchoService"}});
    return qvwlpOk;
  }
  int32_t discoverInterface(const QvwlpValue* parameters, QvjniAnswer& answer) {
    if (!asksFor(parameters, {"EchoInterface"})) return fail(answer, kNoSuchObject, "There is no interface but EchoInterface.");
    answerRows(answer, kTwoTexts, {{"Documentation", "Says again what it hears."}});
    answerRows(answer, kThreeTexts, {{"Operation", kNamespace, "Echo"}, {nullptr, "Documentation", "Sends back what it was given."}});
    return qvwlpOk;
  }
  int32_t discoverBinding(const QvwlpValue* parameters, QvjniAnswer& answer) {
    if (!asksFor(parameters, {"EchoBinding"})) return fail(answer, kNoSuchObject, "There is no binding but EchoBinding.");
    answerRows(answer, kTwoTexts, {{"Style", "document"}, {"Interface.Name", "EchoInterface"}, {"Interface.Namespace", kNamespace}});
    answerRows(answer, kThreeTexts, {{"Operation", kNamespace, "Echo"}, {nullptr, "WSCP_ACTION", kAction}, {nullptr, "WSCP_ADDRESS", "memory:"}});
    return qvwlpOk;
  }
  int32_t discoverService(const QvwlpValue* parameters, QvjniAnswer& answer) {
    if (!asksFor(parameters, {"EchoService"})) return fail(answer, kNoSuchObject, "There is no service but EchoService.");
    answerRows(answer, kTwoTexts, {{"Interface.Name", "EchoInterface"}, {"Interface.Namespace", kNamespace}});
    answerRows(answer, kThreeTexts,
               {{"Endpoint", "EchoPort", nullptr}, {nullptr, "Binding.Name", "EchoBinding"}, {nullptr, "Binding.Namespace", kNamespace}});
    return qvwlpOk;
  }
  int32_t discoverParameters(const QvwlpValue* parameters, QvjniAnswer& answer) {
    if (!asksFor(parameters, {"EchoBinding", "Echo"})) return fail(answer, kNoSuchObject, "There is no operation but Echo of EchoBinding.");
    answerRows(answer, kThreeTexts,
               {{"Input", kNamespace, "Echo"},
                {nullptr, "Schema", kSchema},
                {nullptr, "XML", kSample},
                {"Output", kNamespace, "EchoResponse"},
                {nullptr, "Schema", kSchema}});
    return qvwlpOk;
  }
  int32_t discoverRelease(const QvwlpValue* parameters, QvjniAnswer& answer) {
    return asksFor(parameters, {}) ? qvwlpOk : fail(answer, kNoSuchObject, "There is no such discovery.");
  }
  int32_t discoverUri(const QvwlpValue* /*parameters*/, QvjniAnswer& answer) {
    return fail(answer, kNotSendable, "An address in memory has no variables.");
  }

  int32_t setNamespaces(const QvwlpValue* /*parameters*/, QvjniAnswer& /*answer*/) { return qvwlpOk; }  // we send no XML that could need them
  int32_t setOptions(const QvwlpValue* parameters, QvjniAnswer& /*answer*/) {
    QvwlpRow row{};
    while (qvwlpRowSet_nextRow(parameters[0].data.rowSet, &row) == qvwlpOk) {
      options_[std::string(textOf(row.cells[0]))] = textOf(row.cells[1]);
    }
    return qvwlpOk;
  }
  int32_t setParameters(const QvwlpValue* parameters, QvjniAnswer& answer) {
    std::vector<Value> values;  // they replace the ones that were bound before, unless one of them cannot be had
    QvwlpRow row{};
    while (qvwlpRowSet_nextRow(parameters[0].data.rowSet, &row) == qvwlpOk) {
      const std::string_view item = textOf(row.cells[2]);
      if (row.cells[1].present != 0) values.push_back({std::string(textOf(row.cells[1])), textOf(row.cells[3]) == "Input"});
      if (values.empty()) return fail(answer, kNotSendable, "A value must begin with its name.");
      if (item == "Path") return fail(answer, kNotSendable, "This example takes no files; bind a text.");
      if (item != "Value") continue;
      values.back().text = textOf(row.cells[3]);
      values.back().isXml = row.cells[4].data.truth != 0;
    }
    values_ = std::move(values);
    return qvwlpOk;
  }
  int32_t reset(const QvwlpValue* /*parameters*/, QvjniAnswer& /*answer*/) {
    values_.clear();
    return qvwlpOk;
  }

  int32_t invoke(const QvwlpValue* /*parameters*/, QvjniAnswer& answer) {
    if (options_["WSCP_ACTION"] != kAction) return fail(answer, kNotSendable, "WSCP_ACTION must be '" + std::string(kAction) + "'.");
    const Value* input = nullptr;
    for (const Value& value : values_) {
      if (value.isInput && value.name == kInput) input = &value;
    }
    if (input == nullptr) return fail(answer, kNotSendable, "Bind what is to be echoed as " + std::string(kInput) + ".");

    const std::string echoed = input->isXml ? input->text : "<Echo><text>" + escaped(input->text) + "</text></Echo>";
    const std::string response = "<EchoResponse xmlns='" + std::string(kNamespace) + "'>" + echoed + "</EchoResponse>";
    auto* kept = static_cast<char*>(answer.allocate(response.size() + 1));  // a row borrows its texts, which must live as long as the answer
    QvjniAnswerRows* outputs = answer.addRows(kThreeTexts);
    if (kept == nullptr || outputs == nullptr) return qvwlpNoMemory;
    memcpy(kept, response.c_str(), response.size() + 1);
    for (const Value& value : values_) {
      for (const auto& [uri, localName] : kOutputs) {
        if (value.isInput || value.name != "{" + std::string(uri) + "}" + localName) continue;
        QvwlpValue* cells = outputs->newRow();
        if (cells == nullptr) return qvwlpNoMemory;
        setText(cells[0], uri, strlen(uri));
        setText(cells[1], localName, strlen(localName));
        setText(cells[2], kept, response.size());
      }
    }
    answerRows(answer, kTwoTexts, {{"ECHO_SOURCE", "memory"}});
    return qvwlpOk;
  }

  std::map<std::string, std::string> options_;
  std::vector<Value> values_;
};

constexpr char kNone[] = "";
constexpr char kRows[] = {qvwlpRowSet, 0};
constexpr char kText[] = {qvwlpString, 0};
constexpr char kHandleOnly[] = {qvwlpInteger, 0};
constexpr char kObject[] = {qvwlpInteger, qvwlpString, qvwlpString, 0};
constexpr char kOperation[] = {qvwlpInteger, qvwlpString, qvwlpString, qvwlpString, qvwlpString, 0};

const Echo::Method Echo::kMethods[13] = {
    {"getVersion", kNone, &Echo::getVersion},
    {"SetNamespaces", kRows, &Echo::setNamespaces},
    {"SetOptions", kRows, &Echo::setOptions},
    {"SetParameters", kRows, &Echo::setParameters},
    {"Invoke", kRows, &Echo::invoke},
    {"Reset", kNone, &Echo::reset},
    {"Discover", kNone, &Echo::discover},
    {"DiscoverInterface", kObject, &Echo::discoverInterface},
    {"DiscoverBinding", kObject, &Echo::discoverBinding},
    {"DiscoverService", kObject, &Echo::discoverService},
    {"DiscoverParameters", kOperation, &Echo::discoverParameters},
    {"DiscoverRelease", kHandleOnly, &Echo::discoverRelease},
    {"DiscoverURI", kText, &Echo::discoverUri},
};

class Module final : public QvjniModule {
 public:
  QvjniInstance* create(const char* className, const char* /*interfaceName*/, QvjniHost* host) override {
    if (strcmp(className, "com.quillvex.proxy.ws.WebServiceClientJPC") != 0) {
      host->log(3, "The echo module has no such class.");
      return nullptr;
    }
    auto* instance = new (std::nothrow) Echo;
    if (instance == nullptr) host->log(3, "Out of memory.");
    return instance;
  }
};

}  // namespace

extern "C" QVB_API QvjniModule* qvjniModule(int32_t version) {
  static Module module;
  return version == kQvjniModuleVersion ? &module : nullptr;
}
