// SPDX-License-Identifier: Apache-2.0
#ifndef QVP_BASE_PORT_H
#define QVP_BASE_PORT_H

#include <stddef.h>

#include <optional>
#include <string>

// What the base and the log need of the operating system.
namespace qvp::port {

/// An environment variable; absent when unset or empty.
std::optional<std::string> environment(const char* name);
/// `relative` below the user's configuration folder ($XDG_CONFIG_HOME, else ~/.config); absent when there is none.
std::optional<std::string> userConfigPath(const char* relative);

enum class Read { Done, Absent, Failed };

/// Reads a whole file.
/// @param[out] error  on failure what is wrong with it, beginning with the path; also when it is absent
Read readFile(const std::string& path, std::string& content, std::string& error);
/// Likewise, and refuses a file that others than its owner can read or write, or whose owner is neither the process's user nor root.
Read readPrivateFile(const std::string& path, std::string& content, std::string& error);
/// Makes a file that only its owner can read; fails when it exists.
bool createPrivateFile(const std::string& path, const std::string& content, std::string& error);

/// A descriptor to append to a file, which is made when absent; -1 on failure with the reason.
int openAppend(const std::string& path, std::string& error);
/// Writes everything, in one system call when the system takes it so; what cannot be written is lost.
void writeAll(int descriptor, const char* bytes, size_t count) noexcept;

}  // namespace qvp::port

#endif
