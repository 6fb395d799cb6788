// The keeper of a board's time: lets one thread after the other go on, and moves time.
#pragma once

#include <stdint.h>

#include <functional>

#include "vboard/board_time.h"
#include "vboard/thread_watch.h"

namespace vboard {

class Keeper {
 public:
  // Keeps the open board's time from now on. Speed: board seconds a second, 0: free.
  explicit Keeper(uint32_t speed);
  ~Keeper();
  Keeper(const Keeper &) = delete;
  Keeper &operator=(const Keeper &) = delete;

  // Whether every program on the board waits.
  bool AllRest();
  // Grows when programs or threads of theirs have come or gone.
  unsigned Changes() const { return watch_.Changes(); }
  // When they do: lets the next one go on that waits for no later moment than this one, or moves
  // time to this one where there is none. While the board's time is held back, and where there is
  // nothing to wait for at all, no longer than so many nanoseconds of the PC's, or until something
  // else comes.
  void LetGoOn(int64_t moment, int64_t nanoseconds);
  // When they do not: a short while.
  void PauseBriefly();

 private:
  struct Next;
  Next Find();
  Next FindNext();
  bool IsNobodys(IntervalTimer &timer) const;
  void DropEnded();
  void Wake(const Wait &wait) const;
  void LetGo(Wait &wait) const;
  bool WakeAgain();
  void Pause(int64_t nanoseconds);
  bool HoldBack(int64_t moment, int64_t nanoseconds);
  uint32_t Pace();

  ThreadWatch watch_;
  unsigned changes_ = 0;
  uint32_t seenPokes_ = 0;
  int64_t pause_ = 0;
  // Where the pace counts from: a moment of the board's and one of the PC's.
  uint32_t pace_ = 0;
  int64_t boardStart_ = 0, realStart_ = 0;
};

// Keeps the open board's time while goesOn says so.
void KeepTime(uint32_t speed, const std::function<bool()> &goesOn);

}  // namespace vboard
