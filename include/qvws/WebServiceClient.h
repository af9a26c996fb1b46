// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_WEBSERVICECLIENT_H
#define QVWS_WEBSERVICECLIENT_H

#include <qvb/cursor.h>
#include <qvb/string.h>

#include <stdint.h>

class WebServiceDiscovery;
class WebServiceParmValue;

/// What a host passes to WebServiceClient::Invoke() to watch a call and stop it.
class WebServiceInvokeCallback {
 public:
  /// Slot 1. Asked once, before the call: the least time between two polls in milliseconds; 0 = 100.
  virtual int32_t getOption() = 0;
  /// Slot 2. Polled on the caller's thread while the call waits: true stops it.
  virtual bool isCancelled() = 0;

 protected:
  ~WebServiceInvokeCallback() = default;
};

/// A client of web services: holds options, namespaces and values, and discovers or invokes. The order of the operations is part of the binary
/// interface.
///
/// Names and texts are UTF-8 and are copied. A failing operation returns false or null and writes a message that begins with its number, "QVWS-1725:
/// …"; test the result, not the text, for some successful operations set the text to null and others leave it. Getters never touch an error text: on
/// failure they set their out value to null and return false.
///
/// The first of Discover(), DiscoverURI(), Invoke() and Reset() connects: it makes the proxy and sends it the options and namespaces; what is set
/// after that is not sent again. A failed connection is tried anew by the next of them. Its messages are
///   - what the proxy logged while it was made, when it cannot be made; the lines are separated by "\r\n"
///   - 444   out of memory
///   - 768   a row was not taken
///   - 1725  the proxy reported an error; the message quotes its code and text
///   - 1726  the call of the proxy failed
///   - 2101, 2102  a stored password cannot be decoded
///
/// @par Ownership  The host's, who ends it with Release().
/// @par Threads    One thread at a time; every wait is on the caller's thread.
class WebServiceClient {
 public:
  /// Slot 1. Appends a text to the request values of that name. Sets `err` to null; always true.
  virtual bool AddRequestValue(const QvbString& name, const QvbString& value, QvbString& err) = 0;
  /// Slot 2. Binds a value to an input of the operation, named by its QName text, replacing and releasing the value bound there before.
  /// @param[in]  value  from now on the client's, unless this fails; may be null
  /// @param[out] err    on failure the message; left as it was on success
  /// @return false with 444 when out of memory
  virtual bool SetInputParmValue(const QvbString& name, WebServiceParmValue* value, QvbString& err) = 0;
  /// Slot 3. Binds a value to an output: as SetInputParmValue().
  virtual bool SetOutputParmValue(const QvbString& name, WebServiceParmValue* value, QvbString& err) = 0;
  /// Slot 4. Discovers the WSDL document that option "WSCP_ADDRESS" names.
  ///
  /// Fetches the document and all that it imports, and waits for that, each document at most the request time-out.
  /// @param[out] err  on failure the message; null on success
  /// @return what was found, to be ended with its release() before this client is; null on failure with one of
  ///         - 444   out of memory, or an answer that cannot be read
  ///         - 1725  the proxy reported an error, for instance that the document cannot be had or understood
  ///         - 1726  the call of the proxy failed
  ///         - 1774  a reference to an interface or a binding that is not there
  ///         - 1776  two objects of one name
  ///         - 1777  an answer that holds something else than it should
  ///         - 1779  a binding's operation is none of its interface
  ///         - 1801  a binding's style is not "document", and no other binding could be used
  ///         - a message of connection set-up
  virtual WebServiceDiscovery* Discover(QvbString& err) = 0;
  /// Slot 5. Lists the variables of a URI template, in the first column of a cursor that the caller ends with its release().
  /// @param[out] err  on failure the message
  /// @return null on failure, with 444, 1725, 1726 or a message of connection set-up
  virtual QvbStringCursor* DiscoverURI(const QvbString& uri, QvbString& err) = 0;
  /// Slot 6. The first request value of that name.
  virtual bool GetRequestValue(const QvbString& name, QvbString& value) = 0;
  /// Slot 7. Number of names that have request values.
  virtual int32_t GetRequestValueCount() = 0;
  /// Slot 8. The request value of that name at an index from 0; a negative index reads the first one.
  virtual bool GetRequestValueAt(const QvbString& name, int32_t index, QvbString& value) = 0;
  /// Slot 9. An option as text.
  virtual bool GetOption(const QvbString& name, QvbString& value) = 0;
  /// Slot 10. The first response value of that name.
  virtual bool GetResponseValue(const QvbString& name, QvbString& value) = 0;
  /// Slot 11. Number of names that have response values.
  virtual int32_t GetResponseValueCount() = 0;
  /// Slot 12. The response value of that name at an index from 0; a negative index reads the first one.
  virtual bool GetResponseValueAt(const QvbString& name, int32_t index, QvbString& value) = 0;
  /// Slot 13. A response value by the index of its name, in ascending order of names, and its own index.
  /// @param[out] name  the name, when there is one at that index, otherwise left as it was; may be null
  virtual bool GetResponseValueByIndex(int32_t nameIndex, int32_t valueIndex, QvbString* name, QvbString& value) = 0;
  /// Slot 14. Invokes the operation that the options name with the bound values, and waits for the answer, at most the request time-out.
  ///
  /// Texts of the answer go into the bound output values, its named values replace the response values.
  /// @param[in]  callback  watches the call; may be null
  /// @param[out] err       on failure the message; left as it was on success
  /// @return false on failure, with 247, 444, 768, 1725, 1726 or a message of connection set-up
  virtual bool Invoke(WebServiceInvokeCallback* callback, QvbString& err) = 0;
  /// Slot 15. Ends the client; the pointer is dead afterwards. Its discoveries must have been released.
  virtual void Release() = 0;
  /// Slot 16. Unbinds and releases all bound values, then resets the proxy. Request values, response values, options and namespaces stay.
  /// @param[out] err  on failure the message; null on success
  /// @return false with 1725, 1726 or a message of connection set-up; the values are unbound all the same
  virtual bool Reset(QvbString& err) = 0;
  /// Slot 17. Replaces the request values of that name by one. Sets `err` to null; always true.
  virtual bool SetRequestValue(const QvbString& name, const QvbString& value, QvbString& err) = 0;
  /// Slot 18. Binds a prefix to a namespace; a null or empty prefix stands for the default namespace.
  /// @param[out] err  on failure the message; left as it was on success
  /// @return false with 1442 when the prefix is bound to another namespace, which it stays
  virtual bool AddNamespace(const QvbString& prefix, const QvbString& uri, QvbString& err) = 0;
  /// Slot 19. Sets an option, or clears it with a null value.
  /// @param[out] err  on failure the message; null on success
  /// @return false with 1778 when the option wants a truth value ("WSCP_WS-SECURITY_DIGEST", "WSCP_WS-SECURITY_MUST") or a whole number
  ///         ("WSCP_PROXY_PORT") and the value is none; the option is then what it was
  virtual bool SetOption(const QvbString& name, const QvbString& value, QvbString& err) = 0;

 protected:
  /// Slot 20.
  virtual ~WebServiceClient() = default;
};

#endif
