// Which trials a campaign plays.
#pragma once

#include <stdint.h>

#include <optional>
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
  std::optional<std::vector<Task>> listed;  // instead of all that
  Shard shard;
};

// Reads "I/N". Throws std::invalid_argument.
Shard ReadShard(const std::string &text);

// Reads a file with a trial in each line. Throws std::invalid_argument.
std::vector<Task> ReadTrials(const std::string &path);

// Plays every board that is chosen without disturbance: that is how its trials are found, and what
// they are compared with. Throws std::invalid_argument for a kind or a board that there is not,
// before that.
void SurveyBoards(const Choice &choice, Site &site);

// Of boards that were surveyed. Throws std::invalid_argument.
std::vector<Task> TasksOf(const Choice &choice, Site &site);

}  // namespace campaign
