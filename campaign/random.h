// Steps that a seed draws for a board: the same ones for the same seed and survey.
#pragma once

#include <stdint.h>

#include <vector>

#include "campaign/history.h"

namespace campaign {

std::vector<Step> DrawSteps(const Survey &survey, uint64_t seed);

}  // namespace campaign
