// vboard state: what the board is in now.
#include <stdio.h>

#include "vboard/board.h"
#include "vboard/command/command.h"
#include "vboard/command/output.h"
#include "vboard/json.h"

namespace vboard::command {
namespace {

void Show() {
  const Shared &state = State();
  printf("power      %s\n", PowerName(state.power));
  printf("boots      %u\n", state.boots.load());
  const uint32_t speed = state.time.speed;
  printf("speed      %s\n", speed != 0 ? std::to_string(speed).c_str() : kFree);
  printf("time       %.3f s since power-on\n", BoardTime());
  printf("flash      %u operations\n", state.flashOperations.load());
  for (const Mount &mount : state.mounts) {
    if (mount.point[0] != '\0') printf("mount      %s on %s\n", mount.source, mount.point);
  }
  for (const Known &known : state.processes) {
    if (Lives(known.process)) printf("process    %d\n", known.number.load());
  }
}

}  // namespace

void AddState(CLI::App &app, Common &common) {
  static bool json = false;
  CLI::App *state = app.add_subcommand("state", "show the board's power, mounts and processes");
  state->add_flag("--json", json, "as a JSON object, with what each of its devices is in");
  state->callback([&common] {
    Open(common.folder);
    if (json) {
      puts(StateJson().c_str());
    } else {
      Show();
    }
    EndOutput();
  });
}

}  // namespace vboard::command
