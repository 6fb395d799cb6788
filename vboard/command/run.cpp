// vboard run: a board from its making to its end.
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/file.h>
#include <unistd.h>

#include <exception>
#include <filesystem>
#include <optional>

#include "vboard/board.h"
#include "vboard/command/command.h"
#include "vboard/command/output.h"
#include "vboard/console_log.h"
#include "vboard/guard.h"
#include "vboard/machine.h"
#include "vboard/make.h"
#include "vboard/steps.h"
#include "vboard/waveform.h"

namespace vboard::command {
namespace {

constexpr uint32_t kLongestPatience = 86'400;
constexpr uint32_t kMostSpeed = 100'000;

struct {
  std::string board;
  std::string speed;
  std::string transcript;
  std::string record;
  uint32_t patience = 30;
  bool stay = false;
  bool panel = false;
  bool steps = false;
} options;

void Show(const Line &line) {
  const bool colour = isatty(STDOUT_FILENO) != 0;
  if (line.event) {
    printf("%s%12.3f  [%d] %s%s\n", colour ? "\x1b[36m" : "", line.time, line.process,
           line.text.c_str(), colour ? "\x1b[0m" : "");
  } else {
    printf("%-14s|  %s\n", "", line.text.c_str());
  }
  fflush(stdout);
}

// Board seconds a second, 0: free. Who leaves the board on wants to watch it.
uint32_t Speed() {
  if (options.speed.empty()) return options.stay || options.panel ? 1 : 0;
  return options.speed == kFree ? 0 : static_cast<uint32_t>(std::stoul(options.speed));
}

// Who plays with the board may well disturb its scenario.
[[noreturn]] void PlayAndAttend(Machine &machine) {
  try {
    machine.Play(options.patience);
  } catch (const std::runtime_error &error) {
    Event("scenario: ended at %s", error.what());
  }
  machine.Attend();
}

void TakeSteps(const Plan &plan, const Common &common) {
  const double patience = options.patience;
  if (PlaySteps(plan, {common.programs, options.transcript, patience})) return;
  throw std::runtime_error("a step took longer than the patience; the board was switched off");
}

void PlayBoard(const Common &common) {
  const Plan plan = MakeBoard(options.board, common.folder, common.programs);
  if (options.steps) return TakeSteps(plan, common);
  printf(
      "%s\nThe board's folder is %s.\nLeft of the bar: what happens on the board, at which "
      "second and by which process. Right of it: its console.\n\n",
      plan.summary.c_str(), Folder().c_str());
  std::optional<panel::Panel> panel;
  if (options.panel) ShowUrl(panel.emplace(false));
  ConsoleLog console;
  const auto show = [&console](const Line &line) {
    if (!line.event) console.Add(line.text);
    Show(line);
  };
  Machine machine(plan, show, Speed());
  machine.Start();
  if (options.panel) PlayAndAttend(machine);
  machine.Play(options.patience);
  if (options.stay) machine.RunOn();
  machine.Stop();
  printf("\nThe board was switched off.\n");
  EndOutput();
}

// Whatever ends the board, what happened on it is recorded.
void PlayAndRecord(const Common &common, ResultFile &record) {
  std::exception_ptr failure;
  try {
    PlayBoard(common);
  } catch (...) {
    failure = std::current_exception();
  }
  if (IsOpen() && std::filesystem::exists(EventsPath())) record.Write(Waveform());
  if (failure) std::rethrow_exception(failure);
}

void Run(Common &common) {
  LockFolder(common);
  std::optional<ResultFile> record;
  if (!options.record.empty()) record.emplace(options.record);
  fflush(nullptr);
  GoUnderGuard();
  signal(SIGPIPE, SIG_IGN);
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    signal(number, Machine::RequestStop);
  }
  ReleaseSignals();
  if (!record) return PlayBoard(common);
  PlayAndRecord(common, *record);
}

std::string StepsFooter() {
  std::string text = "Steps besides the actions, such as key press 7:\n";
  for (const StepHelp &each : StepsHelp()) {
    text += "  " + std::string(each.step) + "\n      " + each.help + "\n";
  }
  return text;
}

}  // namespace

void LockFolder(Common &common) {
  common.folder = FolderOfBoard(common.folder);
  CheckFolder(common.folder);
  std::filesystem::create_directories(common.folder);
  const int fd = open((common.folder + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) throw std::runtime_error(common.folder + "/lock: " + strerror(errno));
  if (flock(fd, LOCK_EX | LOCK_NB) == 0) return;
  throw std::runtime_error("a board runs in " + common.folder + "; --folder takes another one");
}

CLI::App *AddBoardCommand(CLI::App &app, const char *name, const char *help, std::string &board) {
  CLI::App *command = app.add_subcommand(name, help);
  command->add_option("BOARD", board, "a board's name, or its description")->required();
  return command;
}

void AddRun(CLI::App &app, Common &common) {
  CLI::App *run =
      AddBoardCommand(app, "run", "make a board, boot it and play its scenario", options.board);
  run->add_option("--speed", options.speed,
                  "board seconds a second, or free: as fast as the programs let it; with --stay "
                  "or --panel 1, otherwise free")
      ->type_name("SPEED")
      ->check(CLI::Range(uint32_t{1}, kMostSpeed) | CLI::IsMember({kFree}));
  run->add_option("--patience", options.patience, "real seconds to wait for each step")
      ->type_name("SECONDS")
      ->check(CLI::Range(uint32_t{1}, kLongestPatience))
      ->capture_default_str();
  CLI::Option *stay =
      run->add_flag("--stay", options.stay, "leave the board on when its scenario has been played");
  CLI::Option *panel =
      run->add_flag("--panel", options.panel,
                    "show the board in a browser, at the URL that is printed, until Ctrl-C");
  CLI::Option *steps = run->add_flag("--steps", options.steps,
                                     "play the steps that come on standard input instead, and "
                                     "answer each with a line of JSON");
  steps->excludes(stay)->excludes(panel)->excludes("--speed");
  run->add_option("--transcript", options.transcript,
                  "with --steps: the file that gets console and events as lines of JSON")
      ->type_name("FILE")
      ->needs(steps);
  run->footer(StepsFooter);
  run->add_option("--record", options.record,
                  "write what happens as a value change dump for waveform viewers")
      ->type_name("FILE");
  run->callback([&common] { Run(common); });
}

}  // namespace vboard::command
