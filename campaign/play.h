// Plays trials, judges them, and shortens those that break a rule.
#pragma once

#include <functional>
#include <vector>

#include "campaign/history.h"
#include "campaign/results.h"
#include "campaign/rules.h"
#include "campaign/tasks.h"

namespace campaign {

// The steps of a random trial whose rule broke become the fewest that still break it.
Result PlayTask(Site &site, const Task &task);

// The rules that a trial broke in its history. Where nothing told of several failures, those alone
// are played that are not silent on purpose.
std::vector<Broken> JudgePlayed(Site &site, const Trial &trial, const History &history);

// Leaves out one step after the other, as long as the trial still breaks. Calls `breaks` no more
// after `goesOn` has said no.
Trial Shorten(Trial trial, const std::function<bool(const Trial &)> &breaks,
              const std::function<bool()> &goesOn);

}  // namespace campaign
