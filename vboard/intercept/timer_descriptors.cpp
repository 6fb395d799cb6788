// Timers that are descriptors. What can be read is a pipe's; the keeper writes it.
#include <errno.h>
#include <sys/timerfd.h>

#include "vboard/board.h"
#include "vboard/faults.h"
#include "vboard/intercept/intercept.h"
#include "vboard/intercept/timer_settings.h"
#include "vboard/timer_pipes.h"
#include "vboard/turns.h"

using vboard::Attached;
using vboard::IntervalTimer;

static_assert(TFD_NONBLOCK == O_NONBLOCK && TFD_CLOEXEC == O_CLOEXEC);

namespace {

int Invalid() {
  errno = EINVAL;
  return -1;
}

int NewDescriptor(clockid_t clock, int flags) {
  const int fd = vboard::OpenTimerPipe(flags);
  if (fd < 0) return -1;
  IntervalTimer *timer = vboard::TakeTimer(IntervalTimer::kDescriptor);
  if (timer == nullptr) {
    vboard::real::close(fd);
    return vboard::NoTimerLeft("timerfd_create");
  }
  timer->clock = clock;
  timer->descriptor = fd;
  timer->pipe = vboard::PipeBehind(vboard::OwnNumber(), fd);
  vboard::Assign(fd, {.device = nullptr, .unit = 0, .timer = true});
  if ((flags & TFD_CLOEXEC) == 0) vboard::OpenedForChildren("a timer");
  return fd;
}

}  // namespace

extern "C" {

int timerfd_create(clockid_t clock, int flags) noexcept {
  NEXT(timerfd_create);
  if (!Attached()) return next(clock, flags);
  if (vboard::CallFails("timerfd_create", "")) return -1;
  if (!vboard::IsKept()) return next(clock, flags);
  if (vboard::IsAlarmClock(clock)) return vboard::Refuse("timerfd_create");
  if (!vboard::IsTimerClock(clock) || (flags & ~(TFD_NONBLOCK | TFD_CLOEXEC)) != 0) {
    return Invalid();
  }
  return NewDescriptor(clock, flags);
}

int timerfd_settime(int fd, int flags, const itimerspec *value, itimerspec *old) noexcept {
  NEXT(timerfd_settime);
  IntervalTimer *timer = Attached() ? vboard::TimerBehind(fd) : nullptr;
  if (timer == nullptr) return next(fd, flags, value, old);
  if ((flags & TFD_TIMER_CANCEL_ON_SET) != 0) {
    vboard::Event("timerfd_settime: TFD_TIMER_CANCEL_ON_SET is not served on the board");
    return Invalid();
  }
  if ((flags & ~TFD_TIMER_ABSTIME) != 0) return Invalid();
  if (vboard::SetTimer(*timer, flags != 0, *value, old) != 0) return -1;
  vboard::ClearPipe(fd);
  return 0;
}

int timerfd_gettime(int fd, itimerspec *value) noexcept {
  NEXT(timerfd_gettime);
  const IntervalTimer *timer = Attached() ? vboard::TimerBehind(fd) : nullptr;
  if (timer == nullptr) return next(fd, value);
  *value = vboard::SettingOf(*timer);
  return 0;
}

}  // extern "C"
