// The kinds of trials, and which trials of each kind a board has.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

#include "campaign/history.h"

namespace campaign {

// How many trials somebody wants.
struct Extent {
  uint64_t random = 100;  // of the random ones, for each board
  bool every = false;     // of the calls that a board makes again and again: each, not just some
};

struct Kind {
  const char *name;
  const char *about;
  // The texts of its trials, always the same ones in the same order.
  std::vector<std::string> (*trials)(const std::string &board, const Survey &survey,
                                     const Extent &extent);
};

const std::vector<Kind> &Kinds();

// Whether it may come each time from then on. Signals do not come without end, and who repeats what
// one has interrupted is right.
bool LastsOn(const std::string &outcome);

// The outcomes that a call can be planned to have, by name; none for one that is not known.
std::vector<std::string> OutcomesOf(const std::string &call);

}  // namespace campaign
