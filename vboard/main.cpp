// The command vboard: boots a program on a virtual board and, from another terminal, acts on
// the board that runs.
#include <stdio.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "vboard/command/command.h"
#include "vboard/machine.h"
#include "vboard/supplied_boards.h"

namespace {

void AddCommands(CLI::App &app, vboard::command::Common &common) {
  app.require_subcommand(1);
  app.add_option("--folder", common.folder, "the board's folder")->capture_default_str();
  app.add_option("--programs", common.programs, "folder of the programs that boards start")
      ->capture_default_str();
  AddRun(app, common);
  AddBoards(app, common);
  AddExecute(app, common);
  AddEvents(app, common);
  AddState(app, common);
  AddActions(app, common);
}

}  // namespace

int main(int count, char **arguments) {
  CLI::App app("A virtual recorder board");
  vboard::command::Common common;
  common.folder = "/tmp/vboard-" + std::to_string(getuid());
  common.programs = vboard::SuppliedPrograms();
  try {
    AddCommands(app, common);
    app.parse(count, arguments);
  } catch (const CLI::ParseError &error) {
    return app.exit(error) == 0 ? 0 : 2;
  } catch (const vboard::Interrupted &interrupted) {
    return 128 + interrupted.signal;
  } catch (const std::exception &error) {
    fprintf(stderr, "vboard: %s\n", error.what());
    return 1;
  }
  return 0;
}
