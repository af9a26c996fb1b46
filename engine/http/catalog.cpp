// SPDX-License-Identifier: Apache-2.0
#include "http/catalog.h"

#include "error.h"

#include <libxml/catalog.h>
#include <libxml/xmlmemory.h>

#include <filesystem>
#include <new>
#include <system_error>

namespace qvx {

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
