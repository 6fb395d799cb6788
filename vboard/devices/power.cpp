// The board's power: the shell commands that restart it or switch it off, and a person at the
// switch. The commands return at once, as they do on the board; the programs go on until the
// board has shut down.
#include <stdexcept>

#include "vboard/board.h"
#include "vboard/device.h"
#include "vboard/faults.h"

namespace vboard {
namespace {

int Command(std::string_view line, std::string *) {
  if (line == "reboot") {
    State().power = Power::kRestart;
  } else if (line == "poweroff" || line == "halt") {
    State().power = Power::kOff;
  } else {
    return -1;
  }
  return 0;
}

// Somebody has to take the power away.
void NeedMachine() {
  if (!MachineRuns()) throw std::invalid_argument("no board runs in " + Folder());
}

void Cycle(std::span<const std::string>) {
  NeedMachine();
  State().power = Power::kRestart;
  Event("power: cycled from outside");
}

void On(std::span<const std::string>) {
  NeedMachine();
  if (State().power == Power::kOn) throw std::invalid_argument("the board is on");
  Event("power: switched on");
  State().power = Power::kRestart;
}

void Off(std::span<const std::string>) {
  NeedMachine();
  State().power = Power::kOff;
  Event("power: switched off");
}

void Cut(std::span<const std::string>) {
  NeedMachine();
  State().power = Power::kCut;
  Event("power: cut from outside");
}

void Hang(std::span<const std::string>) {
  NeedMachine();
  State().hanging = true;
  Event("power: every program hangs");
}

constexpr Action kActions[] = {
    {"power on", "", "switch the board on again", On},
    {"power hang", "", "stop every program where it is, without taking the power away", Hang},
    {"power cycle", "", "restart the board once its programs are quiet", Cycle},
    {"power off", "", "switch the board off once its programs are quiet", Off},
    {"power cut", "", "pull the plug: every program stops where it is, then the board starts anew",
     Cut},
};

}  // namespace

extern const Device kPower;
const Device kPower = {
    .name = "power",
    .command = Command,
    .help = "the board's power",
    .actions = kActions,
};

}  // namespace vboard
