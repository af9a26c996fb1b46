// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_SRC_WSPARM_H
#define QVWS_SRC_WSPARM_H

#include "answer.h"

#include <qvb/string.h>
#include <qvlog/qvlog.h>
#include <qvws/WebServiceParameter.h>

class WSBindingOperation;
class WebServiceDiscoveryImpl;

class WebServiceParameterImpl final : public WebServiceParameter {
 public:
  WebServiceParameterImpl(WebServiceDiscoveryImpl& discovery, WSBindingOperation& operation, const QName& name);
  WebServiceParameterImpl(const WebServiceParameterImpl&) = delete;
  WebServiceParameterImpl& operator=(const WebServiceParameterImpl&) = delete;
  ~WebServiceParameterImpl() override = default;

  QvbString getDocumentation() override { return documentation_; }
  QName getQName() override { return name_; }
  QvbString getSchema() override { return schema_; }
  QvbString getXML() override { return xml_; }

  /// Reads the parameter's own rows. False with the message in `err`.
  bool readProperties(ObjectStream& stream, QvbString& err);

 private:
  friend struct ParameterTestAccess;

  [[maybe_unused]] WebServiceDiscoveryImpl& discovery_;
  [[maybe_unused]] WSBindingOperation& operation_;  // which owns it
  QvlogLogger& logger_;
  QName name_;
  QvbString documentation_;
  QvbString schema_;
  QvbString xml_;
  QvbString xpath_;  // kept for who looks at a dump; no operation hands it out
};

#endif
