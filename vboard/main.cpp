// The command vboard: boots a program on a virtual board and, from another terminal, acts on
// the board that runs.
#include <stdio.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "vboard/command/command.h"
#include "vboard/command/manual.h"
#include "vboard/command/output.h"
#include "vboard/machine.h"
#include "vboard/supplied_boards.h"

namespace {

// Instead of a command.
void Print(const std::string &text) {
  fputs(text.c_str(), stdout);
  vboard::command::EndOutput();
  throw CLI::Success();
}

void AddCommands(CLI::App &app, vboard::command::Common &common) {
  app.require_subcommand(1);
  app.add_option("--folder", common.folder, "the board's folder")
      ->type_name("FOLDER")
      ->capture_default_str();
  app.add_option("--programs", common.programs, "folder of the programs that boards start")
      ->type_name("FOLDER")
      ->capture_default_str();
  app.set_version_flag("--version", "vboard " VERSION);
  app.add_flag_callback(
      "--man", [&app] { Print(vboard::command::ManualPage(app, VERSION)); },
      "print the manual page");
  app.add_option_function<std::string>(
         "--completion",
         [&app](const std::string &) { Print(vboard::command::BashCompletion(app)); },
         "print what completes command lines in SHELL: bash")
      ->type_name("SHELL")
      ->check(CLI::IsMember({"bash"}));
  AddRun(app, common);
  AddBoards(app, common);
  AddExecute(app, common);
  AddEvents(app, common);
  AddPanel(app, common);
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
