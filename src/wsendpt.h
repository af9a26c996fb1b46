// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_SRC_WSENDPT_H
#define QVWS_SRC_WSENDPT_H

#include "answer.h"

#include <qvb/string.h>
#include <qvlog/qvlog.h>
#include <qvws/WebServiceEndpoint.h>

class WebServiceBindingImpl;
class WebServiceDiscoveryImpl;
class WebServiceServiceImpl;

class WebServiceEndpointImpl final : public WebServiceEndpoint {
 public:
  WebServiceEndpointImpl(WebServiceDiscoveryImpl& discovery, WebServiceServiceImpl& service, QvbString name);
  WebServiceEndpointImpl(const WebServiceEndpointImpl&) = delete;
  WebServiceEndpointImpl& operator=(const WebServiceEndpointImpl&) = delete;
  ~WebServiceEndpointImpl() override = default;

  WebServiceBinding* getBinding() override;
  QvbString getDocumentation() override { return documentation_; }
  QvbString getName() override { return name_; }
  WebServiceService* getService() override;

  /// Reads the endpoint's own rows. False with the message in `err`.
  bool readProperties(ObjectStream& stream, QvbString& err);

 private:
  WebServiceDiscoveryImpl& discovery_;
  WebServiceServiceImpl& service_;
  WebServiceBindingImpl* binding_ = nullptr;  // the discovery's, which ends it before the endpoint
  QvlogLogger& logger_;
  QvbString name_;
  QvbString documentation_;
};

#endif
