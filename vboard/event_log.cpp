#include "vboard/event_log.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "vboard/board.h"

namespace vboard {

bool EventLog::Take(const std::function<void(const std::string &)> &take) {
  std::error_code error;
  const auto size = std::filesystem::file_size(EventsPath(), error);
  std::ifstream log(EventsPath(), std::ios::binary);
  if (!begun_ && (error || !log)) {
    throw std::runtime_error(std::string(EventsPath()) + ": cannot be read");
  }
  begun_ = true;
  if (error || !log) return false;
  if (size < taken_) taken_ = 0;  // a new board was made here
  log.seekg(static_cast<std::streamoff>(taken_));
  for (std::string line; std::getline(log, line) && !log.eof();) {
    taken_ += line.size() + 1;
    take(line);
  }
  return true;
}

}  // namespace vboard
