// SPDX-License-Identifier: Apache-2.0
#include "soap/input_file.h"

#include "error.h"
#include "xml/characters.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace qvx {

namespace {

constexpr std::size_t kPiece = std::size_t{64} << 10;

std::string reason(int number) {
  return std::generic_category().message(number);
}

}  // namespace

InputFile::InputFile(const std::string& path, const std::string& value) : description_(value + " in the file '" + path + "'") {
  // Without waiting for a writer, should it be a pipe.
  descriptor_ = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor_ < 0) refuse("it cannot be opened (" + reason(errno) + ")");
  const int failure = fstat(descriptor_, &opened_) != 0 ? errno : 0;
  if (failure == 0 && S_ISREG(opened_.st_mode)) return;
  close(descriptor_);
  refuse(failure != 0 ? "it cannot be read (" + reason(failure) + ")"
                      : "it is no regular file, and only those can be read again while they are sent");
}

InputFile::~InputFile() {
  close(descriptor_);
}

void InputFile::refuse(const std::string& why) const {
  throw Error(ErrorCode::FileUnreadable, description_ + ": " + why);
}

std::size_t InputFile::read(std::uint64_t at, char* to, std::size_t most) const {
  std::size_t got = 0;
  while (got < most) {
    const ssize_t count = pread(descriptor_, to + got, most - got, static_cast<off_t>(at + got));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) refuse("it cannot be read (" + reason(errno) + ")");
    if (count == 0) break;
    got += static_cast<std::size_t>(count);
  }
  struct stat now {};
  if (fstat(descriptor_, &now) != 0) refuse("it cannot be read (" + reason(errno) + ")");
  const bool same = now.st_size == opened_.st_size && now.st_mtim.tv_sec == opened_.st_mtim.tv_sec && now.st_mtim.tv_nsec == opened_.st_mtim.tv_nsec;
  if (!same) refuse("it changed while it was being sent; leave it alone until the call has ended");
  return got;
}

DecodedFile::DecodedFile(const InputFile& file, std::string encoding) : file_(file), encoding_(std::move(encoding)), buffer_(kPiece) {
  rewind();
}

void DecodedFile::rewind() {
  decoder_.begin(encoding_, {});
  at_ = 0;
  ended_ = false;
}

std::string_view DecodedFile::next() {
  while (!ended_) {
    const std::size_t count = file_.read(at_, buffer_.data(), buffer_.size());
    at_ += count;
    ended_ = count == 0;
    const std::string_view bytes = ended_ ? decoder_.end() : decoder_.feed({buffer_.data(), count});
    if (!bytes.empty()) return bytes;
  }
  return {};
}

FileStretch::FileStretch(const InputFile& file, Form form, std::string encoding, std::uint64_t begin, std::uint64_t end, std::uint64_t size)
    : file_(file), form_(form), encoding_(std::move(encoding)), begin_(begin), end_(end), size_(size) {}

void FileStretch::rewind() {
  sent_ = 0;
  at_ = 0;
  pending_ = {};
  if (decoded_ != nullptr) decoded_->rewind();
}

std::size_t FileStretch::read(char* to, std::size_t most) {
  most = static_cast<std::size_t>(std::min<std::uint64_t>(most, size_ - sent_));
  if (most == 0) return 0;
  std::size_t got = 0;
  if (form_ == Form::Raw) {
    got = file_.read(begin_ + sent_, to, most);
  } else if (!pending_.empty() || fill()) {
    got = std::min(most, pending_.size());
    std::memcpy(to, pending_.data(), got);
    pending_.remove_prefix(got);
  }
  if (got == 0) file_.refuse("it ended before all of it was read");
  sent_ += got;
  return got;
}

// Makes the next bytes pending; false when there are none.
bool FileStretch::fill() {
  if (decoded_ == nullptr) decoded_ = std::make_unique<DecodedFile>(file_, encoding_);
  while (at_ < end_) {
    std::string_view bytes = decoded_->next();
    if (bytes.empty()) return false;
    const std::uint64_t from = std::exchange(at_, at_ + bytes.size());
    if (at_ > end_) bytes.remove_suffix(static_cast<std::size_t>(at_ - end_));
    if (from < begin_) bytes.remove_prefix(static_cast<std::size_t>(std::min<std::uint64_t>(begin_ - from, bytes.size())));
    if (bytes.empty()) continue;
    pending_ = bytes;
    if (form_ == Form::Escaped) {
      escaped_.clear();
      appendXmlText(escaped_, bytes);
      pending_ = escaped_;
    }
    return true;
  }
  return false;
}

}  // namespace qvx
