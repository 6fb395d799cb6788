#include "libsys/timer.h"

#include <signal.h>
#include <sys/time.h>

#include "Base/message.h"

using namespace libsys;

namespace {

constexpr const char *kModule = "System/timer.c";

int32_t SetHandler(void (*handler)(int), int flags, int line) {
  struct sigaction action = {};
  sigemptyset(&action.sa_mask);
  action.sa_handler = handler;
  action.sa_flags = flags;
  if (sigaction(SIGALRM, &action, nullptr) == 0) return 0;
  base::PrintAt({kModule, line}, "Sigaction failed\n");
  return -1;
}

int32_t SetPeriod(uint32_t milliseconds, int line) {
  const timeval period = {static_cast<time_t>(milliseconds / 1000),
                          static_cast<suseconds_t>(milliseconds % 1000 * 1000)};
  const itimerval timer = {period, period};
  if (setitimer(ITIMER_REAL, &timer, nullptr) == 0) return 0;
  base::PrintAt({kModule, line}, "Setitimer failed\n");
  return -1;
}

}  // namespace

int32_t TimerStart(void *, void (*handler)(int), void *, uint32_t periodMs) {
  if (SetHandler(handler, SA_RESTART, 45) != 0) return -1;
  return SetPeriod(periodMs, 55);
}

// The default action would end the process if the timer expired meanwhile; ignoring the signal
// also drops one that is still to come.
int32_t TimerStop() {
  if (SetHandler(SIG_IGN, 0, 88) != 0) return -1;
  const int32_t stopped = SetPeriod(0, 98);
  return SetHandler(SIG_DFL, 0, 88) == 0 ? stopped : -1;
}
