// SPDX-License-Identifier: Apache-2.0
#include "wsdisc.h"

#include "names.h"
#include "proxy_call.h"
#include "report.h"
#include "wsbinding.h"
#include "wsclient.h"
#include "wsiface.h"
#include "wsservice.h"

#include <exception>
#include <memory>
#include <new>
#include <utility>

WebServiceDiscovery* WebServiceClientImpl::Discover(QvbString& err) {
  QvjniProxy* proxy = Connect(true, err);
  if (proxy == nullptr) return nullptr;
  ProxyCall call(proxy, names::kDiscover, err);
  Answer answer;
  if (!call.send(types::kIntegerRowsRows) || !answer.read(call, err)) return nullptr;
  std::unique_ptr<WebServiceDiscoveryImpl, Releaser> discovery(new (std::nothrow) WebServiceDiscoveryImpl);
  if (discovery == nullptr) {
    setMessage(err, kMsgOutOfMemory);
    return nullptr;
  }
  return discovery->parse(*this, answer, err) ? discovery.release() : nullptr;
}

WebServiceDiscoveryImpl::WebServiceDiscoveryImpl() = default;

WebServiceDiscoveryImpl::~WebServiceDiscoveryImpl() {
  bindings_.clear();
  interfaces_.clear();
  services_.clear();
  if (handle_ != 0) tellProxyOfRelease();
}

// That the proxy could not be told is nothing a host could do anything about: it is not reported, and must not leave a destructor.
void WebServiceDiscoveryImpl::tellProxyOfRelease() try {
  QvbString ignored;
  QvjniProxy* proxy = getProxy(ignored);
  if (proxy == nullptr) return;
  ProxyCall call(proxy, names::kDiscoverRelease, ignored);
  call.addInteger(handle_);
  call.send(types::kNone);
} catch (const std::bad_alloc&) {
  return;
}

QvjniProxy* WebServiceDiscoveryImpl::getProxy(QvbString& err) {
  return client_->Connect(true, err);
}
QvlogLogger& WebServiceDiscoveryImpl::getLogger() const {
  return client_->getLogger();
}

// Of the three lookups by name only this one has a message, and only for who asks for it.
WebServiceBindingImpl* WebServiceDiscoveryImpl::findBinding(const QName& name, QvbString* err) {
  WebServiceBindingImpl* binding = bindings_.find(name.toText());
  if (binding == nullptr && err != nullptr) setMessage(*err, kMsgNoSuchBinding, name.getLocalName().asCstr());
  return binding;
}

WebServiceBinding* WebServiceDiscoveryImpl::getBinding(const QName& name, QvbString* err) {
  return findBinding(name, err);
}
WebServiceBinding* WebServiceDiscoveryImpl::getBindingAt(int32_t index, QvbString* err) {
  return bindings_.at(index, err);
}
int32_t WebServiceDiscoveryImpl::getBindingCount() {
  return bindings_.count();
}
WebServiceInterface* WebServiceDiscoveryImpl::getInterface(const QName& name) {
  return findInterface(name);
}
WebServiceInterface* WebServiceDiscoveryImpl::getInterfaceAt(int32_t index, QvbString* err) {
  return interfaces_.at(index, err);
}
int32_t WebServiceDiscoveryImpl::getInterfaceCount() {
  return interfaces_.count();
}
WebServiceService* WebServiceDiscoveryImpl::getService(const QName& name) {
  return services_.find(name.toText());
}
WebServiceService* WebServiceDiscoveryImpl::getServiceAt(int32_t index, QvbString* err) {
  return services_.at(index, err);
}
int32_t WebServiceDiscoveryImpl::getServiceCount() {
  return services_.count();
}

bool WebServiceDiscoveryImpl::parse(WebServiceClientImpl& client, const Answer& answer, QvbString& err) {
  client_ = &client;
  client.GetOption(names::kAddress, wsdlLocation_);  // null when it is not set, which the proxy has judged
  err.setNull();
  // The three parameters are read without a look at their number: one that is not there reads as absent.
  handle_ = answer.integer(0);
  if (QvwlpRowSet* properties = answer.rows(1); properties != nullptr) {
    if (!readOwnProperties(properties, err)) return false;
    logReport();
  }
  QvwlpRowSet* objects = answer.rows(2);
  if (objects == nullptr) return true;
  if (!readObjects(objects, err)) return false;
  for (auto& entry : interfaces_) {
    if (!entry.second->discoverInterface(err)) return false;
  }
  if (!discoverBindings(err)) return false;
  for (auto& entry : services_) {
    if (!entry.second->discoverService(err)) return false;
  }
  return true;
}

bool WebServiceDiscoveryImpl::readOwnProperties(QvwlpRowSet* rows, QvbString& err) {
  using Self = WebServiceDiscoveryImpl;
  static constexpr PropertyRule<Self> kRules[] = {
      {names::kDocumentation, [](Self& self) -> QvbString& { return self.documentation_; }, nullptr},
      {names::kQNameName, nullptr, [](Self& self, const QvbString& value, QvbString&) { return self.name_.setLocalName(value), Taken::Yes; }},
      {names::kQNameNamespace, nullptr, [](Self& self, const QvbString& value, QvbString&) { return self.name_.setNamespace(value), Taken::Yes; }},
      {names::kTargetNamespace, [](Self& self) -> QvbString& { return self.targetNamespace_; }, nullptr},
      {names::kVersion, nullptr,
       [](Self& self, const QvbString& value, QvbString&) {
         if (value.isNull()) return Taken::Unrecognised;  // a version that says nothing is worth a line in the log
         self.version_ = value;
         return Taken::Yes;
       }},
  };
  return readPropertyList(rows, PropertyReader<Self>{kRules, *this, getLogger()}, err);
}

void WebServiceDiscoveryImpl::logReport() {
  QvlogLogger& logger = getLogger();
  if (logger.getLevel() > qvlogReport) return;
  logLine(logger, qvlogReport, Here(), "WSDL: %s", wsdlLocation_.asCstr());
  if (!name_.getNamespace().isNull() || !name_.getLocalName().isNull()) {
    logLine(logger, qvlogReport, Here(), "   Name: %s", name_.toText().asCstr());
  }
  if (documentation_.length() > 0) logLine(logger, qvlogReport, Here(), "   Documentation: %s", documentation_.asCstr());
  logLine(logger, qvlogReport, Here(), "   Version: %s", version_.asCstr());
}

// Objects are pairs of rows: kind and namespace, then the local name. A kind that is not there is the previous pair's, and an odd last row is no
// pair.
bool WebServiceDiscoveryImpl::readObjects(QvwlpRowSet* rowSet, QvbString& err) {
  AnswerRows rows(rowSet);
  QvbString type;
  bool typeSeen = false;
  for (int32_t pair = 0; pair < rows.count() / 2; ++pair) {
    if (!rows.fetch(err)) return false;
    if (rows.row().has(1)) {
      type = rows.row().text(1);
      typeSeen = true;
    }
    const QvbString uri = rows.row().text(3);
    if (!rows.fetch(err)) return false;
    const QName name(uri, rows.row().text(3));
    if (type.compare(names::kBinding, false) == 0) {
      if (bindings_.add(name.toText(), names::kBinding, err, *this, name) == nullptr) return false;
    } else if (type.compare(names::kInterface, false) == 0) {
      if (interfaces_.add(name.toText(), names::kInterface, err, *this, name) == nullptr) return false;
    } else if (type.compare(names::kService, false) == 0) {
      if (services_.add(name.toText(), names::kService, err, *this, name) == nullptr) return false;
    } else if (typeSeen) {  // one line for a run of pairs that share a kind
      logLine(getLogger(), qvlogReport, Here(), "Object type '%s' is unsupported.", type.asCstr());
      typeSeen = false;
    }
  }
  return true;
}

// A binding that cannot be used is left out as long as another one can: the host has no use for the reason then.
bool WebServiceDiscoveryImpl::discoverBindings(QvbString& err) {
  QvbString saved;
  for (auto entry = bindings_.begin(); entry != bindings_.end();) {
    if (entry->second->discoverBinding(err)) {
      ++entry;
      continue;
    }
    if (saved.length() > 0) logLine(getLogger(), qvlogWarning, Here(), "%s", saved.asCstr());
    saved = err;
    const QName name = entry->second->getQName();
    entry = bindings_.erase(entry);
    for (auto& other : interfaces_) other.second->removeBinding(name);
  }
  if (!bindings_.empty()) {
    err.setNull();
    return true;
  }
  return err.length() == 0;
}
