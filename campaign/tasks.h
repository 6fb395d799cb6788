// Which trials a campaign plays.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

#include "campaign/history.h"
#include "campaign/kinds.h"

namespace campaign {

struct Task {
  std::string kind, trial;
};

// Each count-th task from the index-th on, counted from 0: the shards of a campaign are disjoint,
// and together they are all of it.
struct Shard {
  unsigned index = 0, count = 1;
};

// What a person chose; nothing chosen is everything.
struct Choice {
  std::vector<std::string> kinds, boards;
  Extent extent;
  std::string trials;  // a file with a trial in each line, instead of all that
  Shard shard;
};

// Reads "I/N". Throws std::invalid_argument.
Shard ReadShard(const std::string &text);

// Plays every board that is chosen without disturbance: that is how its trials are found, and what
// they are compared with. Throws std::invalid_argument for a kind, a board or a trial that there is
// not, before that.
std::vector<Task> TasksOf(const Choice &choice, Site &site);

}  // namespace campaign
