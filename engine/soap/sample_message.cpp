// SPDX-License-Identifier: Apache-2.0
#include "soap/sample_message.h"

#include "schema/schema_text.h"

#include <string_view>

namespace qvx {

namespace {

// An XPath 1.0 literal; a text with both kinds of quotes has to be put together.
std::string literal(std::string_view text) {
  if (text.find('\'') == std::string_view::npos) return "'" + std::string(text) + "'";
  if (text.find('"') == std::string_view::npos) return "\"" + std::string(text) + "\"";
  std::string result = "concat('";
  for (const char c : text) result += c == '\'' ? std::string("',\"'\",'") : std::string(1, c);
  return result + "')";
}

std::string step(std::string_view ns, std::string_view local) {
  return "/*[local-name()=" + literal(local) + " and namespace-uri()=" + literal(ns) + "]";
}

}  // namespace

MessageTexts describeMessage(const MessageShape& shape, SchemaSet& schemas) {
  const bool soap12 = shape.version == SoapVersion::Soap12;
  const std::string_view envelope = soap12 ? xmlns::kSoap12Envelope : xmlns::kSoap11Envelope;
  const bool oneElement = shape.body.size() == 1 && !shape.body.front().isType;
  MessageTexts texts;
  texts.name = oneElement ? shape.body.front().name : shape.message;
  texts.schema = schemas.schemaText(shape.body);

  std::string& xml = texts.xml;
  xml = "<soapenv:Envelope xmlns:soapenv=\"" + std::string(envelope) + "\">\n";
  if (!shape.headers.empty()) {
    xml += "  <soapenv:Header>\n";
    for (const MessagePart& part : shape.headers) schemas.appendSample(part, 4, xml);
    xml += "  </soapenv:Header>\n";
  }
  const auto body = [&](int indent) {
    for (const MessagePart& part : shape.body) schemas.appendSample(part, indent, xml);
  };
  texts.xpath = step(envelope, "Envelope") + step(envelope, "Body");
  if (shape.isFault) {
    xml += "  <soapenv:Body>\n    <soapenv:Fault>\n";
    if (soap12) {
      xml +=
          "      <soapenv:Code>\n        <soapenv:Value>soapenv:Receiver</soapenv:Value>\n      </soapenv:Code>\n"
          "      <soapenv:Reason>\n        <soapenv:Text xml:lang=\"en\">text</soapenv:Text>\n      </soapenv:Reason>\n";
    } else {
      xml += "      <faultcode>soapenv:Server</faultcode>\n      <faultstring>text</faultstring>\n";
    }
    const std::string detail = soap12 ? "soapenv:Detail" : "detail";
    if (shape.body.empty()) {
      xml += "      <" + detail + "/>\n";
    } else {
      xml += "      <" + detail + ">\n";
      body(8);
      xml += "      </" + detail + ">\n";
    }
    xml += "    </soapenv:Fault>\n  </soapenv:Body>\n";
    texts.xpath += step(envelope, "Fault") + (soap12 ? step(envelope, "Detail") : step("", "detail"));
  } else if (shape.body.empty()) {
    xml += "  <soapenv:Body/>\n";
  } else {
    xml += "  <soapenv:Body>\n";
    body(4);
    xml += "  </soapenv:Body>\n";
  }
  xml += "</soapenv:Envelope>\n";
  if (shape.body.size() == 1) {
    const MessagePart& part = shape.body.front();
    texts.xpath += part.isType ? step("", schema::elementName(part.part)) : step(part.name.ns, schema::elementName(part.name.local));
  } else if (shape.body.size() > 1) {
    texts.xpath += "/*";
  }
  return texts;
}

}  // namespace qvx
