// SPDX-License-Identifier: Apache-2.0
#include "exit_code.h"
#include "lookup.h"
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

constexpr const char* kDescription = "Lists and describes what a WSDL document offers.";

constexpr const char* kHelp = R"(Examples:
  qvws list service.wsdl
  qvws describe service.wsdl NAME

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

constexpr const char* kOptionHelp =
    "WSDL is a path, a file: URL or an http(s): URL.\n"
    "\n"
    "Options that a discovery uses, among others (--option KEY=VALUE):\n"
    "  WSCP_SERVICE, WSCP_PORT   only what this service or port uses; a local name or {namespace}name\n"
    "  WSCP_DOMAIN               label of the stored credentials to log in with; passwords are never arguments\n"
    "  WSCP_CONFIG               configuration file\n"
    "  REQUEST_TIMEOUT           seconds to wait for each document\n";

struct Arguments {
  Request request;
  std::string name;
  std::string kind;
  Shown shown;
  bool json = false;
  int verbose = 0;
};

void addCommon(CLI::App& verb, Arguments& arguments, const char* help) {
  verb.add_option("WSDL", arguments.request.wsdl, "The document: a path or a URL")->required();
  verb.add_flag("--json", arguments.json, "Print one JSON object");
  verb.add_option("--option", arguments.request.options, "Set an option of the client (repeatable)")->type_name("KEY=VALUE")->allow_extra_args(false);
  verb.add_option("--namespace", arguments.request.namespaces, "Bind a prefix to a namespace (repeatable)")
      ->type_name("PREFIX=URI")
      ->allow_extra_args(false);
  verb.add_flag("-v,--verbose", arguments.verbose, "Say on standard error what is done; -vv says more");
  verb.footer(std::string(kOptionHelp) + "\n" + help + "\n" + exitCodeHelp());
}

/// Descriptor 1 must not be free when the library opens files and sockets: results would be written into one of them.
void checkDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) != -1) continue;
    if (open("/dev/null", O_RDWR) == -1) throw Failure(ExitCode::Output, std::string("/dev/null: ") + std::strerror(errno));
    if (descriptor == STDOUT_FILENO) throw Failure(ExitCode::Output, "standard output is closed");
  }
}

void print(const std::string& text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0) return;
  throw Failure(ExitCode::Output, std::string("standard output cannot be written: ") + std::strerror(errno));
}

ExitCode list(const Arguments& arguments) {
  const Session session(arguments.request);
  const Json all = Reader(session.discovery(), false).all(arguments.request.wsdl);
  print(arguments.json ? jsonText(all) : overview(all));
  return ExitCode::Success;
}

ExitCode describe(const Arguments& arguments) {
  const Session session(arguments.request);
  Reader reader(session.discovery(), arguments.shown.parameters || arguments.shown.schema || arguments.shown.sample);
  const Json object =
      arguments.name.empty() ? reader.all(arguments.request.wsdl) : reader.one(find(session.discovery(), arguments.name, arguments.kind));
  print(arguments.json ? jsonText(object) : description(object, arguments.shown));
  return reader.failure() ? reader.failure()->code() : ExitCode::Success;
}

ExitCode run(int argc, char** argv) {
  checkDescriptors();
  // A reader that goes away is an error of writing, with a message, and not the end of the process.
  std::signal(SIGPIPE, SIG_IGN);

  Arguments arguments;
  CLI::App app(kDescription, "qvws");
  app.set_version_flag("--version", "qvws " QVWS_VERSION);
  app.require_subcommand(0, 1);
  app.footer(std::string(kHelp) + exitCodeHelp());

  CLI::App* listVerb = app.add_subcommand("list", "List the services, bindings, interfaces and operations of a WSDL document");
  addCommon(*listVerb, arguments, kListHelp);

  CLI::App* describeVerb = app.add_subcommand("describe", "Describe a service, endpoint, binding, interface or operation, or the whole document");
  addCommon(*describeVerb, arguments, kDescribeHelp);
  CLI::Option* name = describeVerb->add_option("NAME", arguments.name, "What to describe; everything when left out");
  describeVerb->add_option("--kind", arguments.kind, "Look only for things of this kind")
      ->needs(name)
      ->check(CLI::IsMember({"service", "endpoint", "binding", "interface", "operation"}));
  describeVerb->add_flag("--parameters", arguments.shown.parameters, "Tell the input and output of each operation");
  describeVerb->add_flag("--schema", arguments.shown.schema, "Print their XML Schema as well");
  describeVerb->add_flag("--sample", arguments.shown.sample, "Print a sample of their messages as well");

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
    throw Failure(ExitCode::Usage, R"(say what to do: "qvws list WSDL" or "qvws describe WSDL"; "qvws --help" tells more)");
  if (arguments.verbose > 0) setenv("QVWS_LOG_LEVEL", arguments.verbose > 1 ? "1" : "2", 0);
  return app.got_subcommand(listVerb) ? list(arguments) : describe(arguments);
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
