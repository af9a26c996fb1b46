// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_SRC_WSSERVICE_H
#define QVWS_SRC_WSSERVICE_H

#include "answer.h"
#include "object_map.h"
#include "wsendpt.h"

#include <qvb/string.h>
#include <qvlog/qvlog.h>
#include <qvws/WebServiceService.h>

#include <stdint.h>

class WebServiceDiscoveryImpl;
class WebServiceInterfaceImpl;

class WebServiceServiceImpl final : public WebServiceService {
 public:
  WebServiceServiceImpl(WebServiceDiscoveryImpl& discovery, const QName& name);
  WebServiceServiceImpl(const WebServiceServiceImpl&) = delete;
  WebServiceServiceImpl& operator=(const WebServiceServiceImpl&) = delete;
  ~WebServiceServiceImpl() override { endpoints_.clear(); }

  QvbString getDocumentation() override { return documentation_; }
  WebServiceEndpoint* getEndpoint(const QvbString& name) override { return endpoints_.find(name); }
  WebServiceEndpoint* getEndpointAt(int32_t index, QvbString* err) override { return endpoints_.at(index, err); }
  int32_t getEndpointCount() override { return endpoints_.count(); }
  QName getQName() override { return name_; }
  WebServiceInterface* getInterface() override;

  /// Asks the proxy for the service's properties and endpoints; interfaces and bindings are known by then. False with the message in `err`.
  bool discoverService(QvbString& err);

 private:
  bool readOwnProperties(QvwlpRowSet* rows, QvbString& err);
  bool readEndpoint(ObjectStream& stream, QvbString& err);

  WebServiceDiscoveryImpl& discovery_;
  QvlogLogger& logger_;
  QName name_;
  QvbString documentation_;
  ObjectMap<WebServiceEndpointImpl> endpoints_;
  WebServiceInterfaceImpl* interface_ = nullptr;  // the discovery's
};

#endif
