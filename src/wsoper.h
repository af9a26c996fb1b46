// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_SRC_WSOPER_H
#define QVWS_SRC_WSOPER_H

#include "answer.h"

#include <qvb/string.h>
#include <qvlog/qvlog.h>
#include <qvws/WebServiceOperation.h>

class WebServiceDiscoveryImpl;
class WebServiceInterfaceImpl;

/// An operation of an interface. Its action and address come from the bindings' operations of its name, the last one of which decides.
class WebServiceOperationImpl final : public WebServiceOperation {
 public:
  WebServiceOperationImpl(WebServiceDiscoveryImpl& discovery, WebServiceInterfaceImpl& interface, const QName& name);
  WebServiceOperationImpl(const WebServiceOperationImpl&) = delete;
  WebServiceOperationImpl& operator=(const WebServiceOperationImpl&) = delete;
  ~WebServiceOperationImpl() override = default;

  QvbString getAction() override { return action_; }
  QvbString getAddress() override { return address_; }
  QvbString getDocumentation() override { return documentation_; }
  WebServiceParameter* getInputParameter(QvbString& err) override;
  WebServiceInterface* getInterface() override;
  QName getQName() override { return name_; }
  WebServiceParameter* getOutputParameter(QvbString& err) override;

  /// Reads the operation's own rows. False with the message in `err`.
  bool readProperties(ObjectStream& stream, QvbString& err);
  void setAction(const QvbString& action) { action_ = action; }
  void setAddress(const QvbString& address) { address_ = address; }

 private:
  [[maybe_unused]] WebServiceDiscoveryImpl& discovery_;
  WebServiceInterfaceImpl& interface_;
  QvlogLogger& logger_;
  QName name_;
  QvbString documentation_;
  QvbString action_;
  QvbString address_;
};

#endif
