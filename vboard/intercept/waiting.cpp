// Waiting: sleeps, time-outs and interval timers are divided by the board's speed.
#include <errno.h>

#include <algorithm>

#include "vboard/board.h"
#include "vboard/faults.h"
#include "vboard/intercept/intercept.h"

namespace {

constexpr int64_t kSecond = 1'000'000'000;

int64_t Nanoseconds(const timespec &time) {
  return int64_t{time.tv_sec} * kSecond + time.tv_nsec;
}

timespec Time(int64_t nanoseconds) {
  timespec time = {};
  time.tv_sec = static_cast<time_t>(nanoseconds / kSecond);
  time.tv_nsec = static_cast<decltype(time.tv_nsec)>(nanoseconds % kSecond);
  return time;
}

int64_t Speed() {
  return vboard::Attached() ? std::max<int64_t>(1, vboard::State().speed) : 1;
}

// Rounded up, so that a wait never becomes none at all.
timespec Faster(const timespec &time) {
  return Time((Nanoseconds(time) + Speed() - 1) / Speed());
}

timespec Slower(const timespec &time) {
  return Time(Nanoseconds(time) * Speed());
}

timespec ToTimespec(const timeval &time) {
  return Time(int64_t{time.tv_sec} * kSecond + int64_t{time.tv_usec} * 1000);
}

// Rounded up.
timeval ToTimeval(const timespec &time) {
  const int64_t microseconds = (Nanoseconds(time) + 999) / 1000;
  return {static_cast<time_t>(microseconds / 1'000'000),
          static_cast<suseconds_t>(microseconds % 1'000'000)};
}

// A time of day that is none stays so, for the kernel to refuse.
bool IsValid(const timeval &time) {
  return time.tv_sec >= 0 && time.tv_usec >= 0 && time.tv_usec < 1'000'000;
}

itimerval Faster(const itimerval &timer) {
  if (!IsValid(timer.it_interval) || !IsValid(timer.it_value)) return timer;
  return {ToTimeval(Faster(ToTimespec(timer.it_interval))),
          ToTimeval(Faster(ToTimespec(timer.it_value)))};
}

itimerval Slower(const itimerval &timer) {
  return {ToTimeval(Slower(ToTimespec(timer.it_interval))),
          ToTimeval(Slower(ToTimespec(timer.it_value)))};
}

timespec FromMicroseconds(int64_t microseconds) {
  return Time(microseconds * 1000);
}

void LogSleep(int64_t nanoseconds) {
  if (vboard::Attached() && nanoseconds >= kSecond) {
    vboard::Event("sleep: %g s", static_cast<double>(nanoseconds) / kSecond);
  }
}

bool IsValid(const timespec &time) {
  return time.tv_sec >= 0 && time.tv_nsec >= 0 && time.tv_nsec < kSecond;
}

}  // namespace

extern "C" {

int nanosleep(const timespec *duration, timespec *left) {
  NEXT(nanosleep);
  if (duration == nullptr || !IsValid(*duration)) return next(duration, left);
  LogSleep(Nanoseconds(*duration));
  const timespec real = Faster(*duration);
  timespec realLeft = {};
  const int result = next(&real, &realLeft);
  if (result != 0 && left != nullptr) *left = Slower(realLeft);
  return result;
}

int clock_nanosleep(clockid_t clock, int flags, const timespec *duration, timespec *left) {
  NEXT(clock_nanosleep);
  if (flags != 0 || !IsValid(*duration)) return next(clock, flags, duration, left);
  LogSleep(Nanoseconds(*duration));
  const timespec real = Faster(*duration);
  timespec realLeft = {};
  const int result = next(clock, flags, &real, &realLeft);
  if (result != 0 && left != nullptr) *left = Slower(realLeft);
  return result;
}

int setitimer(__itimer_which_t which, const itimerval *timer, itimerval *old) noexcept {
  NEXT(setitimer);
  if (vboard::Attached() && vboard::CallFails("setitimer", "")) return -1;
  const itimerval real = timer != nullptr ? Faster(*timer) : itimerval{};
  const int result = next(which, timer != nullptr ? &real : nullptr, old);
  if (result == 0 && old != nullptr) *old = Slower(*old);
  return result;
}

int getitimer(__itimer_which_t which, itimerval *timer) noexcept {
  NEXT(getitimer);
  const int result = next(which, timer);
  if (result == 0) *timer = Slower(*timer);
  return result;
}

unsigned alarm(unsigned seconds) noexcept {
  itimerval timer = {{0, 0}, {static_cast<time_t>(seconds), 0}};
  if (setitimer(ITIMER_REAL, &timer, &timer) != 0) return 0;
  return static_cast<unsigned>(timer.it_value.tv_sec + (timer.it_value.tv_usec > 0 ? 1 : 0));
}

unsigned sleep(unsigned seconds) {
  const timespec duration = Time(seconds * kSecond);
  timespec left = {};
  if (nanosleep(&duration, &left) == 0) return 0;
  return static_cast<unsigned>((Nanoseconds(left) + kSecond - 1) / kSecond);
}

int usleep(useconds_t microseconds) {
  const timespec duration = FromMicroseconds(microseconds);
  return nanosleep(&duration, nullptr);
}

int select(int count, fd_set *readable, fd_set *writable, fd_set *exceptional, timeval *timeout) {
  NEXT(select);
  if (timeout == nullptr) return next(count, readable, writable, exceptional, nullptr);
  const timespec real =
      Faster(Time(int64_t{timeout->tv_sec} * kSecond + int64_t{timeout->tv_usec} * 1000));
  timeval realTimeout = {real.tv_sec, static_cast<suseconds_t>((real.tv_nsec + 999) / 1000)};
  const int result = next(count, readable, writable, exceptional, &realTimeout);
  const timespec left =
      Slower(Time(int64_t{realTimeout.tv_sec} * kSecond + int64_t{realTimeout.tv_usec} * 1000));
  *timeout = {left.tv_sec, static_cast<suseconds_t>(left.tv_nsec / 1000)};
  return result;
}

int ppoll(pollfd *descriptors, nfds_t count, const timespec *timeout, const sigset_t *mask) {
  NEXT(ppoll);
  if (timeout == nullptr || !IsValid(*timeout)) return next(descriptors, count, timeout, mask);
  const timespec real = Faster(*timeout);
  return next(descriptors, count, &real, mask);
}

int pselect(int count, fd_set *readable, fd_set *writable, fd_set *exceptional,
            const timespec *timeout, const sigset_t *mask) {
  NEXT(pselect);
  if (timeout == nullptr || !IsValid(*timeout)) {
    return next(count, readable, writable, exceptional, timeout, mask);
  }
  const timespec real = Faster(*timeout);
  return next(count, readable, writable, exceptional, &real, mask);
}

int poll(pollfd *descriptors, nfds_t count, int timeout) {
  NEXT(ppoll);
  if (timeout < 0) return next(descriptors, count, nullptr, nullptr);
  const timespec real = Faster(Time(int64_t{timeout} * 1'000'000));
  return next(descriptors, count, &real, nullptr);
}

// What the fortified headers call.
int __poll_chk(pollfd *descriptors, nfds_t count, int timeout, size_t size);
int __ppoll_chk(pollfd *descriptors, nfds_t count, const timespec *timeout, const sigset_t *mask,
                size_t size);
int __poll_chk(pollfd *descriptors, nfds_t count, int timeout, size_t) {
  return poll(descriptors, count, timeout);
}
int __ppoll_chk(pollfd *descriptors, nfds_t count, const timespec *timeout, const sigset_t *mask,
                size_t) {
  return ppoll(descriptors, count, timeout, mask);
}

}  // extern "C"
