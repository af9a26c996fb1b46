// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_SRC_WSIFACE_H
#define QVWS_SRC_WSIFACE_H

#include "answer.h"
#include "object_map.h"
#include "wsoper.h"

#include <qvb/string.h>
#include <qvlog/qvlog.h>
#include <qvws/WebServiceInterface.h>

#include <stdint.h>

class WebServiceDiscoveryImpl;

class WebServiceInterfaceImpl final : public WebServiceInterface {
 public:
  WebServiceInterfaceImpl(WebServiceDiscoveryImpl& discovery, const QName& name);
  WebServiceInterfaceImpl(const WebServiceInterfaceImpl&) = delete;
  WebServiceInterfaceImpl& operator=(const WebServiceInterfaceImpl&) = delete;
  ~WebServiceInterfaceImpl() override;

  WebServiceBinding* getBinding(const QName& name) override { return bindings_.find(name.toText()); }
  WebServiceBinding* getBindingAt(int32_t index, QvbString& err) override { return bindings_.at(index, &err); }
  int32_t getBindingCount() override { return bindings_.count(); }
  QvbString getDocumentation() override { return documentation_; }
  QName getQName() override { return name_; }
  WebServiceOperation* getOperation(const QName& name) override { return findOperation(name); }
  WebServiceOperation* getOperationAt(int32_t index, QvbString& err) override { return operations_.at(index, &err); }
  int32_t getOperationCount() override { return operations_.count(); }

  /// Asks the proxy for the interface's properties and operations. False with the message in `err`.
  bool discoverInterface(QvbString& err);
  void removeBinding(const QName& name) { bindings_.removeKey(name.toText()); }
  WebServiceOperationImpl* findOperation(const QName& name) { return operations_.find(name.toText()); }

 private:
  bool readOwnProperties(QvwlpRowSet* rows, QvbString& err);
  bool readOperation(ObjectStream& stream, QvbString& err);

  WebServiceDiscoveryImpl& discovery_;
  QvlogLogger& logger_;
  QName name_;
  QvbString documentation_;
  // Bindings do not register with their interface, so this stays empty on purpose: the discovery is the one place that lists them.
  ObjectMap<WebServiceBinding, WebServiceBinding*> bindings_;
  ObjectMap<WebServiceOperationImpl> operations_;
};

#endif
