// What came on a board's console, as a file in the board's folder: a line each, with the boot and
// the board time at which it ended. For who looks at the board from another process.
#pragma once

#include <stddef.h>

#include <fstream>
#include <string>

namespace vboard {

class ConsoleLog {
 public:
  // Begins anew in the open board's folder.
  ConsoleLog();
  void Add(const std::string &text);

 private:
  void Begin();

  std::ofstream file_;
  size_t size_ = 0;
};

std::string ConsolePath();

}  // namespace vboard
