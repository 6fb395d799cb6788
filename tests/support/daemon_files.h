// Test cases on the files that the system's daemons read and write.
#pragma once

#include <string.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/support/board_test.h"

namespace test {

// A name that ends in '/' makes a folder, which keeps a file from being made there.
inline void Put(const std::string &path, const std::string &content) {
  vboard::WriteFile(vboard::RootPath(path), content);
}

// A missing file has the content "none".
inline std::string Content(const std::string &path) {
  const std::string place = vboard::RootPath(path);
  return std::filesystem::is_regular_file(place) ? vboard::ReadFile(place) : "none";
}

inline void SetRights(const std::string &path, mode_t rights) {
  chmod(vboard::RootPath(path).c_str(), rights);
}
inline mode_t Rights(const std::string &path) {
  struct stat status = {};
  stat(vboard::RootPath(path).c_str(), &status);
  return status.st_mode & 0777U;
}

// The result of an operation, and what it printed.
inline std::string Call(const std::function<int32_t()> &operation) {
  int32_t result = 0;
  const std::string printed = Printed([&] {
    fputs(">", stdout);  // which a command that the operation runs does not overtake
    result = operation();
  });
  return std::to_string(result) + " " + printed.substr(1);
}

// Fills a field of a record; a text of its size has no terminator.
template <size_t N>
void Fill(char (&field)[N], const std::string &text) {
  text.copy(field, N);
}

template <size_t N>
std::string Field(const char (&field)[N]) {
  return {field, strnlen(field, N)};
}

}  // namespace test
