// A board's time: how long it has lived, and the kernel's clock.
#include <errno.h>

#include "vboard/board.h"
#include "vboard/faults.h"
#include "vboard/real.h"

namespace vboard {
namespace {

// The kernel refuses what would be beyond its own range some 30 years later.
constexpr int64_t kLatestSecond = 8'277'292'036;

int64_t Now() {
  timespec now;
  static constinit real::Next<int(clockid_t, timespec *)> next("clock_gettime");
  next(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

}  // namespace

int64_t Lifetime() {
  const Shared &state = State();
  return state.lifetime + (Now() - state.lifetimeSince) * state.speed;
}

double BoardTime() {
  return static_cast<double>(Lifetime() - State().powerOnTime) * 1e-9;
}

void SetSpeed(uint32_t speed) {
  State().lifetime = Lifetime();
  State().lifetimeSince = Now();
  State().speed = speed;
}

int64_t SystemClock() {
  return Lifetime() + State().clockOffset;
}

int SetSystemClock(const timespec &time) {
  if (CallFails("clock_settime", "")) return -1;
  if (time.tv_sec < 0 || time.tv_sec > kLatestSecond || time.tv_nsec < 0 ||
      time.tv_nsec >= 1'000'000'000) {
    errno = EINVAL;
    return -1;
  }
  State().clockOffset = int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec - Lifetime();
  Event("clock: system clock set to %lld", static_cast<long long>(time.tv_sec));
  return 0;
}

}  // namespace vboard
