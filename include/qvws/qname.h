// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_QNAME_H
#define QVWS_QNAME_H

#include <qvb/string.h>

/// The qualified name of a WSDL object: a namespace and a local name, either of which may be null.
///
/// Its text form is the key of every container of discovered objects.
///
/// @par Threads  As QvbString.
class QName {
 public:
  /// A name whose parts are both null.
  QName() = default;
  // NOLINTNEXTLINE(modernize-pass-by-value): std::move would draw a standard header in, and hosts get none from here
  QName(const QvbString& uri, const QvbString& localName) : namespace_(uri), localName_(localName) {}
  QName(const QName&) = default;
  QName& operator=(const QName&) = default;
  /// Slot 1.
  virtual ~QName() = default;

  [[nodiscard]] const QvbString& getNamespace() const { return namespace_; }
  [[nodiscard]] const QvbString& getLocalName() const { return localName_; }
  void setNamespace(const QvbString& uri) { namespace_ = uri; }
  void setLocalName(const QvbString& localName) { localName_ = localName; }

  /// The text form: "{" namespace "}" local name, the bare local name, which may be null, when the namespace is null or empty.
  [[nodiscard]] QvbString toText() const {
    if (namespace_.length() == 0) return localName_;
    QvbString text("{");
    return text.append(namespace_).append("}").append(localName_);
  }

 private:
  QvbString namespace_;
  QvbString localName_;
};

static_assert(sizeof(QName) == sizeof(void*) + 2 * sizeof(QvbString), "a virtual destructor, the namespace, the local name");

#endif
