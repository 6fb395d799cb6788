// The boot loader's variables on a board that is off.
#pragma once

#include <string>
#include <vector>

namespace campaign {

// As the next start finds them.
struct BootVariables {
  bool read = false;
  std::vector<std::string> list;  // NAME=VALUE
  bool nextSaveWorks = false;
};

// Of the open board. `saves` says whether the next save is tried, too. Throws std::runtime_error.
BootVariables ReadVariables(bool saves);

}  // namespace campaign
