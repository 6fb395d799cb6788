// Processes of the PC. It gives the number of one that has ended to another program: so nothing is
// done to a process by its number alone.
#pragma once

#include <stdint.h>
#include <sys/types.h>

#include <atomic>
#include <string>
#include <vector>

namespace vboard {

// A process as no other is, in memory that processes share; number 0: none.
struct ProcessId {
  std::atomic<int32_t> number;
  std::atomic<uint64_t> start;  // clock ticks since the PC's start
};

// When the process of this number was started; 0 when there is none, or when this process has no
// descriptor left to look. Signal handlers may call both.
uint64_t StartOf(pid_t number);
// One that cannot be looked at lives as long as its number is some process's.
bool Lives(const ProcessId &process);

// The numbers of a process's threads, in ascending order, and of its children.
std::vector<pid_t> Threads(pid_t process);
std::vector<pid_t> Children(pid_t process);
// Whether it only waits for its parent to take leave of it.
bool HasEnded(pid_t process);

// What a process that lives runs, and its state as the kernel's letter; '\0': there is none.
struct Status {
  std::string name;
  char state;
};
Status StatusOf(pid_t process);

// Has orphans among its descendants become this process's own children, so that it never loses one.
void AdoptOrphans();
// Sends every descendant of a process, 0: of this one, a signal, whatever session or process group
// it has gone to.
void SignalDescendants(int signal, pid_t of = 0);

}  // namespace vboard
