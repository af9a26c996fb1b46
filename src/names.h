// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_SRC_NAMES_H
#define QVWS_SRC_NAMES_H

// Every name that crosses a boundary of the library: to the proxy, to the product configuration, to hosts.
namespace names {

inline constexpr char kComponent[] = "Web Service Client";
inline constexpr char kLogger[] = "QV.WebService.Client";

// The proxy class.
inline constexpr char kProxyArchive[] = "qvx-proxy-ws.jar";
inline constexpr char kProxyInterface[] = "WebServiceClient";
inline constexpr char kProxyClass[] = "com.quillvex.proxy.ws.WebServiceClientJPC";

// Its questions while it is made, and their answers.
inline constexpr char kAskDirectory[] = "JAVA_PROXY/DIRECTORY";
inline constexpr char kAskHasGetVersion[] = "JAVA_PROXY/HAS_GETVERSION";
inline constexpr char kDirectory[] = "ws";
inline constexpr char kXQueryDirectory[] = "xquery";

// Its methods.
inline constexpr char kSetNamespaces[] = "SetNamespaces";
inline constexpr char kSetOptions[] = "SetOptions";
inline constexpr char kReset[] = "Reset";
inline constexpr char kDiscoverUri[] = "DiscoverURI";
inline constexpr char kSetParameters[] = "SetParameters";
inline constexpr char kInvoke[] = "Invoke";
inline constexpr char kDiscover[] = "Discover";
inline constexpr char kDiscoverRelease[] = "DiscoverRelease";
inline constexpr char kDiscoverService[] = "DiscoverService";
inline constexpr char kDiscoverInterface[] = "DiscoverInterface";
inline constexpr char kDiscoverBinding[] = "DiscoverBinding";
inline constexpr char kDiscoverParameters[] = "DiscoverParameters";

// Client options.
inline constexpr char kAddress[] = "WSCP_ADDRESS";
inline constexpr char kAction[] = "WSCP_ACTION";
inline constexpr char kConfig[] = "WSCP_CONFIG";
inline constexpr char kWsdlConfig[] = "WSCP_WSDL_CONFIG";
inline constexpr char kRequestTimeout[] = "REQUEST_TIMEOUT";
inline constexpr char kHttpRequestTimeout[] = "HTTP_REQUEST_TIMEOUT";
inline constexpr char kDomain[] = "WSCP_DOMAIN";
inline constexpr char kUser[] = "WSCP_USER";
inline constexpr char kPass[] = "WSCP_PASS";
inline constexpr char kProxyDomain[] = "WSCP_PROXY_DOMAIN";
inline constexpr char kProxyUser[] = "WSCP_PROXY_USER";
inline constexpr char kProxyPass[] = "WSCP_PROXY_PASS";
inline constexpr char kProxyPort[] = "WSCP_PROXY_PORT";
inline constexpr char kSecurityDomain[] = "WSCP_WS-SECURITY_DOMAIN";
inline constexpr char kSecurityUser[] = "WSCP_WS-SECURITY_USER";
inline constexpr char kSecurityPass[] = "WSCP_WS-SECURITY_PASS";
inline constexpr char kSecurityDigest[] = "WSCP_WS-SECURITY_DIGEST";
inline constexpr char kSecurityMust[] = "WSCP_WS-SECURITY_MUST";

// Keys of the product configuration.
inline constexpr char kConfigFileKey[] = "WEBSERVICE/CONFIG_FILE";
inline constexpr char kRequestTimeoutKey[] = "WEBSERVICE/REQUEST_TIMEOUT";
inline constexpr char kValueIsXmlKey[] = "WEBSERVICE/VALUE_IS_XML";

// Properties of discovered objects.
inline constexpr char kDocumentation[] = "Documentation";
inline constexpr char kQNameName[] = "QName.name";
inline constexpr char kQNameNamespace[] = "QName.namespace";
inline constexpr char kTargetNamespace[] = "TargetNamespace";
inline constexpr char kVersion[] = "Version";
inline constexpr char kInterfaceName[] = "Interface.Name";
inline constexpr char kInterfaceNamespace[] = "Interface.Namespace";
inline constexpr char kBindingName[] = "Binding.Name";
inline constexpr char kBindingNamespace[] = "Binding.Namespace";
inline constexpr char kStyle[] = "Style";
inline constexpr char kStyleDocument[] = "document";
inline constexpr char kSchema[] = "Schema";
inline constexpr char kXml[] = "XML";
inline constexpr char kXPath[] = "XPath";

// Kinds of objects, in rows and in messages.
inline constexpr char kService[] = "Service";
inline constexpr char kInterface[] = "Interface";
inline constexpr char kBinding[] = "Binding";
inline constexpr char kEndpoint[] = "Endpoint";
inline constexpr char kOperation[] = "Operation";
inline constexpr char kInput[] = "Input";
inline constexpr char kOutput[] = "Output";
inline constexpr char kFault[] = "Fault";
inline constexpr char kServiceEndpoint[] = "Service Endpoint";
inline constexpr char kInterfaceOperation[] = "Interface Operation";
inline constexpr char kBindingOperation[] = "Binding Operation";
inline constexpr char kOperationParameter[] = "Operation parameter";
inline constexpr char kParameter[] = "parameter";

// Properties of parameter values, and the items that describe one to the proxy.
inline constexpr char kFilePath[] = "wsps.file.path";
inline constexpr char kStringValue[] = "wsps.string.value";
inline constexpr char kItemDirection[] = "direction";
inline constexpr char kItemType[] = "type";
inline constexpr char kItemPath[] = "Path";
inline constexpr char kItemValue[] = "Value";
inline constexpr char kTypeFile[] = "File";
inline constexpr char kTypeString[] = "String";

}  // namespace names

#endif
