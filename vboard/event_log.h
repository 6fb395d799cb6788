// The event log of the open board, read as it grows.
#pragma once

#include <stddef.h>

#include <functional>
#include <string>

#include "vboard/transcript.h"

namespace vboard {

class EventLog {
 public:
  // Takes the whole lines that have come since. False when there is no log any more; throws
  // std::runtime_error when there was none in the first place.
  bool Take(const std::function<void(const std::string &)> &take);

 private:
  bool begun_ = false;
  size_t taken_ = 0;
};

}  // namespace vboard
