// Programs of the PC that are to run on the board. The loader has to put the board's library in
// front of the C library; where it cannot, or would only complain, the program would run on the PC.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace vboard {

struct Program {
  std::string place;               // where the PC's kernel finds it; for a script: its interpreter
  std::vector<std::string> words;  // of a script: what takes the place of the first argument
  std::string refusal;             // why it is not on the board; empty when it is
};

// The program of this name on the board, which lies at this place. Scripts are followed to their
// interpreter, whose place `placeOf` tells from its name: it may be the board's own.
Program FindProgram(const std::string &name, const std::string &place,
                    const std::function<std::string(const std::string &)> &placeOf);

}  // namespace vboard
