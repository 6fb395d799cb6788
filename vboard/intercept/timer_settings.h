// What the calls on timers of a process have in common.
#pragma once

#include <time.h>

#include "vboard/timers.h"

namespace vboard {

// The clocks that such timers can have.
bool IsTimerClock(clockid_t clock);
// Those that would wake a board that sleeps.
bool IsAlarmClock(clockid_t clock);

// Sets a timer as timer_settime() does; -1 with EINVAL for times that are none.
int SetTimer(IntervalTimer &timer, bool absolute, const itimerspec &value, itimerspec *old);
itimerspec SettingOf(const IntervalTimer &timer);

// When all places are taken: logs it; -1 with EAGAIN.
int NoTimerLeft(const char *call);

}  // namespace vboard
