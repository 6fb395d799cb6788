// A trial: a board, and what disturbs it and when. The same text gives the same history:
//
//   supervised/read:/dev/mtd1#3=EIO+       from the third read of /dev/mtd1 on they fail
//   supervised/open@2:/dev/hi_i2c#1=EACCES the first one of the board's second process fails
//   repair/cut#4=torn:77                   the power goes in the fourth flash operation
//   direct/2.5s key press 7 ; 3s power cut what a person does, at a second of the board's time
//   direct/1s run boardctl env list        a program that runs beside the board's own
//   supervised/random:4711                 what this seed draws of all that
#pragma once

#include <stdint.h>

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace campaign {

struct Fault {
  std::string call;
  int process = 0;   // its number on the board; 0: any
  std::string path;  // empty: any
  unsigned nth = 1;
  std::string outcome;  // as vboard::FaultNumber has it
  bool always = false;
};

struct Cut {
  unsigned operation = 1;
  std::string moment;  // as the action "flash cut" has it
  unsigned number = 0;
};

// The words of an action, or "run" and a program with its arguments.
using Act = std::string;

struct Step {
  double moment = 0;  // seconds after power-on
  std::variant<Fault, Cut, Act> what;
};

struct Trial {
  std::string board;
  std::optional<uint64_t> seed;  // which its steps are still to be drawn from
  std::vector<Step> steps;       // in the order of their moments
};

// Throws std::invalid_argument with what is wrong about the text.
Trial ReadTrial(const std::string &text);
std::string TextOf(const Trial &trial);

// Plans or does what a step says on the open board.
void Take(const Step &step);

}  // namespace campaign
