// SPDX-License-Identifier: Apache-2.0
#include "base/port.h"

#include "base/wipe.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <system_error>

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

namespace qvp::port {
namespace {

#if defined(_WIN32)
constexpr int kOpenFlags = _O_BINARY | _O_NOINHERIT;
using Count = int;
int openFile(const char* path, int flags, int mode) {
  return _open(path, flags | kOpenFlags, mode);
}
int closeFile(int descriptor) {
  return _close(descriptor);
}
Count readSome(int descriptor, char* bytes, size_t count) {
  return _read(descriptor, bytes, static_cast<unsigned>(count));
}
Count writeSome(int descriptor, const char* bytes, size_t count) {
  return _write(descriptor, bytes, static_cast<unsigned>(count));
}
#else
using Count = ssize_t;
int openFile(const char* path, int flags, int mode) {
  return ::open(path, flags | O_CLOEXEC, mode);
}
int closeFile(int descriptor) {
  return ::close(descriptor);
}
Count readSome(int descriptor, char* bytes, size_t count) {
  return ::read(descriptor, bytes, count);
}
Count writeSome(int descriptor, const char* bytes, size_t count) {
  return ::write(descriptor, bytes, count);
}
#endif

std::string reason(const std::string& path, int number) {
  return path + ": " + std::generic_category().message(number);
}

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) closeFile(number_);
  }
  [[nodiscard]] int get() const { return number_; }

 private:
  int number_;
};

/// Whether only the owner of the open file can reach it. Asked of the descriptor, so that the file cannot be exchanged in between.
bool isPrivate(int descriptor, const std::string& path, std::string& error) {
#if defined(_WIN32)
  static_cast<void>(descriptor);
  error = path + ": who can read it cannot be told on this system, so it is not used";
  return false;
#else
  struct stat state {};
  if (fstat(descriptor, &state) != 0) {
    error = reason(path, errno);
    return false;
  }
  if (!S_ISREG(state.st_mode)) {
    error = path + ": not a regular file";
  } else if (state.st_uid != geteuid() && state.st_uid != 0) {
    error = path + ": belongs to another user";
  } else if ((state.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    error = path + ": others than its owner can use it; allow only the owner (chmod 600)";
  } else {
    return true;
  }
  return false;
#endif
}

Read read(const std::string& path, bool mustBePrivate, std::string& content, std::string& error) {
#if defined(_WIN32)
  constexpr int kFlags = O_RDONLY;
#else
  constexpr int kFlags = O_RDONLY | O_NONBLOCK;  // a pipe under that name must not stop the program
#endif
  const Descriptor file(openFile(path.c_str(), kFlags, 0));
  if (file.get() < 0) {
    const int number = errno;
    error = reason(path, number);
    return number == ENOENT || number == ENOTDIR ? Read::Absent : Read::Failed;
  }
  if (mustBePrivate && !isPrivate(file.get(), path, error)) return Read::Failed;
  content.clear();
  content.reserve(4096);
  Secret buffer;
  buffer.text.resize(4096);
  for (;;) {
    const Count count = readSome(file.get(), buffer.text.data(), buffer.text.size());
    if (count == 0) return Read::Done;
    if (count < 0) {
      if (errno == EINTR) continue;
      error = reason(path, errno);
      return Read::Failed;
    }
    content.append(buffer.text.data(), static_cast<size_t>(count));
  }
}

}  // namespace

std::optional<std::string> environment(const char* name) {
  const char* value = getenv(name);
  if (value == nullptr || *value == '\0') return std::nullopt;
  return value;
}

std::optional<std::string> userConfigPath(const char* relative) {
  if (const auto folder = environment("XDG_CONFIG_HOME")) return *folder + "/" + relative;
#if defined(_WIN32)
  if (const auto folder = environment("APPDATA")) return *folder + "/" + relative;
#else
  if (const auto home = environment("HOME")) return *home + "/.config/" + relative;
#endif
  return std::nullopt;
}

Read readFile(const std::string& path, std::string& content, std::string& error) {
  return read(path, false, content, error);
}
Read readPrivateFile(const std::string& path, std::string& content, std::string& error) {
  return read(path, true, content, error);
}

bool createPrivateFile(const std::string& path, const std::string& content, std::string& error) {
  const Descriptor file(openFile(path.c_str(), O_WRONLY | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR));
  if (file.get() < 0) {
    error = reason(path, errno);
    return false;
  }
  size_t done = 0;
  while (done < content.size()) {
    const Count count = writeSome(file.get(), content.data() + done, content.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) {
      error = reason(path, errno);
      return false;
    }
    done += static_cast<size_t>(count);
  }
  return true;
}

int openAppend(const std::string& path, std::string& error) {
  const int descriptor = openFile(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, S_IRUSR | S_IWUSR);
  if (descriptor < 0) error = reason(path, errno);
  return descriptor;
}

void writeAll(int descriptor, const char* bytes, size_t count) noexcept {
  const int kept = errno;  // who logs a failure still wants to read its number
  while (count > 0) {
    const Count done = writeSome(descriptor, bytes, count);
    if (done < 0 && errno == EINTR) continue;
    if (done <= 0) break;
    bytes += done;
    count -= static_cast<size_t>(done);
  }
  errno = kept;
}

}  // namespace qvp::port
