// Making a board from its description.
#pragma once

#include <stdint.h>

#include <span>
#include <string>
#include <vector>

#include "vboard/keys.h"

namespace vboard {

// In a board's folder: where its panel is. It outlives the board.
constexpr char kPanelFile[] = "panel";

// What a description says besides the devices.
struct Plan {
  std::string summary;
  std::vector<std::string> start;  // the command that the board's init runs
  // "wait TEXT", "after SECONDS" or the words of an action.
  std::vector<std::string> scenario;
  std::string json;  // the description, complete with what it leaves out
};

// The keys of a description: the board's own ones and a section for each device.
std::span<const Key> BoardKeys();

// Makes a new board in a folder, which is emptied first, and opens it. The board is a description
// or the name of one that comes with vboard; the programs on it are taken from their folder. Throws
// DescriptionError, with file, line and key, before anything is started.
Plan MakeBoard(const std::string &board, const std::string &folder, const std::string &programs);

// Makes the board for a moment, which is all that checking a description takes. Throws
// DescriptionError.
Plan ReadPlan(const std::string &board, const std::string &programs);

// Throws std::runtime_error for a folder that holds something else than a board. Nothing is made.
void CheckFolder(const std::string &folder);

// Makes a board's folder for a process's lifetime.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder &) = delete;
  TemporaryFolder &operator=(const TemporaryFolder &) = delete;
  const std::string &path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace vboard
