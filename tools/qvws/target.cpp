// SPDX-License-Identifier: Apache-2.0
#include "target.h"

#include "exit_code.h"
#include "lookup.h"
#include "text.h"

#include <algorithm>
#include <functional>
#include <vector>

namespace qvwscli {
namespace {

constexpr std::size_t kMostCandidates = 20;
constexpr std::string_view kSoap12 = "http://www.w3.org/2003/05/soap-envelope";

/// An operation of a binding, at a port that uses the binding, if any does.
struct Candidate {
  WebServiceService* service = nullptr;
  WebServiceEndpoint* endpoint = nullptr;
  WebServiceBinding* binding = nullptr;
  WebServiceOperation* operation = nullptr;
  std::string soap;
};
using Candidates = std::vector<Candidate>;

std::string string(const QvbString& text) {
  return std::string(view(text));
}

std::string nameOf(WebServiceService* service) {
  return service == nullptr ? std::string() : string(service->getQName().toText());
}

bool isNamed(const QName& name, std::string_view text) {
  return text == view(name.toText()) || text == view(name.getLocalName());
}

bool isNamed(const Candidate& candidate, std::string_view name) {
  const QName own = candidate.operation->getQName();
  if (isNamed(own, name)) return true;
  for (const QvbString& last : {own.toText(), own.getLocalName()}) {
    const std::string end = "/" + string(last);
    if (name.size() <= end.size() || name.substr(name.size() - end.size()) != end) continue;
    const std::string_view parent = name.substr(0, name.size() - end.size());
    WebServiceInterface* interface = candidate.operation->getInterface();
    if (isNamed(candidate.binding->getQName(), parent) || (interface != nullptr && isNamed(interface->getQName(), parent))) return true;
  }
  return false;
}

void addOperations(WebServiceService* service, WebServiceEndpoint* endpoint, WebServiceBinding* binding, std::string_view name, Candidates& to) {
  QvbString ignored;  // every index is in range
  for (int32_t i = 0; binding != nullptr && i < binding->getOperationCount(); ++i) {
    const Candidate candidate{service, endpoint, binding, binding->getOperationAt(i, ignored), {}};
    if (isNamed(candidate, name)) to.push_back(candidate);
  }
}

Candidates candidatesOf(WebServiceDiscovery& discovery, const std::string& name) {
  Candidates found;
  QvbString ignored;
  for (int32_t i = 0; i < discovery.getServiceCount(); ++i) {
    WebServiceService* service = discovery.getServiceAt(i, &ignored);
    for (int32_t k = 0; k < service->getEndpointCount(); ++k) {
      WebServiceEndpoint* endpoint = service->getEndpointAt(k, &ignored);
      addOperations(service, endpoint, endpoint->getBinding(), name, found);
    }
  }
  if (!found.empty()) return found;
  // A description may leave out where the service is; --address then says it.
  for (int32_t i = 0; i < discovery.getBindingCount(); ++i) addOperations(nullptr, nullptr, discovery.getBindingAt(i, &ignored), name, found);
  return found;
}

MessageText messageText(WebServiceOperation& operation, WebServiceParameter* (WebServiceOperation::*get)(QvbString&)) {
  QvbString err;
  WebServiceParameter* parameter = (operation.*get)(err);
  if (parameter == nullptr && !err.isNull()) throw Failure(exitCodeOf(view(err)), string(err));
  if (parameter == nullptr) return {};
  return {string(parameter->getQName().toText()), string(parameter->getSchema()), string(parameter->getXML())};
}

/// The version that the operation's sample is in.
std::string soapOf(WebServiceOperation& operation) {
  std::string sample = messageText(operation, &WebServiceOperation::getInputParameter).sample;
  if (sample.empty()) sample = messageText(operation, &WebServiceOperation::getOutputParameter).sample;
  return sample.substr(0, sample.find('>')).find(kSoap12) == std::string::npos ? "1.1" : "1.2";
}

std::string listed(const Candidates& candidates) {
  std::string text;
  for (const Candidate& candidate : candidates) {
    if (&candidate - candidates.data() == kMostCandidates) {
      text += "\n... and " + std::to_string(candidates.size() - kMostCandidates) + " more";
      break;
    }
    text += "\n";
    if (candidate.service != nullptr) text += "--service '" + nameOf(candidate.service) + "' --port '" + string(candidate.endpoint->getName()) + "' ";
    text += "--soap " + candidate.soap + " for " + string(candidate.binding->getQName().toText()) + "/" +
            string(candidate.operation->getQName().toText());
  }
  return text;
}

/// Narrows the candidates to those that were chosen. Only the version has to be asked for.
Candidates chosen(const Candidates& all, const PortChoice& choice) {
  Candidates some;
  for (const Candidate& candidate : all) {
    if (!choice.service.empty() && (candidate.service == nullptr || !isNamed(candidate.service->getQName(), choice.service))) continue;
    if (!choice.port.empty() && (candidate.endpoint == nullptr || view(candidate.endpoint->getName()) != choice.port)) continue;
    if (!choice.soap.empty() && candidate.soap != choice.soap) continue;
    some.push_back(candidate);
  }
  return some;
}

bool sameMessage(const Candidates& candidates) {
  const auto sample = [](const Candidate& c) { return messageText(*c.operation, &WebServiceOperation::getInputParameter).sample; };
  const std::string first = sample(candidates.front());
  return std::all_of(candidates.begin() + 1, candidates.end(), [&](const Candidate& other) { return sample(other) == first; });
}

Candidate choose(WebServiceDiscovery& discovery, const std::string& name, const PortChoice& choice, Ports ports) {
  Candidates all = candidatesOf(discovery, name);
  if (all.empty()) {
    const Thing thing = find(discovery, name, "operation");
    throw Failure(ExitCode::Name, thing.name + " is an operation of an interface that no binding offers, so it cannot be called");
  }
  for (Candidate& candidate : all) {
    if (all.size() > 1 || !choice.soap.empty()) candidate.soap = soapOf(*candidate.operation);
  }
  const Candidates left = chosen(all, choice);
  if (left.empty()) {
    if (all.size() == 1) all.front().soap = soapOf(*all.front().operation);
    throw Failure(ExitCode::Name,
                  "no port that offers \"" + name + "\" is the one that was chosen; there " + (all.size() == 1 ? "is:" : "are:") + listed(all));
  }
  if (left.size() == 1 || (ports == Ports::SameMessageWillDo && sameMessage(left))) return left.front();
  throw Failure(ExitCode::Name,
                "several ports offer \"" + name + "\"; choose one by --service, --port, --soap, or BINDING/OPERATION:" + listed(left));
}

std::optional<std::string> optional(const QvbString& text) {
  return text.isNull() ? std::nullopt : std::optional(string(text));
}

Target targetOf(const Candidate& candidate) {
  WebServiceOperation& operation = *candidate.operation;
  Target target;
  target.operation = string(operation.getQName().toText());
  target.service = nameOf(candidate.service);
  if (candidate.endpoint != nullptr) target.port = string(candidate.endpoint->getName());
  target.soap = soapOf(operation);
  target.address = optional(operation.getAddress());
  target.action = optional(operation.getAction());
  target.input = messageText(operation, &WebServiceOperation::getInputParameter);
  target.output = messageText(operation, &WebServiceOperation::getOutputParameter);
  return target;
}

/// Whether everything found is the one port's already.
bool isNarrow(WebServiceDiscovery& discovery) {
  QvbString ignored;
  return discovery.getBindingCount() == 1 && discovery.getServiceCount() == 1 && discovery.getServiceAt(0, &ignored)->getEndpointCount() == 1;
}

}  // namespace

Target findTarget(const Request& request, const Login& login, const std::string& operation, const PortChoice& choice, Ports ports) {
  Request narrow = request;
  if (!choice.service.empty()) narrow.options.push_back("WSCP_SERVICE=" + choice.service);
  if (!choice.port.empty()) narrow.options.push_back("WSCP_PORT=" + choice.port);
  {
    const Session wide(narrow, login);
    const Candidate candidate = choose(wide.discovery(), operation, choice, ports);
    // Action and address belong to the interface's operation, where the last binding's win: only a discovery of one port tells that port's own.
    if (candidate.endpoint == nullptr || isNarrow(wide.discovery())) return targetOf(candidate);
    narrow.options.push_back("WSCP_SERVICE=" + nameOf(candidate.service));
    narrow.options.push_back("WSCP_PORT=" + string(candidate.endpoint->getName()));
  }
  const Session session(narrow, login);
  return targetOf(choose(session.discovery(), operation, {}, Ports::Differ));
}

}  // namespace qvwscli
