// What a person can do to the board, by the tables of its devices: "gpio set" becomes the
// subcommand set of the subcommand gpio.
#include <algorithm>

#include "vboard/actions.h"
#include "vboard/board.h"
#include "vboard/command/command.h"
#include "vboard/device.h"

namespace vboard::command {
namespace {

std::vector<std::string> words;

void AddAction(CLI::App &app, Common &common, const Action &action, const char *help) {
  const std::string name = action.name;
  const size_t space = name.find(' ');
  const std::string group = name.substr(0, space);
  const auto known = app.get_subcommands([&](CLI::App *each) { return each->get_name() == group; });
  CLI::App *parent = known.empty() ? app.add_subcommand(group, help) : known.front();
  parent->require_subcommand(1);
  CLI::App *command = parent->add_subcommand(name.substr(space + 1), action.help);
  const std::string arguments = action.arguments;
  if (!arguments.empty()) {
    const auto count = 1 + std::count(arguments.begin(), arguments.end(), ' ');
    command->add_option(arguments, words)->required()->expected(static_cast<int>(count));
  }
  command->callback([&action, &common] {
    Open(common.folder);
    Perform(action, words);
  });
}

}  // namespace

void AddActions(CLI::App &app, Common &common) {
  for (const Device *device : Devices()) {
    for (const Action &action : device->actions) AddAction(app, common, action, device->help);
  }
}

}  // namespace vboard::command
