// How long an event takes from the board to the caller of FrontboardRead, in board time, and
// what the idle scanner costs.
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "libsys/frontboard.h"
#include "libsys/version.h"
#include "vboard/actions.h"
#include "vboard/board.h"
#include "vboard/keeper.h"
#include "vboard/make.h"

namespace {

constexpr size_t kEvents = 15;

struct Panel {
  const char *name;
  const char *board;    // below boards/
  const char *action;   // brings an event
  const char *restore;  // brings the panel back, with another event, or nothing
};

// A board that this process is a program of, and another one keeps the time of.
class Board {
 public:
  explicit Board(const std::string &name) {
    vboard::MakeBoard("boards/" + name, folder_.path(), "build/release/bin");
    vboard::PowerOn();
    keeper_ = fork();
    if (keeper_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      vboard::KeepTime(0, [] { return true; });
    }
    while (!vboard::IsKept()) usleep(100);
    vboard::Attach(folder_.path());
    DvrReadBootParameters();
  }
  ~Board() {
    vboard::Detach();
    kill(keeper_, SIGKILL);
    waitpid(keeper_, nullptr, 0);
  }
  Board(const Board &) = delete;
  Board &operator=(const Board &) = delete;

 private:
  vboard::TemporaryFolder folder_;
  pid_t keeper_;
};

void Measure(const Panel &panel) {
  const Board board(panel.board);
  FrontboardInit();
  pthread_t scanner;
  const bool scanned = panel.restore != nullptr;
  if (scanned) pthread_create(&scanner, nullptr, FrontScanProc, nullptr);
  std::vector<double> latencies;
  uint8_t event[4];
  for (size_t i = 0; i < kEvents; ++i) {
    usleep(230'000 + 17'000 * static_cast<unsigned>(i));  // anywhere in the scanner's round
    const double start = vboard::BoardTime();
    vboard::Act(panel.action);
    FrontboardRead(event, sizeof event);
    latencies.push_back(vboard::BoardTime() - start);
    if (scanned && *panel.restore != '\0') {
      vboard::Act(panel.restore);
      FrontboardRead(event, sizeof event);
    }
  }
  if (scanned) {
    FrontboardStop();
    pthread_join(scanner, nullptr);
  }
  std::sort(latencies.begin(), latencies.end());
  dprintf(STDERR_FILENO, "%-10s median %6.1f ms, longest %6.1f ms\n", panel.name,
          latencies[kEvents / 2] * 1000, latencies.back() * 1000);
}

void MeasureIdleScanner() {
  constexpr unsigned kSeconds = 600;
  const Board board("panel-oem4.toml");
  pthread_t scanner;
  pthread_create(&scanner, nullptr, FrontScanProc, nullptr);
  clockid_t clock;
  pthread_getcpuclockid(scanner, &clock);
  timespec before = {};
  timespec after = {};
  clock_gettime(clock, &before);
  sleep(kSeconds);
  clock_gettime(clock, &after);
  FrontboardStop();
  pthread_join(scanner, nullptr);
  const double used = static_cast<double>(after.tv_sec - before.tv_sec) * 1e3 +
                      static_cast<double>(after.tv_nsec - before.tv_nsec) * 1e-6;
  dprintf(STDERR_FILENO, "idle scanner: %.2f ms of processor time a second\n", used / kSeconds);
}

}  // namespace

// The library keeps process-wide state, so each panel is measured in a process of its own:
// "panel_bench matrix", "infrared", "serial" or "idle".
int main(int count, char **arguments) {
  static constexpr Panel kPanels[] = {
      {"matrix", "panel-oem4.toml", "key press 2", "key release 2"},
      {"infrared", "panel-oem4.toml", "ir send 12 1", ""},
      {"serial", "panel-oem6-serial.toml", "frontboard send ff1afe01", nullptr},
  };
  if (freopen("/dev/null", "w", stdout) == nullptr) return 1;
  const std::string name = count > 1 ? arguments[1] : "";
  if (name == "idle") MeasureIdleScanner();
  for (const Panel &panel : kPanels) {
    if (name == panel.name) Measure(panel);
  }
  return 0;
}
