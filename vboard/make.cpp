#include "vboard/make.h"

#include <stdlib.h>

#include <algorithm>
#include <charconv>
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

// What a board's folder holds besides its state and its lock.
std::vector<std::filesystem::path> Content(const std::string &folder) {
  std::vector<std::filesystem::path> content;
  if (!std::filesystem::exists(folder)) return content;
  for (const auto &entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename();
    if (name != "state" && name != "lock") content.push_back(entry.path());
  }
  return content;
}

// Programs that the PC's user runs on a board that was here are not to go on on the new one: their
// keeper takes this for a boot.
void EndGuests(const std::string &folder) {
  if (!std::filesystem::exists(folder + "/state")) return;
  try {
    Open(folder);
    ++State().boots;
    Detach();
  } catch (const std::runtime_error &) {
    // It was made by another version.
  }
}

void EmptyFolder(const std::string &folder) {
  CheckFolder(folder);
  EndGuests(folder);
  std::filesystem::create_directories(folder);
  // What is left of a board counts as one until its state is gone, last of all.
  for (const auto &path : Content(folder)) std::filesystem::remove_all(path);
  std::filesystem::remove(folder + "/state");
}

void PutProgram(const std::string &program, const std::string &place) {
  std::filesystem::create_directories(std::filesystem::path(place).parent_path());
  std::filesystem::create_symlink(std::filesystem::absolute(program), place);
}

void PutPrograms(Section &description, const std::string &programs) {
  for (const auto &[path, name] : description.Pairs("programs")) {
    const std::string program = programs + "/" + name;
    if (!StaysBelow(name) || !std::filesystem::is_regular_file(program)) {
      description.FailAt("programs", path, program + " is no program");
    }
    if (!IsBoardPath(path)) description.FailAt("programs", path, "is no path of the board");
    try {
      PutProgram(program, RootPath(path));
    } catch (const std::exception &error) {
      description.FailAt("programs", path, error.what());
    }
  }
}

void Prepare(Section &description) {
  for (const std::string &line : description.Texts("prepare")) {
    try {
      Act(line);
    } catch (const std::exception &error) {
      description.Fail("prepare", "has '" + line + "': " + error.what());
    }
  }
}

// The action that the words name, and in `rest` the words behind its name.
const Action &FindAction(std::span<const std::string> words, std::span<const std::string> *rest) {
  for (const Device *device : Devices()) {
    for (const Action &action : device->actions) {
      const std::vector<std::string> name = Words(action.name);
      if (words.size() < name.size() || !std::equal(name.begin(), name.end(), words.begin())) {
        continue;
      }
      *rest = words.subspan(name.size());
      if (rest->size() == Words(action.arguments).size()) return action;
      throw std::invalid_argument("usage: " + std::string(action.name) + " " + action.arguments);
    }
  }
  throw std::invalid_argument("no device of the board can do this");
}

void CheckScenario(Section &description, const std::vector<std::string> &scenario) {
  for (const std::string &step : scenario) {
    const std::vector<std::string> words = Words(step);
    try {
      std::span<const std::string> rest;
      if (words.empty()) throw std::invalid_argument("an empty step");
      if (words[0] != "wait") FindAction(words, &rest);
      if (words[0] == "wait" && words.size() == 1) throw std::invalid_argument("usage: wait TEXT");
    } catch (const std::invalid_argument &error) {
      description.Fail("scenario", "has '" + step + "': " + error.what());
    }
  }
}

}  // namespace

Plan MakeBoard(const std::string &path, const std::string &name, const std::string &programs) {
  const std::string folder = FolderOfBoard(name);
  Section description = ReadDescription(path);
  EmptyFolder(folder);
  CreateState(folder);
  Plan plan;
  plan.summary = description.Text("summary");
  plan.speed = static_cast<uint32_t>(description.Number("speed", 1, 1, kMostSpeed));
  plan.start = description.Texts("start");
  if (!plan.start.empty() && !IsBoardPath(plan.start[0])) {
    description.Fail("start", "has '" + plan.start[0] + "', which is no path of the board");
  }
  plan.scenario = description.Texts("scenario");
  CheckScenario(description, plan.scenario);
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
  plan.json = description.AsJson();
  return plan;
}

void CheckFolder(const std::string &folder) {
  if (!Content(folder).empty() && !IsBoard(folder)) {
    throw std::runtime_error(folder +
                             ": holds something that is no board of this version; remove "
                             "it, or take another folder");
  }
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
  std::span<const std::string> rest;
  const Action &action = FindAction(words, &rest);
  action.run(rest);
}

void Act(const std::string &line) {
  Act(Words(line));
}

uint32_t NumberOf(const std::string &word, uint32_t most) {
  const bool hex = word.starts_with("0x");
  const char *first = word.data() + (hex ? 2 : 0), *end = word.data() + word.size();
  uint32_t number = 0;
  const auto [rest, error] = std::from_chars(first, end, number, hex ? 16 : 10);
  if (error == std::errc() && rest == end && number <= most) return number;
  throw std::invalid_argument("'" + word + "' is no number from 0 to " + std::to_string(most));
}

}  // namespace vboard
