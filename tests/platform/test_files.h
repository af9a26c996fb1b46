// SPDX-License-Identifier: Apache-2.0
#ifndef QVP_TEST_FILES_H
#define QVP_TEST_FILES_H

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// A folder that lives as long as the object.
class TestFolder {
 public:
  TestFolder() {
    char pattern[] = "/tmp/qvp-test-XXXXXX";
    path_ = mkdtemp(pattern);
  }
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;
  ~TestFolder() { std::filesystem::remove_all(path_); }

  [[nodiscard]] std::string path(const std::string& name) const { return path_ + "/" + name; }
  std::string write(const std::string& name, const std::string& content, int mode = 0600) const {
    std::ofstream(path(name)) << content;
    std::filesystem::permissions(path(name), static_cast<std::filesystem::perms>(mode));
    return path(name);
  }
  [[nodiscard]] std::string read(const std::string& name) const {
    std::ifstream file(path(name));
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::string path_;
};

inline std::string outputOf(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  std::string output;
  for (int c = fgetc(pipe); c != EOF; c = fgetc(pipe)) output += static_cast<char>(c);
  return pclose(pipe) == 0 ? output : "the command failed: " + output;
}

#endif
