// The event log of the open board, read as it grows.
#pragma once

#include <stddef.h>

#include <functional>
#include <string>

#include "vboard/transcript.h"

namespace vboard {

class EventLog {
 public:
  // Takes the whole lines that have come since. False when there is no log any more.
  bool Take(const std::function<void(const std::string &)> &take);

 private:
  size_t taken_ = 0;
};

}  // namespace vboard
