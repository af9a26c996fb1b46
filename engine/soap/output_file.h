// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_SOAP_OUTPUT_FILE_H
#define QVX_SOAP_OUTPUT_FILE_H

#include <string>
#include <string_view>

namespace qvx {

/// A file that is there whole or not at all: it is written beside its target and takes its place when it is kept. What is no regular file (a device,
/// a pipe) is written to as it is. Every operation but the last throws Error FileUnwritable.
class OutputFile {
 public:
  /// @param[in] target  a symbolic link to an existing file is followed
  explicit OutputFile(std::string target);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile() { discard(); }

  void write(std::string_view bytes);
  /// Begins anew.
  void clear();
  /// Nothing can be written after that.
  void close();
  /// After close(): puts the file in its target's place.
  void keep();
  /// Removes what was not kept.
  void discard() noexcept;

 private:
  void flush();
  [[noreturn]] void fail(int error) const;

  std::string target_;
  std::string place_;      ///< the target behind symbolic links
  std::string temporary_;  ///< empty: there is none (any more)
  std::string buffer_;
  int descriptor_ = -1;
};

}  // namespace qvx

#endif
