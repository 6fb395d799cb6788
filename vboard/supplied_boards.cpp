#include "vboard/supplied_boards.h"

#include <filesystem>
#include <stdexcept>

namespace vboard {
namespace {

constexpr const char *kEnding = ".toml";

}  // namespace

std::string SuppliedPrograms() {
  std::error_code ignored;
  return std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
}

std::string SuppliedBoards() {
  const std::filesystem::path programs = SuppliedPrograms();
  for (const char *place : {"boards", INSTALLED_BOARDS}) {
    const std::filesystem::path boards = (programs / place).lexically_normal();
    if (std::filesystem::is_directory(boards)) return boards;
  }
  throw std::runtime_error("no boards have come with the programs in " + programs.string());
}

std::string FindDescription(const std::string &board) {
  const std::filesystem::path path = board;
  const bool file = std::filesystem::exists(path) && !std::filesystem::is_directory(path);
  if (file || path.has_parent_path() || path.extension() == kEnding) return board;
  const std::string boards = SuppliedBoards();
  std::string known = boards + "/" + board + kEnding;
  if (!board.empty() && std::filesystem::exists(known)) return known;
  throw std::runtime_error("'" + board + "' is no description, and no board in " + boards);
}

}  // namespace vboard
