// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_SRC_WSVALUE_H
#define QVWS_SRC_WSVALUE_H

#include "object_map.h"

#include <qvb/string.h>
#include <qvws/WebServiceParmValue.h>

#include <stdint.h>

#include <map>
#include <memory>

class RequestRows;
struct ParmBinding;

/// Open to heirs: clients end a value through its release operation alone.
class WebServiceParmValueImpl : public WebServiceParmValue {
 public:
  enum Direction : int32_t { kNotBound = 0, kBoundInput = 1, kBoundOutput = 2 };

  WebServiceParmValueImpl() = default;
  WebServiceParmValueImpl(const WebServiceParmValueImpl&) = delete;
  WebServiceParmValueImpl& operator=(const WebServiceParmValueImpl&) = delete;

  void removeProperty(const QvbString& name) override;
  WSPStyle getStyle() override { return style_; }
  int32_t getDirection() override { return direction_; }
  bool getProperty(const QvbString& name, QvbString& value) override;
  void release() override { delete this; }
  bool setProperty(const QvbString& name, const QvbString& value, QvbString& err) override;
  void setValueIsXml(bool isXml) override { valueIsXml_ = isXml; }

  void setStyle(WSPStyle style) { style_ = style; }
  void setDirection(int32_t direction) { direction_ = direction; }
  /// Appends the two or three rows that describe the value to the proxy. They borrow texts of the value and of the binding.
  /// False with 247 or 768; rows already added stay.
  bool writeRows(RequestRows& rows, const ParmBinding& binding, QvbString& err);

 protected:
  ~WebServiceParmValueImpl() override = default;

 private:
  WSPStyle style_ = WSPStyle::String;
  int32_t direction_ = kNotBound;
  bool valueIsXml_ = true;
  std::map<QvbString, QvbString, KeyOrder> properties_{KeyOrder{true}};
};

/// Ends an object through the release operation that hosts use.
struct Releaser {
  template <class Object>
  void operator()(Object* object) const {
    object->release();
  }
};

/// A parameter value bound to a parameter's name. The value ends before the name.
struct ParmBinding {
  QvbString name;
  std::unique_ptr<WebServiceParmValue, Releaser> value;
};

#endif
