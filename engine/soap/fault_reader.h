// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_SOAP_FAULT_READER_H
#define QVX_SOAP_FAULT_READER_H

#include "soap/reply_reader.h"
#include "xml/push_reader.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qvx {

/// Takes what stands in a Fault element of either version, but the detail.
class FaultReader {
 public:
  using Lookup = std::function<std::optional<std::string_view>(std::string_view prefix)>;

  void begin();
  /// An element within Fault.
  /// @return whether it is the detail: then nothing of it is to be reported, not even its end
  bool start(const PushTag& tag);
  void text(std::string_view text);
  /// @param[in] lookup  the namespace of a prefix at this point
  void end(const Lookup& lookup);
  /// The fault, complete but for the detail, when everything was reported.
  SoapFault finish();

 private:
  enum class Field { None, Code, Subcode, Reason, Actor, Role };
  struct Reason {
    std::string language;
    std::string text;
  };

  [[nodiscard]] Field field() const;

  SoapFault fault_;
  std::vector<Reason> reasons_;
  std::string path_;  ///< below Fault, with "/" before each name
  std::string language_;
  std::string text_;
};

/// Which of these languages fits best: that of the process, else English, else the first.
std::size_t fittingLanguage(const std::vector<std::string_view>& languages, std::string_view own);

/// As text, with each run of white space made one blank and none at either end.
std::string collapsed(std::string_view text);

}  // namespace qvx

#endif
