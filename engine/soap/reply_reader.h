// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_SOAP_REPLY_READER_H
#define QVX_SOAP_REPLY_READER_H

#include "names.h"
#include "soap/sample_message.h"
#include "xml/sax.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qvx {

/// A value that is wanted of a reply. `{soap namespace}Header`, `{…}Body` and `{…}Envelope` (of either SOAP version, whatever the reply's) are the
/// header blocks, the content of the body and the whole envelope. Any other name is the first child of the body with that name, or else the first
/// descendant.
struct WantedValue {
  QualifiedName name;
  std::string file;  ///< where it goes, by way of a temporary beside it; a device or pipe is written to as it is; empty = it is kept in memory
};

/// A value that was found.
struct FoundValue {
  std::size_t wanted = 0;  ///< which
  std::string_view text;   ///< NUL-terminated; null when it went to a file; valid until the next begin()
};

/// A fault of either version (SOAP 1.1 section 4.4, SOAP 1.2 part 1 section 5.4).
struct SoapFault {
  std::string code;                   ///< "{namespace}local", or the text as it stands when its prefix is not declared
  std::vector<std::string> subcodes;  ///< outermost first
  std::string reason;                 ///< in the language that fits
  std::string actor;                  ///< faultactor or Node
  std::string role;
  std::string detail;  ///< the element as stand-alone XML, at most 64 KiB

  /// For people and programs: one line each, "Name: text", only those there are, the detail last and on as many lines as it has.
  [[nodiscard]] std::string text() const;
};

/// Reads the answer to a call as it arrives: checks the envelope and cuts the wanted values out of the bytes received. Memory is what the values take
/// that are kept there, and no more. A value is the bytes as they came (as UTF-8), with those declarations of the elements around it put into its
/// start tag that are used in it, or that may be used when it goes to a file; so it stands alone, also where a prefix is part of a value (xsi:type).
/// Made for reuse.
class ReplyReader {
 public:
  enum class Kind {
    Empty,     ///< nothing but white space
    Envelope,  ///< a SOAP envelope without a fault
    Fault,
    Other  ///< something else; see problem()
  };

  explicit ReplyReader(const Limits& limits);
  ReplyReader(const ReplyReader&) = delete;
  ReplyReader& operator=(const ReplyReader&) = delete;
  ~ReplyReader();

  /// Begins a reply. Files that were not kept are discarded.
  /// @param[in] charset  of the content type; may be empty
  void begin(const std::vector<WantedValue>& wanted, const std::string& charset);
  /// What is no SOAP is no error here. White space in front of the document is passed over. After an error only begin() may be called.
  /// @throw Error LimitExceeded (a value kept in memory beyond the limit; depth), FileUnwritable
  void feed(std::string_view bytes);
  /// @throw as feed()
  void end();

  [[nodiscard]] Kind kind() const;
  [[nodiscard]] SoapVersion version() const;
  [[nodiscard]] const SoapFault& fault() const;
  /// Of `Other`: what is wrong, where, with the line.
  [[nodiscard]] const std::string& problem() const;
  /// The first bytes received, at most 1 KiB, as they are.
  [[nodiscard]] std::string_view beginning() const;
  /// In the order wanted; those not found are left out. None before end(), and none of `Other`.
  [[nodiscard]] const std::vector<FoundValue>& found() const;
  /// Renames the complete files to their targets.
  /// @throw Error FileUnwritable; then no target was touched, or those before the one that failed have been renamed
  void keepFiles();
  /// Removes temporary files that were not kept. Also done by the destructor.
  void discardFiles() noexcept;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace qvx

#endif
