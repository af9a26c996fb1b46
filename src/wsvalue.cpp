// SPDX-License-Identifier: Apache-2.0
#include "wsvalue.h"

#include "names.h"
#include "proxy_call.h"
#include "report.h"

#include <qvb/config.h>
#include <qvb/datavar.h>
#include <qvws/qvws.h>

#include <new>

extern "C" WebServiceParmValue* qvwsCreateWebServiceParmValue(WSPStyle style, QvbString* err) {
  std::unique_ptr<WebServiceParmValueImpl, Releaser> value(new (std::nothrow) WebServiceParmValueImpl);
  if (value == nullptr) {
    setMessage(*err, kMsgOutOfMemory);
    return nullptr;
  }
  value->setStyle(style);
  // A style that nobody can have is a mistake in the host's program: it is refused without a message.
  if (style != WSPStyle::File && style != WSPStyle::String) return nullptr;

  bool isXml = true;
  QvbString text;
  const QvbConfigOptions* config = qvbGetConfigOptions(QvbString());
  if (config != nullptr && config->lookup(names::kValueIsXmlKey, text, 0)) {
    QvbDatavar datavar;
    datavar.assign(text.trim(true, true));
    bool converted = false;
    const bool truth = datavar.asBool(&converted);
    isXml = truth || !converted;
  }
  value->setValueIsXml(isXml);
  return value.release();
}

void WebServiceParmValueImpl::removeProperty(const QvbString& name) {
  const auto property = properties_.find(name);
  if (property != properties_.end()) properties_.erase(property);
}

bool WebServiceParmValueImpl::getProperty(const QvbString& name, QvbString& value) {
  const auto property = properties_.find(name);
  if (property == properties_.end()) {
    value.setNull();
    return false;
  }
  value = property->second;
  return true;
}

bool WebServiceParmValueImpl::setProperty(const QvbString& name, const QvbString& value, QvbString& err) {
  err.setNull();
  properties_.insert_or_assign(name, value);
  return true;
}

bool WebServiceParmValueImpl::writeRows(RequestRows& rows, const ParmBinding& binding, QvbString& err) {
  const bool input = direction_ == kBoundInput;
  const QvwlpValue none = cell::absent(qvwlpString);
  // What comes back for an output is always XML to the proxy, whatever the host says of the value.
  const QvwlpValue isXml = cell::truth(valueIsXml_ || !input);

  const QvwlpValue direction = cell::text(input ? names::kInput : names::kOutput);
  if (!rows.add({none, cell::text(binding.name), cell::text(names::kItemDirection), direction, cell::absent(qvwlpBoolean)}, err)) return false;
  if (style_ != WSPStyle::File && style_ != WSPStyle::String) {
    setMessage(err, kMsgUnknownStyle);
    return false;
  }
  const bool file = style_ == WSPStyle::File;
  if (!rows.add({none, none, cell::text(names::kItemType), cell::text(file ? names::kTypeFile : names::kTypeString), isXml}, err)) return false;

  const auto property = properties_.find(file ? names::kFilePath : names::kStringValue);
  if (property == properties_.end() || property->second.length() == 0) return true;
  return rows.add({none, none, cell::text(file ? names::kItemPath : names::kItemValue), cell::text(property->second), isXml}, err);
}
