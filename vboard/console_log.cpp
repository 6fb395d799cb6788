#include "vboard/console_log.h"

#include <stdio.h>

#include <filesystem>

#include "vboard/board.h"

namespace vboard {
namespace {

// A board that is left on for days fills no disk: the file before this one is all that is kept.
constexpr size_t kMostBytes = size_t{8} << 20;

}  // namespace

std::string ConsolePath() {
  return Folder() + "/console";
}

ConsoleLog::ConsoleLog() {
  Begin();
}

void ConsoleLog::Begin() {
  file_ = std::ofstream(ConsolePath(), std::ios::binary | std::ios::trunc);
  size_ = 0;
}

void ConsoleLog::Add(const std::string &text) {
  char stamp[48];
  snprintf(stamp, sizeof stamp, "%u %.6f ", State().boots.load(), BoardTime());
  if (size_ > kMostBytes) {
    std::error_code ignored;
    std::filesystem::rename(ConsolePath(), ConsolePath() + ".old", ignored);
    Begin();
  }
  file_ << stamp << text << '\n' << std::flush;
  size_ += text.size();
}

}  // namespace vboard
