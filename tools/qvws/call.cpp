// SPDX-License-Identifier: Apache-2.0
#include "call.h"

#include "answer.h"
#include "files.h"
#include "interrupt.h"
#include "output.h"
#include "progress.h"
#include "text.h"

#include <algorithm>
#include <cctype>
#include <memory>

namespace qvwscli {
namespace {

/// Shows how a call is doing, and stops it when Ctrl-C came.
class CallWatch final : public WebServiceInvokeCallback {
 public:
  int32_t getOption() override { return 50; }
  bool isCancelled() override {
    progress_.update();
    return InterruptNoted::came();
  }

 private:
  Progress progress_;
};

/// A value that is wanted of the answer.
struct Output {
  std::string name;  ///< QName text
  std::string file;  ///< empty = kept and printed
  WebServiceParmValue* value = nullptr;

  /// Whether the answer had it; one that went to a file then has a text, a null one.
  [[nodiscard]] bool isWritten() const {
    QvbString text;
    return value->getProperty("wsps.string.value", text);
  }
};

using BindOperation = bool (WebServiceClient::*)(const QvbString&, WebServiceParmValue*, QvbString&);

/// Makes a value and binds it; it is the client's then.
WebServiceParmValue* bindValue(Client& client, BindOperation operation, const std::string& name, bool isFile, const std::string& content) {
  QvbString err;
  const auto release = [](WebServiceParmValue* value) { value->release(); };
  std::unique_ptr<WebServiceParmValue, decltype(release)> value(qvwsCreateWebServiceParmValue(isFile ? WSPStyle::File : WSPStyle::String, &err),
                                                                release);
  const bool done =
      value != nullptr && ((!isFile && content.empty()) || value->setProperty(isFile ? "wsps.file.path" : "wsps.string.value", text(content), err));
  if (done) value->setValueIsXml(true);
  if (!done || !(client.operator->()->*operation)(text(name), value.get(), err)) throw Failure(exitCodeOf(view(err)), std::string(view(err)));
  return value.release();
}

/// The QName text of a name that may be written with a prefix.
std::string resolved(const std::string& name, const Namespaces& namespaces) {
  const std::size_t colon = name.find(':');
  if (name[0] == '{' || colon == std::string::npos) return name;
  const std::string prefix = name.substr(0, colon);
  for (const auto& [bound, uri] : namespaces) {
    if (bound == prefix) return "{" + std::string(uri) + "}" + name.substr(colon + 1);
  }
  throw Failure(ExitCode::Usage, "--output " + name + ": the prefix is not bound; bind it with --namespace " + prefix + "=URI");
}

std::vector<Output> outputsOf(const Target& target, const CallArguments& arguments, const Namespaces& namespaces) {
  std::vector<Output> outputs;
  if (!arguments.file.empty() || arguments.outputs.empty())
    outputs.push_back({soapName(target, arguments.raw ? "Envelope" : "Body"), arguments.file, nullptr});
  for (const std::string& output : arguments.outputs) {
    // A namespace may have "=" in it.
    const std::size_t sign = output.find('=', output[0] == '{' ? output.find('}') : 0);
    if (sign == std::string::npos || sign == 0 || sign + 1 == output.size()) throw Failure(ExitCode::Usage, "--output wants QNAME=FILE");
    outputs.push_back({resolved(output.substr(0, sign), namespaces), output.substr(sign + 1), nullptr});
  }
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    for (std::size_t k = 0; k < i; ++k) {
      if (outputs[i].name == outputs[k].name) throw Failure(ExitCode::Usage, outputs[i].name + " is to go to two places");
      if (!outputs[i].file.empty() && outputs[i].file == outputs[k].file) throw Failure(ExitCode::Usage, outputs[i].file + " is to hold two outputs");
    }
    if (outputs[i].file == "-")
      throw Failure(ExitCode::Usage, "an output is a file; leave -o and --output away to have the answer on standard output");
  }
  return outputs;
}

void addHeader(Client& client, std::string_view line) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos || colon == 0) throw Failure(ExitCode::Usage, "-H wants 'Name: value', or @FILE with such lines");
  const std::string_view value = line.substr(std::min(line.find_first_not_of(" \t", colon + 1), line.size()));
  QvbString err;
  client->AddRequestValue(text("HTTP_HEADER/" + std::string(line.substr(0, colon))), text(value), err);
}

void addHeaders(Client& client, const std::vector<std::string>& headers) {
  for (const std::string& header : headers) {
    if (header.empty() || header.front() != '@') {
      std::string name = header.substr(0, header.find(':'));
      std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
      if (name == "authorization" || name == "proxy-authorization") {
        throw Failure(ExitCode::Usage, "the header " + name +
                                           " is refused as an argument: every user of the machine can read argument lists\n"
                                           "put its line into a file and give -H @FILE, or log in with --user or --auth-domain");
      }
      addHeader(client, header);
      continue;
    }
    const std::string lines = readAll(header.substr(1));
    for (std::size_t begin = 0; begin < lines.size();) {
      const std::size_t end = std::min(lines.find('\n', begin), lines.size());
      std::string_view line = std::string_view(lines).substr(begin, end - begin);
      while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.remove_suffix(1);
      if (!line.empty()) addHeader(client, line);
      begin = end + 1;
    }
  }
}

/// @param[in] address  the template
void addVariables(Client& client, const std::vector<std::string>& variables, const std::string& address) {
  const std::size_t host = address.find("://");
  const bool inHost = host != std::string::npos && address.find('{') < address.find('/', host + 3);
  for (const std::string& variable : variables) {
    const auto [name, value] = split(variable, "--variable", "NAME=VALUE");
    if (inHost && value.find('@') != std::string_view::npos) {
      throw Failure(ExitCode::Usage,
                    "--variable: \"@\" is refused where the value may become a user and a password of the address; log in with --user");
    }
    if (name.find('/') != std::string_view::npos) throw Failure(ExitCode::Usage, "--variable: a variable's name has no \"/\"");
    QvbString err;
    client->AddRequestValue(text(name), text(value), err);
  }
}

void checkArguments(const CallArguments& arguments) {
  const LoginArguments& login = arguments.login;
  const auto refuse = [](bool when, const char* why) {
    if (when) throw Failure(ExitCode::Usage, why);
  };
  refuse(!login.passwordFile.empty() && login.user.empty(), "--password-file is for --user NAME");
  refuse(!login.user.empty() && !login.domain.empty(), "--user and --auth-domain both say who logs in: give one of them");
  refuse(!arguments.wss.empty() && login.user.empty() && login.domain.empty(), "--wss wants a user: give --user or --auth-domain");
  refuse(!arguments.data.data.empty() && !arguments.data.values.empty(), "-d gives the whole payload, and -p a part of it: give one of them");
  std::ptrdiff_t readers = std::count_if(arguments.data.values.begin(), arguments.data.values.end(),
                                         [](const std::string& v) { return v.size() > 3 && v.compare(v.size() - 3, 3, "=@-") == 0; });
  for (const std::string* file : {&arguments.data.data, &arguments.data.header, &login.passwordFile}) readers += *file == "-" ? 1 : 0;
  readers += std::count(arguments.headers.begin(), arguments.headers.end(), "@-");
  refuse(readers > 1, "only one thing can be read from standard input");
  checkUrl(arguments.address);
}

/// A client that is ready to invoke.
void setUp(Client& client, const CallArguments& arguments, const Target& target, const Login& login) {
  if (!target.address && arguments.address.empty()) {
    throw Failure(ExitCode::Usage, "the description says no address for " + target.operation + ": give it with --address URL");
  }
  client.setOption("WSCP_SOAP_VERSION", text(target.soap));
  if (target.action) client.setOption("WSCP_ACTION", text(*target.action));
  client.tell(arguments.request);
  client.setOption("WSCP_ADDRESS", text(arguments.address.empty() ? *target.address : arguments.address));
  if (arguments.hasAction) client.setOption("WSCP_ACTION", text(arguments.action));
  client.logIn(login, arguments.wss.empty() ? "WSCP_" : "WSCP_WS-SECURITY_");
  if (!arguments.wss.empty()) client.setOption("WSCP_WS-SECURITY_DIGEST", arguments.wss == "digest" ? "true" : "false");
}

void invoke(Client& client, bool json) {
  QvbString err;
  bool done = false;
  {
    const InterruptNoted interrupts;
    CallWatch watch;
    done = client->Invoke(&watch, err);
  }
  if (done) return;
  const ExitCode code = exitCodeOf(view(err), Doing::Invoking);
  if (json && code == ExitCode::Fault) print(jsonText({{"fault", faultOf(view(err))}}));
  throw Failure(code, std::string(view(err)));
}

void report(Client& client, const std::vector<Output>& outputs, const CallArguments& arguments) {
  Json list = Json::array();
  for (const Output& output : outputs) {
    Json entry = {{"name", output.name}};
    if (!output.file.empty()) {
      const bool written = output.isWritten();
      if (!written) complain("note: the answer has no " + output.name + "; " + output.file + " was not written");
      entry.update({{"file", output.file}, {"written", written}});
    } else {
      QvbString xml;
      output.value->getProperty("wsps.string.value", xml);
      entry["xml"] = xml.isNull() ? Json() : Json(std::string(view(xml)));
      if (!arguments.json) {
        printXml(view(xml));
        if (!arguments.raw && xml.length() > 0 && view(xml).back() != '\n') print("\n");
      }
    }
    list.push_back(std::move(entry));
  }
  if (arguments.json) print(jsonText({{"outputs", std::move(list)}, {"responseValues", responseValues(*client.operator->())}}));
}

ExitCode printRequest(const CallArguments& arguments, const Target& target, const std::string& envelope) {
  if (!arguments.json) {
    printXml(envelope);
    return ExitCode::Success;
  }
  const std::string address = arguments.address.empty() ? target.address.value_or("") : arguments.address;
  const std::string action = arguments.hasAction ? arguments.action : target.action.value_or("");
  print(jsonText({{"operation", target.operation}, {"soapVersion", target.soap}, {"address", address}, {"action", action}, {"envelope", envelope}}));
  return ExitCode::Success;
}

}  // namespace

ExitCode call(const CallArguments& given) {
  checkArguments(given);
  CallArguments arguments = given;
  if (arguments.maxTime > 0) arguments.request.options.push_back("REQUEST_TIMEOUT=" + std::to_string(arguments.maxTime));
  arguments.data.hasToken = !arguments.wss.empty();
  Namespaces namespaces;
  for (const std::string& binding : arguments.request.namespaces) namespaces.emplace_back(split(binding, "--namespace", "PREFIX=URI"));

  const Login who = login(arguments.login);
  const Target target = findTarget(arguments.request, arguments.wss.empty() ? who : Login(), arguments.operation, arguments.choice, Ports::Differ);
  const std::vector<Input> inputs = inputsOf(target, arguments.data, namespaces);
  std::vector<Output> outputs = outputsOf(target, arguments, namespaces);
  Client client;
  addHeaders(client, arguments.headers);
  addVariables(client, arguments.variables, arguments.address.empty() ? target.address.value_or("") : arguments.address);
  if (arguments.dryRun) return printRequest(arguments, target, envelopeOf(target, inputs, namespaces));
  setUp(client, arguments, target, who);
  for (const Input& input : inputs) bindValue(client, &WebServiceClient::SetInputParmValue, input.name, input.isFile, input.text);
  for (Output& output : outputs)
    output.value = bindValue(client, &WebServiceClient::SetOutputParmValue, output.name, !output.file.empty(), output.file);
  invoke(client, arguments.json);
  report(client, outputs, arguments);
  return ExitCode::Success;
}

}  // namespace qvwscli
