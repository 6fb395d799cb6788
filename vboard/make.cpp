#include "vboard/make.h"

#include <stdlib.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <stdexcept>

#include "vboard/actions.h"
#include "vboard/board.h"
#include "vboard/description.h"
#include "vboard/device.h"
#include "vboard/files.h"
#include "vboard/supplied_boards.h"

namespace vboard {
namespace {

constexpr double kLongestAfter = 1e9;

constexpr Key kKeys[] = {
    {"base", key::Text().Optional("the description stands alone"),
     "another description, from the folder of this one, whose keys hold where this one has none"},
    {"summary", key::Text(), "what is special about the board, in a few words"},
    {"start", key::Texts(),
     "the command that the board's init runs: a path of the board and arguments"},
    {"prepare", key::Texts(), "actions before the first power-on, such as \"gpio set 1 5 0\""},
    {"scenario", key::Texts(),
     "what vboard run plays: actions, \"wait TEXT\" for a line that contains the text, and \"after "
     "SECONDS\" of the board's time"},
    {"programs", key::Pairs(),
     "programs by their path on the board: names in the folder of built programs"},
};

// What a board's folder holds besides its state and its lock.
std::vector<std::filesystem::path> Content(const std::string &folder) {
  std::vector<std::filesystem::path> content;
  if (!std::filesystem::exists(folder)) return content;
  for (const auto &entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename();
    if (name != "state" && name != "lock" && name != kPanelFile) content.push_back(entry.path());
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

void CheckStep(const std::string &step) {
  const std::vector<std::string> words = Words(step);
  std::span<const std::string> rest;
  if (words.empty()) throw std::invalid_argument("an empty step");
  if (words[0] == "after") {
    double seconds = 0;
    const std::string &word = words.back();
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), seconds);
    if (words.size() != 2 || error != std::errc() || end != word.data() + word.size() ||
        seconds < 0 || seconds > kLongestAfter) {
      throw std::invalid_argument("usage: after SECONDS");
    }
    return;
  }
  if (words[0] != "wait") FindAction(words, &rest);
  if (words[0] == "wait" && words.size() == 1) throw std::invalid_argument("usage: wait TEXT");
}

std::vector<std::string> ReadScenario(Section &description) {
  std::vector<std::string> scenario = description.Texts("scenario");
  for (const std::string &step : scenario) {
    try {
      CheckStep(step);
    } catch (const std::invalid_argument &error) {
      description.Fail("scenario", "has '" + step + "': " + error.what());
    }
  }
  return scenario;
}

std::vector<std::string> ReadStart(Section &description) {
  std::vector<std::string> start = description.Texts("start");
  if (start.empty() || IsBoardPath(start[0])) return start;
  description.Fail("start", "has '" + start[0] + "', which is no path of the board");
}

Plan Make(const std::string &board, const std::string &folder, const std::string &programs) {
  Section description = ReadDescription(FindDescription(board), BoardKeys());
  description.Complete();
  EmptyFolder(folder);
  CreateState(folder);
  Plan plan;
  plan.summary = description.Text("summary");
  plan.start = ReadStart(description);
  plan.scenario = ReadScenario(description);
  WriteFile(Folder() + "/events", "");
  for (const Device *device : Devices()) {
    if (device->make == nullptr) continue;
    Section section = description.Table(device->name);
    device->make(section);
  }
  PutPrograms(description, programs);
  Prepare(description);
  plan.json = description.AsJson();
  return plan;
}

}  // namespace

std::span<const Key> BoardKeys() {
  static const std::vector<Key> keys = [] {
    std::vector<Key> all(std::begin(kKeys), std::end(kKeys));
    for (const Device *device : Devices()) {
      if (device->make == nullptr) continue;
      all.push_back({device->name, key::Table(device->keys), device->about});
    }
    return all;
  }();
  return keys;
}

Plan MakeBoard(const std::string &board, const std::string &folder, const std::string &programs) {
  return Make(board, FolderOfBoard(folder), programs);
}

Plan ReadPlan(const std::string &board, const std::string &programs) {
  const TemporaryFolder folder;
  return Make(board, folder.path(), programs);
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

}  // namespace vboard
