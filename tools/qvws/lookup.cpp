// SPDX-License-Identifier: Apache-2.0
#include "lookup.h"

#include "exit_code.h"
#include "text.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <string_view>
#include <utility>

namespace qvwscli {
namespace {

constexpr std::size_t kMostCandidates = 20;

Thing named(const char* kind, const QName& name) {
  Thing thing;
  thing.kind = kind;
  thing.name = view(name.toText());
  thing.localName = view(name.getLocalName());
  return thing;
}

std::vector<Thing> thingsOf(WebServiceDiscovery& discovery) {
  std::vector<Thing> things;
  QvbString ignored;  // every index below is in range
  for (int32_t i = 0; i < discovery.getServiceCount(); ++i) {
    WebServiceService* service = discovery.getServiceAt(i, &ignored);
    things.push_back(named("service", service->getQName()));
    things.back().service = service;
    for (int32_t k = 0; k < service->getEndpointCount(); ++k) {
      WebServiceEndpoint* endpoint = service->getEndpointAt(k, &ignored);
      things.push_back(named("endpoint", QName(QvbString(), endpoint->getName())));
      things.back().endpoint = endpoint;
      things.back().parents.push_back(service->getQName());
    }
  }
  std::map<std::pair<WebServiceInterface*, std::string>, std::size_t> operations;
  for (int32_t i = 0; i < discovery.getBindingCount(); ++i) {
    WebServiceBinding* binding = discovery.getBindingAt(i, &ignored);
    things.push_back(named("binding", binding->getQName()));
    things.back().binding = binding;
    for (int32_t k = 0; k < binding->getOperationCount(); ++k) {
      WebServiceOperation* operation = binding->getOperationAt(k, ignored);
      WebServiceInterface* interface = operation->getInterface();
      Thing thing = named("operation", operation->getQName());
      // Without an interface every binding's operation is a thing of its own.
      const auto [at, isNew] =
          operations.try_emplace({interface, interface == nullptr ? thing.name + "\n" + std::to_string(i) : thing.name}, things.size());
      if (isNew) {
        thing.operation = operation;
        thing.binding = binding;
        thing.interface = interface;
        if (interface != nullptr) thing.parents.push_back(interface->getQName());
        things.push_back(std::move(thing));
      }
      things[at->second].parents.push_back(binding->getQName());
    }
  }
  for (int32_t i = 0; i < discovery.getInterfaceCount(); ++i) {
    WebServiceInterface* interface = discovery.getInterfaceAt(i, &ignored);
    things.push_back(named("interface", interface->getQName()));
    things.back().interface = interface;
    for (int32_t k = 0; k < interface->getOperationCount(); ++k) {
      WebServiceOperation* operation = interface->getOperationAt(k, ignored);
      Thing thing = named("operation", operation->getQName());
      if (operations.count({interface, thing.name}) > 0) continue;
      thing.operation = operation;
      thing.interface = interface;
      thing.parents.push_back(interface->getQName());
      things.push_back(std::move(thing));
    }
  }
  return things;
}

/// Whether `text` is `name` below a parent; the parent that it was.
const QName* parentIn(const Thing& thing, std::string_view text) {
  for (const std::string& name : {thing.name, thing.localName}) {
    if (text.size() <= name.size() + 1 || text.substr(text.size() - name.size()) != name || text[text.size() - name.size() - 1] != '/') continue;
    const std::string_view above = text.substr(0, text.size() - name.size() - 1);
    for (const QName& parent : thing.parents) {
      if (above == view(parent.toText()) || above == view(parent.getLocalName())) return &parent;
    }
  }
  return nullptr;
}

/// An operation named below a binding is described by that binding.
void choose(WebServiceDiscovery& discovery, Thing& thing, const QName& parent) {
  if (thing.operation == nullptr) return;
  WebServiceBinding* binding = discovery.getBinding(parent, nullptr);
  if (binding == nullptr) return;
  WebServiceOperation* operation = binding->getOperation(thing.operation->getQName(), nullptr);
  if (operation == nullptr || operation->getInterface() != thing.interface) return;
  thing.binding = binding;
  thing.operation = operation;
  thing.bindingNamed = true;
}

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : static_cast<char>(c); });
  return text;
}

/// What to type to mean this thing and no other.
/// @param[in] withKind  whether the kind has to be said, too
std::string argumentsFor(const Thing& thing, bool withKind) {
  const std::string parent = thing.parents.empty() ? std::string() : std::string(view(thing.parents.front().toText())) + "/";
  return "\n" + (withKind ? "--kind " + thing.kind + " " : "") + "'" + parent + thing.name + "'";
}

std::string listed(const std::vector<const Thing*>& things, bool withKind) {
  std::string text;
  for (std::size_t i = 0; i < things.size() && i < kMostCandidates; ++i) text += argumentsFor(*things[i], withKind);
  if (things.size() > kMostCandidates) text += "\nand " + std::to_string(things.size() - kMostCandidates) + " more; `qvws list` shows them all";
  return text;
}

}  // namespace

Thing find(WebServiceDiscovery& discovery, const std::string& name, const std::string& kind) {
  std::vector<Thing> things = thingsOf(discovery);
  if (!kind.empty()) things.erase(std::remove_if(things.begin(), things.end(), [&](const Thing& t) { return t.kind != kind; }), things.end());

  std::vector<const Thing*> exact;
  std::vector<const Thing*> found;
  for (Thing& thing : things) {
    if (thing.name == name && thing.kind != "endpoint") exact.push_back(&thing);
    const QName* parent = parentIn(thing, name);
    if (parent != nullptr) choose(discovery, thing, *parent);
    if (parent != nullptr || thing.name == name || thing.localName == name) found.push_back(&thing);
  }
  // A name without a namespace is spelt like any local name: what has exactly that name comes first.
  if (found.size() > 1 && exact.size() == 1) found = exact;
  if (found.size() == 1) return *found.front();
  const std::string what = kind.empty() ? "nothing" : "no " + kind;
  if (found.size() > 1)
    throw Failure(ExitCode::Name,
                  "\"" + name + "\" is the name of " + std::to_string(found.size()) + " things; name one of them by" + listed(found, kind.empty()));

  std::vector<const Thing*> similar;
  std::vector<const Thing*> all;
  const std::string wanted = lower(name);
  for (const Thing& thing : things) {
    all.push_back(&thing);
    const std::string local = lower(thing.localName);
    if (local.find(wanted) != std::string::npos || wanted.find(local) != std::string::npos) similar.push_back(&thing);
  }
  const std::string text = what + " here is named \"" + name + "\"";
  if (!similar.empty()) throw Failure(ExitCode::Name, text + "; similar:" + listed(similar, kind.empty()));
  throw Failure(ExitCode::Name, text + (all.empty() ? "; the description is empty" : "; there are:" + listed(all, kind.empty())));
}

}  // namespace qvwscli
