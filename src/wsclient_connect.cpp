// SPDX-License-Identifier: Apache-2.0
#include "names.h"
#include "report.h"
#include "wsclient.h"

#include <qvb/config.h>
#include <qvb/subject.h>

#include <stdlib.h>
#include <string.h>

#include <new>
#include <utility>

namespace {

/// The names of one authentication domain's options.
struct DomainKeys {
  const char* domain;
  const char* user;
  const char* pass;
  const char* noCredentials;
};

constexpr DomainKeys kSecurity = {names::kSecurityDomain, names::kSecurityUser, names::kSecurityPass,
                                  "No credentials associated with the WS-Security domain '%s'."};
constexpr DomainKeys kProxy = {names::kProxyDomain, names::kProxyUser, names::kProxyPass, "No credentials associated with the proxy domain '%s'."};
constexpr DomainKeys kClient = {names::kDomain, names::kUser, names::kPass, "No credentials associated with the client domain '%s'."};

bool isOneOf(const QvbString& name, std::initializer_list<const char*> list) {
  for (const char* entry : list) {
    if (name.compare(entry, false) == 0) return true;
  }
  return false;
}

bool configured(const char* key, QvbString& text) {
  const QvbConfigOptions* config = qvbGetConfigOptions(QvbString());
  if (config != nullptr && config->lookup(key, text, 0)) return true;
  text.setNull();
  return false;
}

/// The use of the security subject, as long as this lives.
class SubjectUse {
 public:
  SubjectUse() : subject_(qvbSubjectAccess()) {}
  SubjectUse(const SubjectUse&) = delete;
  SubjectUse& operator=(const SubjectUse&) = delete;
  ~SubjectUse() {
    if (subject_ != nullptr) qvbSubjectRelease();
  }
  explicit operator bool() const { return subject_ != nullptr; }

 private:
  QvbSubject* subject_;
};

}  // namespace

struct WebServiceClientImpl::OptionRecord {
  QvjniOptionCallback head;
  WebServiceClientImpl* client;
  // Nothing enables XQuery and nothing notes that it was answered, so the first question for the directory gets "ws" and later ones nothing. Kept so:
  // the proxy library asks once a proxy class, and this library hosts one.
  bool xqueryEnabled;
  bool xqueryAnswered;
  bool directoryAnswered;
};

struct WebServiceClientImpl::LogRecord {
  QvjniLogCallback head;
  WebServiceClientImpl* client;
  QvbString* errors;
};

struct WebServiceClientImpl::Credentials {
  const DomainKeys& keys;
  QvbString domain{};
  QvbString user{};
  QvbString password{};  // from the subject; one from the options travels with them
};

QvbString WebServiceClientImpl::answerOption(OptionRecord& record, const char* key) {
  if (strcmp(key, names::kAskDirectory) == 0) {
    if (!record.directoryAnswered) {
      record.directoryAnswered = true;
      return names::kDirectory;
    }
    if (record.xqueryEnabled && !record.xqueryAnswered) {
      record.directoryAnswered = true;
      return names::kXQueryDirectory;
    }
    return {};
  }
  if (strcmp(key, names::kAskHasGetVersion) == 0) return names::kProxyInterface;
  QvbString answer;
  if (!GetOption(key, answer)) configured(key, answer);
  return answer;
}

bool WebServiceClientImpl::fillOptionBuffer(const QvbString& answer) {
  const int32_t size = answer.cStrSize();
  // The second test is for the question after a failed growth: there is a size then, and no buffer.
  if (size > optionBufferSize_ || optionBuffer_ == nullptr) {
    auto* grown = static_cast<char*>(realloc(optionBuffer_, static_cast<size_t>(size)));
    if (grown == nullptr) {
      // The size stays as it is on purpose: nothing may be concluded from it while there is no buffer, and the test above does not.
      free(optionBuffer_);
      optionBuffer_ = nullptr;
      logger_->logMessage(qvlogError, __FILE__, __LINE__, kMsgBufferNotGrown, "(Callback option)");
      return false;
    }
    optionBuffer_ = grown;
    optionBufferSize_ = size;
  }
  memcpy(optionBuffer_, answer.asCstr(), static_cast<size_t>(size));
  return true;
}

int32_t WebServiceClientImpl::optionCallback(QvjniOptionCallback* head, const char* key, void* /*reserved*/, const char** text, int32_t* length) {
  auto& record = *reinterpret_cast<OptionRecord*>(head);
  try {
    const QvbString answer = record.client->answerOption(record, key);
    if (answer.length() == 0) return qvjniNoAnswer;
    if (!record.client->fillOptionBuffer(answer)) return qvjniAnswerNoMemory;
    *text = record.client->optionBuffer_;
    *length = answer.length();
    return qvjniAnswered;
  } catch (const std::bad_alloc&) {
    record.client->logger_->logMessage(qvlogError, __FILE__, __LINE__, kMsgBufferNotGrown, "(Callback option)");
    return qvjniAnswerNoMemory;
  } catch (...) {  // an heir's mistake, which may not cross the proxy library
    record.client->logger_->log(qvlogError, __FILE__, __LINE__, "Reading an option threw an exception: it counts as not set.");
    return qvjniNoAnswer;
  }
}

void WebServiceClientImpl::logCallback(QvjniLogCallback* head, int32_t level, const char* text) {
  auto& record = *reinterpret_cast<LogRecord*>(head);
  QvlogLogger& logger = *record.client->logger_;
  if (level == 0 || level == 1) {
    logger.log(level == 0 ? qvlogReport : qvlogInfo, __FILE__, __LINE__, text);
    return;
  }
  try {
    if (record.errors->length() > 0) record.errors->append("\r\n");
    record.errors->append(text);
  } catch (const std::bad_alloc&) {
    // It still reaches the log, and no exception may cross the proxy library.
  }
  logger.log(qvlogError, __FILE__, __LINE__, text);
}

QvjniProxy* WebServiceClientImpl::Connect(bool wsdlMode, QvbString& err) {
  err.setNull();
  // Configure first, then call: what was set after the first connection is not sent again.
  if (proxy_ != nullptr) return proxy_.get();

  OptionRecord option{{optionCallback}, this, false, false, false};
  LogRecord log{{logCallback}, this, &err};
  // The proxy becomes the client's when it has been told everything; until then a way out of here ends it.
  ProxyHandle proxy = createProxy(option.head, log.head);
  if (proxy == nullptr || !sendNamespaces(proxy.get(), err) || !sendOptions(proxy.get(), wsdlMode, err)) return nullptr;
  proxy_ = std::move(proxy);
  return proxy_.get();
}

bool WebServiceClientImpl::sendNamespaces(QvjniProxy* proxy, QvbString& err) {
  if (namespaces_.empty()) return true;
  ProxyCall call(proxy, names::kSetNamespaces, err);
  if (!call.addRows(types::kTextText)) return false;
  for (const auto& [prefix, uri] : namespaces_) {
    if (!call.addRow({cell::textUnlessEmpty(prefix), cell::text(uri)})) return false;
  }
  return call.send(types::kNone);
}

bool WebServiceClientImpl::findOption(const char* name, QvbString& text) {
  const auto option = options_.find(name);
  if (option == options_.end()) return false;
  text = option->second.asString();
  return true;
}

QvbString WebServiceClientImpl::optionOrConfigured(const char* option, const char* key) {
  QvbString text;
  if (!findOption(option, text) && !configured(option, text)) configured(key, text);
  return text;
}

int32_t WebServiceClientImpl::requestTimeout() {
  const QvbString text = optionOrConfigured(names::kRequestTimeout, names::kRequestTimeoutKey);
  if (text.isNull()) return -1;
  QvbDatavar value;
  value.assign(text);
  bool converted = false;
  const int32_t timeout = value.asInteger(&converted);
  if (converted) return timeout;
  logLine(*logger_, qvlogWarning, Here(), "The request time-out '%s' is not a whole number: requests keep the proxy's own time-out.", text.asCstr());
  return -1;
}

bool WebServiceClientImpl::credentialsFromSubject(Credentials& credentials, QvbString& err) {
  QvbString ignored;
  if (findOption(credentials.keys.user, ignored) || !findOption(credentials.keys.domain, credentials.domain)) return true;
  QvbString further;  // says why there are none; the log's own line is enough
  if (!qvbSubjectCredentials(credentials.domain, credentials.user, credentials.password, &further)) {
    logLine(*logger_, qvlogReport, Here(), credentials.keys.noCredentials, credentials.domain.asCstr());
  }
  if (!qvbSubjectDecodePW(credentials.password, credentials.password, &err)) return false;
  credentials.domain.setNull();  // it named the credentials; what goes on is the user and the password found under it
  return true;
}

void WebServiceClientImpl::credentialsFromOptions(Credentials& credentials) {
  QvbString& domain = credentials.domain;
  QvbString& user = credentials.user;
  if (user.length() == 0) {
    if (!findOption(credentials.keys.user, user)) return;
    findOption(credentials.keys.domain, domain);
  }
  if (user.length() == 0 || domain.length() > 0) return;
  const int32_t at = user.find("@");
  if (at >= 0) {
    domain = user.mid(at + 1);
    user = user.mid(0, at);
    return;
  }
  const int32_t backslash = user.find("\\");
  if (backslash >= 0) {
    domain = user.mid(0, backslash);
    user = user.mid(backslash + 1);
  }
}

bool WebServiceClientImpl::addOptionRows(ProxyCall& call) {
  for (const auto& [name, value] : options_) {
    // Who it is goes out once resolved, below the options.
    if (isOneOf(name, {names::kDomain, names::kUser, names::kProxyDomain, names::kProxyUser, names::kSecurityDomain, names::kSecurityUser})) continue;
    const QvbString* text = &call.keep(value.asString());
    if (text->length() > 0 && isOneOf(name, {names::kPass, names::kProxyPass, names::kSecurityPass})) text = &call.keep(qvbDecryptString(*text));
    if (!call.addRow({cell::text(name), cell::text(*text)})) return false;
  }
  return true;
}

bool WebServiceClientImpl::sendOptions(QvjniProxy* proxy, bool wsdlMode, QvbString& err) {
  const QvbString configFile = optionOrConfigured(names::kConfig, names::kConfigFileKey);
  const int32_t timeout = requestTimeout();

  Credentials security{kSecurity};
  Credentials proxyServer{kProxy};
  Credentials client{kClient};
  const SubjectUse subject;
  if (subject) {
    for (Credentials* credentials : {&security, &proxyServer, &client}) {
      if (!credentialsFromSubject(*credentials, err)) return false;
    }
  }
  for (Credentials* credentials : {&client, &proxyServer, &security}) credentialsFromOptions(*credentials);

  ProxyCall call(proxy, names::kSetOptions, err);
  if (!call.addRows(types::kTextText) || !addOptionRows(call)) return false;
  // An option's password and the subject's may both go: which one counts is the proxy's affair.
  for (const Credentials* credentials : {&security, &proxyServer, &client}) {
    if (credentials->user.length() == 0) continue;
    const DomainKeys& keys = credentials->keys;
    if (credentials->domain.length() > 0 && !call.addRow({cell::text(keys.domain), cell::text(credentials->domain)})) return false;
    if (!call.addRow({cell::text(keys.user), cell::text(credentials->user)})) return false;
    if (credentials->password.length() > 0 && !call.addRow({cell::text(keys.pass), cell::text(credentials->password)})) return false;
  }
  // One file serves both sides, which know it by different names.
  const char* configName = wsdlMode ? names::kWsdlConfig : names::kConfig;
  if (configFile.length() > 0 && !call.addRow({cell::text(configName), cell::text(configFile)})) return false;
  QvbString timeoutText;
  if (timeout >= 0) {
    timeoutText.assign(timeout);
    if (!call.addRow({cell::text(names::kHttpRequestTimeout), cell::text(timeoutText)})) return false;
  }
  return call.send(types::kNone);
}
