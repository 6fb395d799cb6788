// Threads and processes that are started take their turn: they go on when who started them waits.
#include <errno.h>
#include <pthread.h>
#include <sched.h>
#include <setjmp.h>
#include <stdlib.h>
#include <unistd.h>

#include <memory>

#include "vboard/board.h"
#include "vboard/faults.h"
#include "vboard/intercept/intercept.h"
#include "vboard/turns.h"

using vboard::Attached;

namespace {

struct ThreadStart {
  void *(*body)(void *);
  void *argument;
  uint64_t order;
};

void *RunThread(void *argument) {
  const ThreadStart start = *std::unique_ptr<ThreadStart>(static_cast<ThreadStart *>(argument));
  vboard::NoteThread(start.order);
  if (Attached()) vboard::TakeTurn();
  return start.body(start.argument);
}

// Of the process that is being forked.
thread_local uint64_t child = 0;

void BeforeFork() {
  child = Attached() ? vboard::NextProcess() : 0;
}

void InParent() {
  if (Attached()) vboard::NoteBirth();
}

void InChild() {
  if (Attached()) vboard::NoteProcess(child);
}

[[gnu::constructor]] void FollowForks() {
  pthread_atfork(BeforeFork, InParent, InChild);
}

}  // namespace

extern "C" {

int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *),
                   void *argument) {
  NEXT(pthread_create);
  if (!Attached()) return next(thread, attributes, body, argument);
  if (vboard::CallFails("pthread_create", "")) return errno;
  auto start = std::make_unique<ThreadStart>(ThreadStart{body, argument, vboard::NextThread()});
  const int error = next(thread, attributes, RunThread, start.get());
  vboard::NoteBirth();
  if (error == 0) static_cast<void>(start.release());  // which is the thread's now
  return error;
}

pid_t fork() noexcept {
  NEXT(fork);
  return Attached() && vboard::CallFails("fork", "") ? -1 : next();
}

// Jumps lead out of signal handlers, too.
#define INTERCEPT_LONGJMP(name, buffer)      \
  void name(buffer environment, int value) { \
    NEXT(name);                              \
    if (Attached()) vboard::LeaveAllWaits(); \
    next(environment, value);                \
    __builtin_unreachable();                 \
  }
INTERCEPT_LONGJMP(longjmp, jmp_buf)
INTERCEPT_LONGJMP(_longjmp, jmp_buf)
INTERCEPT_LONGJMP(siglongjmp, sigjmp_buf)
void __longjmp_chk(jmp_buf environment, int value);
INTERCEPT_LONGJMP(__longjmp_chk, jmp_buf)

// Takes a microsecond, so that a loop of it does not hold up who waits for later.
int sched_yield() noexcept {
  NEXT(sched_yield);
  if (!Attached() || !vboard::IsKept()) return next();
#ifdef __SANITIZE_ADDRESS__
  // The leak check waits in this way, and the tests hold the board's time for it.
  if (vboard::State().time.paused) return next();
#endif
  vboard::SleepUntil(vboard::Lifetime() + 1000);
  return 0;
}

}  // extern "C"
