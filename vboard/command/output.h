// Where a command's result goes.
#pragma once

#include <string>

namespace vboard::command {

// Ends the standard output. Throws std::runtime_error when not all of it was taken.
void EndOutput();

// A file for a result that comes later. It keeps what it holds until then. Throws
// std::runtime_error with its name when it cannot be written, or not whole.
class ResultFile {
 public:
  explicit ResultFile(std::string path);
  ~ResultFile();
  ResultFile(const ResultFile &) = delete;
  ResultFile &operator=(const ResultFile &) = delete;
  void Write(const std::string &text);

 private:
  [[noreturn]] void Fail();

  std::string path_;
  int fd_;
};

}  // namespace vboard::command
