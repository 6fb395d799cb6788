// Restart cycles of the supervised board, one after the other: the application hands control back,
// the launcher waits for the service key and starts it again. What the two hold is the same after
// the last cycle as after the first few, or something is left behind in each. Usage: soak [CYCLES].
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "vboard/board.h"
#include "vboard/machine.h"
#include "vboard/make.h"

namespace {

constexpr unsigned long kSettled = 10;  // by this cycle each has come to what it keeps
constexpr unsigned long kMostCycles = 10'000'000;
constexpr long kProcesses = 2;
constexpr double kPatience = 60;  // real seconds a step

// A sanitizer remembers what was freed, the more the longer.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kMemoryCounts = false;
#else
constexpr bool kMemoryCounts = true;
#endif

constexpr std::array kNames = {"KiB of private memory", "descriptors", "threads", "children"};
using Figures = std::array<long, kNames.size()>;

struct Snapshot {
  Figures launcher = {}, application = {};
  long processes = 0;  // those that have ended but are still known among them
};

std::string Folder(pid_t process) {
  return "/proc/" + std::to_string(process);
}

long Entries(const std::string &folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

// What it has written. Whether a file's page is private, or clean, depends on who else has the file
// and on when it was built.
long PrivateMemory(pid_t process) {
  std::ifstream file(Folder(process) + "/smaps_rollup");
  long sum = 0;
  for (std::string word; file >> word;) {
    long part = 0;
    if ((word == "Anonymous:" || word == "Swap:") && file >> part) sum += part;
  }
  return sum;
}

Figures Look(pid_t process) {
  return {PrivateMemory(process), Entries(Folder(process) + "/fd"),
          Entries(Folder(process) + "/task"), static_cast<long>(vboard::Children(process).size())};
}

// All programs on the board, which wait meanwhile, are descendants of this process.
Snapshot LookAtAll() {
  Snapshot snapshot;
  std::vector<pid_t> processes = vboard::Children(getpid());
  for (size_t i = 0; i < processes.size(); ++i) {
    const std::vector<pid_t> more = vboard::Children(processes[i]);
    processes.insert(processes.end(), more.begin(), more.end());
    std::error_code ended;
    const auto program = std::filesystem::read_symlink(Folder(processes[i]) + "/exe", ended);
    if (program.filename() == "sentrel") snapshot.launcher = Look(processes[i]);
    if (program.filename() == "recorder") snapshot.application = Look(processes[i]);
  }
  snapshot.processes = static_cast<long>(processes.size());
  if (snapshot.launcher == Figures{} || snapshot.application == Figures{}) {
    throw std::runtime_error("launcher and application do not both run");
  }
  return snapshot;
}

void Require(bool came, const char *what) {
  if (!came) throw std::runtime_error(std::string("this did not come: ") + what);
}

// To the launcher's first look at the application that it has just started.
void StartApplication(vboard::Machine &machine) {
  for (const char *line : {"recorder: running", "quillon is running"}) {
    Require(machine.WaitFor(line, kPatience), line);
  }
}

void Restart(vboard::Machine &machine) {
  constexpr const char *kServiceKey = "ir send 12 1";
  Require(machine.Act(kServiceKey, kPatience), kServiceKey);
  for (const char *line : {"recorder: hands control back", "exit: status 0"}) {
    Require(machine.WaitFor(line, kPatience), line);
  }
  Require(machine.Act(kServiceKey, kPatience), kServiceKey);
  StartApplication(machine);
}

// False, and says so, when a figure is not what it was.
bool Compare(const char *process, const Figures &first, const Figures &last) {
  bool same = true;
  for (size_t i = 0; i < kNames.size(); ++i) {
    const bool counts = i > 0 || kMemoryCounts;
    const bool differs = first[i] != last[i];
    printf("%-12s%6ld %s%s", i == 0 ? process : "", last[i], kNames[i],
           counts ? "" : ", not compared");
    if (differs) printf(": %ld at cycle %lu", first[i], kSettled);
    puts("");
    same = same && !(counts && differs);
  }
  return same;
}

bool Compare(const Snapshot &first, const Snapshot &last) {
  const bool launcher = Compare("launcher", first.launcher, last.launcher);
  const bool application = Compare("application", first.application, last.application);
  const bool alone = last.processes == kProcesses;
  printf("%-12s%6ld processes%s\n", "board", last.processes,
         alone ? "" : ": there are others than launcher and application");
  return launcher && application && alone;
}

bool Soak(unsigned long cycles) {
  const vboard::TemporaryFolder folder;
  vboard::Machine machine(
      vboard::MakeBoard(SOURCE_FOLDER "/boards/supervised.toml", folder.path(), PROGRAMS_FOLDER));
  const auto start = std::chrono::steady_clock::now();
  machine.Start();
  StartApplication(machine);
  Snapshot settled;
  double seconds = 0;
  for (unsigned long cycle = 1; cycle <= cycles; ++cycle) {
    Restart(machine);
    if (cycle == kSettled) settled = LookAtAll();
    seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (cycle * 10 % cycles < 10) {
      printf("%8lu cycles %9.1f s, the virtual board has %ld KiB of private memory\n", cycle,
             seconds, PrivateMemory(getpid()));
      fflush(stdout);
    }
  }
  printf("%lu cycles: %.1f real seconds, %.0f board seconds, %.1f cycles a second\n", cycles,
         seconds, vboard::BoardTime(), static_cast<double>(cycles) / seconds);
  printf("event log: %ju bytes\n",
         static_cast<uintmax_t>(std::filesystem::file_size(vboard::EventsPath())));
  return Compare(settled, LookAtAll());
}

}  // namespace

int main(int count, char **arguments) try {
  const std::string text = count > 1 ? arguments[1] : "10000";
  char *end = nullptr;
  const unsigned long cycles = strtoul(text.c_str(), &end, 10);
  if (count > 2 || *end != '\0' || cycles <= kSettled || cycles > kMostCycles) {
    fprintf(stderr, "usage: soak [CYCLES], from %lu to %lu\n", kSettled + 1, kMostCycles);
    return 2;
  }
  for (const int number : {SIGINT, SIGTERM}) signal(number, vboard::Machine::RequestStop);
  return Soak(cycles) ? 0 : 1;
} catch (const vboard::Interrupted &interrupted) {
  return 128 + interrupted.signal;
} catch (const std::exception &error) {
  fprintf(stderr, "soak: %s\n", error.what());
  return 1;
}
