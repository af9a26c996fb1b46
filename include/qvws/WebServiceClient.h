// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_WEBSERVICECLIENT_H
#define QVWS_WEBSERVICECLIENT_H

#include <qvb/cursor.h>
#include <qvb/string.h>

#include <stdint.h>

class WebServiceDiscovery;
class WebServiceParmValue;

/// What a host passes to WebServiceClient::Invoke() to watch a call and stop it. The order of the operations is part of the binary interface.
///
/// @par Ownership  The host's, for whom it must outlive the call.
/// @par Threads    Both operations run on the thread that is inside Invoke(). They must not use the client and must not wait.
/// @par Failure    An exception of getOption() passes through Invoke() before anything has happened; one of isCancelled() is logged and stops the
///                 call.
class WebServiceInvokeCallback {
 public:
  /// Slot 1. Asked once, before the call: the least time between two polls in milliseconds; 0 = 100.
  virtual int32_t getOption() = 0;
  /// Slot 2. Polled while the call resolves, connects, sends, waits, receives and reads: true stops it, and Invoke() fails with 1725. A call that
  /// has been sent when it is stopped may have been carried out by the service.
  virtual bool isCancelled() = 0;

 protected:
  ~WebServiceInvokeCallback() = default;
};

/// A client of web services: holds options, namespaces and values, and discovers or invokes. The order of the operations is part of the binary
/// interface.
///
/// Names and texts are UTF-8 and are copied. A failing operation returns false or null and writes a message that begins with its number, "QVWS-1725:
/// …", or what the proxy logged when it cannot be made; test the result, not the text, for some successful operations set the text to null and others
/// leave it. Getters never touch an error text: on failure they set their out value to null and return false. Where a text cannot be copied for want
/// of memory std::bad_alloc is thrown, and leaves what a failure of the operation leaves; of an operation that never fails, nothing.
///
/// The first of Discover(), DiscoverURI(), Invoke() and Reset() connects: it makes the proxy and sends it the options and namespaces; what is set
/// after that is not sent again. A failed connection is tried anew by the next of them. Its messages are
///   - what the proxy logged while it was made, when it cannot be made; the lines are separated by "\r\n" and have no number
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
  ///
  /// A request value is either the value of a variable of the address, when that is a URI template (RFC 6570; several values are a list), or, named
  /// "HTTP_HEADER/" and a header's name, an HTTP header of the request (several values are several headers). Any other name fails Invoke().
  virtual bool AddRequestValue(const QvbString& name, const QvbString& value, QvbString& err) = 0;
  /// Slot 2. Binds a value to an input of the operation, after releasing the value bound there before: bind a fresh one, not the same one again.
  ///
  /// The name is a QName text ("{namespace}local"), one of
  ///   - the payload's, which WebServiceParameter::getQName() tells: the value is the content of the message
  ///   - "{soap}Header", "{soap}Body" or "{soap}Envelope": the header blocks, the whole content of the body, or a finished envelope that is sent as
  ///     it is; "soap" is the envelope namespace of SOAP 1.1 or of SOAP 1.2
  ///
  /// See WebServiceParmValue for what the value holds.
  /// @param[in]  value  made by qvwsCreateWebServiceParmValue(); from now on the client's, unless this fails; with null the name counts as bound to
  ///                    nothing, and is not sent
  /// @param[out] err    on failure the message; left as it was on success
  /// @return false with 444 when out of memory; what was bound there before is released all the same
  virtual bool SetInputParmValue(const QvbString& name, WebServiceParmValue* value, QvbString& err) = 0;
  /// Slot 3. Binds a value to an output: as SetInputParmValue().
  ///
  /// The name is the QName text of what is wanted of the answer: "{soap}Header", "{soap}Body" or "{soap}Envelope" for the header blocks, the content
  /// of the body or the whole answer; any other names the first child of the body with that name, or else the first element below it, which comes
  /// as an element of its own with the namespace declarations it needs.
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
  /// Slot 5. Lists the variables of a URI template (RFC 6570), each once, in the order in which they appear.
  ///
  /// Sends nothing to a service. Read the cursor's column 0 after each of its next() that is true, and no further.
  /// @param[in]  uri  the template; null counts as empty
  /// @param[out] err  on failure the message; on success null, or what the proxy had to say while this call made it
  /// @return a cursor that the caller ends with its release() and that may outlive the client, without rows when there are no variables; null on
  ///         failure with one of
  ///         - 444   out of memory, or an answer that cannot be read
  ///         - 1725  the proxy reported an error: the template is malformed, and where
  ///         - 1726  the call of the proxy failed
  ///         - a message of connection set-up
  virtual QvbStringCursor* DiscoverURI(const QvbString& uri, QvbString& err) = 0;
  /// Slot 6. The first request value of that name.
  virtual bool GetRequestValue(const QvbString& name, QvbString& value) = 0;
  /// Slot 7. Number of names that have request values.
  virtual int32_t GetRequestValueCount() = 0;
  /// Slot 8. The request value of that name at an index from 0; a negative index reads the first one.
  virtual bool GetRequestValueAt(const QvbString& name, int32_t index, QvbString& value) = 0;
  /// Slot 9. An option as text; true with a null text for one that was cleared.
  virtual bool GetOption(const QvbString& name, QvbString& value) = 0;
  /// Slot 10. The first response value of that name.
  ///
  /// Each answer replaces all response values: "HTTP_STATUS" (such as "200"), "HTTP_REASON", "HTTP_VERSION", and under "HTTP_HEADER/" and the
  /// header's name the values of every header of that name, in their order.
  virtual bool GetResponseValue(const QvbString& name, QvbString& value) = 0;
  /// Slot 11. Number of names that have response values.
  virtual int32_t GetResponseValueCount() = 0;
  /// Slot 12. The response value of that name at an index from 0; a negative index reads the first one.
  virtual bool GetResponseValueAt(const QvbString& name, int32_t index, QvbString& value) = 0;
  /// Slot 13. A response value by the index of its name, in ascending order of names, and its own index.
  /// @param[out] name  the name, when there is one at that index, otherwise left as it was; may be null
  virtual bool GetResponseValueByIndex(int32_t nameIndex, int32_t valueIndex, QvbString* name, QvbString& value) = 0;
  /// Slot 14. Invokes an operation and waits for its answer, at most the request time-out. The request is sent at most once.
  ///
  /// Options "WSCP_ADDRESS" and "WSCP_ACTION" name the service and the operation, the bound inputs and the request values make the request. Texts of
  /// the answer go into the property "wsps.string.value" of the outputs bound under their names, null when the answer has none for it, as for an
  /// output that went to its file; an answered name that no output is bound to is logged with message 1590 at level 3. Then the response values
  /// become those of this answer, none when it has none. An output that the answer does not mention keeps its text.
  ///
  /// Bound values and request values stay for a next call until Reset(), SetRequestValue() or another binding.
  /// @param[in]  callback  watches the call; may be null
  /// @param[out] err       on failure the message; on success null, or what the proxy had to say while this call made it
  /// @return false on failure with one of
  ///         - 247   a bound value is of no known kind
  ///         - 444   out of memory, or an answer that cannot be read
  ///         - 768   a row was not taken
  ///         - 1725  the proxy reported an error: what was bound or set cannot be sent, the service cannot be reached, it answered with a fault or
  ///                 with what is no answer, or the call was stopped; the message quotes its code and text
  ///         - 1726  the call of the proxy failed
  ///         - a message of connection set-up
  ///
  ///         All that was bound and set stays. Until the answer is read none of its values has changed; then (444 alone) outputs may have their
  ///         new text, and the response values may be empty or incomplete.
  virtual bool Invoke(WebServiceInvokeCallback* callback, QvbString& err) = 0;
  /// Slot 15. Ends the client; the pointer is dead afterwards. Its discoveries must have been released.
  virtual void Release() = 0;
  /// Slot 16. Unbinds and releases all bound values, then has the proxy forget them. Request values, response values, options and namespaces stay,
  /// and so does the connection. Pointers to bound values are dead afterwards.
  /// @param[out] err  on failure the message; null on success
  /// @return false on failure; the values are unbound all the same. One of
  ///         - 1725  the proxy reported an error; the message quotes its code and text
  ///         - 1726  the call of the proxy failed
  ///         - a message of connection set-up
  virtual bool Reset(QvbString& err) = 0;
  /// Slot 17. Replaces the request values of that name by one. Sets `err` to null; always true.
  virtual bool SetRequestValue(const QvbString& name, const QvbString& value, QvbString& err) = 0;
  /// Slot 18. Binds a prefix to a namespace. A null prefix stands for the default namespace, and so does an empty one: bind only one of the two.
  /// @param[out] err  on failure the message; left as it was on success
  /// @return false with 1442 when the prefix is bound to another namespace, which it stays
  virtual bool AddNamespace(const QvbString& prefix, const QvbString& uri, QvbString& err) = 0;
  /// Slot 19. Sets an option, or clears it with a null value: it is still there then, reads as null, is sent as an empty text, and the product's
  /// configuration is not asked in its place.
  /// @param[out] err  on failure the message; null on success
  /// @return false with 1778 when the option wants a truth value ("WSCP_WS-SECURITY_DIGEST", "WSCP_WS-SECURITY_MUST") or a whole number
  ///         ("WSCP_PROXY_PORT") and the value is none; the option is then what it was
  virtual bool SetOption(const QvbString& name, const QvbString& value, QvbString& err) = 0;

 protected:
  /// Slot 20.
  virtual ~WebServiceClient() = default;
};

#endif
