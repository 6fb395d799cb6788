// Faults that a description, a test or a person plans: calls that fail, power that goes.
#pragma once

#include <stddef.h>

#include "vboard/board.h"

namespace vboard {

// Plans that the nth call of this name on this path (empty: any) fails with an errno value, or that
// the process gets a signal (minus its number) in front of it; only that one or all from there on.
// Throws std::invalid_argument when all places are taken, or when the call is none that can fail.
void PlanFault(const char *call, const std::string &path, int error, unsigned nth, bool repeat);

// Counts a call, and sends its signal; true, with errno set, when it is one that fails.
bool CallFails(const char *call, const char *path);

// Plans that the power goes in the nth flash operation from now on.
void PlanPowerCut(unsigned nth, Moment moment, unsigned bytes);

// Counts a flash operation of this many bytes. Carries it out through the function given,
// which gets the number of bytes to do, and ends the power where a cut is planned.
template <typename Operation>
void WithPowerCut(size_t length, Operation operation);

// Ends the power now: every program on the board stops where it is.
[[noreturn]] void CutPower();

// What PlanFault takes for a name such as "EIO" or "SIGTERM". Throws std::invalid_argument.
int FaultNumber(const std::string &name);

// Takes the planned cut out of the state if this operation is the one.
PowerCut TakePowerCut();

template <typename Operation>
void WithPowerCut(size_t length, Operation operation) {
  const PowerCut cut = TakePowerCut();
  if (cut.moment == Moment::kBefore) CutPower();
  operation(cut.moment == Moment::kInside && cut.bytes < length ? cut.bytes : length);
  if (cut.moment != Moment::kNone) CutPower();
}

}  // namespace vboard
