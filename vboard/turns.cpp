#include "vboard/turns.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "vboard/board.h"
#include "vboard/real.h"
#include "vboard/timers.h"

namespace vboard {
namespace {

// A wait without a keeper, and one that another try has to end.
constexpr int64_t kLongest = 86'400 * kSecond;
constexpr int64_t kPause = kSecond / 1000;
// So many looks one after the other are none of a loop that waits.
constexpr uint32_t kFewLooks = 1000;
// Of these the others' next moment is looked up once.
constexpr uint32_t kLooksAhead = 100;
static_assert(kFewLooks % kLooksAhead == 0);
constexpr int64_t kLookTakes = 1000;

// Threads of a process, in the order in which they were started, behind its own place.
constexpr int kThreadBits = 24;
std::atomic<uint64_t> place;
std::atomic<uint64_t> threads;

thread_local uint64_t ownOrder = 0;
thread_local uint32_t looks = 0;
thread_local int64_t othersDue = 0;
// What the keeper's signal does besides ending a call.
thread_local volatile sig_atomic_t woken = 0;
thread_local void (*wakeCall)(void *) = nullptr;
thread_local void *wakeArgument = nullptr;

// As /proc has them.
std::atomic<int32_t> processNumber;
thread_local pid_t threadNumber = 0;

// Of what such a link leads to the last part.
pid_t NumberBehind(const char *link) {
  static constinit real::Next<ssize_t(const char *, char *, size_t)> next("readlink");
  char text[64];
  const ssize_t length = next(link, text, sizeof text - 1);
  text[std::max<ssize_t>(length, 0)] = '\0';
  const char *last = strrchr(text, '/');
  return atoi(last != nullptr ? last + 1 : text);
}

pid_t ThreadNumber() {
  if (threadNumber == 0) threadNumber = NumberBehind("/proc/thread-self");
  return threadNumber;
}

// This thread's waits: each one but the first is a signal handler's, which interrupted the one
// before.
constexpr size_t kMostNested = 8;
thread_local Wait *held[kMostNested];
thread_local size_t nested = 0;

void Cover(bool covered) {
  if (nested > 0) held[nested - 1]->covered = covered;
}

Wait *FindFree() {
  for (bool told = false;; told = true) {
    for (Wait &wait : State().time.waits) {
      uint32_t free = Wait::kFree;
      if (wait.state.compare_exchange_strong(free, Wait::kTaken)) return &wait;
    }
    if (!told) Event("time: more threads wait than the board has places for");
    State().time.waitsRanOut = true;
    real::sleep({0, kPause});
  }
}

Wait *Take(int64_t due) {
  Time &time = State().time;
  Wait *wait = FindFree();
  wait->process = processNumber.load();
  wait->thread = ThreadNumber();
  wait->order = OwnOrder();
  wait->due = due;
  wait->asked = time.turns.load();
  wait->inCall = wait->outside = false;
  Cover(true);
  if (nested == kMostNested) --nested;
  held[nested++] = wait;
  return wait;
}

void Ask(Wait *wait) {
  wait->covered = wait->sentAgain = false;
  wait->serial = ++State().time.waitsBegun;
  wait->state = Wait::kWaits;
}

// Who jumped out of a wait has given it back already. In a child that was forked meanwhile the
// place is still its parent's.
void GiveBack(Wait *wait) {
  size_t outer = nested;
  while (outer > 0 && held[outer - 1] != wait) --outer;
  if (outer == 0) return;
  nested = outer - 1;
  if (wait->process == processNumber) wait->state = Wait::kFree;
  // What a handler interrupted goes on waiting only in the kernel.
  if (nested > 0 && held[nested - 1]->inCall) Cover(false);
}

// False when a signal was handled.
bool WaitForLeave(Wait *wait) {
  looks = 0;
  Ask(wait);
  Poke();
  while (wait->state == Wait::kWaits) {
    const int result = real::WaitForFutex(wait->state, Wait::kWaits, kLongest);
    uint32_t waits = Wait::kWaits;
    if (result != 0 && errno == EINTR && wait->state.compare_exchange_strong(waits, Wait::kTaken)) {
      return false;
    }
  }
  return true;
}

void Woken(int) {
  const int kept = errno;
  woken = 1;
  if (wakeCall != nullptr) wakeCall(wakeArgument);
  errno = kept;
}

void HandleWakeSignal() {
  struct sigaction action = {};
  action.sa_handler = Woken;
  static constinit real::Next<int(int, const struct sigaction *, struct sigaction *)> next(
      "sigaction");
  next(WakeSignal(), &action, nullptr);
}

}  // namespace

uint64_t NextThread() {
  return place << kThreadBits | threads++;
}

pid_t OwnNumber() {
  return processNumber;
}

uint64_t OwnOrder() {
  if (ownOrder == 0) ownOrder = NextThread();
  return ownOrder;
}

void NoteThread(uint64_t order) {
  ownOrder = order;
}

void NoteBirth() {
  ++State().time.births;
}

namespace {

// The place of this process; a new one where it has none. True when it has become another program.
bool FindPlace(uint64_t given) {
  const pid_t id = processNumber;
  const uint64_t start = StartOf(id);
  for (Member &member : State().time.members) {
    if (member.process.number != id || member.process.start != start) continue;
    place = member.place.load();
    return true;
  }
  place = given != 0 ? given : ++State().time.births;
  const Lock lock;
  for (Member &member : State().time.members) {
    if (member.process.number != 0) continue;
    member.process.start = start;
    member.place = place.load();
    member.process.number = id;  // last, for those who look without the lock
    break;
  }
  return false;
}

}  // namespace

uint64_t NextProcess() {
  return ++State().time.births;
}

void NoteProcess(uint64_t given) {
  threads = 0;
  ownOrder = 0;
  nested = 0;
  processNumber = NumberBehind("/proc/self");
  threadNumber = 0;
  const bool another = FindPlace(given);
  NoteBirth();
  HandleWakeSignal();
  if (another) {
    DropSignalTimers();
  } else {
    TakeTurn();
  }
}

void TakeTurn() {
  if (!IsKept()) return;
  const int kept = errno;
  Wait *wait = Take(Lifetime());
  while (!WaitForLeave(wait)) continue;
  GiveBack(wait);
  errno = kept;
}

void LeaveAllWaits() {
  while (nested > 0) GiveBack(held[nested - 1]);
  wakeCall = nullptr;
}

bool SleepUntil(int64_t due) {
  if (!IsKept()) {
    for (int64_t left; (left = std::min(due - Lifetime(), kLongest)) > 0;) {
      timespec time = {};
      time.tv_sec = static_cast<time_t>(left / kSecond);
      time.tv_nsec = static_cast<decltype(time.tv_nsec)>(left % kSecond);
      if (real::sleep(time) != 0) return false;
    }
    return true;
  }
  Wait *wait = Take(due);
  const bool came = WaitForLeave(wait);
  GiveBack(wait);
  return came;
}

void NoteLook() {
  ++State().time.looks;
  if (!IsKept() || ++looks < kFewLooks) return;
  const int kept = errno;
  const int64_t next = Lifetime() + kLookTakes;
  if (looks % kLooksAhead == 0) othersDue = NextDue();
  if (next < othersDue) {
    Drift(kLookTakes);
  } else {
    SleepUntil(next);
    looks = kFewLooks - 1;
  }
  errno = kept;
}

CallWait::CallWait(int64_t due, bool outside) {
  if (!IsKept()) return;
  wait_ = Take(due);
  wait_->inCall = true;
  wait_->outside = outside;
}

CallWait::~CallWait() {
  wakeCall = nullptr;
  if (wait_ == nullptr) return;
  const bool isDue = IsDue();
  GiveBack(wait_);
  if (!isDue) TakeTurn();
}

void CallWait::OnWake(void (*wake)(void *), void *what) {
  wakeArgument = what;
  wakeCall = wake;
}

void CallWait::Begin() {
  if (wait_ == nullptr) return;
  woken = 0;
  sigset_t wake;
  sigemptyset(&wake);
  sigaddset(&wake, WakeSignal());
  pthread_sigmask(SIG_UNBLOCK, &wake, &signals_);
  looks = 0;
  Ask(wait_);
  Poke();
}

void CallWait::End() {
  if (wait_ == nullptr) return;
  const int kept = errno;
  sigset_t wake;
  sigemptyset(&wake);
  sigaddset(&wake, WakeSignal());
  if (sigismember(&signals_, WakeSignal()) != 0) pthread_sigmask(SIG_BLOCK, &wake, nullptr);
  uint32_t waits = Wait::kWaits;
  wait_->state.compare_exchange_strong(waits, Wait::kTaken);
  errno = kept;
}

// The keeper's signal that came for an earlier wait.
bool CallWait::IsToRepeat() {
  return wait_ != nullptr && errno == EINTR && woken != 0 && !IsDue();
}

bool CallWait::IsDue() const {
  return wait_ != nullptr && wait_->state == Wait::kMayGo;
}

}  // namespace vboard
