// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_MODULE_WEB_SERVICE_CLIENT_H
#define QVX_MODULE_WEB_SERVICE_CLIENT_H

#include "module/bound_values.h"
#include "module/invoker.h"
#include "module/options.h"
#include "wsdl/discovery.h"

#include <qvjni/module.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace qvx {

/// The class com.quillvex.proxy.ws.WebServiceClientJPC. docs/proxy-protocol.md lists its methods and their rows, docs/engine.md what this one makes of them.
class WebServiceClient final : public QvjniInstance {
 public:
  explicit WebServiceClient(QvjniHost& host) : host_(host) {}

  std::int32_t call(const char* method, const QvwlpValue* parameters, std::int32_t count, QvjniInvokeCallback* callback,
                    QvjniAnswer* answer) override;
  void release() override { delete this; }

 private:
  struct Method;
  static const Method kMethods[];

  void setNamespaces(const QvwlpValue* parameters, QvjniAnswer& answer);
  void setOptions(const QvwlpValue* parameters, QvjniAnswer& answer);
  void setParameters(const QvwlpValue* parameters, QvjniAnswer& answer);
  void invoke(const QvwlpValue* parameters, QvjniAnswer& answer);
  void reset(const QvwlpValue* parameters, QvjniAnswer& answer);
  void discoverUri(const QvwlpValue* parameters, QvjniAnswer& answer);
  void discover(const QvwlpValue* parameters, QvjniAnswer& answer);
  void discoverRelease(const QvwlpValue* parameters, QvjniAnswer& answer);
  void discoverService(const QvwlpValue* parameters, QvjniAnswer& answer);
  void discoverInterface(const QvwlpValue* parameters, QvjniAnswer& answer);
  void discoverBinding(const QvwlpValue* parameters, QvjniAnswer& answer);
  void discoverParameters(const QvwlpValue* parameters, QvjniAnswer& answer);
  void getVersion(const QvwlpValue* parameters, QvjniAnswer& answer);

  wsdl::Discovery& discovery(const QvwlpValue& handle);
  void report(wsdl::Discovery& discovery);

  QvjniHost& host_;
  std::vector<std::pair<std::string, std::string>> namespaces_;  ///< prefix and namespace
  Options options_;
  BoundValues values_;
  std::unique_ptr<Invoker> invoker_;         ///< made at the first call with these options
  QvjniInvokeCallback* callback_ = nullptr;  ///< of the method that runs
  std::map<std::int64_t, std::unique_ptr<wsdl::Discovery>> discoveries_;
  std::int64_t lastHandle_ = 0;
};

}  // namespace qvx

#endif
