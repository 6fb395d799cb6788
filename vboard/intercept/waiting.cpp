// Waiting goes by the board's time: sleeps, and waits for descriptors and signals.
#include <alloca.h>
#include <errno.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <threads.h>

#include <algorithm>

#include "vboard/board.h"
#include "vboard/faults.h"
#include "vboard/intercept/intercept.h"
#include "vboard/intercept/times.h"
#include "vboard/turns.h"

using vboard::Attached;
using vboard::CallWait;
using vboard::IsValid;
using vboard::kNever;
using vboard::kSecond;
using vboard::Lifetime;
using vboard::Nanoseconds;
using vboard::ToTimespec;
using vboard::ToTimeval;

namespace {

void LogSleep(int64_t nanoseconds) {
  if (nanoseconds >= kSecond) {
    vboard::Event("sleep: %g s", static_cast<double>(nanoseconds) / kSecond);
  }
}

// Until a moment: 0, or EINTR. A thread can be cancelled before it sleeps and after it.
int SleepUntil(int64_t due) {
  pthread_testcancel();
  const bool came = vboard::SleepUntil(due);
  pthread_testcancel();
  return came ? 0 : EINTR;
}

// The same for so long, with what is left.
int Sleep(int64_t nanoseconds, int64_t *left) {
  LogSleep(nanoseconds);
  const int64_t end = Lifetime() + std::min(nanoseconds, kNever / 2);
  const int error = SleepUntil(end);
  *left = error == 0 ? 0 : std::max<int64_t>(0, end - Lifetime());
  return error;
}

int Sleep(const timespec &duration, timespec *left) {
  int64_t nanoseconds;
  const int error = Sleep(Nanoseconds(duration), &nanoseconds);
  if (error != 0 && left != nullptr) *left = ToTimespec(nanoseconds);
  return error;
}

// Without a keeper such a wait is the PC's.
bool GoesByBoard() {
  return Attached() && vboard::IsKept();
}

// The mask that a call waits with: the program's own, but for the keeper's signal, which comes
// while the call waits and not before.
class Mask {
 public:
  explicit Mask(const sigset_t *given) : isGiven_(given != nullptr) {
    if (!isGiven_) return;
    asking_ = waiting_ = *given;
    sigaddset(&asking_, vboard::WakeSignal());
    sigdelset(&waiting_, vboard::WakeSignal());
  }
  const sigset_t *WhileAsking() const { return isGiven_ ? &asking_ : nullptr; }
  const sigset_t *WhileWaiting() const { return isGiven_ ? &waiting_ : nullptr; }

 private:
  bool isGiven_;
  sigset_t asking_, waiting_;
};

// What came together with the moment counts.
bool IsInterrupted(int result) {
  return result == -1 && errno == EINTR;
}

// A wait that the kernel is asked about without waiting first. Timeout: nanoseconds, kNever for
// none. Poll: asks the kernel, and waits there where its first argument says so, with the mask that
// is the second one; 0 for nothing yet. Where nothing waits a pending signal comes all the same.
template <typename Poll>
int WaitFor(int64_t timeout, bool outside, const sigset_t *given, Poll poll) {
  const Mask mask(given);
  int result = poll(false, timeout == 0 ? mask.WhileAsking() : nullptr);
  if (result != 0) return result;
  if (timeout == 0) {
    vboard::NoteLook();
    return 0;
  }
  CallWait wait(timeout == kNever ? kNever : Lifetime() + timeout, outside);
  const bool isDue = wait.Ends(&result, [&] { return poll(true, mask.WhileWaiting()); });
  return isDue && IsInterrupted(result) ? 0 : result;
}

bool AnyOutside(const pollfd *descriptors, nfds_t count) {
  return std::any_of(descriptors, descriptors + count,
                     [](const pollfd &each) { return vboard::IsOutside(each.fd); });
}

int Poll(pollfd *descriptors, nfds_t count, int64_t timeout, const sigset_t *given) {
  NEXT(ppoll);
  const timespec none = {};
  return WaitFor(timeout, AnyOutside(descriptors, count), given,
                 [&](bool waits, const sigset_t *mask) {
                   return next(descriptors, count, waits ? nullptr : &none, mask);
                 });
}

// Of a set only so many words are the program's as the count of descriptors covers, which may be
// fewer or more than an fd_set has.
using Word = unsigned long;
constexpr int kWordBits = 8 * sizeof(Word);

bool AnyOutside(const Word *set, int count) {
  for (int fd = 0; fd < count; ++fd) {
    if ((set[fd / kWordBits] >> (fd % kWordBits) & 1) != 0 && vboard::IsOutside(fd)) return true;
  }
  return false;
}

// The kernel looks at no more descriptors than it has places for; programs name the most there are.
int Covered(int count) {
  if (count <= FD_SETSIZE) return count;
  char text[1024];
  const int fd = vboard::real::open("/proc/self/status", O_RDONLY | O_CLOEXEC);
  const ssize_t length = fd < 0 ? 0 : vboard::real::read(fd, text, sizeof text - 1);
  if (fd >= 0) vboard::real::close(fd);
  text[std::max<ssize_t>(length, 0)] = '\0';
  constexpr const char *kField = "\nFDSize:";
  const char *field = strstr(text, kField);
  return field == nullptr ? FD_SETSIZE : std::min(count, atoi(field + strlen(kField)));
}

// What the kernel leaves of the sets is what is ready: a call that waits needs them whole again.
int Select(int most, fd_set *const sets[3], int64_t timeout, const sigset_t *given) {
  NEXT(pselect);
  const int count = Covered(most);
  const size_t words = (static_cast<size_t>(count) + kWordBits - 1) / kWordBits;
  const size_t size = words * sizeof(Word);
  // No memory from the heap: a signal handler may call this.
  auto *asked = static_cast<Word *>(alloca(3 * size));
  bool outside = false;
  for (size_t i = 0; i < 3; ++i) {
    if (sets[i] == nullptr) continue;
    memcpy(asked + i * words, sets[i], size);
    outside |= AnyOutside(asked + i * words, count);
  }
  const timespec none = {};
  const int result = WaitFor(timeout, outside, given, [&](bool waits, const sigset_t *mask) {
    for (size_t i = 0; i < 3; ++i) {
      if (sets[i] != nullptr) memcpy(sets[i], asked + i * words, size);
    }
    return next(count, sets[0], sets[1], sets[2], waits ? nullptr : &none, mask);
  });
  for (size_t i = 0; result == 0 && i < 3; ++i) {
    if (sets[i] != nullptr) memset(sets[i], 0, size);
  }
  return result;
}

int Epoll(int fd, epoll_event *events, int most, int64_t timeout, const sigset_t *given) {
  NEXT(epoll_pwait);
  return WaitFor(timeout, vboard::IsOutside(fd), given, [&](bool waits, const sigset_t *mask) {
    return next(fd, events, most, waits ? -1 : 0, mask);
  });
}

}  // namespace

extern "C" {

int nanosleep(const timespec *duration, timespec *left) {
  NEXT(nanosleep);
  if (!Attached() || duration == nullptr || !IsValid(*duration)) return next(duration, left);
  const int error = Sleep(*duration, left);
  if (error != 0) errno = error;
  return error == 0 ? 0 : -1;
}

int thrd_sleep(const timespec *duration, timespec *left) {
  if (nanosleep(duration, left) == 0) return 0;
  return errno == EINTR ? -1 : -2;
}

int clock_nanosleep(clockid_t clock, int flags, const timespec *duration, timespec *left) {
  NEXT(clock_nanosleep);
  if (!Attached() || !vboard::IsBoardClock(clock) || !IsValid(*duration)) {
    return next(clock, flags, duration, left);
  }
  if (flags == 0) return Sleep(*duration, left);
  return SleepUntil(vboard::MomentOf(clock, *duration));
}

unsigned sleep(unsigned seconds) {
  NEXT(sleep);
  if (!Attached()) return next(seconds);
  int64_t left;
  Sleep(seconds * kSecond, &left);
  return static_cast<unsigned>((left + kSecond - 1) / kSecond);
}

int usleep(useconds_t microseconds) {
  const timespec duration = ToTimespec(int64_t{microseconds} * 1000);
  return nanosleep(&duration, nullptr);
}

int ppoll(pollfd *descriptors, nfds_t count, const timespec *timeout, const sigset_t *mask) {
  NEXT(ppoll);
  if (!GoesByBoard() || (timeout != nullptr && !IsValid(*timeout))) {
    return next(descriptors, count, timeout, mask);
  }
  return Poll(descriptors, count, timeout == nullptr ? kNever : Nanoseconds(*timeout), mask);
}

int poll(pollfd *descriptors, nfds_t count, int timeout) {
  const timespec time = ToTimespec(std::max(0, timeout) * (kSecond / 1000));
  return ppoll(descriptors, count, timeout < 0 ? nullptr : &time, nullptr);
}

int select(int count, fd_set *readable, fd_set *writable, fd_set *exceptional, timeval *timeout) {
  NEXT(select);
  const bool negative = timeout != nullptr && (timeout->tv_sec < 0 || timeout->tv_usec < 0);
  if (!GoesByBoard() || negative || count < 0) {
    return next(count, readable, writable, exceptional, timeout);
  }
  fd_set *sets[] = {readable, writable, exceptional};
  const int64_t begin = Lifetime();
  const int64_t nanoseconds = timeout == nullptr ? kNever : Nanoseconds(*timeout);
  const int result = Select(count, sets, nanoseconds, nullptr);
  if (timeout != nullptr) {
    *timeout = ToTimeval(std::max<int64_t>(0, nanoseconds - (Lifetime() - begin)));
  }
  return result;
}

int pselect(int count, fd_set *readable, fd_set *writable, fd_set *exceptional,
            const timespec *timeout, const sigset_t *mask) {
  NEXT(pselect);
  if (!GoesByBoard() || (timeout != nullptr && !IsValid(*timeout)) || count < 0) {
    return next(count, readable, writable, exceptional, timeout, mask);
  }
  fd_set *sets[] = {readable, writable, exceptional};
  return Select(count, sets, timeout == nullptr ? kNever : Nanoseconds(*timeout), mask);
}

int epoll_pwait(int fd, epoll_event *events, int most, int timeout, const sigset_t *mask) {
  NEXT(epoll_pwait);
  if (!GoesByBoard()) return next(fd, events, most, timeout, mask);
  return Epoll(fd, events, most, timeout < 0 ? kNever : timeout * (kSecond / 1000), mask);
}

int epoll_pwait2(int fd, epoll_event *events, int most, const timespec *timeout,
                 const sigset_t *mask) {
  NEXT(epoll_pwait2);
  if (!GoesByBoard() || (timeout != nullptr && !IsValid(*timeout))) {
    return next(fd, events, most, timeout, mask);
  }
  return Epoll(fd, events, most, timeout == nullptr ? kNever : Nanoseconds(*timeout), mask);
}

int epoll_wait(int fd, epoll_event *events, int most, int timeout) {
  return epoll_pwait(fd, events, most, timeout, nullptr);
}

int sigtimedwait(const sigset_t *set, siginfo_t *information, const timespec *timeout) {
  NEXT(sigtimedwait);
  if (!GoesByBoard() || (timeout != nullptr && !IsValid(*timeout))) {
    return next(set, information, timeout);
  }
  const Mask programs(set);
  const sigset_t *const own = programs.WhileWaiting();
  const timespec none = {};
  int result = next(own, information, &none);
  if (result > 0 || errno != EAGAIN) return result;
  CallWait wait(timeout == nullptr ? kNever : Lifetime() + Nanoseconds(*timeout), false);
  const bool isDue = wait.Ends(&result, [&] { return next(own, information, nullptr); });
  if (isDue && IsInterrupted(result)) errno = EAGAIN;
  return result;
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
