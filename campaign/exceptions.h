// Failures that change what the board does and are told by nothing on the console, on purpose.
#pragma once

#include <string>
#include <vector>

#include "campaign/trial.h"

namespace campaign {

// Whether every fault among the steps is one of them.
bool IsException(const std::string &board, const std::vector<Step> &steps);
// Whether any of them has a program try without a pause, on purpose.
bool MaySpin(const std::string &board, const std::vector<Step> &steps);

}  // namespace campaign
