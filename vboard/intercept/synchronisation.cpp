// Condition variables, semaphores and locks: who was woken goes on in its turn, and who waits for
// no longer than until a moment does so by the board's time.
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <semaphore.h>

#include <algorithm>

#include "vboard/board.h"
#include "vboard/intercept/intercept.h"
#include "vboard/intercept/times.h"
#include "vboard/turns.h"

using vboard::Attached;
using vboard::CallWait;
using vboard::IsKept;
using vboard::IsValid;
using vboard::kNever;
using vboard::kSecond;
using vboard::Lifetime;
using vboard::MomentOf;

namespace {

// How often a lock is tried whose holder cannot tell that it let go.
constexpr int64_t kTrial = kSecond / 100;

// A function of today's condition variables; that of older ones has the same name.
template <typename Type>
class Current {
 public:
  explicit constexpr Current(const char *name) : name_(name) {}
  operator Type *() {
    Type *function = found_.load(std::memory_order_relaxed);
    if (function == nullptr) {
      void *symbol = dlvsym(RTLD_NEXT, name_, "GLIBC_2.3.2");
      if (symbol == nullptr) symbol = dlsym(RTLD_NEXT, name_);
      function = reinterpret_cast<Type *>(symbol);
      found_.store(function, std::memory_order_relaxed);
    }
    return function;
  }

 private:
  const char *name_;
  std::atomic<Type *> found_{nullptr};
};

constinit Current<int(pthread_cond_t *, pthread_mutex_t *)> realWait("pthread_cond_wait");
constinit Current<int(pthread_cond_t *)> realSignal("pthread_cond_signal");
constinit Current<int(pthread_cond_t *)> realBroadcast("pthread_cond_broadcast");

// How often the program has signalled a condition, or another one that shares its place.
std::atomic<uint32_t> signalled[256];
std::atomic<uint32_t> &SignalledOf(const pthread_cond_t *condition) {
  return signalled[reinterpret_cast<uintptr_t>(condition) / sizeof *condition %
                   std::size(signalled)];
}

// Who waits for the same wakes up, too, and goes on waiting.
void WakeAll(void *condition) {
  realBroadcast(static_cast<pthread_cond_t *>(condition));
}

// All that were woken together ask for their turn, before one of them has the mutex again.
int WaitUntil(pthread_cond_t *condition, pthread_mutex_t *mutex, int64_t due) {
  static_cast<void>(static_cast<int (*)(pthread_cond_t *)>(realBroadcast));  // looked up by now
  const uint32_t before = SignalledOf(condition);
  int error = 0;
  bool isDue = false;
  {
    CallWait wait(due, false);
    wait.OnWake(WakeAll, condition);
    isDue = wait.Ends(&error, [&] {
      int result = 0;
      do {
        result = realWait(condition, mutex);
      } while (result == 0 && !wait.IsDue() && SignalledOf(condition) == before);
      if (result == 0) pthread_mutex_unlock(mutex);
      return result;
    });
  }
  if (error == 0) error = pthread_mutex_lock(mutex);
  return isDue && error == 0 ? ETIMEDOUT : error;
}

// The clock that a condition variable was made with, where the C library keeps it.
clockid_t ClockOf(const pthread_cond_t *condition) {
  return (condition->__data.__wrefs & 2) != 0 ? CLOCK_MONOTONIC : CLOCK_REALTIME;
}

// Tries until it succeeds or the moment has come.
template <typename Try>
int TryUntil(clockid_t clock, const timespec *end, Try succeeds) {
  int error = succeeds();
  if (error != EBUSY) return error;
  if (!IsValid(*end)) return EINVAL;
  for (const int64_t due = MomentOf(clock, *end); Lifetime() < due;) {
    vboard::SleepUntil(std::min(due, Lifetime() + kTrial));
    error = succeeds();
    if (error != EBUSY) return error;
  }
  return ETIMEDOUT;
}

int TimedLock(pthread_mutex_t *mutex, clockid_t clock, const timespec *end) {
  return TryUntil(clock, end, [&] { return pthread_mutex_trylock(mutex); });
}

// The C library's own try: a sanitizer's would look for the thread a second time.
int TimedJoin(pthread_t thread, void **result, clockid_t clock, const timespec *end) {
  NEXT(pthread_tryjoin_np);
  return TryUntil(clock, end, [&] { return next(thread, result); });
}

// Without a keeper nothing ends a call in the kernel.
int TryUntil(sem_t *semaphore, clockid_t clock, const timespec *end) {
  errno = TryUntil(clock, end, [&] {
    if (sem_trywait(semaphore) == 0) return 0;
    return errno == EAGAIN ? EBUSY : errno;
  });
  return errno == 0 ? 0 : -1;
}

int TimedWait(sem_t *semaphore, clockid_t clock, const timespec *end) {
  NEXT(sem_wait);
  if (!IsKept()) return TryUntil(semaphore, clock, end);
  if (sem_trywait(semaphore) == 0) return 0;
  if (!IsValid(*end)) {
    errno = EINVAL;
    return -1;
  }
  int result = 0;
  bool isDue = false;
  {
    CallWait wait(MomentOf(clock, *end), false);
    isDue = wait.Ends(&result, [&] { return next(semaphore); });
  }
  if (isDue && result != 0) errno = ETIMEDOUT;
  return result;
}

}  // namespace

extern "C" {

int pthread_cond_wait(pthread_cond_t *condition, pthread_mutex_t *mutex) {
  if (!Attached() || !IsKept()) return realWait(condition, mutex);
  return WaitUntil(condition, mutex, kNever);
}

int pthread_cond_signal(pthread_cond_t *condition) noexcept {
  ++SignalledOf(condition);
  return realSignal(condition);
}

int pthread_cond_broadcast(pthread_cond_t *condition) noexcept {
  ++SignalledOf(condition);
  return realBroadcast(condition);
}

int pthread_cond_clockwait(pthread_cond_t *condition, pthread_mutex_t *mutex, clockid_t clock,
                           const timespec *end) {
  NEXT(pthread_cond_clockwait);
  if (!Attached()) return next(condition, mutex, clock, end);
  if (!IsValid(*end)) return EINVAL;
  const int64_t due = MomentOf(clock, *end);
  if (IsKept()) return WaitUntil(condition, mutex, due);
  const timespec real =
      vboard::ToTimespec(std::max<int64_t>(0, vboard::real::Now() + (due - Lifetime())));
  return next(condition, mutex, CLOCK_MONOTONIC, &real);
}

int pthread_cond_timedwait(pthread_cond_t *condition, pthread_mutex_t *mutex, const timespec *end) {
  return pthread_cond_clockwait(condition, mutex, ClockOf(condition), end);
}

int sem_wait(sem_t *semaphore) {
  NEXT(sem_wait);
  if (!Attached() || !IsKept()) return next(semaphore);
  if (sem_trywait(semaphore) == 0) return 0;
  CallWait wait(kNever, false);
  int result = 0;
  wait.Ends(&result, [&] { return next(semaphore); });
  return result;
}

int sem_timedwait(sem_t *semaphore, const timespec *end) {
  NEXT(sem_timedwait);
  if (!Attached()) return next(semaphore, end);
  return TimedWait(semaphore, CLOCK_REALTIME, end);
}

int sem_clockwait(sem_t *semaphore, clockid_t clock, const timespec *end) {
  NEXT(sem_clockwait);
  if (!Attached()) return next(semaphore, clock, end);
  return TimedWait(semaphore, clock, end);
}

int pthread_mutex_timedlock(pthread_mutex_t *mutex, const timespec *end) noexcept {
  NEXT(pthread_mutex_timedlock);
  if (!Attached()) return next(mutex, end);
  return TimedLock(mutex, CLOCK_REALTIME, end);
}

int pthread_mutex_clocklock(pthread_mutex_t *mutex, clockid_t clock, const timespec *end) noexcept {
  NEXT(pthread_mutex_clocklock);
  if (!Attached()) return next(mutex, clock, end);
  return TimedLock(mutex, clock, end);
}

int pthread_rwlock_timedrdlock(pthread_rwlock_t *lock, const timespec *end) noexcept {
  NEXT(pthread_rwlock_timedrdlock);
  if (!Attached()) return next(lock, end);
  return TryUntil(CLOCK_REALTIME, end, [&] { return pthread_rwlock_tryrdlock(lock); });
}

int pthread_rwlock_timedwrlock(pthread_rwlock_t *lock, const timespec *end) noexcept {
  NEXT(pthread_rwlock_timedwrlock);
  if (!Attached()) return next(lock, end);
  return TryUntil(CLOCK_REALTIME, end, [&] { return pthread_rwlock_trywrlock(lock); });
}

int pthread_rwlock_clockrdlock(pthread_rwlock_t *lock, clockid_t clock,
                               const timespec *end) noexcept {
  NEXT(pthread_rwlock_clockrdlock);
  if (!Attached()) return next(lock, clock, end);
  return TryUntil(clock, end, [&] { return pthread_rwlock_tryrdlock(lock); });
}

int pthread_rwlock_clockwrlock(pthread_rwlock_t *lock, clockid_t clock,
                               const timespec *end) noexcept {
  NEXT(pthread_rwlock_clockwrlock);
  if (!Attached()) return next(lock, clock, end);
  return TryUntil(clock, end, [&] { return pthread_rwlock_trywrlock(lock); });
}

int pthread_timedjoin_np(pthread_t thread, void **result, const timespec *end) {
  NEXT(pthread_timedjoin_np);
  if (!Attached() || end == nullptr) return next(thread, result, end);
  return TimedJoin(thread, result, CLOCK_REALTIME, end);
}

int pthread_clockjoin_np(pthread_t thread, void **result, clockid_t clock, const timespec *end) {
  NEXT(pthread_clockjoin_np);
  if (!Attached() || end == nullptr) return next(thread, result, clock, end);
  return TimedJoin(thread, result, clock, end);
}

}  // extern "C"
