// Faults that a description, a test or a person plans: calls that fail, power that goes.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>
#include <string>

#include "vboard/board.h"

namespace vboard {

// What comes of a call besides an errno value (above 0) and a signal that its process gets in front
// of it (minus its number): the power goes in front of it, or a read or a write does a part of what
// was asked for.
enum Outcome { kPowerGoes = 10'000, kNothing, kOneByte, kHalf };

// Plans that the nth call of this name on this path (empty: any), by the process of this number on
// the board (0: any), comes to this outcome; only that one or all from there on. Throws
// std::invalid_argument when all places are taken, or, as the check does, when the call is none
// that can fail like that.
void CheckFault(const std::string &call, const std::string &path, int outcome);
void PlanFault(const std::string &call, const std::string &path, int outcome, unsigned nth,
               bool repeat, int process = 0);
void DropFaults();

// Whether calls are looked at: otherwise none of them fails.
bool CallsMayFail();
// Whether those of this name are. Gives this process its number, so that who appears first is the
// same with any plan.
bool CallMayFail(const char *call);
// Counts a call, and sends its signal; true, with errno set, when it is one that fails. A read or
// write gives its length, which may become less.
bool CallFails(const char *call, const char *path, size_t *length = nullptr);

// By its name, such as "all-but-one". Throws std::invalid_argument.
Moment MomentOf(const std::string &name);
const char *MomentName(Moment moment);
// Plans that the power goes in the nth flash operation from now on. Number: bytes, or a seed.
void PlanPowerCut(unsigned nth, Moment moment, unsigned number);

// Counts a flash operation, which turns the cells before into those after. Carries it out through
// the function given, which gets what becomes of them, and ends the power where a cut is planned.
template <typename Operation>
void WithPowerCut(std::span<const uint8_t> before, std::span<uint8_t> after, Operation operation);

// Ends the power now: every program on the board stops where it is.
[[noreturn]] void CutPower();

// What PlanFault takes for a name such as "EIO", "SIGTERM", "CUT" or "HALF". Throws
// std::invalid_argument.
int FaultNumber(const std::string &name);
std::string FaultName(int outcome);

// Takes the planned cut out of the state if this operation is the one.
PowerCut TakePowerCut();
// What becomes of the cells when the power goes.
void Interrupt(const PowerCut &cut, std::span<const uint8_t> before, std::span<uint8_t> after);

template <typename Operation>
void WithPowerCut(std::span<const uint8_t> before, std::span<uint8_t> after, Operation operation) {
  const PowerCut cut = TakePowerCut();
  if (cut.moment == Moment::kBefore) CutPower();
  if (cut.moment != Moment::kNone) Interrupt(cut, before, after);
  operation(after);
  if (cut.moment != Moment::kNone) CutPower();
}

}  // namespace vboard
