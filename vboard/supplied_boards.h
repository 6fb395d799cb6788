// What comes with vboard, found from the place of the running program: the programs that boards
// start beside it, and the boards that are known by their names.
#pragma once

#include <string>

namespace vboard {

// The folder of the running program, behind all links.
std::string SuppliedPrograms();

// The folder of the descriptions: "boards" beside the programs or, where these are installed, among
// the data of the installation. Throws std::runtime_error when there is none.
std::string SuppliedBoards();

// The description of a board that is given by its name or by the description itself. Throws
// std::runtime_error for a name that no board has.
std::string FindDescription(const std::string &board);

}  // namespace vboard
