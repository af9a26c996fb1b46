// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_QVWS_H
#define QVWS_QVWS_H

#include <qvws/WebServiceBinding.h>
#include <qvws/WebServiceClient.h>
#include <qvws/WebServiceDiscovery.h>
#include <qvws/WebServiceEndpoint.h>
#include <qvws/WebServiceInterface.h>
#include <qvws/WebServiceOperation.h>
#include <qvws/WebServiceParameter.h>
#include <qvws/WebServiceParmValue.h>
#include <qvws/WebServiceService.h>

/// Marks what the library exports. `QVWS_BUILDING` is defined only while the library itself is compiled.
#if defined(_WIN32)
#if defined(QVWS_BUILDING)
#define QVWS_API __declspec(dllexport)
#else
#define QVWS_API __declspec(dllimport)
#endif
#else
#define QVWS_API __attribute__((visibility("default")))
#endif

/// Makes a client. It does not connect: see WebServiceClient.
/// @param[out] err  null on success, else the message; not null
/// @return the client, to be ended with its Release(); null with 444 when out of memory
/// @par Threads  Any.
extern "C" QVWS_API WebServiceClient* qvwsCreateWebServiceClient(QvbString* err);

/// Makes a parameter value, not bound.
/// @param[in]  style  the kind; anything else than File and String is refused with a null pointer and no message
/// @param[out] err    the message when out of memory, else left as it was; not null
/// @return the value, to be ended with its release() or bound to a client; null with 444 when out of memory
/// @par Threads  Any.
extern "C" QVWS_API WebServiceParmValue* qvwsCreateWebServiceParmValue(WSPStyle style, QvbString* err);

/// The factories' types, for hosts that look them up by name.
typedef WebServiceClient* (*qvwsCreateWebServiceClientFunction)(QvbString* err);
typedef WebServiceParmValue* (*qvwsCreateWebServiceParmValueFunction)(WSPStyle style, QvbString* err);

#endif
