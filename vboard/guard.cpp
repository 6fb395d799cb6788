#include "vboard/guard.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>

#include "vboard/processes.h"

namespace vboard {
namespace {

using Clock = std::chrono::steady_clock;

// Between two looks of who has something to look at; a signal ends any pause.
constexpr timespec kPause = {0, 10'000'000};
constexpr timespec kLongPause = {1, 0};
// What a machine gets to switch its board off when the process that was started is gone.
constexpr std::chrono::seconds kLongestEnd{10};
constexpr std::chrono::seconds kLongestKill{5};

sigset_t givenSignals;

sigset_t Watched() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2, SIGCHLD}) {
    sigaddset(&set, signal);
  }
  return set;
}

// Takes leave of children that have ended. True when the one of this number was among them, with
// its wait status; `left` says whether there are others.
bool Reap(pid_t child, int *childStatus, bool *left) {
  bool found = false;
  int status = 0;
  pid_t id = 0;
  while ((id = waitpid(-1, &status, WNOHANG)) > 0) {
    if (id != child) continue;
    found = true;
    *childStatus = status;
  }
  *left = id == 0;
  return found;
}

struct Duty {
  pid_t first = 0;  // the keeper ends when this process does; 0 in that process itself
  std::function<bool()> everyTurn;
};

// Ends as the child did, whose core is not to be overwritten with this process's.
[[noreturn]] void EndAs(int status) {
  if (WIFSIGNALED(status)) {
    prctl(PR_SET_DUMPABLE, 0);
    signal(WTERMSIG(status), SIG_DFL);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, WTERMSIG(status));
    sigprocmask(SIG_UNBLOCK, &set, nullptr);
    raise(WTERMSIG(status));
  }
  _exit(WEXITSTATUS(status));
}

// The child's number is its own until it has been reaped here.
[[noreturn]] void Guard(pid_t child, const Duty &duty) {
  const sigset_t watched = Watched();
  int status = SIGKILL;  // of a child that does not end in time
  bool left = true, early = true;
  auto end = Clock::time_point::max();
  while (!Reap(child, &status, &left) && Clock::now() < end &&
         (!duty.everyTurn || duty.everyTurn())) {
    siginfo_t sent = {};
    const timespec none = {};
    const timespec &pause = duty.everyTurn ? kPause : kLongPause;
    const int number = sigtimedwait(&watched, &sent, early ? &none : &pause);
    early = early && number > 0;
    // What a terminal sends to the group reaches the last process by itself, once it is there.
    const bool handOn = early || duty.first != 0 || sent.si_code != SI_KERNEL;
    if (handOn && number > 0 && number != SIGCHLD) kill(child, number);
    const bool alone = duty.first != 0 && getppid() != duty.first;
    if (alone && end == Clock::time_point::max()) end = Clock::now() + kLongestEnd;
  }
  for (end = Clock::now() + kLongestKill; left && Clock::now() < end;) {
    SignalDescendants(SIGKILL);
    Reap(child, &status, &left);
    if (left) sigtimedwait(&watched, nullptr, &kPause);
  }
  EndAs(status);
}

// Goes on in a child, which hears of this process's end by SIGTERM.
void Divide(const Duty &duty) {
  const pid_t parent = getpid();
  AdoptOrphans();
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("no process for the board");
  if (child > 0) {
    if (duty.first != 0) {
      setpgid(0, 0);
      prctl(PR_SET_NAME, "board-keeper");
    }
    Guard(child, duty);
  }
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != parent) raise(SIGTERM);
}

}  // namespace

void GoUnderGuard(const std::function<bool()> &everyTurn) {
  const sigset_t watched = Watched();
  sigprocmask(SIG_BLOCK, &watched, &givenSignals);
  signal(SIGCHLD, SIG_DFL);
  const pid_t first = getpid();
  Divide({});
  Divide({first, everyTurn});
}

void ReleaseSignals() {
  sigprocmask(SIG_SETMASK, &givenSignals, nullptr);
}

}  // namespace vboard
