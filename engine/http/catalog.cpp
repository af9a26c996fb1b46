// SPDX-License-Identifier: Apache-2.0
#include "http/catalog.h"

#include "error.h"
#include "xml/sax.h"

#include <libxml/catalog.h>
#include <libxml/xmlmemory.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <string_view>
#include <system_error>

namespace qvx {

namespace {

/// Looks a catalogue through before libxml2 gets it: that one passes over what is wrong, and would fetch a further catalogue from a server.
class Check final : public SaxReader {
 public:
  using SaxReader::SaxReader;

 protected:
  void onStart(const SaxElement& element) override {
    if (depth() == 1 && !element.is("urn:oasis:names:tc:entity:xmlns:xml:catalog", "catalog")) {
      throw Error(ErrorCode::BadConfig, where() + ": the root element '" + std::string(element.local()) + "' is not that of an OASIS XML catalogue");
    }
    const std::string_view further = element.attribute("catalog").value_or("");
    if (further.find("://") != std::string_view::npos && further.rfind("file:", 0) != 0) {
      throw Error(ErrorCode::BadConfig, where() + ": element '" + std::string(element.local()) + "' names the catalogue '" + std::string(further) +
                                            "', which is not a local file; copy it here and name the copy");
    }
  }
  void onEnd() override {}
  void onText(std::string_view /*text*/) override {}
};

void check(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(in), {}};
  const Limits limits;
  try {
    Check(path, limits).read(bytes, {});
  } catch (const Error& error) {
    throw Error(ErrorCode::BadConfig, std::string("The XML catalogue cannot be used: ") + error.what());
  }
}

}  // namespace

struct Catalog::Entries {
  xmlCatalogPtr catalog = nullptr;

  Entries() = default;
  Entries(const Entries&) = delete;
  Entries& operator=(const Entries&) = delete;
  ~Entries() {
    if (catalog != nullptr) xmlFreeCatalog(catalog);
  }
};

Catalog::Catalog(const std::string& path) : entries_(std::make_unique<Entries>()) {
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(path, ignored)) {
    throw Error(ErrorCode::BadConfig, path + ": the catalogue is not there; correct 'catalog' in the configuration file");
  }
  check(path);
  entries_->catalog = xmlLoadACatalog(path.c_str());
  if (entries_->catalog == nullptr) throw Error(ErrorCode::BadConfig, path + ": the catalogue cannot be read; it has to be an OASIS XML catalogue");
}

Catalog::~Catalog() = default;

Location Catalog::map(const Location& location) const {
  const auto* const text = reinterpret_cast<const xmlChar*>(location.text.c_str());
  xmlChar* found = xmlACatalogResolveURI(entries_->catalog, text);
  if (found == nullptr) found = xmlACatalogResolveSystem(entries_->catalog, text);
  if (found == nullptr) return location;
  const std::unique_ptr<xmlChar, void (*)(void*)> owner(found, [](void* one) { xmlFree(one); });
  return locate(reinterpret_cast<const char*>(found));
}

}  // namespace qvx
