#include "boardctl/signals.h"

#include <signal.h>

namespace boardctl::signals {
namespace {

constexpr int kEnding[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1,   SIGUSR2, SIGVTALRM, SIGPROF,
                           SIGIO,  SIGPWR, SIGXCPU, SIGXFSZ, SIGSTKFLT, SIGTRAP, SIGSYS};
constexpr int kStopping[] = {SIGTSTP, SIGTTIN, SIGTTOU};

}  // namespace

void Catch(void (*handler)(int number)) {
  for (const int number : kEnding) {
    if (signal(number, handler) == SIG_IGN) signal(number, SIG_IGN);
  }
  for (int number = SIGRTMIN; number <= SIGRTMAX; ++number) signal(number, handler);
  // While the clock chip's bus is open the library has a handler for its timer, which stays.
  struct sigaction alarm = {};
  sigaction(SIGALRM, nullptr, &alarm);
  if (alarm.sa_handler == SIG_DFL) signal(SIGALRM, handler);
  for (const int number : kStopping) signal(number, SIG_IGN);
}

void EndBy(int number) {
  signal(number, SIG_DFL);
  raise(number);
}

}  // namespace boardctl::signals
