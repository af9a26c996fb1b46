// SPDX-License-Identifier: Apache-2.0
#include "wsdl/loader.h"

#include "error.h"
#include "wsdl/reader.h"

#include <cstddef>
#include <unordered_map>
#include <utility>

namespace qvx::wsdl {

namespace {

Location target(const Location& document, const Reference& reference) {
  Location base = document;
  for (std::size_t from = 0; from < reference.base.size();) {
    std::size_t end = reference.base.find('\n', from);
    if (end == std::string::npos) end = reference.base.size();
    const std::string text = reference.base.substr(from, end - from);
    const bool folder = !text.empty() && text.back() == '/';
    base = resolve(base, text);
    // A path loses the slash that makes it a folder.
    if (base.isFile && folder && (base.text.empty() || base.text.back() != '/')) base.text += '/';
    from = end + 1;
  }
  return resolve(base, reference.location);
}

}  // namespace

void load(const Location& address, Transport& transport, const LocationMap& map, const Limits& limits, Loaded& out) {
  struct Pending {
    Location location;
    std::size_t from;
    Reference reference;
  };
  std::unordered_map<std::string, std::size_t> known;
  std::vector<Pending> queue{{map(address), 0, {}}};
  std::size_t total = 0;
  // A vector that grows while it is walked: breadth first, so that a document's own definitions win over what it imports.
  for (std::size_t next = 0; next < queue.size(); ++next) {
    const Pending pending = std::move(queue[next]);
    const bool first = next == 0;
    const auto importedBy = [&] {
      return out.model.documents[pending.from] + ", line " + std::to_string(pending.reference.line) + ": " + pending.reference.element + " of '" +
             pending.reference.location + "'";
    };
    const auto seen = known.find(pending.location.text);
    if (seen != known.end()) {
      if (!first) out.documents[pending.from].references.emplace(pending.reference.location, seen->second);
      continue;
    }
    if (out.documents.size() >= limits.documents) {
      throw Error(ErrorCode::LimitExceeded, importedBy() + " is one document more than " + std::to_string(limits.documents) +
                                                "; raise limits.documents in the configuration file if that is right");
    }
    const auto index = out.documents.size();
    Fetched fetched;
    try {
      fetched = transport.fetch(pending.location);
    } catch (const Error& error) {
      if (first || error.code() == ErrorCode::LimitExceeded) throw;
      throw Error(ErrorCode::UnresolvedImport, importedBy() + " cannot be followed: " + error.what() +
                                                   ". Put the document there, or map it to a local copy with a catalogue in the configuration file");
    }
    // A redirect may lead to a document that is here already under its own name.
    if (const auto same = known.find(fetched.location.text); same != known.end()) {
      out.documents[pending.from].references.emplace(pending.reference.location, same->second);
      known.emplace(pending.location.text, same->second);
      continue;
    }
    total += fetched.bytes->size();
    if (total > limits.totalBytes) {
      throw Error(ErrorCode::LimitExceeded, printable(pending.location) + ": all documents together are larger than " +
                                                std::to_string(limits.totalBytes) +
                                                " bytes; raise limits.total_bytes in the configuration file if that is right");
    }
    known.emplace(pending.location.text, index);
    known.emplace(fetched.location.text, index);
    out.model.documents.push_back(printable(fetched.location));
    out.documents.push_back({printable(fetched.location), fetched.bytes, fetched.encoding, {}});
    if (!first) out.documents[pending.from].references.emplace(pending.reference.location, index);
    Contents contents = readDocument(*fetched.bytes, fetched.encoding, static_cast<std::uint32_t>(index), limits, out.model);
    for (Reference& reference : contents.references) {
      Location where;
      try {
        where = map(target(fetched.location, reference));
      } catch (const Error& error) {
        throw Error(ErrorCode::UnresolvedImport, out.model.documents[index] + ", line " + std::to_string(reference.line) + ": " + reference.element +
                                                     " of '" + reference.location + "' cannot be followed: " + error.what());
      }
      queue.push_back({std::move(where), index, std::move(reference)});
    }
  }
}

}  // namespace qvx::wsdl
