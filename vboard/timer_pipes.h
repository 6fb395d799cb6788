// What is behind a timer that is a descriptor: a pipe that holds how often it fell due since it was
// read. The keeper writes it, by the descriptor of a process that has it.
#pragma once

#include <stdint.h>

#include "vboard/board_time.h"

namespace vboard {

// A new one with these flags of open(); -1 with errno set.
int OpenTimerPipe(int flags);
// The pipe behind a process's descriptor, by a number that no other one has; 0 for anything else.
uint64_t PipeBehind(pid_t process, int fd);
// The timer behind a descriptor of this process's; null for anything else.
IntervalTimer *TimerBehind(int fd);
// Empties it, whether or not it is read with waiting.
void ClearPipe(int fd);

// For the keeper. Whether no process has such a timer open any more.
bool IsLost(IntervalTimer &timer);
void DropLostTimers();
void AddToPipe(const IntervalTimer &timer, uint64_t times);

}  // namespace vboard
