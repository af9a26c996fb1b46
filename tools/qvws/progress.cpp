// SPDX-License-Identifier: Apache-2.0
#include "progress.h"

#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#if defined(__linux__)
#include <linux/tcp.h>
#endif

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

namespace qvwscli {
namespace {

constexpr auto kBetween = std::chrono::milliseconds(200);

struct Traffic {
  std::uint64_t sent = 0;
  std::uint64_t received = 0;
};

/// What the process's TCP connections have carried; nothing when the system does not tell.
std::optional<Traffic> traffic() {
  std::optional<Traffic> all;
#if defined(__linux__)
  const auto close = [](DIR* folder) { closedir(folder); };
  const std::unique_ptr<DIR, decltype(close)> descriptors(opendir("/proc/self/fd"), close);
  if (descriptors == nullptr) return all;
  while (const dirent* entry = readdir(descriptors.get())) {
    const int descriptor = static_cast<int>(std::strtol(entry->d_name, nullptr, 10));
    tcp_info info{};
    socklen_t size = sizeof info;
    if (descriptor <= STDERR_FILENO || getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &size) != 0) continue;
    // An older kernel fills in less of it.
    if (size < offsetof(tcp_info, tcpi_bytes_received) + sizeof info.tcpi_bytes_received) continue;
    if (!all) all.emplace();
    all->sent += info.tcpi_bytes_acked;
    all->received += info.tcpi_bytes_received;
  }
#endif
  return all;
}

std::string amount(std::uint64_t bytes) {
  constexpr std::array<const char*, 4> kUnits = {"B", "KiB", "MiB", "GiB"};
  auto value = static_cast<double>(bytes);
  std::size_t unit = 0;
  for (; value >= 1024 && unit + 1 < kUnits.size(); ++unit) value /= 1024;
  char text[32];
  std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", value, kUnits[unit]);
  return text;
}

}  // namespace

Progress::Progress() : onTerminal_(isatty(STDERR_FILENO) == 1) {}

void Progress::update() {
  const Clock::time_point now = Clock::now();
  if (!onTerminal_ || now < next_) return;
  next_ = now + kBetween;
  char elapsed[32];
  std::snprintf(elapsed, sizeof elapsed, "%.1f s", std::chrono::duration<double>(now - begin_).count());
  std::string line = "\r\033[Kqvws: ";
  if (const std::optional<Traffic> bytes = traffic()) line += "sent " + amount(bytes->sent) + ", received " + amount(bytes->received) + ", ";
  line += elapsed;
  // A line that cannot be drawn is no reason to fail.
  drawn_ = write(STDERR_FILENO, line.data(), line.size()) > 0 || drawn_;
}

void Progress::erase() {
  if (!drawn_) return;
  drawn_ = false;
  constexpr char kErase[] = "\r\033[K";
  (void)!write(STDERR_FILENO, kErase, sizeof kErase - 1);
}

}  // namespace qvwscli
