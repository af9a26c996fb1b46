// SPDX-License-Identifier: Apache-2.0
#include "request_text.h"

#include "exit_code.h"
#include "files.h"
#include "session.h"

#include <algorithm>

namespace qvwscli {
namespace {

/// The elements in the body of the operation's sample.
std::vector<xmlNode*> bodyOf(const Document& sample) {
  std::vector<xmlNode*> elements;
  xmlNode* body = sample == nullptr ? nullptr : partOf(sample, "Body");
  for (xmlNode* element = firstElement(body); element != nullptr; element = nextElement(element)) elements.push_back(element);
  return elements;
}

/// The payload's name where the body is one element; else the body's, which then is bound as a whole.
std::string payloadName(const Target& target, const std::vector<xmlNode*>& body) {
  return body.size() == 1 && qualifiedName(body.front()) == target.input.name ? target.input.name : soapName(target, "Body");
}

bool isEnvelope(const std::string& name) {
  return name == qualifiedName(kSoap11Envelope, "Envelope") || name == qualifiedName(kSoap12Envelope, "Envelope");
}

Input given(const Target& target, const std::string& path, const std::vector<xmlNode*>& body) {
  const bool streamed = path != "-" && isRegularFile(path);
  Input input{{}, streamed, streamed ? path : readAll(path)};
  if (!streamed && input.text.find_first_not_of(" \t\r\n") == std::string::npos) {
    throw Failure(ExitCode::Input, (path == "-" ? "standard input" : path) + " is empty: the payload should stand there");
  }
  // What "qvws sample" prints is an envelope, and may come back as one.
  const std::string root =
      streamed ? rootNameOf(path) : qualifiedName(xmlDocGetRootElement(parse(input.text, path == "-" ? "standard input" : path).get()));
  input.name = isEnvelope(root) ? root : payloadName(target, body);
  return input;
}

std::string filled(const std::vector<xmlNode*>& body, const Target& target, const std::vector<std::string>& values, const Namespaces& namespaces) {
  const ContentModel model(target.input.schema);
  if (!values.empty() && body.size() != 1) {
    throw Failure(ExitCode::Input, target.operation + " has " + (body.empty() ? "no payload" : "a payload of several elements") +
                                       ", so -p has nothing to fill" + (body.empty() ? "" : "; give the whole content of the body with -d"));
  }
  std::string text;
  std::vector<std::string> sampled;
  for (xmlNode* element : body) {
    Payload payload(element, model, namespaces);
    for (const std::string& value : values) payload.fill(value);
    payload.prune();
    text += (text.empty() ? "" : "\n") + payload.text();
    const std::vector<std::string> more = payload.sampled();
    sampled.insert(sampled.end(), more.begin(), more.end());
  }
  if (!sampled.empty()) {
    std::string note = "note: the values of the sample are taken for what is required and was not given:";
    for (const std::string& name : sampled) note += " " + name;
    complain(note + "\n-p NAME=VALUE gives one");
  }
  return text;
}

/// The content that a value comes to in the envelope, checked. A header or body may be given as a whole.
std::string contentOf(const Input& input, const Namespaces& namespaces) {
  const std::string where = input.isFile ? input.text : "the value of " + input.name;
  std::string xml = input.isFile ? readAll(input.text) : input.text;
  const Document document = parseContent(xml, namespaces, where);
  xmlNode* only = firstElement(xmlDocGetRootElement(document.get()));
  const bool isPart = input.name.find(kSoap11Envelope) == 1 || input.name.find(kSoap12Envelope) == 1;
  if (!isPart && (only == nullptr || nextElement(only) != nullptr || qualifiedName(only) != input.name)) {
    throw Failure(ExitCode::Input, where + ": the payload is to be one element " + input.name + ", and here is " +
                                       (only == nullptr                ? "none"
                                        : nextElement(only) != nullptr ? "more than one"
                                                                       : qualifiedName(only)));
  }
  if (isPart && only != nullptr && qualifiedName(only) == input.name) {
    xml.clear();
    for (xmlNode* child = firstElement(only); child != nullptr; child = nextElement(child)) xml += standAlone(child);
  }
  // White space around elements is not sent.
  const std::size_t begin = std::min(xml.find_first_not_of(" \t\r\n"), xml.size());
  return xml.substr(begin, xml.find_last_not_of(" \t\r\n") + 1 - begin);
}

/// The prefix of the envelope's own names: one that the caller gives no other meaning.
std::string prefixFor(const std::string& ns, const Namespaces& namespaces) {
  const auto taken = [&](const std::string& prefix) {
    return std::any_of(namespaces.begin(), namespaces.end(), [&](const auto& one) { return one.first == prefix && one.second != ns; });
  };
  std::string prefix = "soap";
  for (int number = 0; taken(prefix); ++number) prefix = "soapenv" + (number == 0 ? std::string() : std::to_string(number));
  return prefix;
}

/// A finished envelope, which is sent as it is.
std::string finished(const Target& target, const Input& input) {
  std::string envelope = input.isFile ? readAll(input.text) : input.text;
  const std::string where = input.isFile ? input.text : "the envelope";
  const Document document = parse(envelope, where);
  if (qualifiedName(xmlDocGetRootElement(document.get())) != soapName(target, "Envelope")) {
    throw Failure(ExitCode::Input, where + " is no envelope of SOAP " + target.soap + ", which the port asks for");
  }
  return envelope;
}

}  // namespace

std::string soapName(const Target& target, std::string_view part) {
  return qualifiedName(target.soap == "1.2" ? kSoap12Envelope : kSoap11Envelope, part);
}

std::vector<Input> inputsOf(const Target& target, const DataArguments& data, const Namespaces& namespaces) {
  std::vector<Input> inputs;
  Document sample;
  if (!target.input.sample.empty()) sample = parse(target.input.sample, "the sample of the input");
  const std::vector<xmlNode*> body = bodyOf(sample);
  if (!data.data.empty()) {
    inputs.push_back(given(target, data.data, body));
  } else if (!body.empty() || !data.values.empty()) {
    inputs.push_back({payloadName(target, body), false, filled(body, target, data.values, namespaces)});
  }
  const bool whole = !inputs.empty() && isEnvelope(inputs.front().name);
  if (whole && (data.hasToken || !data.header.empty())) {
    throw Failure(ExitCode::Input, data.data + " holds a whole envelope, which is sent as it is: " + (data.hasToken ? "--wss" : "--header-xml") +
                                       " cannot add to it; give the payload alone");
  }
  if (data.header.empty()) {
    const xmlNode* block = sample == nullptr || whole || data.hasToken ? nullptr : firstElement(partOf(sample, "Header"));
    if (block != nullptr)
      complain("note: the description tells of header blocks, such as " + qualifiedName(block) + "; --header-xml FILE sends them");
    return inputs;
  }
  const bool streamed = data.header != "-" && isRegularFile(data.header);
  inputs.push_back({soapName(target, "Header"), streamed, streamed ? data.header : readAll(data.header)});
  return inputs;
}

std::string envelopeOf(const Target& target, const std::vector<Input>& inputs, const Namespaces& namespaces) {
  std::string header;
  std::string body;
  for (const Input& input : inputs) {
    if (isEnvelope(input.name)) return finished(target, input);
    (input.name == soapName(target, "Header") ? header : body) = contentOf(input, namespaces);
  }
  const std::string ns(target.soap == "1.2" ? kSoap12Envelope : kSoap11Envelope);
  const std::string prefix = prefixFor(ns, namespaces);
  const auto part = [&](const std::string& name, const std::string& content) {
    return "<" + prefix + ":" + name + ">" + content + "</" + prefix + ":" + name + ">";
  };
  const bool declared = std::find(namespaces.begin(), namespaces.end(), std::pair(prefix, ns)) != namespaces.end();
  return "<" + prefix + ":Envelope" + (declared ? "" : declarations({{prefix, ns}})) + declarations(namespaces) + ">" +
         (header.empty() ? "" : part("Header", header)) + part("Body", body) + "</" + prefix + ":Envelope>\n";
}

}  // namespace qvwscli
