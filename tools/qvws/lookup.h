// SPDX-License-Identifier: Apache-2.0
#ifndef QVWSCLI_LOOKUP_H
#define QVWSCLI_LOOKUP_H

#include <qvws/qvws.h>

#include <string>
#include <vector>

namespace qvwscli {

/// Something that has a name in a description. `kind` is its word on the command line; the pointers are those of its kind.
struct Thing {
  std::string kind;
  std::string name;  ///< QName text; an endpoint's plain name
  std::string localName;
  std::vector<QName> parents;  ///< what it may be named below: an endpoint's service, an operation's interface and bindings
  WebServiceService* service = nullptr;
  WebServiceEndpoint* endpoint = nullptr;
  WebServiceBinding* binding = nullptr;  ///< of an operation: the binding it is described by, if any
  WebServiceInterface* interface = nullptr;
  WebServiceOperation* operation = nullptr;
  bool bindingNamed = false;  ///< whether the name said which binding
};

/// Finds what a name means: a local name or a QName text, alone or below its parent ("PARENT/NAME"). An operation that several bindings of one
/// interface offer is one thing.
/// @param kind  looks only for this kind; empty = for all
/// @throw Failure  nothing or several things of that name; the text lists what there is
Thing find(WebServiceDiscovery& discovery, const std::string& name, const std::string& kind);

}  // namespace qvwscli

#endif
