// The boards and programs that trials are made of.
#pragma once

#include <string>
#include <vector>

namespace campaign {

// The names of all boards, in alphabetical order.
std::vector<std::string> Boards();
// A board's description. Throws std::invalid_argument when there is none of this name.
std::string FindBoard(const std::string &name);
// A built program. Throws std::invalid_argument when there is none of this name.
std::string FindProgram(const std::string &name);

}  // namespace campaign
