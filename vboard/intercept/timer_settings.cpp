#include "vboard/intercept/timer_settings.h"

#include <errno.h>

#include <algorithm>

#include "vboard/board.h"
#include "vboard/intercept/times.h"

namespace vboard {

bool IsTimerClock(clockid_t clock) {
  return clock == CLOCK_REALTIME || clock == CLOCK_MONOTONIC || clock == CLOCK_BOOTTIME;
}

bool IsAlarmClock(clockid_t clock) {
  return clock == CLOCK_REALTIME_ALARM || clock == CLOCK_BOOTTIME_ALARM;
}

int SetTimer(IntervalTimer &timer, bool absolute, const itimerspec &value, itimerspec *old) {
  if (!IsValid(value.it_value) || !IsValid(value.it_interval)) {
    errno = EINVAL;
    return -1;
  }
  const clockid_t clock = timer.clock;
  const int64_t first = Nanoseconds(value.it_value);
  const int64_t due = first == 0 ? kNever
                      : absolute ? MomentOf(clock, value.it_value)
                                 : Lifetime() + first;
  const int64_t interval = Nanoseconds(value.it_interval);
  if (old != nullptr) *old = SettingOf(timer);
  StartTimer(timer, due, interval, absolute && IsWallClock(clock));
  return 0;
}

itimerspec SettingOf(const IntervalTimer &timer) {
  if (timer.due == kNever) return {};
  return {ToTimespec(timer.interval), ToTimespec(std::max<int64_t>(1, timer.due - Lifetime()))};
}

int NoTimerLeft(const char *call) {
  Event("%s: the board has no timer left of %zu", call, std::size(State().time.timers));
  errno = EAGAIN;
  return -1;
}

}  // namespace vboard
