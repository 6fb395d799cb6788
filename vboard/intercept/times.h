// Times of the C library in nanoseconds, and back.
#pragma once

#include <stdint.h>
#include <sys/time.h>
#include <time.h>

#include <algorithm>
#include <limits>

#include "vboard/board_time.h"

namespace vboard {

inline bool IsValid(const timespec &time) {
  return time.tv_sec >= 0 && time.tv_nsec >= 0 && time.tv_nsec < kSecond;
}

inline bool IsValid(const timeval &time) {
  return time.tv_sec >= 0 && time.tv_usec >= 0 && time.tv_usec < 1'000'000;
}

// What is longer than a board lives counts as never.
inline int64_t Nanoseconds(int64_t seconds, int64_t nanoseconds) {
  return seconds >= kNever / kSecond / 4 ? kNever / 4 : seconds * kSecond + nanoseconds;
}
inline int64_t Nanoseconds(const timespec &time) {
  return Nanoseconds(int64_t{time.tv_sec}, int64_t{time.tv_nsec});
}
// The microseconds may be more than a second's.
inline int64_t Nanoseconds(const timeval &time) {
  const int64_t seconds = std::min<int64_t>(time.tv_sec, kNever / kSecond);
  return Nanoseconds(seconds + time.tv_usec / 1'000'000, int64_t{time.tv_usec % 1'000'000} * 1000);
}

// As many as a narrow time_t holds.
inline time_t ToSeconds(int64_t seconds) {
  return static_cast<time_t>(std::min<int64_t>(seconds, std::numeric_limits<time_t>::max()));
}
inline timespec ToTimespec(int64_t nanoseconds) {
  timespec time = {};
  time.tv_sec = ToSeconds(nanoseconds / kSecond);
  time.tv_nsec = static_cast<decltype(time.tv_nsec)>(nanoseconds % kSecond);
  return time;
}
// Rounded up.
inline timeval ToTimeval(int64_t nanoseconds) {
  const int64_t microseconds = (nanoseconds + 999) / 1000;
  return {ToSeconds(microseconds / 1'000'000), static_cast<suseconds_t>(microseconds % 1'000'000)};
}

inline bool IsWallClock(clockid_t clock) {
  return clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE || clock == CLOCK_TAI;
}
// The board's clocks; those of processor time stay the PC's.
inline bool IsBoardClock(clockid_t clock) {
  return IsWallClock(clock) || clock == CLOCK_MONOTONIC || clock == CLOCK_MONOTONIC_RAW ||
         clock == CLOCK_MONOTONIC_COARSE || clock == CLOCK_BOOTTIME;
}
inline int64_t ReadClock(clockid_t clock) {
  return IsWallClock(clock) ? SystemClock() : Uptime();
}
// The lifetime at which a clock shows a time.
inline int64_t MomentOf(clockid_t clock, const timespec &time) {
  return Lifetime() + (Nanoseconds(time) - ReadClock(clock));
}

}  // namespace vboard
