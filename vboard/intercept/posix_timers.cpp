// Timers that send a signal, or that only tell what is left.
#include <errno.h>
#include <signal.h>

#include <algorithm>
#include <bit>

#include "vboard/board.h"
#include "vboard/faults.h"
#include "vboard/intercept/intercept.h"
#include "vboard/intercept/timer_settings.h"
#include "vboard/turns.h"

using vboard::Attached;
using vboard::IntervalTimer;

namespace {

// The kernel counts its own from 0.
constexpr uintptr_t kFirstId = 0x4000'0000;

int Invalid() {
  errno = EINVAL;
  return -1;
}

uintptr_t IdOf(const IntervalTimer &timer) {
  return kFirstId + static_cast<uintptr_t>(&timer - vboard::State().time.timers);
}

bool IsBoards(timer_t id) {
  return Attached() &&
         reinterpret_cast<uintptr_t>(id) - kFirstId < std::size(vboard::State().time.timers);
}

// Null for one that this process does not have.
IntervalTimer *TimerOf(timer_t id) {
  IntervalTimer &timer = vboard::State().time.timers[reinterpret_cast<uintptr_t>(id) - kFirstId];
  return timer.process == vboard::OwnNumber() && timer.kind == IntervalTimer::kSignal ? &timer
                                                                                      : nullptr;
}

bool IsValid(const sigevent &event) {
  if (event.sigev_notify == SIGEV_NONE) return true;
  if (event.sigev_signo < 1 || event.sigev_signo > SIGRTMAX) return false;
  if (event.sigev_signo == vboard::WakeSignal()) {
    vboard::Event("timer_create: signal %d is the board's", event.sigev_signo);
    return false;
  }
  return event.sigev_notify == SIGEV_SIGNAL ||
         (event.sigev_notify == SIGEV_THREAD_ID && tgkill(getpid(), event._sigev_un._tid, 0) == 0);
}

int NewTimer(clockid_t clock, const sigevent *event, timer_t *id) {
  IntervalTimer *timer = vboard::TakeTimer(IntervalTimer::kSignal);
  if (timer == nullptr) return vboard::NoTimerLeft("timer_create");
  *id = std::bit_cast<timer_t>(IdOf(*timer));
  timer->clock = clock;
  if (event == nullptr) {
    timer->value = sigval{.sival_int = static_cast<int>(IdOf(*timer))};
    timer->signal = SIGALRM;
  } else if (event->sigev_notify != SIGEV_NONE) {
    timer->value = event->sigev_value;
    timer->thread = event->sigev_notify == SIGEV_THREAD_ID ? event->_sigev_un._tid : 0;
    timer->signal = event->sigev_signo;
  }
  return 0;
}

}  // namespace

extern "C" {

int timer_create(clockid_t clock, sigevent *event, timer_t *id) noexcept {
  NEXT(timer_create);
  if (!Attached()) return next(clock, event, id);
  if (vboard::CallFails("timer_create", "")) return -1;
  if (!vboard::IsKept()) return next(clock, event, id);
  if (vboard::IsAlarmClock(clock)) return vboard::Refuse("timer_create");
  // Those of processor time are the PC's; others there are none.
  if (!vboard::IsTimerClock(clock) && clock != CLOCK_TAI) return next(clock, event, id);
  if (event != nullptr && event->sigev_notify == SIGEV_THREAD) {
    return vboard::Refuse("timer_create with SIGEV_THREAD");
  }
  return event == nullptr || IsValid(*event) ? NewTimer(clock, event, id) : Invalid();
}

int timer_settime(timer_t id, int flags, const itimerspec *value, itimerspec *old) noexcept {
  NEXT(timer_settime);
  if (!IsBoards(id)) return next(id, flags, value, old);
  IntervalTimer *timer = TimerOf(id);
  if (timer == nullptr || value == nullptr) return Invalid();
  return vboard::SetTimer(*timer, (flags & TIMER_ABSTIME) != 0, *value, old);
}

int timer_gettime(timer_t id, itimerspec *value) noexcept {
  NEXT(timer_gettime);
  if (!IsBoards(id)) return next(id, value);
  const IntervalTimer *timer = TimerOf(id);
  if (timer == nullptr) return Invalid();
  *value = vboard::SettingOf(*timer);
  return 0;
}

// Of the signal that was sent last.
int timer_getoverrun(timer_t id) noexcept {
  NEXT(timer_getoverrun);
  if (!IsBoards(id)) return next(id);
  const IntervalTimer *timer = TimerOf(id);
  if (timer == nullptr) return Invalid();
  return static_cast<int>(std::min<uint64_t>(timer->overruns, INT32_MAX));
}

int timer_delete(timer_t id) noexcept {
  NEXT(timer_delete);
  if (!IsBoards(id)) return next(id);
  IntervalTimer *timer = TimerOf(id);
  if (timer == nullptr) return Invalid();
  timer->process = 0;
  return 0;
}

}  // extern "C"
