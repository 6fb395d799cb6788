#include "vboard/timers.h"

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "vboard/board.h"
#include "vboard/real.h"
#include "vboard/timer_pipes.h"
#include "vboard/turns.h"

namespace vboard {
namespace {

// In place of a process's number while the rest is filled in.
constexpr int32_t kBeingTaken = -1;

IntervalTimer *TryToTake(IntervalTimer::Kind kind) {
  for (IntervalTimer &timer : State().time.timers) {
    int32_t none = 0;
    if (!timer.process.compare_exchange_strong(none, kBeingTaken)) continue;
    timer.kind = kind;
    timer.due = kNever;
    timer.interval = 0;
    timer.clock = CLOCK_MONOTONIC;
    timer.signal = timer.thread = 0;
    timer.wasSent = timer.followsClock = false;
    timer.value = sigval{};
    timer.overruns = 0;
    timer.descriptor = -1;
    timer.pipe = 0;
    timer.process = OwnNumber();
    return &timer;
  }
  return nullptr;
}

// Whether a signal has reached a process, or one thread of it, but not its handler yet.
bool IsPending(pid_t process, pid_t thread, int signal) {
  char text[4096];
  snprintf(text, sizeof text, "/proc/%d/task/%d/status", process, thread != 0 ? thread : process);
  const int fd = real::open(text, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  const ssize_t length = real::read(fd, text, sizeof text - 1);
  real::close(fd);
  text[std::max<ssize_t>(length, 0)] = '\0';
  const char *field = strstr(text, thread != 0 ? "\nSigPnd:" : "\nShdPnd:");
  return field != nullptr &&
         (strtoull(field + strlen("\nSigPnd:"), nullptr, 16) >> (signal - 1) & 1) != 0;
}

// One signal of a timer's is pending at a time, as the kernel has it.
void Send(IntervalTimer &timer, uint64_t times) {
  if (timer.signal == 0) return;
  if (timer.wasSent && IsPending(timer.process, timer.thread, timer.signal)) {
    timer.overruns += times;
    return;
  }
  timer.wasSent = true;
  timer.overruns = times - 1;
  siginfo_t information = {};
  information.si_signo = timer.signal;
  information.si_code = SI_TIMER;
  information.si_timerid = static_cast<int>(&timer - State().time.timers);
  information.si_overrun = static_cast<int>(std::min<uint64_t>(times - 1, INT32_MAX));
  information.si_value = timer.value;
  ++State().time.signals;
  real::SendSignal(timer.process, timer.thread, information);
}

}  // namespace

IntervalTimer *TakeTimer(IntervalTimer::Kind kind) {
  if (IntervalTimer *timer = TryToTake(kind)) return timer;
  State().time.timersWanted = true;
  TakeTurn();
  return TryToTake(kind);
}

// The keeper may look at any moment: it is due only when all the rest is filled in.
void StartTimer(IntervalTimer &timer, int64_t due, int64_t interval, bool followsClock) {
  timer.due = kNever;
  timer.interval = interval;
  timer.followsClock = followsClock;
  timer.asked = State().time.turns.load();
  timer.order = OwnOrder();
  timer.serial = ++State().time.timerStarts;
  timer.due = due;
}

void DropSignalTimers() {
  for (IntervalTimer &timer : State().time.timers) {
    if (timer.process == OwnNumber() && timer.kind == IntervalTimer::kSignal) timer.process = 0;
  }
}

void Expire(IntervalTimer &timer) {
  const int64_t due = timer.due;
  const int64_t interval = timer.interval;
  // More than once where a clock was set that it follows.
  const int64_t times = interval > 0 ? 1 + (Lifetime() - due) / interval : 1;
  timer.asked = State().time.turns.load();
  timer.due = interval > 0 ? due + times * interval : kNever;
  switch (timer.kind) {
    case IntervalTimer::kAlarm:
      ++State().time.signals;
      kill(timer.process, SIGALRM);
      break;
    case IntervalTimer::kSignal:
      Send(timer, static_cast<uint64_t>(times));
      break;
    default:
      AddToPipe(timer, static_cast<uint64_t>(times));
  }
}

}  // namespace vboard
