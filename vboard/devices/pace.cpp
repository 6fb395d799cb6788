// Not a part of the board, but of how somebody watches it: how fast its time goes.
#include <stdexcept>

#include "vboard/board.h"
#include "vboard/device.h"

namespace vboard {
namespace {

constexpr uint32_t kMostSpeed = 100'000;

void SetSpeed(std::span<const std::string> words) {
  Time &time = State().time;
  if (!MachineRuns()) throw std::invalid_argument("no board runs in " + Folder());
  const bool pauses = words[0] == "pause";
  if (!pauses) time.speed = words[0] == "free" ? 0 : NumberOf(words[0], kMostSpeed);
  time.paused = pauses;
}

constexpr Action kActions[] = {
    {"time speed", "SPEED",
     "let the board's time go SPEED seconds a second, 'free' of the PC's, or 'pause'", SetSpeed},
};

}  // namespace

extern const Device kPace;
const Device kPace = {
    .name = "time",
    .help = "how fast the board's time goes",
    .actions = kActions,
};

}  // namespace vboard
