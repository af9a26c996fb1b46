// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_WEBSERVICEPARMVALUE_H
#define QVWS_WEBSERVICEPARMVALUE_H

#include <qvb/string.h>

#include <stdint.h>

/// The kind of a parameter value.
enum class WSPStyle : int32_t {
  File = 0,   ///< a file: property "wsps.file.path"
  String = 1  ///< a text: property "wsps.string.value"
};

static_assert(sizeof(WSPStyle) == 4, "hosts pass a kind in 32 bits");

/// The source or sink of one parameter of an invocation. The order of the operations is part of the binary interface.
///
/// A text is in property "wsps.string.value"; a file's path is in property "wsps.file.path", and the file is sent from there or written there
/// without being held in memory. An input without its property, or with an empty one, is sent as an empty element. As XML (see setValueIsXml()) an
/// input for the payload is one well-formed element of the bound name, as plain text it is put into an element of that name. Outputs always come as
/// XML. An output file is complete or is not written.
///
/// Nothing here waits.
///
/// @par Ownership  The host's, who ends it with release(), until it is bound to a client; the client's from then on.
/// @par Threads    One thread at a time.
class WebServiceParmValue {
 public:
  /// Slot 1. Removes a property; nothing happens when it is absent.
  virtual void removeProperty(const QvbString& name) = 0;
  /// Slot 2. The kind it was made with.
  virtual WSPStyle getStyle() = 0;
  /// Slot 3. 0 = not bound, 1 = bound as input, 2 = bound as output.
  virtual int32_t getDirection() = 0;
  /// Slot 4. Reads a property: "wsps.file.path" is the path of a file value, "wsps.string.value" the text of a string value, which an invocation
  /// stores into a bound output. An output that the answer does not mention keeps what it had.
  /// @param[out] value  a copy of the text; null when the property is absent
  /// @return whether the property is there
  virtual bool getProperty(const QvbString& name, QvbString& value) = 0;
  /// Slot 5. Ends the value; the pointer is dead afterwards.
  virtual void release() = 0;
  /// Slot 6. Stores a property, replacing an earlier text.
  /// @param[out] err  set to null
  /// @return true
  virtual bool setProperty(const QvbString& name, const QvbString& value, QvbString& err) = 0;
  /// Slot 7. Whether the text of an input is XML that becomes part of the message, rather than plain text. The default is the product
  /// configuration's "WEBSERVICE/VALUE_IS_XML", else true.
  virtual void setValueIsXml(bool isXml) = 0;

 protected:
  /// Slot 8.
  virtual ~WebServiceParmValue() = default;
};

#endif
