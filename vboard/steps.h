// A board that is played from outside, one step after the other: a test's program says what is to
// happen, and decides the next step by what came of it. Board time stands between two steps.
#pragma once

#include <span>
#include <string>

#include "vboard/machine.h"
#include "vboard/make.h"

namespace vboard {

// A step and what it does.
struct StepHelp {
  const char *step, *help;
};
std::span<const StepHelp> StepsHelp();

struct StepOptions {
  std::string programs;    // the folder of built programs, for those that are named without one
  std::string transcript;  // the file that console and events are added to, empty: none
  double patience;         // real seconds that a step takes at most
};

// Takes the steps of the open board, which is off at first, line by line from standard input, and
// answers each with a line of JSON on standard output. False when a step took longer than
// the patience, after which there are no more.
bool PlaySteps(const Plan &plan, const StepOptions &options);

}  // namespace vboard
