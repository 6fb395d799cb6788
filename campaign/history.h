// What a board did in a trial, and in a boot without disturbance behind it.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "campaign/boot_variables.h"
#include "campaign/pristine.h"
#include "campaign/trial.h"
#include "vboard/make.h"
#include "vboard/transcript.h"

namespace campaign {

using Lines = std::vector<vboard::Line>;

struct History {
  std::vector<Step> steps;            // as they were taken
  Lines lines;                        // of the trial
  Lines after;                        // of the boot behind it
  std::vector<std::string> captured;  // lines of the service log on the stick, where there is one
  double seconds = 0;                 // of the trial, board time
  bool spins = false;  // the trial was not played to its end: programs looked and never waited
  double looks = 0;    // calls of the board's programs a second at its end
  bool wroteFlash = false;
  std::vector<unsigned> changed;  // partitions that hold something else than at first
  std::vector<std::string> open;  // secrets that others could have read
  unsigned zombies = 0;           // children that nobody has taken leave of
  BootVariables variables;        // read only where the flash was written
};

// A call that could have failed, and how often it was made.
struct Call {
  int process;  // its number on the board
  std::string name, path;
  unsigned count;
};

struct FlashOperation {
  unsigned partition, offset, length;
};

// A board without disturbance.
struct Survey {
  History history;
  std::vector<Call> calls;
  std::vector<FlashOperation> operations;
  std::vector<std::string> names;  // of the partitions
  BootVariables variables;         // as the board is made
  double seconds = 0;              // at the end of its scenario
};

// What the launcher came to after the last power-on: the event that says so; "" for nothing.
std::string Outcome(const Lines &lines);

class Player;

// A folder in which one board after the other is played.
class Site {
 public:
  explicit Site(std::string folder) : made_(folder + "/made"), folder_(std::move(folder)) {}
  // Plays copies of the boards made so far in another folder from now on.
  void MoveTo(const std::string &folder);

  const Survey &SurveyOf(const std::string &board);
  History Play(const Trial &trial);

 private:
  vboard::Plan Make(const std::string &board);
  void LookAround(const std::string &board, const Player &player, History &history) const;
  History Watch(const std::string &board, Player &player, double end) const;

  const std::string made_;
  std::string folder_;
  int64_t offSince_ = 0;
  std::map<std::string, vboard::Plan> plans_;
  std::map<std::string, Pristine> copies_;
  std::map<std::string, Survey> surveys_;
};

}  // namespace campaign
