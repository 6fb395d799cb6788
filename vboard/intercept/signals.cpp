// Signals that programs send: the keeper of time has to know of them. Its own is nobody's.
#include <errno.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>

#include "vboard/board.h"
#include "vboard/intercept/intercept.h"
#include "vboard/turns.h"

namespace {

void NoteSignal() {
  if (vboard::Attached()) ++vboard::State().time.signals;
}

// True, with errno set, for a handler of the keeper's signal.
bool IsKeepers(int signal) {
  if (signal != vboard::WakeSignal() || !vboard::Attached() || !vboard::IsKept()) return false;
  static std::atomic<bool> logged{false};  // some programs set all signals, again and again
  if (!logged.exchange(true)) vboard::Event("signal %d is the board's", signal);
  errno = EINVAL;
  return true;
}

}  // namespace

extern "C" {

int kill(pid_t process, int signal) noexcept {
  NEXT(kill);
  NoteSignal();
  return next(process, signal);
}

int killpg(int group, int signal) noexcept {
  NEXT(killpg);
  NoteSignal();
  return next(group, signal);
}

int tgkill(pid_t process, pid_t thread, int signal) {
  NEXT(tgkill);
  NoteSignal();
  return next(process, thread, signal);
}

int pthread_kill(pthread_t thread, int signal) noexcept {
  NEXT(pthread_kill);
  NoteSignal();
  return next(thread, signal);
}

int pthread_sigqueue(pthread_t thread, int signal, const sigval value) noexcept {
  NEXT(pthread_sigqueue);
  NoteSignal();
  return next(thread, signal, value);
}

// Which is a signal, too.
int pthread_cancel(pthread_t thread) {
  NEXT(pthread_cancel);
  NoteSignal();
  return next(thread);
}

int raise(int signal) noexcept {
  NEXT(raise);
  NoteSignal();
  return next(signal);
}

int sigqueue(pid_t process, int signal, const sigval value) noexcept {
  NEXT(sigqueue);
  NoteSignal();
  return next(process, signal, value);
}

int sigaction(int signal, const struct sigaction *action, struct sigaction *old) noexcept {
  NEXT(sigaction);
  return action != nullptr && IsKeepers(signal) ? -1 : next(signal, action, old);
}

// The older forms, some of which are declared no more or are deprecated.
#define INTERCEPT_SIGNAL(name)                                                        \
  sighandler_t name(int signal, sighandler_t handler) noexcept;                       \
  sighandler_t name(int signal, sighandler_t handler) noexcept {                      \
    static constinit vboard::real::Next<sighandler_t(int, sighandler_t)> next(#name); \
    return IsKeepers(signal) ? SIG_ERR : next(signal, handler);                       \
  }
INTERCEPT_SIGNAL(signal)
INTERCEPT_SIGNAL(ssignal)
INTERCEPT_SIGNAL(bsd_signal)
INTERCEPT_SIGNAL(sysv_signal)
INTERCEPT_SIGNAL(__sysv_signal)
INTERCEPT_SIGNAL(sigset)

int sigignore(int signal) noexcept {
  static constinit vboard::real::Next<int(int)> next("sigignore");
  return IsKeepers(signal) ? -1 : next(signal);
}

}  // extern "C"
