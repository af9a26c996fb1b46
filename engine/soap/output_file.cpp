// SPDX-License-Identifier: Apache-2.0
#include "soap/output_file.h"

#include "error.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <system_error>
#include <utility>

namespace qvx {

namespace {

constexpr std::size_t kBuffer = std::size_t{64} << 10;
constexpr int kNameAttempts = 1000;

struct Free {
  void operator()(char* text) const noexcept { std::free(text); }  // NOLINT(cppcoreguidelines-no-malloc): of realpath()
};

// A name that no other file has is found by trying.
std::string temporaryName(const std::string& place) {
  static std::atomic<unsigned> counter{0};
  return place.substr(0, place.rfind('/') + 1) + ".qvws-" + std::to_string(getpid()) + "-" + std::to_string(counter++) + ".part";
}

}  // namespace

OutputFile::OutputFile(std::string target) : target_(std::move(target)), place_(target_) {
  struct stat status {};
  const bool there = stat(target_.c_str(), &status) == 0;
  if (there && S_ISDIR(status.st_mode)) fail(EISDIR);
  if (there && !S_ISREG(status.st_mode)) {
    descriptor_ = open(target_.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor_ < 0) fail(errno);
    return;
  }
  if (there) {
    const std::unique_ptr<char, Free> resolved(realpath(target_.c_str(), nullptr));
    if (resolved == nullptr) fail(errno);
    place_ = resolved.get();
  }
  for (int attempt = 0; descriptor_ < 0; ++attempt) {
    std::string name = temporaryName(place_);
    descriptor_ = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor_ >= 0) temporary_ = std::move(name);
    if (descriptor_ < 0 && (errno != EEXIST || attempt == kNameAttempts)) fail(errno);
  }
}

void OutputFile::fail(int error) const {
  throw Error(ErrorCode::FileUnwritable, "the file '" + target_ + "' cannot be written: " + std::generic_category().message(error));
}

void OutputFile::write(std::string_view bytes) {
  buffer_ += bytes;
  if (buffer_.size() >= kBuffer) flush();
}

void OutputFile::flush() {
  for (std::string_view rest = buffer_; !rest.empty();) {
    const ssize_t written = ::write(descriptor_, rest.data(), rest.size());
    if (written < 0 && errno != EINTR) fail(errno);
    if (written > 0) rest.remove_prefix(static_cast<std::size_t>(written));
  }
  buffer_.clear();
}

void OutputFile::clear() {
  buffer_.clear();
  if (temporary_.empty()) fail(ESPIPE);
  if (ftruncate(descriptor_, 0) != 0 || lseek(descriptor_, 0, SEEK_SET) < 0) fail(errno);
}

void OutputFile::close() {
  if (descriptor_ < 0) return;
  flush();
  if (::close(std::exchange(descriptor_, -1)) != 0) fail(errno);
}

void OutputFile::keep() {
  if (temporary_.empty()) return;
  if (std::rename(temporary_.c_str(), place_.c_str()) != 0) fail(errno);
  temporary_.clear();
}

void OutputFile::discard() noexcept {
  if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
  if (!temporary_.empty()) unlink(temporary_.c_str());
  temporary_.clear();
  buffer_.clear();
}

}  // namespace qvx
