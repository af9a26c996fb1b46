// SPDX-License-Identifier: Apache-2.0
#include "call.h"
#include "exit_code.h"
#include "interrupt.h"
#include "lookup.h"
#include "output.h"
#include "report.h"
#include "session.h"

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <string>

namespace {

using namespace qvwscli;

constexpr const char* kDescription = "Lists and describes what a WSDL document offers, and calls it.";

constexpr const char* kHelp = R"(Examples:
  qvws list service.wsdl
  qvws describe service.wsdl NAME
  qvws sample service.wsdl GetOrder
  qvws call service.wsdl GetOrder -p number=AB-000001

"qvws VERB --help" tells more of a verb.

)";

constexpr const char* kListHelp =
    "Examples:\n"
    "  qvws list service.wsdl\n"
    "  qvws list --json https://example.com/service?wsdl\n"
    "  qvws list --option REQUEST_TIMEOUT=10 --option WSCP_DOMAIN=LABEL https://example.com/service?wsdl\n";

constexpr const char* kDescribeHelp =
    "NAME is a local name or {namespace}name, alone or below its parent: SERVICE/ENDPOINT, BINDING/OPERATION, INTERFACE/OPERATION.\n"
    "\n"
    "Examples:\n"
    "  qvws describe service.wsdl\n"
    "  qvws describe service.wsdl GetOrder\n"
    "  qvws describe --sample service.wsdl OrdersSoap12/GetOrder\n"
    "  qvws describe --json --parameters --option WSCP_PORT=OrdersPort service.wsdl '{http://example.com/orders}GetOrder'\n";

constexpr const char* kCallHelp =
    "OPERATION is a local name or {namespace}name, alone or below its binding or interface: BINDING/OPERATION. When several ports offer it, "
    "--service,\n"
    "--port and --soap say which is called.\n"
    "\n"
    "The request's payload is that of the sample (\"qvws sample\"), without what is optional and not given:\n"
    "  -p NAME=VALUE    the text of an element; NAME is a path from the payload down: order/line/article, order/@currency; . is the payload itself\n"
    "  -p NAME=@FILE    the text of a file, - is standard input; a text that begins with @ is given as NAME:=&#64;...\n"
    "  -p NAME:=XML     the content of an element, or the element; prefixes are those of --namespace and of the sample\n"
    "A name given again begins a new element, of it or of the nearest one above it that may be there more than once. What is required and not given\n"
    "keeps the sample's value, which is noted. -d gives the whole payload instead, or a whole envelope; a file is sent as a stream.\n"
    "\n"
    "The answer's payload goes to standard output, to the file of -o, or, with --output, nowhere else than there.\n"
    "\n"
    "Passwords are never arguments: --user asks on the terminal, or --password-file has it in its first line. The login is the service's; the "
    "server\n"
    "of the description gets it only when it asks.\n"
    "\n"
    "Examples:\n"
    "  qvws call service.wsdl GetOrder -p number=AB-000001\n"
    "  qvws call -n service.wsdl PlaceOrder -p order/customer=Ann -p order/line/article=tea -p order/line/quantity=2\n"
    "  qvws call --soap 1.2 -d order.xml -o answer.xml --user ann --wss digest https://example.com/service?wsdl PlaceOrder\n";

constexpr const char* kSampleHelp =
    "Examples:\n"
    "  qvws sample service.wsdl PlaceOrder > order.xml\n"
    "  qvws call service.wsdl PlaceOrder -d order.xml\n";

constexpr const char* kUriHelp =
    "TEMPLATE is a URI template (RFC 6570). The address of a call may be one; --variable gives its values.\n"
    "\n"
    "Examples:\n"
    "  qvws uri 'https://example.com/{tenant}/orders{?page}'\n";

constexpr const char* kOptionHelp =
    "WSDL is a path, a file: URL or an http(s): URL.\n"
    "\n"
    "Options that a discovery uses, among others (--option KEY=VALUE):\n"
    "  WSCP_SERVICE, WSCP_PORT   only what this service or port uses; a local name or {namespace}name\n"
    "  WSCP_DOMAIN               label of the stored credentials to log in with; passwords are never arguments\n"
    "  WSCP_CONFIG               configuration file\n"
    "  REQUEST_TIMEOUT           seconds to wait for each document\n";

struct Arguments {
  CallArguments call;  ///< with what all verbs have
  std::string name;
  std::string kind;
  std::string uriTemplate;
  Shown shown;
  int verbose = 0;
};

/// An empty value is mostly a script's variable that is not set: better refused than passed over.
CLI::Option* addText(CLI::App& verb, const std::string& names, std::string& to, const char* form, const char* help) {
  return verb.add_option(names, to, help)
      ->type_name(form)
      ->check(CLI::Validator([](std::string& value) { return value.empty() ? "it is empty" : ""; }, ""));
}

CLI::Option* addMany(CLI::App& verb, const std::string& names, std::vector<std::string>& to, const char* form, const char* help) {
  return verb.add_option(names, to, std::string(help) + " (repeatable)")->type_name(form)->allow_extra_args(false);
}

void addCommon(CLI::App& verb, Arguments& arguments, const std::string& help) {
  verb.add_flag("--json", arguments.call.json, "Print one JSON object; failures but faults are messages all the same");
  addMany(verb, "--option", arguments.call.request.options, "KEY=VALUE", "Set an option of the client");
  addMany(verb, "--namespace", arguments.call.request.namespaces, "PREFIX=URI", "Bind a prefix to a namespace");
  verb.add_flag("-v,--verbose", arguments.verbose, "Say on standard error what is done; -vv says more");
  verb.footer(help + "\n" + exitCodeHelp());
}

void addDocument(CLI::App& verb, Arguments& arguments, const std::string& help) {
  verb.add_option("WSDL", arguments.call.request.wsdl, "The document: a path or a URL")->required();
  addCommon(verb, arguments, std::string(kOptionHelp) + "\n" + help);
}

void addOperation(CLI::App& verb, Arguments& arguments, const std::string& help) {
  addDocument(verb, arguments, help);
  verb.add_option("OPERATION", arguments.call.operation, "The operation")->required();
  addText(verb, "--service", arguments.call.choice.service, "NAME", "The service, when several offer it");
  addText(verb, "--port", arguments.call.choice.port, "NAME", "The port, when several offer it");
  verb.add_option("--soap", arguments.call.choice.soap, "The version of SOAP, when ports of both offer it")->check(CLI::IsMember({"1.1", "1.2"}));
}

void addCall(CLI::App& verb, CallArguments& call) {
  addText(verb, "-d,--data", call.data.data, "FILE", "The payload or the whole envelope; - is standard input");
  addMany(verb, "-p,--parameter", call.data.values, "NAME=VALUE", "Fill an element or attribute of the payload");
  addText(verb, "--header-xml", call.data.header, "FILE", "The SOAP header's blocks; - is standard input");
  addMany(verb, "-H,--header", call.headers, "'NAME: VALUE'|@FILE", "Send an HTTP header, or those in a file");
  addText(verb, "-o,--output-file", call.file, "FILE", "Where the answer's payload goes, as a stream");
  addMany(verb, "--output", call.outputs, "QNAME=FILE", "Where an element of the answer goes, as a stream");
  verb.add_flag("--raw", call.raw, "The answer's whole envelope, in place of its payload");
  verb.add_flag("-n,--dry-run", call.dryRun, "Print the envelope and send nothing; what --wss adds is not in it");
  addText(verb, "--address", call.address, "URL", "Call this URL, perhaps a template, and not the port's");
  addMany(verb, "--variable", call.variables, "NAME=VALUE", "A variable of the address's URI template");
  verb.add_option("--action", call.action, "The SOAP action, and not the port's")->type_name("URI");
  addText(verb, "--user", call.login.user, "NAME", "Who logs in");
  addText(verb, "--password-file", call.login.passwordFile, "FILE", "The user's password, in the first line; - is standard input");
  addText(verb, "--auth-domain", call.login.domain, "LABEL", "Log in with the stored credentials of this label");
  verb.add_option("--wss", call.wss, "Log in within the message (WS-Security), with the password's text or a digest")
      ->check(CLI::IsMember({"text", "digest"}));
  verb.add_option("--max-time", call.maxTime, "How long the call may take, and each document of the description")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, 1000000));
}

/// Descriptor 1 must not be free when the library opens files and sockets: results would be written into one of them.
void checkDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) != -1) continue;
    if (open("/dev/null", O_RDWR) == -1) throw Failure(ExitCode::Internal, std::string("/dev/null: ") + std::strerror(errno));
    if (descriptor == STDOUT_FILENO) throw Failure(ExitCode::Internal, "standard output is closed");
  }
}

ExitCode list(const Arguments& arguments) {
  const Session session(arguments.call.request);
  const Json all = Reader(session.discovery(), false).all(arguments.call.request.wsdl);
  print(arguments.call.json ? jsonText(all) : overview(all));
  return ExitCode::Success;
}

ExitCode describe(const Arguments& arguments) {
  const Session session(arguments.call.request);
  Reader reader(session.discovery(), arguments.shown.parameters || arguments.shown.schema || arguments.shown.sample);
  const Json object =
      arguments.name.empty() ? reader.all(arguments.call.request.wsdl) : reader.one(find(session.discovery(), arguments.name, arguments.kind));
  print(arguments.call.json ? jsonText(object) : description(object, arguments.shown));
  return reader.failure() ? reader.failure()->code() : ExitCode::Success;
}

ExitCode run(int argc, char** argv) {
  checkDescriptors();
  // A reader that goes away is an error of writing, with a message, and not the end of the process.
  std::signal(SIGPIPE, SIG_IGN);
  watchInterrupts();

  Arguments arguments;
  CLI::App app(kDescription, "qvws");
  app.set_version_flag("--version", "qvws " QVWS_VERSION);
  app.require_subcommand(0, 1);
  app.footer(std::string(kHelp) + exitCodeHelp());

  CLI::App* listVerb = app.add_subcommand("list", "List the services, bindings, interfaces and operations of a WSDL document");
  addDocument(*listVerb, arguments, kListHelp);

  CLI::App* describeVerb = app.add_subcommand("describe", "Describe a service, endpoint, binding, interface or operation, or the whole document");
  addDocument(*describeVerb, arguments, kDescribeHelp);
  CLI::Option* name = describeVerb->add_option("NAME", arguments.name, "What to describe; everything when left out");
  describeVerb->add_option("--kind", arguments.kind, "Look only for things of this kind")
      ->needs(name)
      ->check(CLI::IsMember({"service", "endpoint", "binding", "interface", "operation"}));
  describeVerb->add_flag("--parameters", arguments.shown.parameters, "Tell the input and output of each operation");
  describeVerb->add_flag("--schema", arguments.shown.schema, "Print their XML Schema as well");
  describeVerb->add_flag("--sample", arguments.shown.sample, "Print a sample of their messages as well");

  CLI::App* sampleVerb = app.add_subcommand("sample", "Print the envelope of an operation's request, with sample values");
  addOperation(*sampleVerb, arguments, kSampleHelp);

  CLI::App* callVerb = app.add_subcommand("call", "Call an operation and print its answer");
  addOperation(*callVerb, arguments, kCallHelp);
  addCall(*callVerb, arguments.call);

  CLI::App* uriVerb = app.add_subcommand("uri", "List the variables of a URI template, in their order");
  uriVerb->add_option("TEMPLATE", arguments.uriTemplate, "The template")->required();
  addCommon(*uriVerb, arguments, kUriHelp);

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForVersion& version) {
    print(std::string(version.what()) + "\n");
    return ExitCode::Success;
  } catch (const CLI::CallForHelp&) {
    print(app.help());
    return ExitCode::Success;
  } catch (const CLI::ParseError& error) {
    throw Failure(ExitCode::Usage, std::string(error.what()) + "\n\"qvws " +
                                       (app.get_subcommands().empty() ? "" : app.get_subcommands().front()->get_name() + " ") +
                                       "--help\" shows what can be given");
  }
  if (app.get_subcommands().empty())
    throw Failure(ExitCode::Usage, R"(say what to do, for instance "qvws list WSDL" or "qvws call WSDL OPERATION"; "qvws --help" tells more)");
  if (arguments.verbose > 0) setenv("QVWS_LOG_LEVEL", arguments.verbose > 1 ? "1" : "2", 0);
  if (app.got_subcommand(listVerb)) return list(arguments);
  if (app.got_subcommand(describeVerb)) return describe(arguments);
  if (app.got_subcommand(sampleVerb)) return sample(arguments.call);
  if (app.got_subcommand(uriVerb)) return uri(arguments.call.request, arguments.uriTemplate, arguments.call.json);
  arguments.call.hasAction = callVerb->count("--action") > 0;
  return call(arguments.call);
}

}  // namespace

int main(int argc, char** argv) {
  ExitCode code = ExitCode::Internal;
  try {
    code = run(argc, argv);
  } catch (const Failure& failure) {
    complain(failure.what());
    code = failure.code();
  } catch (const std::bad_alloc&) {
    complain("out of memory");
  } catch (const std::exception& error) {
    complain(std::string("internal error: ") + error.what());
  }
  return static_cast<int>(code);
}
