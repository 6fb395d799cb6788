#include "vboard/board_time.h"

#include <errno.h>
#include <unistd.h>

#include <algorithm>

#include "vboard/board.h"
#include "vboard/device.h"
#include "vboard/faults.h"
#include "vboard/real.h"
#include "vboard/turns.h"

namespace vboard {
namespace {

// The kernel refuses what would be beyond its own range some 30 years later.
constexpr int64_t kLatestSecond = 8'277'292'036;

struct Course {
  int64_t lifetime, runsSince, limit;
  uint32_t pace;
};

// A keeper that was killed while it wrote is not waited for.
constexpr int kMostAttempts = 1000;

Course Read() {
  const Time &time = State().time;
  Course course = {};
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    const uint32_t version = time.version;
    course = {time.lifetime, time.runsSince, time.limit, time.pace};
    if (version % 2 == 0 && version == time.version) break;
  }
  return course;
}

void Write(const Course &course) {
  Time &time = State().time;
  time.version |= 1;
  time.lifetime = course.lifetime;
  time.runsSince = course.runsSince;
  time.limit = course.limit;
  time.pace = course.pace;
  ++time.version;
}

}  // namespace

int64_t Lifetime() {
  const Course course = Read();
  if (course.pace == 0) return course.lifetime;
  const int64_t gone = std::max<int64_t>(0, real::Now() - course.runsSince);
  if (gone > (kNever - course.lifetime) / course.pace) return course.limit;
  return std::min(course.limit, course.lifetime + gone * course.pace);
}

int64_t Uptime() {
  return Lifetime() - State().time.powerOn;
}

double BoardTime() {
  return static_cast<double>(Uptime()) * 1e-9;
}

void Stand(int64_t lifetime) {
  Write({lifetime, 0, lifetime, 0});
}

void RunOn(uint32_t pace, int64_t limit) {
  Write({Lifetime(), real::Now(), limit, pace});
}

void Drift(int64_t nanoseconds) {
  Time &time = State().time;
  if (time.pace == 0) time.lifetime += nanoseconds;
}

int64_t SystemClock() {
  return Lifetime() + State().time.clockOffset;
}

int SetSystemClock(const timespec &time) {
  if (CallFails("clock_settime", "")) return -1;
  if (time.tv_sec < 0 || time.tv_sec > kLatestSecond || time.tv_nsec < 0 ||
      time.tv_nsec >= kSecond) {
    errno = EINVAL;
    return -1;
  }
  const int64_t offset = int64_t{time.tv_sec} * kSecond + time.tv_nsec - Lifetime();
  const int64_t ahead = offset - State().time.clockOffset.exchange(offset);
  for (IntervalTimer &timer : State().time.timers) {
    if (timer.followsClock && timer.due != kNever) timer.due -= ahead;
  }
  Event("clock: system clock set to %lld", static_cast<long long>(time.tv_sec));
  return 0;
}

bool IsKept() {
  const pid_t keeper = State().time.keeper.number;
  // Who keeps it waits by the PC's.
  return keeper != 0 && keeper != (IsProgram() ? OwnNumber() : getpid());
}

void Poke() {
  ++State().time.pokes;
  real::WakeFutex(State().time.pokes);
}

int64_t NextDue() {
  int64_t next = kNever;
  for (const Wait &wait : State().time.waits) {
    if (wait.state == Wait::kWaits && !wait.covered) next = std::min<int64_t>(next, wait.due);
  }
  for (const IntervalTimer &timer : State().time.timers) {
    if (timer.process > 0) next = std::min<int64_t>(next, timer.due);
  }
  for (const Device *device : Devices()) {
    if (device->due != nullptr) next = std::min(next, device->due());
  }
  return next;
}

}  // namespace vboard
