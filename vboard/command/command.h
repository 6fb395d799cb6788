// The commands of vboard: each file adds those of its subject.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace vboard::command {

// The speed of a board that only its programs hold back.
constexpr const char *kFree = "free";

// What every command is given.
struct Common {
  std::string folder;    // the board's
  std::string programs;  // the folder of those that boards start
};

CLI::App *AddBoardCommand(CLI::App &app, const char *name, const char *help, std::string &board);
// Keeps the folder for this board until the process ends.
void LockFolder(Common &common);

void AddRun(CLI::App &app, Common &common);
void AddBoards(CLI::App &app, Common &common);
void AddExecute(CLI::App &app, Common &common);
void AddEvents(CLI::App &app, Common &common);
void AddState(CLI::App &app, Common &common);
void AddActions(CLI::App &app, Common &common);

}  // namespace vboard::command
