// vboard events: what happened on the board.
#include <stdio.h>

#include <chrono>
#include <thread>

#include "vboard/board.h"
#include "vboard/command/command.h"
#include "vboard/command/output.h"
#include "vboard/event_log.h"
#include "vboard/json.h"
#include "vboard/waveform.h"

namespace vboard::command {
namespace {

constexpr const char *kStandardOutput = "-";

struct {
  bool follow = false;
  bool json = false;
  std::string waveform;
} options;

void ShowLine(const std::string &line) {
  puts((options.json ? EventJson(EventLine(line)) : line).c_str());
}

void Show() {
  EventLog log;
  while (log.Take(ShowLine) && options.follow) {
    EndOutput();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  EndOutput();
}

void WriteWaveform() {
  const std::string text = Waveform();
  if (options.waveform != kStandardOutput) return ResultFile(options.waveform).Write(text);
  fputs(text.c_str(), stdout);
  EndOutput();
}

}  // namespace

void AddEvents(CLI::App &app, Common &common) {
  CLI::App *events = app.add_subcommand("events", "show what happened on the board");
  CLI::Option *follow =
      events->add_flag("-f,--follow", options.follow, "go on showing what happens");
  CLI::Option *json =
      events->add_flag("--json", options.json, "each event as a JSON object in a line of its own");
  CLI::Option *waveform = events
                              ->add_option("--vcd", options.waveform,
                                           "a value change dump for waveform viewers instead, into "
                                           "FILE or on standard output")
                              ->type_name("[FILE]")
                              ->expected(0, 1)
                              ->default_str(kStandardOutput)
                              ->excludes(follow)
                              ->excludes(json);
  events->callback([&common, waveform] {
    Open(common.folder);
    if (*waveform) return WriteWaveform();
    Show();
  });
}

}  // namespace vboard::command
