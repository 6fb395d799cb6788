// The kernel's word on whether any thread of the board's programs computes.
#pragma once

#include <stdint.h>
#include <sys/types.h>

#include <array>
#include <vector>

namespace vboard {

class ThreadWatch {
 public:
  ThreadWatch() = default;
  ~ThreadWatch();
  ThreadWatch(const ThreadWatch &) = delete;
  ThreadWatch &operator=(const ThreadWatch &) = delete;

  // True when there was a moment at which no thread ran or could have run. Two looks at each
  // thread, between which it has not run, show it: what it slept through is the time between the
  // two, and that is common to all of them. The first of the two may be long ago. Threads that wait
  // for their turn are looked at once: nothing but the keeper wakes them, and a signal, after which
  // all of them are looked at again; of some signals nothing tells, so this happens now and then
  // anyway. Nor is who computes and computes without a call of the board's: the others go on beside
  // it.
  bool AllRest();
  // Whether the last look was at every thread; if not, the next one is. A signal interrupts only
  // who has really come to wait.
  bool SawAll();
  // Whether there is one that computes without end.
  bool AnySpins() const;
  // Whether the last look saw this thread.
  bool Has(pid_t process, pid_t thread) const;
  // Grows when processes or threads have come or gone.
  unsigned Changes() const { return changes_; }

 private:
  struct Watched {
    pid_t process, thread;
    int state;  // descriptors of its files below /proc
    int ran;
    std::array<char, 96> seen;  // how often and how long it has run
    int threads;                // of its process
    uint64_t turn;              // for which it waits: that wait's serial number, or 0
    uint64_t sleptFor;          // for which it was seen asleep
    bool hasEnded;
    bool spins;
    unsigned rest;     // after which it was found computing first
    int64_t computed;  // and what it had computed by then, nanoseconds
  };

  void List();
  void Add(pid_t process);
  void CloseAll();
  void NoteTurns();
  bool HaveGoneToSleep();
  bool IsResting(Watched &watched);
  static bool HasRun(Watched &watched);
  bool Spins(Watched &watched);
  bool LookAtAll();

  std::vector<Watched> threads_;
  uint64_t births_ = 0;
  uint32_t signals_ = 0;
  unsigned changes_ = 0;
  unsigned rests_ = 0;
  bool isListed_ = false;
  bool looksAtAll_ = true;
  int64_t lookedAtAll_ = 0;  // when, by the PC's clock
  bool sawAll_ = false;
};

}  // namespace vboard
