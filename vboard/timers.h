// The timers of a board's processes: interval timers, timers that send a signal, and those that are
// descriptors. The keeper has them fall due. Signal handlers may call all of it.
#pragma once

#include <stdint.h>

#include "vboard/board_time.h"

namespace vboard {

// A new timer of this process, which is off. Null when all places are taken.
IntervalTimer *TakeTimer(IntervalTimer::Kind kind);
// Starts it; due kNever: stops it. Interval 0: it falls due once. With followsClock it moves as the
// system clock is set.
void StartTimer(IntervalTimer &timer, int64_t due, int64_t interval, bool followsClock);
// This process has become another program, which has no timers that send a signal.
void DropSignalTimers();

// For the keeper: the timer is due.
void Expire(IntervalTimer &timer);

}  // namespace vboard
