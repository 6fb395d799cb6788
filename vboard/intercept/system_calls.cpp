// System calls that programs make by their numbers: those that look at a clock or wait for one go
// where the functions do.
#include <errno.h>
#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>

#include <algorithm>

#include "vboard/board.h"
#include "vboard/intercept/intercept.h"
#include "vboard/intercept/times.h"
#include "vboard/turns.h"

using vboard::kNever;

namespace {

using Words = void *[6];

template <typename Type>
Type *Pointer(void *word) {
  return static_cast<Type *>(word);
}

int Number(void *word) {
  return static_cast<int>(reinterpret_cast<intptr_t>(word));
}

int Failed(int error) {
  if (error == 0) return 0;
  errno = error;
  return -1;
}

// The function tells no time zone; the system call does.
int TimeAndZone(timeval *time, struct timezone *zone) {
  if (zone != nullptr) *zone = {vboard::State().time.minutesWest, 0};
  return time == nullptr ? 0 : gettimeofday(time, nullptr);
}

bool IsFutexWait(long number, int operation) {
  const int command = operation & FUTEX_CMD_MASK;
  return number == SYS_futex && (command == FUTEX_WAIT || command == FUTEX_WAIT_BITSET);
}

// One kind counts its time from now, the other one by a clock.
int64_t DueOf(int operation, const timespec *end) {
  if (end == nullptr) return kNever;
  if ((operation & FUTEX_CMD_MASK) == FUTEX_WAIT) {
    return vboard::Lifetime() + vboard::Nanoseconds(*end);
  }
  const bool wall = (operation & FUTEX_CLOCK_REALTIME) != 0;
  return vboard::MomentOf(wall ? CLOCK_REALTIME : CLOCK_MONOTONIC, *end);
}

template <typename Next>
long WaitForFutex(const Words &words, Next next) {
  const int operation = Number(words[1]);
  const auto *end = Pointer<const timespec>(words[3]);
  const auto call = [&](void *time) {
    return next(SYS_futex, words[0], operation & ~FUTEX_CLOCK_REALTIME, words[2], time, words[4],
                words[5]);
  };
  if (end != nullptr && !vboard::IsValid(*end)) return call(words[3]);
  vboard::CallWait wait(DueOf(operation, end), false);
  long result = -1;
  if (wait.Ends(&result, [&] { return call(nullptr); }) && result == -1 && errno == EINTR) {
    errno = ETIMEDOUT;
  }
  return result;
}

// Makes a call that has a function of the same name. False for another one.
bool CallFunction(long number, const Words &words, long *result) {
  switch (number) {
    case SYS_clock_gettime:
      *result = clock_gettime(Number(words[0]), Pointer<timespec>(words[1]));
      return true;
    case SYS_clock_getres:
      *result = clock_getres(Number(words[0]), Pointer<timespec>(words[1]));
      return true;
    case SYS_clock_settime:
      *result = clock_settime(Number(words[0]), Pointer<timespec>(words[1]));
      return true;
#ifdef SYS_time
    case SYS_time:
      *result = time(Pointer<time_t>(words[0]));
      return true;
#endif
    case SYS_gettimeofday:
      *result = TimeAndZone(Pointer<timeval>(words[0]), Pointer<struct timezone>(words[1]));
      return true;
    case SYS_settimeofday:
      *result = settimeofday(Pointer<timeval>(words[0]), Pointer<struct timezone>(words[1]));
      return true;
    case SYS_nanosleep:
      *result = nanosleep(Pointer<timespec>(words[0]), Pointer<timespec>(words[1]));
      return true;
    case SYS_clock_nanosleep:
      *result = Failed(clock_nanosleep(Number(words[0]), Number(words[1]),
                                       Pointer<timespec>(words[2]), Pointer<timespec>(words[3])));
      return true;
    default:
      return false;
  }
}

// Those whose times are wider than the C library's here.
bool IsWide([[maybe_unused]] long number) {
#ifdef SYS_clock_gettime64
  constexpr long kWide[] = {SYS_clock_gettime64, SYS_clock_settime64, SYS_clock_nanosleep_time64,
                            SYS_futex_time64};
  return std::find(std::begin(kWide), std::end(kWide), number) != std::end(kWide);
#else
  return false;
#endif
}

}  // namespace

extern "C" {

// Six words are read however many the caller gave, as the C library does.
__attribute__((no_sanitize("address"))) long syscall(long number, ...) noexcept {
  NEXT(syscall);
  Words words;
  va_list arguments;
  va_start(arguments, number);
  for (void *&word : words) word = va_arg(arguments, void *);
  va_end(arguments);
  if (vboard::Attached()) {
    long result = 0;
    // It is no place where a thread can be cancelled.
    int cancel;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel);
    const bool called = CallFunction(number, words, &result);
    pthread_setcancelstate(cancel, nullptr);
    if (called) return result;
    if (vboard::IsKept() && IsWide(number)) return vboard::Refuse("syscall");
    if (vboard::IsKept() && IsFutexWait(number, Number(words[1]))) {
      return WaitForFutex(words, static_cast<decltype(::syscall) *>(next));
    }
  }
  return next(number, words[0], words[1], words[2], words[3], words[4], words[5]);
}

}  // extern "C"
