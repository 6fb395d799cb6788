// The clocks are the board's own: programs read and set them, and the PC's stay as they are. A
// signal handler may set it, so nothing here takes memory from the heap.
#include <errno.h>
#include <sys/times.h>

#include "vboard/board.h"
#include "vboard/faults.h"
#include "vboard/intercept/intercept.h"
#include "vboard/intercept/times.h"
#include "vboard/turns.h"

using vboard::Attached;
using vboard::IsBoardClock;

extern "C" {

int clock_gettime(clockid_t clock, timespec *time) noexcept {
  NEXT(clock_gettime);
  if (!Attached() || !IsBoardClock(clock)) return next(clock, time);
  vboard::NoteLook();
  *time = vboard::ToTimespec(vboard::ReadClock(clock));
  return 0;
}

int clock_getres(clockid_t clock, timespec *resolution) noexcept {
  NEXT(clock_getres);
  if (!Attached() || !IsBoardClock(clock)) return next(clock, resolution);
  if (resolution != nullptr) *resolution = {0, 1};
  return 0;
}

int clock_settime(clockid_t clock, const timespec *time) noexcept {
  NEXT(clock_settime);
  if (!Attached() || clock != CLOCK_REALTIME) return next(clock, time);
  return vboard::SetSystemClock(*time);
}

// Counts the board's time in a hundredth of a second; what a process has used is the PC's.
clock_t times(tms *used) noexcept {
  NEXT(times);
  const clock_t real = next(used);
  if (!Attached() || real == -1) return real;
  vboard::NoteLook();
  return static_cast<clock_t>(vboard::Uptime() / (vboard::kSecond / sysconf(_SC_CLK_TCK)));
}

time_t time(time_t *result) noexcept {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  if (result != nullptr) *result = now.tv_sec;
  return now.tv_sec;
}

// The C library's own tells no time zone.
int gettimeofday(timeval *time, void *zone) noexcept {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  *time = {now.tv_sec, static_cast<suseconds_t>(now.tv_nsec / 1000)};
  if (zone != nullptr) *static_cast<struct timezone *>(zone) = {0, 0};
  return 0;
}

int settimeofday(const timeval *time, const struct timezone *zone) noexcept {
  NEXT(settimeofday);
  if (!vboard::Attached()) return next(time, zone);
  if (zone != nullptr) vboard::State().time.minutesWest = zone->tz_minuteswest;
  if (time == nullptr) return 0;
  if (vboard::IsValid(*time)) return vboard::SetSystemClock({time->tv_sec, time->tv_usec * 1000});
  errno = EINVAL;
  return -1;
}

int timespec_get(timespec *time, int base) noexcept {
  NEXT(timespec_get);
  if (base != TIME_UTC) return next(time, base);
  return clock_gettime(CLOCK_REALTIME, time) == 0 ? base : 0;
}

int timespec_getres(timespec *resolution, int base) noexcept {
  static constinit vboard::real::Next<int(timespec *, int)> next("timespec_getres");
  if (base != TIME_UTC) return next(resolution, base);
  return clock_getres(CLOCK_REALTIME, resolution) == 0 ? base : 0;
}

}  // extern "C"
