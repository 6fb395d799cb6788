// vboard list, check, describe and make: boards as their descriptions have them.
#include <stdio.h>

#include <algorithm>
#include <filesystem>

#include "vboard/command/command.h"
#include "vboard/command/output.h"
#include "vboard/description.h"
#include "vboard/make.h"
#include "vboard/supplied_boards.h"

namespace vboard::command {
namespace {

struct {
  std::string board;
  std::string folder;
  bool keys = false;
} options;

void List() {
  std::vector<std::filesystem::path> files;
  if (options.folder.empty()) options.folder = SuppliedBoards();
  for (const auto &entry : std::filesystem::directory_iterator(options.folder)) {
    if (entry.path().extension() == ".toml") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const auto &file : files) {
    Section description = ReadDescription(file, BoardKeys());
    printf("%-20s %s\n", file.stem().c_str(), description.Text("summary").c_str());
  }
  EndOutput();
}

void Describe(const Common &common) {
  if (options.keys) {
    fputs(Manual(BoardKeys()).c_str(), stdout);
  } else {
    if (options.board.empty()) throw CLI::RequiredError("BOARD");
    puts(ReadPlan(options.board, common.programs).json.c_str());
  }
  EndOutput();
}

}  // namespace

void AddBoards(CLI::App &app, Common &common) {
  CLI::App *list = app.add_subcommand("list", "list the boards that are known by name");
  list->add_option("FOLDER", options.folder, "list the descriptions in this folder instead");
  list->callback(List);

  AddBoardCommand(app, "check", "check a board's description", options.board)->callback([&common] {
    ReadPlan(options.board, common.programs);
  });
  AddBoardCommand(app, "make", "make a board and leave it switched off", options.board)
      ->callback([&common] {
        LockFolder(common);
        MakeBoard(options.board, common.folder, common.programs);
      });

  CLI::App *describe =
      app.add_subcommand("describe", "show a board's completed description as JSON");
  describe->add_option("BOARD", options.board, "a board's name, or its description");
  describe->add_flag("--keys", options.keys, "show what descriptions can hold instead");
  describe->callback([&common] { Describe(common); });
}

}  // namespace vboard::command
