// SPDX-License-Identifier: Apache-2.0
#include "xml/sax.h"

#include "error.h"
#include "names.h"
#include "xml/parser_glue.h"

#include <libxml/SAX2.h>
#include <libxml/parser.h>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <limits>
#include <memory>

namespace qvx {

std::optional<std::string_view> SaxElement::attribute(std::string_view local, std::string_view ns) const {
  // Five pointers each: name, prefix, namespace, first and behind the last byte of the value.
  for (int i = 0; i < count_; ++i) {
    const unsigned char** const at = attributes_ + std::ptrdiff_t{5} * i;
    if (view(at[0]) == local && view(at[2]) == ns)
      return std::string_view(reinterpret_cast<const char*>(at[3]), static_cast<std::size_t>(at[4] - at[3]));
  }
  return std::nullopt;
}

struct SaxReader::Callbacks {
  explicit Callbacks(SaxReader& owner, xmlParserCtxt* parser) : target(owner), context(parser) {}

  SaxReader& target;
  xmlParserCtxt* context;
  std::exception_ptr thrown;
  std::string complaint;
  int complaintLine = 0;

  // No exception may pass through the parser's frames.
  template <typename Action>
  static void guarded(void* self, Action action) noexcept {
    auto& callbacks = *static_cast<Callbacks*>(self);
    if (callbacks.thrown) return;
    try {
      action(callbacks.target);
    } catch (...) {
      callbacks.thrown = std::current_exception();
      xmlStopParser(callbacks.context);
    }
  }

  static void onStart(void* self, const xmlChar* local, const xmlChar* prefix, const xmlChar* ns, int namespaceCount, const xmlChar** namespaces,
                      int attributeCount, int /*defaulted*/, const xmlChar** attributes) {
    guarded(self, [&](SaxReader& reader) {
      const std::size_t all = static_cast<std::size_t>(attributeCount) + static_cast<std::size_t>(namespaceCount);
      if (++reader.depth_ > reader.limits_.depth || all > reader.limits_.attributes)
        checkElementLimits(reader.limits_, reader.depth_, all, view(local), reader.where());
      for (int i = 0; i < namespaceCount; ++i) {
        reader.declarations_.push_back(
            {std::string(view(namespaces[std::ptrdiff_t{2} * i])), std::string(view(namespaces[std::ptrdiff_t{2} * i + 1])), reader.depth_});
      }
      if (prefix != nullptr && ns == nullptr) {
        throw Error(ErrorCode::BadReference, reader.where() + ": the prefix '" + std::string(view(prefix)) + "' of element '" +
                                                 std::string(view(local)) + "' is not declared; declare it with xmlns:" + std::string(view(prefix)));
      }
      reader.onStart(SaxElement(view(local), view(ns), attributes, attributeCount));
    });
  }

  static void onEnd(void* self, const xmlChar* /*local*/, const xmlChar* /*prefix*/, const xmlChar* /*ns*/) {
    guarded(self, [](SaxReader& reader) {
      reader.onEnd();
      while (!reader.declarations_.empty() && reader.declarations_.back().depth == reader.depth_) reader.declarations_.pop_back();
      --reader.depth_;
    });
  }

  static void onText(void* self, const xmlChar* text, int length) {
    guarded(self, [&](SaxReader& reader) { reader.onText({reinterpret_cast<const char*>(text), static_cast<std::size_t>(length)}); });
  }

  static void onDoctype(void* self, const xmlChar* /*name*/, const xmlChar* /*publicId*/, const xmlChar* /*systemId*/) {
    guarded(self, [](SaxReader& reader) {
      throw Error(ErrorCode::DtdRefused,
                  reader.where() +
                      ": the document has a document type declaration (<!DOCTYPE>), which is refused; remove it, or give the address of the WSDL "
                      "itself if this is a web page");
    });
  }

  static void onComplaint(void* self, ParserComplaint error) {
    auto& callbacks = *static_cast<Callbacks*>(self);
    if (error->level != XML_ERR_FATAL || !callbacks.complaint.empty() || callbacks.thrown) return;
    try {
      callbacks.complaint = complaintText(*error);
      callbacks.complaintLine = error->line;
    } catch (...) {
      callbacks.thrown = std::current_exception();
      xmlStopParser(callbacks.context);
    }
  }
};

void SaxReader::read(std::string_view bytes, const std::string& encoding) {
  initialiseParser();
  if (bytes.size() > limits_.documentBytes || bytes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    throw Error(ErrorCode::LimitExceeded, location_ + ": the document is larger than " + std::to_string(limits_.documentBytes) +
                                              " bytes; raise limits.document_bytes in the configuration file if that is right");
  }
  if (bytes.empty()) throw Error(ErrorCode::NotWellFormed, location_ + ": the document is empty; check that this is the address of a WSDL");
  const std::unique_ptr<xmlParserCtxt, FreeParser> context(xmlNewParserCtxt());
  if (context == nullptr) throw std::bad_alloc();
  Callbacks callbacks(*this, context.get());
  xmlSAXHandler& sax = *context->sax;
  sax = xmlSAXHandler{};
  sax.initialized = XML_SAX2_MAGIC;
  sax.startElementNs = Callbacks::onStart;
  sax.endElementNs = Callbacks::onEnd;
  sax.characters = Callbacks::onText;
  sax.ignorableWhitespace = Callbacks::onText;
  sax.cdataBlock = Callbacks::onText;
  sax.internalSubset = Callbacks::onDoctype;
  sax.serror = Callbacks::onComplaint;
  context->userData = &callbacks;
  depth_ = 0;
  declarations_.clear();
  context_ = context.get();
  // References in attribute values are only replaced when asked for; there are none but the five predefined ones without a DTD.
  const int options = XML_PARSE_NOENT | XML_PARSE_NONET | XML_PARSE_HUGE;
  const bool known = !encoding.empty() && xmlFindCharEncodingHandler(encoding.c_str()) != nullptr;
  xmlDoc* const none =
      xmlCtxtReadMemory(context.get(), bytes.data(), static_cast<int>(bytes.size()), nullptr, known ? encoding.c_str() : nullptr, options);
  if (none != nullptr) xmlFreeDoc(none);
  context_ = nullptr;
  if (callbacks.thrown) std::rethrow_exception(callbacks.thrown);
  if (context->lastError.code == XML_ERR_NO_MEMORY) throw std::bad_alloc();
  if (context->wellFormed == 0) {
    throw Error(ErrorCode::NotWellFormed, location_ + ", line " + std::to_string(callbacks.complaintLine) +
                                              ": the document is not well-formed XML (" +
                                              (callbacks.complaint.empty() ? std::string("it cannot be decoded") : callbacks.complaint) +
                                              "); check that this is the address of a WSDL");
  }
}

std::uint32_t SaxReader::line() const {
  if (context_ == nullptr) return 0;
  const int at = xmlSAX2GetLineNumber(context_);
  return at < 0 ? 0 : static_cast<std::uint32_t>(at);
}

std::string SaxReader::where() const {
  return location_ + ", line " + std::to_string(line());
}

std::optional<std::string_view> SaxReader::lookup(std::string_view prefix) const {
  const auto found = std::find_if(declarations_.rbegin(), declarations_.rend(), [&](const Declaration& one) { return one.prefix == prefix; });
  if (found != declarations_.rend()) return found->ns;
  if (prefix.empty()) return std::string_view("");
  if (prefix == "xml") return xmlns::kXml;
  return std::nullopt;
}

}  // namespace qvx
