// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_SRC_WSDISC_H
#define QVWS_SRC_WSDISC_H

#include "answer.h"
#include "object_map.h"
#include "proxy_call.h"

#include <qvb/string.h>
#include <qvjni/qvjni.h>
#include <qvlog/qvlog.h>
#include <qvws/WebServiceDiscovery.h>

#include <stdint.h>

#include <initializer_list>

class WebServiceBindingImpl;
class WebServiceClientImpl;
class WebServiceInterfaceImpl;
class WebServiceServiceImpl;

class WebServiceDiscoveryImpl final : public WebServiceDiscovery {
 public:
  WebServiceDiscoveryImpl();
  WebServiceDiscoveryImpl(const WebServiceDiscoveryImpl&) = delete;
  WebServiceDiscoveryImpl& operator=(const WebServiceDiscoveryImpl&) = delete;

  WebServiceBinding* getBinding(const QName& name, QvbString* err) override;
  WebServiceBinding* getBindingAt(int32_t index, QvbString* err) override;
  int32_t getBindingCount() override;
  QvbString getDocumentation() override { return documentation_; }
  WebServiceInterface* getInterface(const QName& name) override;
  WebServiceInterface* getInterfaceAt(int32_t index, QvbString* err) override;
  int32_t getInterfaceCount() override;
  WebServiceService* getService(const QName& name) override;
  WebServiceService* getServiceAt(int32_t index, QvbString* err) override;
  int32_t getServiceCount() override;
  QvbString getVersion() override { return version_; }
  void release() override { delete this; }

  /// Fills the discovery from the proxy's answer and asks for everything in it. False with the message in `err`.
  bool parse(WebServiceClientImpl& client, const Answer& answer, QvbString& err);

  // For the objects it owns.
  [[nodiscard]] QvjniProxy* getProxy(QvbString& err);
  [[nodiscard]] int64_t getHandle() const { return handle_; }
  [[nodiscard]] QvlogLogger& getLogger() const;
  WebServiceInterfaceImpl* findInterface(const QName& name) { return interfaces_.find(name.toText()); }
  WebServiceBindingImpl* findBinding(const QName& name, QvbString* err);

  /// Asks the proxy about something in this discovery: calls a method with the handle and the parts of the names, and lets `read` have the answer.
  /// False with the message in `err`.
  template <class Read>
  bool ask(const char* method, std::initializer_list<const QName*> names, const char* responseTypes, QvbString& err, Read read) {
    QvjniProxy* proxy = getProxy(err);
    if (proxy == nullptr) return false;
    ProxyCall call(proxy, method, err);
    call.addInteger(getHandle());
    for (const QName* name : names) {
      call.addText(name->getNamespace());
      call.addText(name->getLocalName());
    }
    Answer answer;
    return call.send(responseTypes) && answer.read(call, err) && read(answer);
  }

 private:
  friend struct DiscoveryTestAccess;

  ~WebServiceDiscoveryImpl() override;

  bool readOwnProperties(QvwlpRowSet* rows, QvbString& err);
  void logReport();
  bool readObjects(QvwlpRowSet* rows, QvbString& err);
  bool discoverBindings(QvbString& err);
  void tellProxyOfRelease();

  WebServiceClientImpl* client_ = nullptr;  // not owned
  int64_t handle_ = 0;                      // the proxy's name for this discovery; 0 = none
  QvbString wsdlLocation_;
  QName name_;
  QvbString version_;
  QvbString documentation_;
  QvbString targetNamespace_;
  ObjectMap<WebServiceBindingImpl> bindings_;
  ObjectMap<WebServiceInterfaceImpl> interfaces_;
  ObjectMap<WebServiceServiceImpl> services_;
};

#endif
