// How a thread of a program on the board waits for a moment of board time, and for its turn. One
// thread goes on at a time: who was woken by another one, or was just started, goes on when that
// one waits in its turn; but who gets a lock, or takes leave of what has ended, goes on at once. So
// what happens on a board does not depend on how the PC shares its processors.
//
// A signal handler may call all of it; nothing takes memory from the heap. Without a keeper a wait
// takes as long as on the PC.
#pragma once

#include <signal.h>
#include <stdint.h>
#include <sys/types.h>

#include "vboard/board_time.h"

namespace vboard {

// The signal with which the keeper ends a call that waits in the kernel. Programs on the board
// cannot have it.
inline int WakeSignal() {
  return SIGRTMAX;
}

// The place of a process that this one starts next, among those that wait.
uint64_t NextProcess();
// This process is on the board from now on, at its place; 0: the next one. It waits for its turn,
// unless it was there already and has become another program.
void NoteProcess(uint64_t place);
// The same of a thread, without waiting.
void NoteThread(uint64_t order);
// The place of a thread that this process starts next.
uint64_t NextThread();
uint64_t OwnOrder();
// This process's number as /proc has it, by which the keeper finds it: it may be in a process table
// of its own, where it has another.
pid_t OwnNumber();
// This process has just started a thread or another process, which the kernel knows by now.
void NoteBirth();

// Waits until all others wait and it is this thread's turn.
void TakeTurn();
// This thread jumps out of a signal handler: whatever it interrupted does not wait any more.
void LeaveAllWaits();
// Waits until a moment of the board's lifetime. False when a signal was handled before it came.
bool SleepUntil(int64_t due);
// A look at a clock, or at anything else of the board's, that does not wait. One after the other
// they let time go on, so that a loop that only looks comes to its end.
void NoteLook();

// A wait in a call of the C library, which ends when what it waits for comes.
class CallWait {
 public:
  // At the latest when the moment comes. Outside: what the call waits for is not on the board.
  CallWait(int64_t due, bool outside);
  ~CallWait();
  CallWait(const CallWait &) = delete;
  CallWait &operator=(const CallWait &) = delete;

  // Makes the call, which returns -1 with EINTR once a signal was handled. True: the moment has
  // come first.
  template <typename Result, typename Call>
  bool Ends(Result *result, Call call) {
    do {
      Begin();
      *result = call();
      End();
    } while (*result == -1 && IsToRepeat());
    return IsDue();
  }
  // For a call that returns an error number and knows no signals: what the keeper's signal does.
  void OnWake(void (*wake)(void *), void *what);
  // Whether the moment has come.
  bool IsDue() const;

 private:
  void Begin();
  void End();
  bool IsToRepeat();

  Wait *wait_ = nullptr;
  sigset_t signals_;
};

}  // namespace vboard
