// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_HTTP_CATALOG_H
#define QVX_HTTP_CATALOG_H

#include "http/location.h"

#include <memory>
#include <string>

namespace qvx {

/// An XML catalogue (OASIS XML Catalogs 1.1) that maps locations to local copies. Private: the process' own catalogues are not looked at.
class Catalog {
 public:
  /// @throw Error BadConfig
  explicit Catalog(const std::string& path);
  Catalog(const Catalog&) = delete;
  Catalog& operator=(const Catalog&) = delete;
  ~Catalog();

  /// Where the document is: what the catalogue says, else the location itself.
  [[nodiscard]] Location map(const Location& location) const;

 private:
  struct Entries;
  std::unique_ptr<Entries> entries_;
};

}  // namespace qvx

#endif
