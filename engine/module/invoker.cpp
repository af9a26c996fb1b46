// SPDX-License-Identifier: Apache-2.0
#include "module/invoker.h"

#include "error.h"
#include "http/header.h"
#include "module/call_watch.h"
#include "module/rows.h"
#include "xml/to_utf8.h"

#include <algorithm>
#include <string_view>

namespace qvx {

namespace {

/// The action as a quoted string; one that stands in quotes already is left as it is.
std::string quoted(const std::string& action) {
  if (action.size() >= 2 && action.front() == '"' && action.back() == '"') return action;
  std::string out = "\"";
  for (const char c : action) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + '"';
}

void checkAction(const std::string& action) {
  if (isHeader("SOAPAction", action)) return;
  throw Error(ErrorCode::BadRequest, "The option WSCP_ACTION has a line break or another control character in it");
}

/// The bytes in UTF-8, or as they are when they cannot be turned into it.
std::string asUtf8(std::string_view bytes, const std::string& charset) {
  try {
    ToUtf8 decoder;
    decoder.begin(charset, {});
    return std::string(decoder.feed(bytes));
  } catch (const Error&) {
    return std::string(bytes);
  }
}

/// What a content type has to do with an answer not being understood; empty when nothing.
std::string remarkOn(std::string_view contentType) {
  const std::string_view media = mediaTypeOf(contentType);
  constexpr std::string_view kMultipart = "multipart/";
  if (sameHeader(media.substr(0, kMultipart.size()), kMultipart))
    return " (it has attachments, which are not read: its type is " + std::string(media) + ")";
  const bool xml = media.size() >= 3 && sameHeader(media.substr(media.size() - 3), "xml");
  return media.empty() || xml ? "" : " (its content type is " + std::string(media) + ")";
}

}  // namespace

/// Hands an answer on to the reader and keeps its head.
class Invoker::Receiver final : public ReplySink {
 public:
  Receiver(ReplyReader& reader, const std::vector<WantedValue>& wanted, ReplyHead& head) : reader_(reader), wanted_(wanted), head_(head) {}

  void begin(const ReplyHead& head) override {
    head_ = head;
    reader_.begin(wanted_, charsetOf(head.header("Content-Type")));
  }
  void data(std::string_view bytes) override { reader_.feed(bytes); }

 private:
  ReplyReader& reader_;
  const std::vector<WantedValue>& wanted_;
  ReplyHead& head_;
};

Invoker::Invoker(const Options& options, const Namespaces& namespaces, Transport::Log log)
    : options_(options),
      namespaces_(namespaces),
      log_(std::move(log)),
      transport_(options.transport, options.limits, log_),
      reader_(options.limits) {}

void Invoker::aim(const RequestValues& requestValues) {
  const std::string& address = options_.address;
  if (address.find_first_not_of(" \t\r\n") == std::string::npos) {
    throw Error(ErrorCode::NoAddress, "No address was given; set the option WSCP_ADDRESS to the URL of the service");
  }
  const bool fixed = !requestValues.hasVariables() && address.find_first_of("{}") == std::string::npos;
  if (fixed && targetIsFixed_) return;
  targetIsFixed_ = false;
  target_ = locate(fixed ? address : requestValues.fill(address));
  if (target_.isFile) {
    throw Error(ErrorCode::UnsupportedScheme, target_.text +
                                                  ": a service is called at an http: or https: URL; set WSCP_ADDRESS to the address of the "
                                                  "endpoint, not to the path of its WSDL");
  }
  transport_.trust(originOf(target_));
  targetIsFixed_ = fixed;
}

Exchange Invoker::exchangeOf(RequestEnvelope& envelope, const RequestValues& requestValues) const {
  Exchange call;
  call.url = target_.text;
  call.body = &envelope;
  call.bodyHasSecret = envelope.hasSecret();
  const std::vector<std::string>& own = requestValues.headers();
  // What the caller says of a header counts, once.
  const auto add = [&](std::string_view name, const std::string& value) {
    const auto same = [&](const std::string& line) { return sameHeader(std::string_view(line).substr(0, line.find_first_of(":;")), name); };
    if (std::none_of(own.begin(), own.end(), same)) call.headers.push_back(headerLine(name, value));
  };
  const std::string action = options_.action.value_or("");
  checkAction(action);
  if (envelope.version() == SoapVersion::Soap11) {
    // SOAP 1.1 section 6.1.1: the header is there even when there is no action to tell.
    add("Content-Type", "text/xml; charset=" + envelope.charset());
    add("SOAPAction", quoted(action));
  } else {
    // RFC 3902: the action is a parameter of the content type, left out when there is none.
    add("Content-Type", "application/soap+xml; charset=" + envelope.charset() + (action.empty() ? "" : "; action=" + quoted(action)));
  }
  call.headers.insert(call.headers.end(), own.begin(), own.end());
  return call;
}

void Invoker::judge() const {
  const ReplyReader::Kind kind = reader_.kind();
  const int code = head_.status;
  if (code >= 200 && code < 300 && (kind == ReplyReader::Kind::Envelope || kind == ReplyReader::Kind::Empty)) return;
  const std::string who = printable(target_) + ": the service answered with ";
  const std::string status = "HTTP status " + std::to_string(code) + (head_.reason.empty() ? "" : " " + head_.reason);
  const auto said = [&] {
    const std::string beginning = beginningOf(asUtf8(reader_.beginning(), charsetOf(head_.header("Content-Type"))));
    return beginning.empty() ? std::string() : ". It said: " + beginning;
  };
  if (kind == ReplyReader::Kind::Fault) throw Error(ErrorCode::Fault, who + "a fault (" + status + ")\n" + reader_.fault().text());
  if (code == 401) throw Error(ErrorCode::Authentication, who + status + "; check WSCP_USER, its password and WSCP_AUTH" + said());
  if (code == 407) throw Error(ErrorCode::Authentication, who + status + "; check WSCP_PROXY_USER and its password" + said());
  if (code < 200 || code >= 300) throw Error(ErrorCode::HttpStatus, who + status + "; check the address" + said());
  // An accepted message has no answer, whatever a server says to be polite.
  if (code == 202) {
    log_(1, who + status + " and something that is no SOAP, which is passed over");
    return;
  }
  throw Error(ErrorCode::BadReply, who + "something that is not understood: " + reader_.problem() + remarkOn(head_.header("Content-Type")) +
                                       "; check that the address is that of the service" + said());
}

void Invoker::write(const BoundValues& values, QvjniAnswer& answer) const {
  Rows outputs(answer, kThreeTexts);
  for (const FoundValue& found : reader_.found()) {
    const QualifiedName& name = values.outputs[found.wanted].name;
    outputs.value(name.ns, name.local, found.text);
  }
  Rows results(answer, kTwoTexts);
  results.add("HTTP_STATUS", results.copy(std::to_string(head_.status)));
  results.add("HTTP_REASON", head_.reason);
  results.add("HTTP_VERSION", head_.version);
  for (const auto& [name, value] : head_.headers) results.add(results.copy(kHeaderPrefix, name).data(), value);
}

void Invoker::call(const BoundValues& values, const RequestValues& requestValues, QvjniInvokeCallback* callback, QvjniAnswer& answer) {
  CallWatch watch(callback);
  aim(requestValues);
  const UsernameToken* const token = options_.token.user.empty() ? nullptr : &options_.token;
  RequestEnvelope envelope({values.inputs, namespaces_, options_.soapVersion, token, options_.limits, &watch});
  if (token != nullptr && !envelope.hasSecret())
    log_(2, printable(target_) + ": a finished envelope is sent as it is, without the WS-Security token that the options ask for");
  const Exchange exchange = exchangeOf(envelope, requestValues);
  Receiver receiver(reader_, values.outputs, head_);
  try {
    transport_.exchange(exchange, receiver, callback == nullptr ? nullptr : &watch);
    reader_.end();
    judge();
    reader_.keepFiles();
  } catch (...) {
    reader_.discardFiles();
    throw;
  }
  write(values, answer);
}

}  // namespace qvx
