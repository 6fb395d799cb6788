#include "vboard/keeper.h"

#include <errno.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <tuple>
#include <utility>

#include "vboard/board.h"
#include "vboard/device.h"
#include "vboard/real.h"
#include "vboard/timer_pipes.h"
#include "vboard/timers.h"
#include "vboard/turns.h"

namespace vboard {
namespace {

constexpr int64_t kShortestPause = 20'000;
constexpr int kLooksWithoutPause = 20;
constexpr int64_t kLongestPause = 1'000'000;
// A PC that was late by more than this does not hurry to make up for it.
constexpr int64_t kMostLate = kSecond / 10;
constexpr int64_t kLongestSilence = kSecond / 20;
// How often KeepTime asks whether it goes on.
constexpr int64_t kTurn = kSecond / 100;

}  // namespace

// What goes on next: a device, a timer or a thread.
struct Keeper::Next {
  // Due, asked, order; and of a thread's timers, before the thread itself, the serial.
  using Key = std::tuple<int64_t, uint64_t, uint64_t, uint64_t>;
  Key key = {kNever, 0, 0, 0};
  const Device *device = nullptr;
  IntervalTimer *timer = nullptr;
  Wait *wait = nullptr;

  int64_t Due() const { return std::get<0>(key); }
};

Keeper::Keeper(uint32_t speed) {
  Time &time = State().time;
  time.speed = speed;
  time.paused = false;
  Stand(Lifetime());
  prctl(PR_SET_TIMERSLACK, 1);  // its pauses are shorter than what the kernel adds otherwise
  time.keeper.start = StartOf(getpid());
  time.keeper.number = getpid();
}

Keeper::~Keeper() {
  if (State().time.keeper.number != getpid()) return;  // somebody else has taken it over
  State().time.keeper.number = 0;
  RunOn(1, kNever);
}

bool Keeper::AllRest() {
  seenPokes_ = State().time.pokes;
  if (!watch_.AllRest()) return false;
  pause_ = 0;
  return true;
}

void Keeper::Pause(int64_t nanoseconds) {
  real::WaitForFutex(State().time.pokes, seenPokes_, nanoseconds);
}

// Who says that it waits is on its way to sleep: for a few looks this only lets it have the
// processor.
void Keeper::PauseBriefly() {
  if (pause_ < kShortestPause) {
    static constinit real::Next<int()> next("sched_yield");
    next();
    pause_ += kShortestPause / kLooksWithoutPause;
    return;
  }
  Pause(pause_);
  pause_ = std::min(pause_ * 3 / 2, kLongestPause);
}

bool Keeper::IsNobodys(IntervalTimer &timer) const {
  if (timer.kind == IntervalTimer::kDescriptor) return IsLost(timer);
  return !watch_.Has(timer.process, timer.process);
}

// The places of processes and threads that have ended while they had them.
void Keeper::DropEnded() {
  Time &time = State().time;
  for (Wait &wait : time.waits) {
    if (wait.state != Wait::kFree && !watch_.Has(wait.process, wait.thread)) {
      wait.state = Wait::kFree;
      real::WakeFutex(wait.state);
    }
  }
  for (IntervalTimer &timer : time.timers) {
    const bool sends = timer.process > 0 && timer.kind != IntervalTimer::kDescriptor;
    if (sends && IsNobodys(timer)) timer.process = 0;
  }
  for (Member &member : time.members) {
    if (member.process.number > 0 && !Lives(member.process)) member.process.number = 0;
  }
}

Keeper::Next Keeper::Find() {
  Next next;
  const bool isOn = State().power == Power::kOn;
  for (const Device *device : Devices()) {
    const int64_t due = isOn && device->due != nullptr ? device->due() : kNever;
    if (due < next.Due()) next = {{due, 0, 0, 0}, device};
  }
  for (IntervalTimer &timer : State().time.timers) {
    const Next::Key key(timer.due, timer.asked, timer.order, timer.serial);
    if (timer.process > 0 && key < next.key) next = {key, nullptr, &timer};
  }
  for (Wait &wait : State().time.waits) {
    const Next::Key key(wait.due, wait.asked, wait.order, UINT64_MAX);
    if (wait.state == Wait::kWaits && !wait.covered && key < next.key) {
      next = {key, nullptr, nullptr, &wait};
    }
  }
  return next;
}

// Time does not go to the moment of a timer that nobody has any more.
Keeper::Next Keeper::FindNext() {
  for (;;) {
    const Next next = Find();
    if (next.timer == nullptr || !IsNobodys(*next.timer)) return next;
    next.timer->process = 0;
  }
}

// A signal is for nobody but whom the watch sees: what a number in a place may be worth else.
void Keeper::Wake(const Wait &wait) const {
  const pid_t process = wait.process, thread = wait.thread;
  if (watch_.Has(process, thread)) tgkill(process, thread, WakeSignal());
}

void Keeper::LetGo(Wait &wait) const {
  uint32_t waits = Wait::kWaits;
  if (!wait.state.compare_exchange_strong(waits, Wait::kMayGo)) return;
  if (wait.inCall) {
    Wake(wait);
  } else {
    real::WakeFutex(wait.state);
  }
}

// A signal that came before its thread was in the call, where it rests by now. Who hangs does not
// take it, nor who waits for a lock behind the call.
bool Keeper::WakeAgain() {
  bool any = false;
  if (State().hanging) return false;
  for (Wait &wait : State().time.waits) {
    if (wait.state != Wait::kMayGo || !wait.inCall || wait.covered) continue;
    if (wait.sentAgain.exchange(true)) continue;
    Wake(wait);
    any = true;
  }
  return any;
}

uint32_t Keeper::Pace() {
  const Time &time = State().time;
  if (time.speed != 0) return time.speed;
  if (watch_.AnySpins()) return 1;
  // What is not on the board lives in the PC's time.
  return std::any_of(std::begin(time.waits), std::end(time.waits),
                     [](const Wait &wait) { return wait.state == Wait::kWaits && wait.outside; })
             ? 1
             : 0;
}

// Until the moment is due on the PC too. False when something came before.
bool Keeper::HoldBack(int64_t moment, int64_t nanoseconds) {
  const uint32_t pace = Pace();
  if (pace == 0) return true;
  const int64_t lifetime = Lifetime();
  const int64_t now = real::Now();
  if (pace != pace_ || now - (realStart_ + (lifetime - boardStart_) / pace) > kMostLate) {
    pace_ = pace;
    boardStart_ = lifetime;
    realStart_ = now;
  }
  const int64_t left = moment == kNever ? kNever : realStart_ + (moment - boardStart_) / pace - now;
  if (left <= 0) return true;
  // Who computes on and on says nothing when it ends.
  const int64_t most = watch_.AnySpins() ? std::min(nanoseconds, kTurn) : nanoseconds;
  RunOn(pace, moment);
  const bool came = real::WaitForFutex(State().time.pokes, seenPokes_, std::min(left, most)) == 0 ||
                    errno != ETIMEDOUT;
  Stand(Lifetime());
  return !came && left <= most;
}

void Keeper::LetGoOn(int64_t moment, int64_t nanoseconds) {
  if (std::exchange(changes_, watch_.Changes()) != watch_.Changes()) DropEnded();
  if (State().time.timersWanted.exchange(false)) DropLostTimers();
  if (WakeAgain()) return;
  if (State().time.paused) return Pause(std::min(nanoseconds, kSecond));
  const Next next = FindNext();
  const int64_t target = std::min(next.Due(), moment);
  // Who is killed, or comes back from what only the kernel knows, says nothing.
  if (target == kNever && Pace() == 0) return Pause(std::min(nanoseconds, kLongestSilence));
  if (target > Lifetime()) {
    if (!HoldBack(target, nanoseconds)) return;
    Stand(target);
  }
  if (next.Due() > moment || next.Due() == kNever) return;
  // Whom a signal reaches is asleep, or it would not wake up.
  const bool signals = next.timer != nullptr && next.timer->kind != IntervalTimer::kDescriptor;
  if (signals && !watch_.SawAll()) return;
  ++State().time.turns;
  if (next.device != nullptr) next.device->tick();
  if (next.timer != nullptr) Expire(*next.timer);
  if (next.wait != nullptr) LetGo(*next.wait);
}

void KeepTime(uint32_t speed, const std::function<bool()> &goesOn) {
  Keeper keeper(speed);
  while (goesOn()) {
    if (keeper.AllRest()) {
      keeper.LetGoOn(kNever, kTurn);
    } else {
      keeper.PauseBriefly();
    }
  }
}

}  // namespace vboard
