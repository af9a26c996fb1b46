// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_SRC_WSCLIENT_H
#define QVWS_SRC_WSCLIENT_H

#include "object_map.h"
#include "proxy_call.h"
#include "wsvalue.h"

#include <qvb/datavar.h>
#include <qvb/string.h>
#include <qvjni/qvjni.h>
#include <qvlog/qvlog.h>
#include <qvws/WebServiceClient.h>

#include <stdint.h>

#include <map>
#include <memory>
#include <vector>

/// Open to heirs: what it asks of itself goes through the virtual operations, so that what an heir answers counts.
class WebServiceClientImpl : public WebServiceClient {
 public:
  /// Disconnected: the first operation that needs the proxy makes it.
  WebServiceClientImpl();
  WebServiceClientImpl(const WebServiceClientImpl&) = delete;
  WebServiceClientImpl& operator=(const WebServiceClientImpl&) = delete;

  bool AddRequestValue(const QvbString& name, const QvbString& value, QvbString& err) override;
  bool SetInputParmValue(const QvbString& name, WebServiceParmValue* value, QvbString& err) override;
  bool SetOutputParmValue(const QvbString& name, WebServiceParmValue* value, QvbString& err) override;
  WebServiceDiscovery* Discover(QvbString& err) override;
  QvbStringCursor* DiscoverURI(const QvbString& uri, QvbString& err) override;
  bool GetRequestValue(const QvbString& name, QvbString& value) override;
  int32_t GetRequestValueCount() override;
  bool GetRequestValueAt(const QvbString& name, int32_t index, QvbString& value) override;
  bool GetOption(const QvbString& name, QvbString& value) override;
  bool GetResponseValue(const QvbString& name, QvbString& value) override;
  int32_t GetResponseValueCount() override;
  bool GetResponseValueAt(const QvbString& name, int32_t index, QvbString& value) override;
  bool GetResponseValueByIndex(int32_t nameIndex, int32_t valueIndex, QvbString* name, QvbString& value) override;
  bool Invoke(WebServiceInvokeCallback* callback, QvbString& err) override;
  void Release() override { delete this; }
  bool Reset(QvbString& err) override;
  bool SetRequestValue(const QvbString& name, const QvbString& value, QvbString& err) override;
  bool AddNamespace(const QvbString& prefix, const QvbString& uri, QvbString& err) override;
  bool SetOption(const QvbString& name, const QvbString& value, QvbString& err) override;

  /// The proxy, made and told the options and namespaces unless that has been done. Sets `err` to null first.
  /// @param[in] wsdlMode  whether the configuration file is announced to the discovery side
  /// @return null on failure, with the message in `err`; the next call tries anew
  QvjniProxy* Connect(bool wsdlMode, QvbString& err);
  [[nodiscard]] QvlogLogger& getLogger() const { return *logger_; }
  /// Turns a call's failure into a message: 1725 with the proxy's own code and text, or 1726 with the status.
  static void ReportProxyError(const char* method, int32_t status, QvwlpResponse* response, QvbString& err);

 protected:
  ~WebServiceClientImpl() override;

 private:
  using ValueLists = IndexedMap<std::vector<QvbString>>;
  using Bindings = IndexedMap<std::unique_ptr<ParmBinding>>;
  struct OptionRecord;
  struct LogRecord;
  struct Credentials;

  static int32_t optionCallback(QvjniOptionCallback* head, const char* key, void* reserved, const char** text, int32_t* length);
  static void logCallback(QvjniLogCallback* head, int32_t level, const char* text);
  QvbString answerOption(OptionRecord& record, const char* key);
  bool fillOptionBuffer(const QvbString& answer);

  bool sendNamespaces(QvjniProxy* proxy, QvbString& err);
  bool sendOptions(QvjniProxy* proxy, bool wsdlMode, QvbString& err);
  bool addOptionRows(ProxyCall& call);
  [[nodiscard]] QvbString optionOrConfigured(const char* option, const char* key);
  [[nodiscard]] int32_t requestTimeout();
  bool credentialsFromSubject(Credentials& credentials, QvbString& err);
  void credentialsFromOptions(Credentials& credentials);
  bool findOption(const char* name, QvbString& text);

  bool sendParameters(QvjniProxy* proxy, QvbString& err);
  bool addRequestValues(ProxyCall& call);
  bool storeOutputs(QvwlpRowSet* rowSet, QvbString& err);
  bool storeResponseValues(QvwlpRowSet* rowSet, QvbString& err);

  static void appendValue(ValueLists& lists, const QvbString& name, QvbString value);
  static bool firstValue(ValueLists& lists, const QvbString& name, QvbString& value);
  static bool valueAt(ValueLists& lists, const QvbString& name, int32_t index, QvbString& value);
  static bool bind(Bindings& bindings, const QvbString& name, WebServiceParmValue* value, int32_t direction, QvbString& err);
  static void unbindAll(Bindings& bindings);

  std::map<QvbString, QvbString, KeyOrder> namespaces_;  // namespace by prefix
  ValueLists requestValues_;                             // values by name
  std::map<QvbString, QvbDatavar, KeyOrder> options_;    // value by option name
  Bindings inputValues_;                                 // bound values by parameter name
  Bindings outputValues_;                                // likewise
  ValueLists responseValues_;                            // values by name
  char* optionBuffer_ = nullptr;                         // malloc'ed; what the proxy's last question was answered with
  int32_t optionBufferSize_ = 0;                         // bytes
  ProxyHandle proxy_;                                    // null while disconnected
  QvlogLogger* logger_;                                  // borrowed
};

#endif
