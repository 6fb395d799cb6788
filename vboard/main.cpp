// The command vboard: boots a program on a virtual board and, from another terminal, acts on
// the board that runs.
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/file.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <thread>

#include "vboard/actions.h"
#include "vboard/board.h"
#include "vboard/description.h"
#include "vboard/device.h"
#include "vboard/files.h"
#include "vboard/guard.h"
#include "vboard/machine.h"
#include "vboard/make.h"
#include "vboard/supplied_boards.h"

namespace {

using vboard::Line;

constexpr uint32_t kLongestPatience = 86'400;
constexpr uint32_t kMostSpeed = 100'000;
constexpr const char *kFree = "free";

struct Options {
  std::string folder;
  std::string programs;
  std::string board;
  std::vector<std::string> command;
  std::string boards;
  std::string speed;
  uint32_t patience = 30;
  bool stay = false;
  bool follow = false;
  bool keys = false;
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
  if (options.speed.empty()) return options.stay ? 1 : 0;
  return options.speed == kFree ? 0 : static_cast<uint32_t>(std::stoul(options.speed));
}

// Keeps the folder for this board until the process ends.
void LockFolder() {
  options.folder = vboard::FolderOfBoard(options.folder);
  vboard::CheckFolder(options.folder);
  std::filesystem::create_directories(options.folder);
  const int fd = open((options.folder + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) throw std::runtime_error(options.folder + "/lock: " + strerror(errno));
  if (flock(fd, LOCK_EX | LOCK_NB) == 0) return;
  throw std::runtime_error("a board runs in " + options.folder + "; --folder takes another one");
}

void RunBoard() {
  LockFolder();
  fflush(nullptr);
  vboard::GoUnderGuard();
  signal(SIGPIPE, SIG_IGN);
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    signal(number, vboard::Machine::RequestStop);
  }
  vboard::ReleaseSignals();
  vboard::Plan plan = vboard::MakeBoard(options.board, options.folder, options.programs);
  printf(
      "%s\nThe board's folder is %s.\nLeft of the bar: what happens on the board, at which "
      "second and by which process. Right of it: its console.\n\n",
      plan.summary.c_str(), vboard::Folder().c_str());
  vboard::Machine machine(plan, Show, Speed());
  machine.Start();
  machine.Play(options.patience);
  if (options.stay) machine.RunOn();
  machine.Stop();
  printf("\nThe board was switched off.\n");
}

void LeaveBoard() {
  LockFolder();
  vboard::MakeBoard(options.board, options.folder, options.programs);
}

void ListBoards() {
  std::vector<std::filesystem::path> files;
  if (options.boards.empty()) options.boards = vboard::SuppliedBoards();
  for (const auto &entry : std::filesystem::directory_iterator(options.boards)) {
    if (entry.path().extension() == ".toml") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const auto &file : files) {
    vboard::Section description = vboard::ReadDescription(file, vboard::BoardKeys());
    printf("%-20s %s\n", file.stem().c_str(), description.Text("summary").c_str());
  }
}

void CheckBoard() {
  vboard::ReadPlan(options.board, options.programs);
}

void Describe() {
  if (options.keys) {
    fputs(vboard::Manual(vboard::BoardKeys()).c_str(), stdout);
  } else {
    if (options.board.empty()) throw CLI::RequiredError("BOARD");
    puts(vboard::ReadPlan(options.board, options.programs).json.c_str());
  }
}

// A machine alone switches its board on and off.
void TakePower() {
  const vboard::Lock lock;
  if (vboard::State().power == vboard::Power::kOn) return;
  if (vboard::MachineRuns()) throw std::runtime_error("the board is just being switched on or off");
  vboard::PowerOn();
}

// Runs a program of the PC on the board, beside what runs there and no longer than its machine
// keeps it under power. A board that is off is switched on for it; no machine then takes the power.
void Execute() {
  vboard::Open(options.folder);
  vboard::Shared &state = vboard::State();
  TakePower();
  const bool machineRan = vboard::MachineRuns();
  vboard::GoUnderGuard([&state, machineRan, boot = state.boots.load()] {
    if (state.hanging) vboard::SignalDescendants(SIGSTOP);
    const bool machineEnded = machineRan && !vboard::MachineRuns();
    return state.boots == boot && state.power != vboard::Power::kCut && !machineEnded;
  });
  vboard::ReleaseSignals();
  vboard::ExecuteOnBoard(options.command.at(0), options.command);
}

void ShowEvents() {
  vboard::Open(options.folder);
  size_t shown = 0;
  do {
    const std::string events = vboard::ReadFile(vboard::Folder() + "/events");
    if (events.size() < shown) shown = 0;  // a new board was made here
    fwrite(events.data() + shown, 1, events.size() - shown, stdout);
    fflush(stdout);
    shown = events.size();
    if (options.follow) std::this_thread::sleep_for(std::chrono::milliseconds(50));
  } while (options.follow && std::filesystem::exists(vboard::Folder() + "/events"));
}

void ShowState() {
  vboard::Open(options.folder);
  static constexpr const char *kPower[] = {"on", "off", "restarting", "cut"};
  const vboard::Shared &state = vboard::State();
  printf("power      %s\n", kPower[static_cast<size_t>(state.power.load())]);
  printf("boots      %u\n", state.boots.load());
  const uint32_t speed = state.time.speed;
  printf("speed      %s\n", speed != 0 ? std::to_string(speed).c_str() : kFree);
  printf("time       %.3f s since power-on\n", vboard::BoardTime());
  printf("flash      %u operations\n", state.flashOperations.load());
  for (const vboard::Mount &mount : state.mounts) {
    if (mount.point[0] != '\0') printf("mount      %s on %s\n", mount.source, mount.point);
  }
  for (const vboard::Known &known : state.processes) {
    if (!vboard::Lives(known.process)) continue;
    printf("process    %d\n", known.process.number.load());
  }
}

// "gpio set" becomes the subcommand set of the subcommand gpio.
void AddAction(CLI::App &app, const vboard::Action &action, const char *help,
               std::vector<std::string> &words) {
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
  command->callback([&action, &words] {
    vboard::Open(options.folder);
    vboard::Perform(action, words);
  });
}

CLI::App *AddBoardCommand(CLI::App &app, const char *name, const char *help) {
  CLI::App *command = app.add_subcommand(name, help);
  command->add_option("BOARD", options.board, "a board's name, or its description")->required();
  return command;
}

void AddRun(CLI::App &app) {
  CLI::App *run = AddBoardCommand(app, "run", "make a board, boot it and play its scenario");
  run->add_option("--speed", options.speed,
                  "board seconds a second, or free: as fast as the programs let it; with --stay 1, "
                  "otherwise free")
      ->check(CLI::Range(uint32_t{1}, kMostSpeed) | CLI::IsMember({kFree}));
  run->add_option("--patience", options.patience, "real seconds to wait for each step")
      ->check(CLI::Range(uint32_t{1}, kLongestPatience))
      ->capture_default_str();
  run->add_flag("--stay", options.stay, "leave the board on when its scenario has been played");
  run->callback(RunBoard);
}

void AddList(CLI::App &app) {
  CLI::App *list = app.add_subcommand("list", "list the boards that are known by name");
  list->add_option("FOLDER", options.boards, "list the descriptions in this folder instead");
  list->callback(ListBoards);
}

void AddExecute(CLI::App &app) {
  CLI::App *execute = app.add_subcommand("exec", "run a program of the PC on the board");
  execute->prefix_command();
  execute->footer("vboard exec PROGRAM [ARGUMENT...]");
  execute->callback([execute] {
    options.command = execute->remaining();
    if (options.command.empty()) throw CLI::RequiredError("PROGRAM");
    Execute();
  });
}

void AddDescribe(CLI::App &app) {
  CLI::App *describe =
      app.add_subcommand("describe", "show a board's completed description as JSON");
  describe->add_option("BOARD", options.board, "a board's name, or its description");
  describe->add_flag("--keys", options.keys, "show what descriptions can hold instead");
  describe->callback(Describe);
}

void AddEvents(CLI::App &app) {
  CLI::App *events = app.add_subcommand("events", "show what happened on the board");
  events->add_flag("-f,--follow", options.follow, "go on showing what happens");
  events->callback(ShowEvents);
}

void AddCommands(CLI::App &app, std::vector<std::string> &words) {
  app.require_subcommand(1);
  app.add_option("--folder", options.folder, "the board's folder")->capture_default_str();
  app.add_option("--programs", options.programs, "folder of the programs that boards start")
      ->capture_default_str();
  AddRun(app);
  AddList(app);
  AddBoardCommand(app, "check", "check a board's description")->callback(CheckBoard);
  AddBoardCommand(app, "make", "make a board and leave it switched off")->callback(LeaveBoard);
  AddExecute(app);
  AddDescribe(app);
  AddEvents(app);
  app.add_subcommand("state", "show the board's power, mounts and processes")->callback(ShowState);
  for (const vboard::Device *device : vboard::Devices()) {
    for (const vboard::Action &action : device->actions) {
      AddAction(app, action, device->help, words);
    }
  }
}

}  // namespace

int main(int count, char **arguments) {
  CLI::App app("A virtual recorder board");
  std::vector<std::string> words;
  options.folder = "/tmp/vboard-" + std::to_string(getuid());
  options.programs = vboard::SuppliedPrograms();
  try {
    AddCommands(app, words);
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
