// SPDX-License-Identifier: Apache-2.0
#include "module/web_service_client.h"

#include "error.h"
#include "http/catalog.h"
#include "module/config_file.h"
#include "module/request_rows.h"
#include "module/request_values.h"
#include "module/rows.h"
#include "uri/uri_template.h"

#include <cstring>
#include <exception>
#include <new>
#include <string_view>

namespace qvx {

namespace {

constexpr std::string_view kVersion = "0.1.0";

wsdl::Name name(const QvwlpValue* cells) {
  return {text(cells[0]), text(cells[1])};
}

void documentation(Rows& rows, std::string_view value) {
  if (!value.empty()) rows.add("Documentation", value);
}

}  // namespace

struct WebServiceClient::Method {
  const char* name;
  const char* parameters;  ///< type string
  void (WebServiceClient::*run)(const QvwlpValue*, QvjniAnswer&);
};

const WebServiceClient::Method WebServiceClient::kMethods[] = {
    {"SetNamespaces", "\x0a", &WebServiceClient::setNamespaces},
    {"SetOptions", "\x0a", &WebServiceClient::setOptions},
    {"SetParameters", "\x0a", &WebServiceClient::setParameters},
    {"Invoke", "\x0a", &WebServiceClient::invoke},
    {"Reset", "", &WebServiceClient::reset},
    {"DiscoverURI", "\x0b", &WebServiceClient::discoverUri},
    {"Discover", "", &WebServiceClient::discover},
    {"DiscoverRelease", "\x07", &WebServiceClient::discoverRelease},
    {"DiscoverService", "\x07\x0b\x0b", &WebServiceClient::discoverService},
    {"DiscoverInterface", "\x07\x0b\x0b", &WebServiceClient::discoverInterface},
    {"DiscoverBinding", "\x07\x0b\x0b", &WebServiceClient::discoverBinding},
    {"DiscoverParameters", "\x07\x0b\x0b\x0b\x0b", &WebServiceClient::discoverParameters},
    {"getVersion", "", &WebServiceClient::getVersion},
};

std::int32_t WebServiceClient::call(const char* method, const QvwlpValue* parameters, std::int32_t count, QvjniInvokeCallback* callback,
                                    QvjniAnswer* answer) {
  const auto fail = [&](ErrorCode code, const char* why) {
    answer->fail(static_cast<std::int32_t>(code), why, static_cast<std::int32_t>(std::strlen(why)));
    return qvwlpFailed;
  };
  for (const Method& known : kMethods) {
    if (std::strcmp(known.name, method) != 0) continue;
    if (static_cast<std::size_t>(count) != std::strlen(known.parameters)) return qvwlpBadArgument;
    for (std::int32_t i = 0; i < count; ++i) {
      if (parameters[i].type != known.parameters[i] || (parameters[i].type == qvwlpInteger && parameters[i].present == 0)) return qvwlpBadArgument;
    }
    callback_ = callback;
    try {
      (this->*known.run)(parameters, *answer);
      return qvwlpOk;
    } catch (const Error& error) {
      return fail(error.code(), error.what());
    } catch (const std::bad_alloc&) {
      return fail(ErrorCode::NoMemory, "Out of memory");
    } catch (const std::exception& error) {
      return fail(ErrorCode::Internal, error.what());
    } catch (...) {
      return fail(ErrorCode::Internal, "An unknown failure");
    }
  }
  return qvwlpNoSuchMethod;
}

void WebServiceClient::setNamespaces(const QvwlpValue* parameters, QvjniAnswer& /*answer*/) {
  std::vector<std::pair<std::string, std::string>> all;
  forRows(parameters[0], kTwoTexts, [&](const QvwlpValue* cells) { all.emplace_back(text(cells[0]), text(cells[1])); });
  namespaces_ = std::move(all);
}

void WebServiceClient::setOptions(const QvwlpValue* parameters, QvjniAnswer& /*answer*/) {
  std::vector<std::pair<std::string, std::string>> rows;
  forRows(parameters[0], kTwoTexts, [&](const QvwlpValue* cells) { rows.emplace_back(text(cells[0]), text(cells[1])); });
  // The file holds defaults, so it comes first; of rows of one name the last one counts.
  Options all;
  for (const auto& [key, value] : rows) setOption(all, key, value);
  if (!all.configFile.empty()) {
    Options merged;
    readConfigFile(all.configFile, merged);
    for (const auto& [key, value] : rows) setOption(merged, key, value);
    all = std::move(merged);
  }
  invoker_.reset();  // it borrows the options
  options_ = std::move(all);
}

void WebServiceClient::setParameters(const QvwlpValue* parameters, QvjniAnswer& /*answer*/) {
  values_ = readBoundValues(parameters[0]);
}

void WebServiceClient::invoke(const QvwlpValue* parameters, QvjniAnswer& answer) {
  if (invoker_ == nullptr) {
    invoker_ = std::make_unique<Invoker>(options_, namespaces_, [this](int level, const std::string& line) { host_.log(level, line.c_str()); });
  }
  invoker_->call(values_, RequestValues(parameters[0]), callback_, answer);
}

// The invoker stays, and with it the connection.
void WebServiceClient::reset(const QvwlpValue* /*parameters*/, QvjniAnswer& /*answer*/) {
  values_ = {};
}

void WebServiceClient::discoverUri(const QvwlpValue* parameters, QvjniAnswer& answer) {
  const UriTemplate parsed(text(parameters[0]));
  Rows names(answer, "\x0b");
  for (const std::string& one : parsed.variables()) names.single(names.copy(one));
}

void WebServiceClient::discover(const QvwlpValue* /*parameters*/, QvjniAnswer& answer) {
  if (options_.address.find_first_not_of(" \t\r\n") == std::string::npos) {
    throw Error(ErrorCode::NoAddress, "No WSDL was named; set the option WSCP_ADDRESS to its path or URL");
  }
  std::unique_ptr<Catalog> catalog;
  if (!options_.catalog.empty()) catalog = std::make_unique<Catalog>(options_.catalog);
  const auto map = [&](const Location& location) { return catalog == nullptr ? location : catalog->map(location); };
  Transport transport(options_.transport, options_.limits, [this](int level, const std::string& line) { host_.log(level, line.c_str()); });
  const Location address = locate(options_.address);
  transport.trust(originOf(address));
  auto loaded = std::make_unique<wsdl::Loaded>();
  wsdl::load(address, transport, map, options_.limits, *loaded);
  auto made = std::make_unique<wsdl::Discovery>(std::move(loaded), options_.service, options_.port);
  wsdl::Discovery& found = *made;
  report(found);

  const std::int64_t handle = lastHandle_ + 1;
  if (!answer.addInteger(handle)) throw std::bad_alloc();
  Rows properties(answer, kTwoTexts);
  const wsdl::Model& model = found.model();
  if (!model.name.local.empty()) properties.add("QName.name", model.name.local);
  if (!model.name.ns.empty()) properties.add("QName.namespace", model.name.ns);
  if (!model.targetNamespace.empty()) properties.add("TargetNamespace", model.targetNamespace);
  documentation(properties, model.documentation);
  properties.add("Version", "1.1");
  Rows objects(answer, kThreeTexts);
  const auto list = [&](const char* kind, const auto& items) {
    for (const auto* const item : items) {
      objects.object(kind, "QName.namespace", item->name.ns);
      objects.property("QName.name", item->name.local);
    }
  };
  list("Interface", found.interfaces());
  list("Binding", found.bindings());
  list("Service", found.services());
  discoveries_.emplace(handle, std::move(made));
  lastHandle_ = handle;
}

void WebServiceClient::discoverRelease(const QvwlpValue* parameters, QvjniAnswer& /*answer*/) {
  discovery(parameters[0]);
  discoveries_.erase(parameters[0].data.integer);
}

void WebServiceClient::discoverService(const QvwlpValue* parameters, QvjniAnswer& answer) {
  const wsdl::Discovery& found = discovery(parameters[0]);
  const wsdl::Service& service = found.service(name(parameters + 1));
  Rows properties(answer, kTwoTexts);
  documentation(properties, service.documentation);
  if (const wsdl::PortType* const type = found.interfaceOf(service)) {
    // The namespace completes the reference, so the name goes first.
    properties.add("Interface.Name", type->name.local);
    properties.add("Interface.Namespace", type->name.ns);
  }
  Rows endpoints(answer, kThreeTexts);
  for (const wsdl::Port* port : found.ports(service)) {
    endpoints.header("Endpoint", port->name);
    if (!port->documentation.empty()) endpoints.property("Documentation", port->documentation);
    if (port->binding.empty()) continue;
    endpoints.property("Binding.Name", port->binding.local);
    endpoints.property("Binding.Namespace", port->binding.ns);
  }
}

void WebServiceClient::discoverInterface(const QvwlpValue* parameters, QvjniAnswer& answer) {
  const wsdl::PortType& type = discovery(parameters[0]).interface(name(parameters + 1));
  Rows properties(answer, kTwoTexts);
  documentation(properties, type.documentation);
  Rows operations(answer, kThreeTexts);
  for (const wsdl::Operation& operation : type.operations) {
    operations.object("Operation", type.name.ns, operation.key);
    if (!operation.documentation.empty()) operations.property("Documentation", operation.documentation);
  }
}

void WebServiceClient::discoverBinding(const QvwlpValue* parameters, QvjniAnswer& answer) {
  wsdl::Discovery& found = discovery(parameters[0]);
  const wsdl::Binding& binding = found.binding(name(parameters + 1));
  const std::string_view style = found.styleOf(binding);
  Rows properties(answer, kTwoTexts);
  documentation(properties, binding.documentation);
  // First of all: a style that cannot be used is the reason to give, whatever else is wrong.
  properties.add("Style", style);
  const wsdl::PortType* const type = found.interfaceOf(binding);
  if (type != nullptr) {
    properties.add("Interface.Name", type->name.local);
    properties.add("Interface.Namespace", type->name.ns);
  }
  Rows operations(answer, kThreeTexts);
  const std::string_view address = found.addressOf(binding);
  for (const wsdl::Discovery::BoundView& view : found.operations(binding)) {
    operations.object("Operation", type->name.ns, view.operation->key);
    if (!view.bound->documentation.empty()) operations.property("Documentation", view.bound->documentation);
    if (view.bound->action) operations.property("WSCP_ACTION", *view.bound->action);
    if (!address.empty()) operations.property("WSCP_ADDRESS", address);
  }
  report(found);
}

void WebServiceClient::discoverParameters(const QvwlpValue* parameters, QvjniAnswer& answer) {
  wsdl::Discovery& found = discovery(parameters[0]);
  const auto described = found.describe(found.binding(name(parameters + 1)), name(parameters + 3));
  Rows rows(answer, kThreeTexts);
  for (const wsdl::Discovery::Described& one : described) {
    rows.object(one.kind, rows.copy(one.texts.name.ns), rows.copy(one.texts.name.local));
    if (!one.documentation.empty()) rows.property("Documentation", rows.copy(one.documentation));
    if (!one.texts.schema.empty()) rows.property("Schema", rows.copy(one.texts.schema));
    rows.property("XML", rows.copy(one.texts.xml));
    rows.property("XPath", rows.copy(one.texts.xpath));
  }
}

void WebServiceClient::getVersion(const QvwlpValue* /*parameters*/, QvjniAnswer& answer) {
  if (!answer.addString(kVersion.data(), static_cast<std::int32_t>(kVersion.size()))) throw std::bad_alloc();
}

wsdl::Discovery& WebServiceClient::discovery(const QvwlpValue& handle) {
  const auto found = discoveries_.find(handle.data.integer);
  if (found == discoveries_.end()) {
    throw Error(ErrorCode::UnknownHandle, "There is no discovery " + std::to_string(handle.data.integer) + "; it was released, or never made");
  }
  return *found->second;
}

void WebServiceClient::report(wsdl::Discovery& discovery) {
  for (const std::string& remark : discovery.takeRemarks()) host_.log(1, remark.c_str());
  for (const std::string& warning : discovery.takeWarnings()) host_.log(2, warning.c_str());
}

}  // namespace qvx
