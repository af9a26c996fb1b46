// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_NAMES_H
#define QVX_NAMES_H

#include <compare>
#include <functional>
#include <string>
#include <string_view>

namespace qvx {

/// A qualified name that owns its parts. An empty namespace means none.
struct QualifiedName {
  std::string ns;
  std::string local;

  // NOLINTNEXTLINE(modernize-use-nullptr): seen in what the compiler makes of the defaulted operator
  friend auto operator<=>(const QualifiedName&, const QualifiedName&) = default;
  [[nodiscard]] bool empty() const noexcept { return local.empty(); }
  /// "{namespace}local", or the bare local name.
  [[nodiscard]] std::string text() const { return ns.empty() ? local : "{" + ns + "}" + local; }
};

struct QualifiedNameHash {
  std::size_t operator()(const QualifiedName& name) const noexcept {
    const std::hash<std::string_view> hash;
    return hash(name.local) * 31 + hash(name.ns);
  }
};

namespace xmlns {
inline constexpr std::string_view kWsdl = "http://schemas.xmlsoap.org/wsdl/";
inline constexpr std::string_view kWsdl20 = "http://www.w3.org/ns/wsdl";
inline constexpr std::string_view kWsdlSoap11 = "http://schemas.xmlsoap.org/wsdl/soap/";
inline constexpr std::string_view kWsdlSoap12 = "http://schemas.xmlsoap.org/wsdl/soap12/";
inline constexpr std::string_view kWsdlHttp = "http://schemas.xmlsoap.org/wsdl/http/";
inline constexpr std::string_view kWsdlMime = "http://schemas.xmlsoap.org/wsdl/mime/";
inline constexpr std::string_view kSchema = "http://www.w3.org/2001/XMLSchema";
inline constexpr std::string_view kSchemaInstance = "http://www.w3.org/2001/XMLSchema-instance";
inline constexpr std::string_view kXml = "http://www.w3.org/XML/1998/namespace";
inline constexpr std::string_view kSoap11Envelope = "http://schemas.xmlsoap.org/soap/envelope/";
inline constexpr std::string_view kSoap12Envelope = "http://www.w3.org/2003/05/soap-envelope";
inline constexpr std::string_view kSoap11Encoding = "http://schemas.xmlsoap.org/soap/encoding/";
}  // namespace xmlns

}  // namespace qvx

#endif
