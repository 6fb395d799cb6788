#include "vboard/make.h"

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "vboard/board.h"
#include "vboard/description.h"
#include "vboard/device.h"
#include "vboard/files.h"

namespace vboard {
namespace {

std::vector<std::string> Words(const std::string &line) {
  std::istringstream stream(line);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

void EmptyFolder(const std::string &folder) {
  std::filesystem::create_directories(folder);
  if (!std::filesystem::is_empty(folder) && !std::filesystem::exists(folder + "/state")) {
    throw std::runtime_error(folder + ": holds something that is no board");
  }
  for (const auto &entry : std::filesystem::directory_iterator(folder)) {
    std::filesystem::remove_all(entry);
  }
}

void PutPrograms(Section &description, const std::string &programs) {
  for (const auto &[path, name] : description.Pairs("programs")) {
    const std::string program = programs + "/" + name;
    if (!std::filesystem::exists(program)) {
      description.Fail("programs", "needs " + program + ", which is not there");
    }
    const std::string place = RootPath(path);
    if (!BelongsToBoard(path)) description.Fail("programs", "has '" + path + "', no board path");
    std::filesystem::create_directories(std::filesystem::path(place).parent_path());
    std::filesystem::create_symlink(std::filesystem::absolute(program), place);
  }
}

void Prepare(Section &description) {
  for (const std::string &line : description.Texts("prepare")) {
    try {
      Act(line);
    } catch (const std::logic_error &error) {
      description.Fail("prepare", "has '" + line + "': " + error.what());
    }
  }
}

}  // namespace

Plan MakeBoard(const std::string &path, const std::string &folder, const std::string &programs) {
  Section description = ReadDescription(path);
  EmptyFolder(folder);
  CreateState(std::filesystem::absolute(folder));
  Plan plan;
  plan.summary = description.Text("summary");
  plan.speed = static_cast<uint32_t>(description.Number("speed", 1, 1, 100'000));
  plan.start = description.Texts("start");
  plan.scenario = description.Texts("scenario");
  SetSpeed(plan.speed);
  WriteFile(Folder() + "/events", "");
  for (const Device *device : Devices()) {
    if (device->make == nullptr) continue;
    Section section = description.Table(device->name);
    device->make(section);
  }
  PutPrograms(description, programs);
  Prepare(description);
  description.RefuseUnknownKeys();
  return plan;
}

TemporaryFolder::TemporaryFolder() {
  std::string name = std::filesystem::temp_directory_path() / "vboard-XXXXXX";
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error(name + ": cannot be made");
  path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void Act(std::span<const std::string> words) {
  for (const Device *device : Devices()) {
    for (const Action &action : device->actions) {
      const std::vector<std::string> name = Words(action.name);
      if (words.size() < name.size() || !std::equal(name.begin(), name.end(), words.begin())) {
        continue;
      }
      const auto rest = words.subspan(name.size());
      if (rest.size() != Words(action.arguments).size()) {
        throw std::invalid_argument("usage: " + std::string(action.name) + " " + action.arguments);
      }
      return action.run(rest);
    }
  }
  throw std::invalid_argument("no device of the board can do this");
}

void Act(const std::string &line) {
  Act(Words(line));
}

}  // namespace vboard
