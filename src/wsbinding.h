// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_SRC_WSBINDING_H
#define QVWS_SRC_WSBINDING_H

#include "answer.h"
#include "object_map.h"
#include "wsparm.h"

#include <qvb/string.h>
#include <qvlog/qvlog.h>
#include <qvws/WebServiceBinding.h>
#include <qvws/WebServiceOperation.h>

#include <stdint.h>

#include <memory>
#include <vector>

class WSBindingOperation;
class WebServiceDiscoveryImpl;
class WebServiceInterfaceImpl;
class WebServiceOperationImpl;

class WebServiceBindingImpl final : public WebServiceBinding {
 public:
  WebServiceBindingImpl(WebServiceDiscoveryImpl& discovery, const QName& name);
  WebServiceBindingImpl(const WebServiceBindingImpl&) = delete;
  WebServiceBindingImpl& operator=(const WebServiceBindingImpl&) = delete;
  ~WebServiceBindingImpl() override;

  QvbString getDocumentation() override { return documentation_; }
  QName getQName() override { return name_; }
  WebServiceOperation* getOperation(const QName& name, QvbString* err) override;
  WebServiceOperation* getOperationAt(int32_t index, QvbString& err) override;
  int32_t getOperationCount() override;

  /// Asks the proxy for the binding's properties and operations; interfaces are known by then. False with the message in `err`.
  bool discoverBinding(QvbString& err);
  /// The interface it implements; null when its description names none.
  [[nodiscard]] WebServiceInterfaceImpl* interface() const { return interface_; }

 private:
  bool readOwnProperties(QvwlpRowSet* rows, QvbString& err);
  bool readOperation(ObjectStream& stream, QvbString& err);
  bool addOperation(const QName& name, ObjectStream& stream, QvbString& err);
  bool completeFromInterface(QvbString& err);

  WebServiceDiscoveryImpl& discovery_;
  QvlogLogger& logger_;
  QName name_;
  QvbString documentation_;
  WebServiceInterfaceImpl* interface_ = nullptr;  // the discovery's
  ObjectMap<WSBindingOperation> operations_;
};

/// An operation of a binding, linked to the interface's operation of its name. Its parameters are asked for when a host first wants one.
class WSBindingOperation final : public WebServiceOperation {
 public:
  WSBindingOperation(WebServiceDiscoveryImpl& discovery, WebServiceBindingImpl& binding, const QName& name);
  WSBindingOperation(const WSBindingOperation&) = delete;
  WSBindingOperation& operator=(const WSBindingOperation&) = delete;
  ~WSBindingOperation() override = default;

  QvbString getAction() override;
  QvbString getAddress() override;
  QvbString getDocumentation() override { return documentation_; }
  WebServiceParameter* getInputParameter(QvbString& err) override { return parameter(input_, err); }
  WebServiceInterface* getInterface() override;
  QName getQName() override { return name_; }
  WebServiceParameter* getOutputParameter(QvbString& err) override { return parameter(output_, err); }

  /// Links the operation to the interface's and reads its own rows. False with the message in `err`.
  bool readProperties(ObjectStream& stream, QvbString& err);

 private:
  /// A parameter, and whether a host has seen it: then it must outlive its successor.
  struct Slot {
    std::unique_ptr<WebServiceParameterImpl> parameter;
    bool handedOut = false;
  };

  WebServiceParameter* parameter(Slot& slot, QvbString& err);
  void discoverParameters(QvbString& err);
  bool readParameter(ObjectStream& stream, QvbString& err);
  void replace(Slot& slot, std::unique_ptr<WebServiceParameterImpl> parameter);

  WebServiceDiscoveryImpl& discovery_;
  WebServiceBindingImpl& binding_;
  QvlogLogger& logger_;
  QName name_;
  QvbString documentation_;
  WebServiceOperationImpl* interfaceOperation_ = nullptr;  // the interface's; null without an interface
  Slot input_;
  Slot output_;
  std::vector<std::unique_ptr<WebServiceParameterImpl>> replaced_;  // parameters that hosts may still hold
};

#endif
