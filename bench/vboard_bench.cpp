// What the virtual board itself costs, in the PC's time.
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>

#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>

#include "vboard/board.h"
#include "vboard/files.h"
#include "vboard/machine.h"
#include "vboard/make.h"

namespace {

constexpr double kPatience = 60;  // real seconds
const std::string kSteps = PROGRAMS_FOLDER "/steps";

struct Cost {
  double real, processor;  // seconds
};

double Seconds(const timeval &time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

// Of this process and of those that have ended.
double ProcessorTime() {
  double sum = 0;
  for (const auto who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
    rusage usage = {};
    getrusage(who, &usage);
    sum += Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
  }
  return sum;
}

double RealSeconds(const std::function<void()> &part) {
  const auto start = std::chrono::steady_clock::now();
  part();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void WaitFor(vboard::Machine &machine, const char *line) {
  if (!machine.WaitFor(line, kPatience)) throw std::runtime_error(std::string(line) + ": missing");
}

// A part of the life of a board that differs from boards/NAME.toml in some keys.
Cost Play(const std::string &name, const std::string &keys,
          const std::function<void(vboard::Machine &)> &part) {
  const vboard::TemporaryFolder folder;
  const std::string file = folder.path() + "/board.toml";
  vboard::WriteFile(file, "base = \"" SOURCE_FOLDER "/boards/" + name + ".toml\"\n" + keys);
  const auto show = [](const vboard::Line &line) {
    if (line.text.ends_with(" us")) printf("  the board: %s\n", line.text.c_str());
  };
  const double before = ProcessorTime();
  Cost cost = {};
  {
    vboard::Machine machine(vboard::MakeBoard(file, folder.path() + "/board", PROGRAMS_FOLDER),
                            show);
    cost.real = RealSeconds([&] {
      machine.Start();
      part(machine);
    });
  }
  cost.processor = ProcessorTime() - before;
  return cost;
}

std::string StartSteps(const std::string &words) {
  return "start = [\"/opt/app/steps\", " + words +
         "]\n[programs]\n\"/opt/app/steps\" = \"steps\"\n";
}

void RunOnPc(const std::string &words) {
  if (system((kSteps + " " + words).c_str()) != 0) throw std::runtime_error(words + ": failed");
}

void MeasureJumps() {
  constexpr int kJumps = 20'000;
  for (const int milliseconds : {900, 1000}) {
    const Cost cost =
        Play("direct", StartSteps("\"sleep\", \"" + std::to_string(milliseconds) + "\""),
             [&](vboard::Machine &machine) { machine.Run(kJumps * 0.001 * milliseconds); });
    printf("a jump of time%s: %.1f us\n", milliseconds < 1000 ? "" : ", whose sleep is an event",
           cost.real / kJumps * 1e6);
  }
}

void MeasureHandOver() {
  constexpr int kCount = 20'000;
  double board = 0;
  Play("direct", StartSteps("\"hand-over\", \"" + std::to_string(kCount) + "\""),
       [&](vboard::Machine &machine) {
         WaitFor(machine, "hand-over: begin");
         board = RealSeconds([&] { WaitFor(machine, "hand-over: end"); });
       });
  const double pc =
      RealSeconds([] { RunOnPc("hand-over " + std::to_string(kCount) + " >/dev/null"); });
  printf("a hand-over between two threads: %.1f us, on the PC %.1f us\n", board / kCount * 1e6,
         pc / kCount * 1e6);
}

void MeasureCalls() {
  puts("a call, in processor time:");
  Play("direct", StartSteps(R"("calls", "/opt/app/steps")"),
       [](vboard::Machine &machine) { WaitFor(machine, "calls: end"); });
  RunOnPc("calls " + kSteps + " | sed -n 's/.* us$/  the PC:    &/p'");
}

void MeasureStretch(const char *what, const std::string &keys, double boardSeconds) {
  const Cost cost =
      Play("supervised", keys, [&](vboard::Machine &machine) { machine.Run(boardSeconds); });
  const auto turns = static_cast<double>(vboard::State().time.turns);
  printf("%s: %.1f s, %.1f s of processor time\n", what, cost.real, cost.processor);
  printf("  %.0f board seconds a second, %.0f turns of %.1f us each\n", boardSeconds / cost.real,
         turns, cost.real / turns * 1e6);
}

}  // namespace

int main() try {
  setvbuf(stdout, nullptr, _IOLBF, 0);
  for (const int number : {SIGINT, SIGTERM}) signal(number, vboard::Machine::RequestStop);
  MeasureJumps();
  MeasureHandOver();
  MeasureCalls();
  MeasureStretch("a day of the supervised board, whose application sleeps",
                 "[programs]\n\"/var/Vantor\" = \"standalone\"\n", 86'400);
  MeasureStretch("an hour of it with the example recorder", "", 3600);
  return 0;
} catch (const vboard::Interrupted &interrupted) {
  return 128 + interrupted.signal;
} catch (const std::exception &error) {
  fprintf(stderr, "vboard_bench: %s\n", error.what());
  return 1;
}
