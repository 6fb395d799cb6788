#include "vboard/thread_watch.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <utility>

#include "vboard/board.h"
#include "vboard/real.h"

namespace vboard {
namespace {

// Nothing on a board computes that long but what never ends.
constexpr int64_t kLongestComputing = kSecond;
// What a signal that nothing tells of may have woken goes unseen no longer, by the PC's clock.
constexpr int64_t kBetweenLooksAtAll = kSecond / 100;

// Reads a file below /proc from its start; the length, 0 for none.
template <size_t N>
size_t ReadAgain(int fd, std::array<char, N> &text) {
  const ssize_t length = real::pread(fd, text.data(), N - 1, 0);
  text[static_cast<size_t>(std::max<ssize_t>(length, 0))] = '\0';
  return length > 0 ? static_cast<size_t>(length) : 0;
}

int OpenOf(pid_t process, pid_t thread, const char *name) {
  char path[64];
  snprintf(path, sizeof path, "/proc/%d/task/%d/%s", process, thread, name);
  return real::open(path, O_RDONLY | O_CLOEXEC);
}

void AddOnce(pid_t process, std::vector<pid_t> &all) {
  if (std::find(all.begin(), all.end(), process) == all.end()) all.push_back(process);
}

// The processor time of a thread, in nanoseconds.
int64_t Computed(int ran) {
  std::array<char, 96> text;
  ReadAgain(ran, text);
  return strtoll(text.data(), nullptr, 10);
}

// What is at its end computes nothing, nor does what is stopped; but a debugger stops time.
bool IsRest(char state) {
  return strchr("STZXxI", state) != nullptr;
}

}  // namespace

ThreadWatch::~ThreadWatch() {
  CloseAll();
}

void ThreadWatch::CloseAll() {
  for (const Watched &watched : threads_) {
    real::close(watched.state);
    real::close(watched.ran);
  }
  threads_.clear();
}

void ThreadWatch::Add(pid_t process) {
  const std::vector<pid_t> threads = Threads(process);
  for (const pid_t thread : threads) {
    Watched watched = {};
    watched.process = process;
    watched.thread = thread;
    watched.threads = static_cast<int>(threads.size());
    watched.state = OpenOf(process, thread, "stat");
    watched.ran = OpenOf(process, thread, "schedstat");
    if (watched.state >= 0 && watched.ran >= 0) {
      threads_.push_back(watched);
      continue;
    }
    real::close(watched.state);
    real::close(watched.ran);
  }
}

// This process's descendants, who has come to the board in another way, and the descendants of
// those: one that was just forked is on the board before it can say so.
void ThreadWatch::List() {
  CloseAll();
  births_ = State().time.births;
  std::vector<pid_t> processes = {getpid()};
  for (const Member &member : State().time.members) {
    if (Lives(member.process)) AddOnce(member.process.number, processes);
  }
  for (size_t i = 0; i < processes.size(); ++i) {
    for (const pid_t child : Children(processes[i])) AddOnce(child, processes);
  }
  for (const pid_t process : processes) {
    if (process != getpid()) Add(process);
  }
  isListed_ = true;
  looksAtAll_ = true;
  ++changes_;
}

bool ThreadWatch::Has(pid_t process, pid_t thread) const {
  return std::any_of(threads_.begin(), threads_.end(), [&](const Watched &watched) {
    return watched.process == process && watched.thread == thread;
  });
}

// A process that has ended is listed until its parent has taken leave of it, which has got a signal
// by then.
bool ThreadWatch::IsResting(Watched &watched) {
  std::array<char, 512> text;
  if (ReadAgain(watched.state, text) == 0) {
    isListed_ = false;
    return false;
  }
  // The program's name, in brackets, may hold anything; behind it the state, and as the eighteenth
  // field the number of threads.
  const char *field = strrchr(text.data(), ')');
  if (field == nullptr || field[1] == '\0') return false;
  const char state = field[2];
  if (state == 'Z') {
    if (std::exchange(watched.hasEnded, true)) return true;
    ++changes_;
    looksAtAll_ = true;
    return false;
  }
  for (int i = 0; i < 18 && field != nullptr; ++i) field = strchr(field + 1, ' ');
  if (field == nullptr || atoi(field) != watched.threads) {
    isListed_ = false;
    return false;
  }
  return IsRest(state);
}

// Since this was asked before.
bool ThreadWatch::HasRun(Watched &watched) {
  std::array<char, 96> ran = {};
  ReadAgain(watched.ran, ran);
  return std::exchange(watched.seen, ran) != ran;
}

// How busy the PC is does not matter here.
bool ThreadWatch::Spins(Watched &watched) {
  if (watched.spins) return true;
  const int64_t computed = Computed(watched.ran);
  if (std::exchange(watched.rest, rests_ + 1) != rests_ + 1) watched.computed = computed;
  if (computed - watched.computed < kLongestComputing) return false;
  Event("time: a program computes on and on, the others go on beside it");
  return watched.spins = true;
}

bool ThreadWatch::AnySpins() const {
  return std::any_of(threads_.begin(), threads_.end(),
                     [](const Watched &one) { return one.spins; });
}

void ThreadWatch::NoteTurns() {
  const Time &time = State().time;
  if (signals_ != time.signals || births_ != time.births ||
      real::Now() - lookedAtAll_ > kBetweenLooksAtAll) {
    looksAtAll_ = true;
  }
  signals_ = time.signals;
  for (Watched &watched : threads_) watched.turn = 0;
  for (const Wait &wait : time.waits) {
    if (wait.state != Wait::kWaits || wait.inCall || wait.covered) continue;
    for (Watched &watched : threads_) {
      if (watched.thread == wait.thread) watched.turn = wait.serial;
    }
  }
}

// Those that wait for their turn since the last look. They are the first: no other thread wakes
// them while it is looked at.
bool ThreadWatch::HaveGoneToSleep() {
  for (Watched &watched : threads_) {
    if (watched.turn == 0 || watched.turn == watched.sleptFor) continue;
    if (!IsResting(watched)) return false;
    watched.sleptFor = watched.turn;
  }
  return true;
}

bool ThreadWatch::LookAtAll() {
  const auto isAsleep = [this](const Watched &one) { return one.turn != 0 && !looksAtAll_; };
  // One that sleeps can be woken only by another one.
  const auto looked = std::count_if(threads_.begin(), threads_.end(),
                                    [&](const Watched &one) { return !isAsleep(one); });
  for (const bool again : {false, true}) {
    bool anyHasRun = false;
    for (Watched &watched : threads_) {
      if (isAsleep(watched)) continue;
      const bool rests = IsResting(watched);
      const bool hasRun = rests && looked > 1 && HasRun(watched);
      if (rests && !(hasRun && again)) {
        watched.spins = false;
        anyHasRun |= hasRun;
      } else if (!Spins(watched)) {
        // Who computes is looked at first the next time.
        std::swap(threads_[0], watched);
        return false;
      }
    }
    if (!anyHasRun) break;
  }
  return true;
}

bool ThreadWatch::AllRest() {
  if (!isListed_ || births_ != State().time.births) List();
  NoteTurns();
  if (!HaveGoneToSleep() || !LookAtAll() || births_ != State().time.births ||
      signals_ != State().time.signals) {
    return false;
  }
  sawAll_ = std::exchange(looksAtAll_, false);
  if (sawAll_) lookedAtAll_ = real::Now();
  ++rests_;
  return true;
}

bool ThreadWatch::SawAll() {
  looksAtAll_ |= !sawAll_;
  return sawAll_;
}

}  // namespace vboard
