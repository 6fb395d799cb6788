// A board's time. It stands still while any program on the board computes. When all of them wait,
// the board's keeper lets the next of them go on, and where none may yet, time jumps to the moment
// for which the first one waits: free of the PC's clock, or held back to a pace for who watches.
//
// A board without a keeper, such as one that is off, has the PC's pace.
#pragma once

#include <signal.h>
#include <stdint.h>
#include <time.h>

#include <atomic>

#include "vboard/processes.h"

namespace vboard {

constexpr int64_t kNever = INT64_MAX;
constexpr int64_t kSecond = 1'000'000'000;

// A thread that waits: for a moment of board time, for what ends a call in the kernel, or only for
// its turn. The state is a futex.
struct Wait {
  enum State : uint32_t {
    kFree,
    kTaken,  // by a thread that fills it in, or whose wait has ended
    kWaits,  // until the keeper lets it go
    kMayGo,  // it may, but has not gone yet
  };
  std::atomic<uint32_t> state;
  std::atomic<int32_t> process, thread;  // their numbers on the PC
  std::atomic<uint64_t> order;           // of those that ask for the same at the same time
  std::atomic<int64_t> due;              // lifetime; kNever: none
  std::atomic<uint64_t> asked;           // after how many turns
  std::atomic<bool> inCall;              // waits in the kernel, where a signal reaches it
  std::atomic<bool> covered;             // by a wait of a signal handler, which interrupted it
  std::atomic<bool> sentAgain;           // the keeper's signal
  std::atomic<uint64_t> serial;          // of all waits
  std::atomic<bool> outside;             // for something that is not on the board
};

// A process's timer.
struct IntervalTimer {
  enum Kind : uint32_t {
    kAlarm,       // the process's only one, which sends it SIGALRM
    kSignal,      // sends a signal, or nothing
    kDescriptor,  // can be read; it lives as long as some process has it open
  };
  std::atomic<int32_t> process;  // its number on the PC; 0: free
  std::atomic<uint32_t> kind;
  std::atomic<uint64_t> order, asked;  // as a wait has them
  std::atomic<uint64_t> serial;        // grows with every start of a timer
  std::atomic<int64_t> due, interval;  // lifetime, kNever while it is off; nanoseconds
  std::atomic<int32_t> clock;          // clockid_t
  std::atomic<bool> followsClock;      // what is due is a time of the system clock

  // Of a kSignal.
  std::atomic<int32_t> signal, thread;  // 0: none; 0: any
  std::atomic<sigval> value;            // sent with the signal
  std::atomic<bool> wasSent;
  std::atomic<uint64_t> overruns;  // while the signal was pending
  // Of a kDescriptor: the process's descriptor and the pipe behind it.
  std::atomic<int32_t> descriptor;
  std::atomic<uint64_t> pipe;
};

// A process of the board, with its place in the order of all that were started.
struct Member {
  ProcessId process;  // number 0: free
  std::atomic<uint64_t> place;
};

struct Time {
  std::atomic<uint32_t> version;     // odd while the next four change
  std::atomic<int64_t> lifetime;     // nanoseconds since the board was made
  std::atomic<int64_t> runsSince;    // monotonic clock of the PC, nanoseconds
  std::atomic<int64_t> limit;        // of the lifetime while it runs on
  std::atomic<uint32_t> pace;        // board seconds a second while it runs on; 0: it stands
  std::atomic<int64_t> powerOn;      // lifetime
  std::atomic<int64_t> clockOffset;  // what the system clock is ahead of the lifetime
  std::atomic<int32_t> minutesWest;  // the kernel's time zone
  std::atomic<uint32_t> speed;       // what the keeper keeps: board seconds a second; 0: free
  ProcessId keeper;                  // number 0: none
  std::atomic<uint32_t> pokes;       // a futex: something waits that did not before
  std::atomic<uint64_t> births;      // processes that were started, and threads
  std::atomic<uint32_t> signals;     // that were sent
  std::atomic<uint64_t> turns;       // that were given
  std::atomic<uint64_t> waitsBegun;
  std::atomic<uint64_t> looks;  // calls that did not wait
  Member members[256];
  Wait waits[256];
  IntervalTimer timers[64];
  std::atomic<uint64_t> timerStarts;
  std::atomic<bool> timersWanted;  // all places were taken: the keeper looks for lost ones
  std::atomic<bool> waitsRanOut;   // in this power cycle
  std::atomic<bool> paused;        // the keeper lets nobody go on
};

// Nanoseconds of board time since the board was made, through all power cycles.
int64_t Lifetime();
// The same since power-on.
int64_t Uptime();
// Board time: seconds since power-on.
double BoardTime();

// For the keeper: time stands at a moment, or runs on at a pace until a limit, at which it stands.
void Stand(int64_t lifetime);
void RunOn(uint32_t pace, int64_t limit);
// For a program that only looks at the clock until a moment comes; not beyond what others wait for.
void Drift(int64_t nanoseconds);

// The kernel's clock in nanoseconds since 1970. It begins there at each power-on.
int64_t SystemClock();
// Results as clock_settime has them.
int SetSystemClock(const timespec &time);

// Whether another process keeps the open board's time.
bool IsKept();
// Wakes the keeper.
void Poke();
// The lifetime of the first moment that anything on the board waits for; kNever: none.
int64_t NextDue();

}  // namespace vboard
