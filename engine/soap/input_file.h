// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_SOAP_INPUT_FILE_H
#define QVX_SOAP_INPUT_FILE_H

#include "xml/to_utf8.h"

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qvx {

/// A file that is read more than once: to check it and to send it. It is kept open, and must not change.
class InputFile {
 public:
  /// @param[in] value  what it holds, for messages
  /// @throw Error FileUnreadable; also when it is no regular file
  InputFile(const std::string& path, const std::string& value);
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;
  ~InputFile();

  [[nodiscard]] std::uint64_t size() const { return static_cast<std::uint64_t>(opened_.st_size); }
  /// "the value 'v' in the file 'p'"
  [[nodiscard]] const std::string& description() const { return description_; }
  /// Reads `most` bytes, less at the end of the file.
  /// @throw Error FileUnreadable; also when the file has changed since it was opened
  std::size_t read(std::uint64_t at, char* to, std::size_t most) const;
  /// @throw Error FileUnreadable
  [[noreturn]] void refuse(const std::string& why) const;

 private:
  std::string description_;
  int descriptor_ = -1;
  struct stat opened_ {};
};

/// Reads a file as UTF-8, without a byte order mark.
class DecodedFile {
 public:
  /// @param[in] encoding  empty when the file is to say it
  DecodedFile(const InputFile& file, std::string encoding);

  /// The next bytes, valid until the next call; empty at the end.
  /// @throw Error NotWellFormed (without a location), FileUnreadable
  std::string_view next();
  void rewind();
  [[nodiscard]] const ToUtf8& decoder() const { return decoder_; }

 private:
  const InputFile& file_;
  std::string encoding_;
  ToUtf8 decoder_;
  std::vector<char> buffer_;
  std::uint64_t at_ = 0;
  bool ended_ = false;
};

/// A stretch of a file, as it is sent.
class FileStretch {
 public:
  enum class Form {
    Raw,      ///< bytes as they are
    Decoded,  ///< as UTF-8
    Escaped   ///< as UTF-8, and escaped to be text in XML
  };

  /// @param[in] encoding    of a decoded one; empty when the file is to say it
  /// @param[in] begin, end  offsets in the file when raw, else in its UTF-8 form
  /// @param[in] size        bytes it comes to
  FileStretch(const InputFile& file, Form form, std::string encoding, std::uint64_t begin, std::uint64_t end, std::uint64_t size);

  [[nodiscard]] std::uint64_t size() const { return size_; }
  /// Reads the next bytes; 0 at the end.
  /// @throw Error FileUnreadable
  std::size_t read(char* to, std::size_t most);
  void rewind();

 private:
  bool fill();

  const InputFile& file_;
  Form form_;
  std::string encoding_;
  std::uint64_t begin_;
  std::uint64_t end_;
  std::uint64_t size_;
  std::uint64_t sent_ = 0;
  std::unique_ptr<DecodedFile> decoded_;  ///< made when it is needed
  std::uint64_t at_ = 0;                  ///< in the UTF-8 form
  std::string_view pending_;
  std::string escaped_;
};

}  // namespace qvx

#endif
