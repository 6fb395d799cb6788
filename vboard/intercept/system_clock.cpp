// The system clock is the board's own: programs read and set it, and the PC's stays as it is. A
// signal handler may set it, so nothing here takes memory from the heap.
#include <errno.h>
#include <sys/syscall.h>

#include "vboard/board.h"
#include "vboard/faults.h"
#include "vboard/intercept/intercept.h"

namespace {

constexpr int64_t kSecond = 1'000'000'000;

bool IsBoards(clockid_t clock) {
  return (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE) && vboard::Attached();
}

}  // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec *time) noexcept {
  NEXT(clock_gettime);
  if (!IsBoards(clock)) return next(clock, time);
  const int64_t now = vboard::SystemClock();
  time->tv_sec = static_cast<time_t>(now / kSecond);
  time->tv_nsec = static_cast<decltype(time->tv_nsec)>(now % kSecond);
  return 0;
}

int clock_settime(clockid_t clock, const timespec *time) noexcept {
  NEXT(clock_settime);
  return IsBoards(clock) ? vboard::SetSystemClock(*time) : next(clock, time);
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
  if (zone != nullptr) vboard::State().minutesWest = zone->tz_minuteswest;
  if (time == nullptr) return 0;
  return vboard::SetSystemClock({time->tv_sec, time->tv_usec * 1000});
}

// The system call itself does tell the kernel's time zone. Six words are read however many the
// caller gave, as the C library does.
[[gnu::no_sanitize("address")]] long syscall(long number, ...) noexcept {
  NEXT(syscall);
  void *words[6];
  va_list arguments;
  va_start(arguments, number);
  for (void *&word : words) word = va_arg(arguments, void *);
  va_end(arguments);
  if (number != SYS_gettimeofday || !vboard::Attached()) {
    return next(number, words[0], words[1], words[2], words[3], words[4], words[5]);
  }
  auto *zone = static_cast<struct timezone *>(words[1]);
  if (zone != nullptr) *zone = {vboard::State().minutesWest, 0};
  auto *time = static_cast<timeval *>(words[0]);
  return time == nullptr ? 0 : gettimeofday(time, nullptr);
}

}  // extern "C"
