// vboard events: what happened on the board.
#include <stdio.h>

#include <chrono>
#include <thread>

#include "vboard/board.h"
#include "vboard/command/command.h"
#include "vboard/event_log.h"
#include "vboard/json.h"

namespace vboard::command {
namespace {

struct {
  bool follow = false;
  bool json = false;
} options;

void ShowLine(const std::string &line) {
  puts((options.json ? EventJson(EventLine(line)) : line).c_str());
}

void Show() {
  EventLog log;
  while (log.Take(ShowLine) && options.follow) {
    fflush(stdout);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
}

}  // namespace

void AddEvents(CLI::App &app, Common &common) {
  CLI::App *events = app.add_subcommand("events", "show what happened on the board");
  events->add_flag("-f,--follow", options.follow, "go on showing what happens");
  events->add_flag("--json", options.json, "each event as a JSON object in a line of its own");
  events->callback([&common] {
    Open(common.folder);
    Show();
  });
}

}  // namespace vboard::command
