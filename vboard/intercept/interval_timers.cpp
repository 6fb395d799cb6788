// A process's interval timer goes by the board's time; the keeper sends its signal.
#include <errno.h>
#include <signal.h>

#include <algorithm>

#include "vboard/board.h"
#include "vboard/faults.h"
#include "vboard/intercept/intercept.h"
#include "vboard/intercept/timer_settings.h"
#include "vboard/intercept/times.h"
#include "vboard/turns.h"

using vboard::Attached;
using vboard::IntervalTimer;
using vboard::kNever;
using vboard::Lifetime;
using vboard::Nanoseconds;
using vboard::ToTimeval;

namespace {

// Null while this process has never had one.
IntervalTimer *OwnTimer() {
  const pid_t id = vboard::OwnNumber();
  for (IntervalTimer &timer : vboard::State().time.timers) {
    if (timer.process == id && timer.kind == IntervalTimer::kAlarm) return &timer;
  }
  return nullptr;
}

itimerval Value(const IntervalTimer *timer) {
  if (timer == nullptr || timer->due == kNever) return {};
  return {ToTimeval(timer->interval), ToTimeval(std::max<int64_t>(1, timer->due - Lifetime()))};
}

void Set(IntervalTimer &timer, const itimerval &value) {
  const int64_t first = Nanoseconds(value.it_value);
  vboard::StartTimer(timer, first > 0 ? Lifetime() + first : kNever, Nanoseconds(value.it_interval),
                     false);
}

}  // namespace

extern "C" {

int setitimer(__itimer_which_t which, const itimerval *timer, itimerval *old) noexcept {
  NEXT(setitimer);
  if (!Attached()) return next(which, timer, old);
  if (vboard::CallFails("setitimer", "")) return -1;
  if (which != ITIMER_REAL || !vboard::IsKept()) return next(which, timer, old);
  if (timer != nullptr &&
      (!vboard::IsValid(timer->it_interval) || !vboard::IsValid(timer->it_value))) {
    errno = EINVAL;
    return -1;
  }
  IntervalTimer *own = OwnTimer();
  const itimerval before = Value(own);
  if (timer != nullptr) {
    if (own == nullptr) own = vboard::TakeTimer(IntervalTimer::kAlarm);
    if (own == nullptr) return vboard::NoTimerLeft("setitimer");
    Set(*own, *timer);
  }
  if (old != nullptr) *old = before;  // which may be the new one's place
  return 0;
}

int getitimer(__itimer_which_t which, itimerval *timer) noexcept {
  NEXT(getitimer);
  if (!Attached() || which != ITIMER_REAL || !vboard::IsKept()) return next(which, timer);
  *timer = Value(OwnTimer());
  return 0;
}

unsigned alarm(unsigned seconds) noexcept {
  itimerval timer = {{0, 0}, {vboard::ToSeconds(seconds), 0}};
  if (setitimer(ITIMER_REAL, &timer, &timer) != 0) return 0;
  return static_cast<unsigned>(timer.it_value.tv_sec + (timer.it_value.tv_usec > 0 ? 1 : 0));
}

useconds_t ualarm(useconds_t first, useconds_t interval) noexcept {
  itimerval timer = {{0, static_cast<suseconds_t>(interval)}, {0, static_cast<suseconds_t>(first)}};
  if (setitimer(ITIMER_REAL, &timer, &timer) != 0) return static_cast<useconds_t>(-1);
  return static_cast<useconds_t>(timer.it_value.tv_sec * 1'000'000 + timer.it_value.tv_usec);
}

}  // extern "C"
