// vboard exec: a program of the PC on the board.
#include <signal.h>

#include "vboard/board.h"
#include "vboard/command/command.h"
#include "vboard/guard.h"
#include "vboard/machine.h"
#include "vboard/processes.h"

namespace vboard::command {
namespace {

// A machine alone switches its board on and off.
void TakePower() {
  const Lock lock;
  if (State().power == Power::kOn) return;
  if (MachineRuns()) throw std::runtime_error("the board is just being switched on or off");
  PowerOn();
}

// Beside what runs there and no longer than the board's machine keeps it under power. A board that
// is off is switched on for it; no machine then takes the power.
void Execute(const std::string &folder, const std::vector<std::string> &command) {
  Open(folder);
  Shared &state = State();
  TakePower();
  const bool machineRan = MachineRuns();
  GoUnderGuard([&state, machineRan, boot = state.boots.load()] {
    if (state.hanging) SignalDescendants(SIGSTOP);
    const bool machineEnded = machineRan && !MachineRuns();
    return state.boots == boot && state.power != Power::kCut && !machineEnded;
  });
  ReleaseSignals();
  ExecuteOnBoard(command.at(0), command);
}

}  // namespace

void AddExecute(CLI::App &app, Common &common) {
  CLI::App *execute = app.add_subcommand("exec", "run a program of the PC on the board");
  execute->prefix_command();
  execute->footer("vboard exec PROGRAM [ARGUMENT...]");
  execute->callback([execute, &common] {
    const std::vector<std::string> command = execute->remaining();
    if (command.empty()) throw CLI::RequiredError("PROGRAM");
    Execute(common.folder, command);
  });
}

}  // namespace vboard::command
