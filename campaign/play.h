// Plays trials, judges them, and shortens those that break a rule.
#pragma once

#include <functional>

#include "campaign/history.h"
#include "campaign/results.h"
#include "campaign/tasks.h"

namespace campaign {

// The steps of a random trial whose rule broke become the fewest that still break it.
Result PlayTask(Site &site, const Task &task);

// Leaves out one step after the other, as long as the trial still breaks. Calls `breaks` no more
// after `goesOn` has said no.
Trial Shorten(Trial trial, const std::function<bool(const Trial &)> &breaks,
              const std::function<bool()> &goesOn);

}  // namespace campaign
