#include "campaign/boards.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace campaign {

std::vector<std::string> Boards() {
  std::vector<std::string> names;
  for (const auto &entry : std::filesystem::directory_iterator(SOURCE_FOLDER "/boards")) {
    if (entry.path().extension() == ".toml") names.push_back(entry.path().stem());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string FindBoard(const std::string &name) {
  const std::vector<std::string> names = Boards();
  if (std::find(names.begin(), names.end(), name) == names.end()) {
    throw std::invalid_argument("'" + name + "' is no board");
  }
  return SOURCE_FOLDER "/boards/" + name + ".toml";
}

std::string FindProgram(const std::string &name) {
  std::string path = PROGRAMS_FOLDER "/" + name;
  if (name.find('/') == std::string::npos && std::filesystem::is_regular_file(path)) return path;
  throw std::invalid_argument("'" + name + "' is no program that was built");
}

}  // namespace campaign
