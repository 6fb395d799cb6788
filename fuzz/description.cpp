// The description of a virtual board: a table with a key of each type stands for the devices'.
#include "vboard/description.h"

#include "fuzz/fuzz.h"
#include "vboard/board.h"
#include "vboard/files.h"
#include "vboard/make.h"

namespace fuzz {
namespace {

constexpr int64_t kLowest = -1, kHighest = 9;
constexpr const char *kColours[] = {"red", "blue"};
constexpr vboard::Column kColumns[] = {{"a", kLowest, kHighest}, {"b", kLowest, kHighest}};
constexpr vboard::Key kDisk[] = {{"name", vboard::key::Text(), ""}};
constexpr vboard::Key kKeys[] = {
    {"summary", vboard::key::Text(), ""},
    {"colour", vboard::key::Choice(kColours).Default("red"), ""},
    {"oem", vboard::key::Number(kLowest, kHighest).Default(0), ""},
    {"size", vboard::key::Number(kLowest, kHighest).Optional("the folder's"), ""},
    {"on", vboard::key::Flag(true), ""},
    {"lines", vboard::key::Texts(), ""},
    {"numbers", vboard::key::Numbers(kLowest, kHighest), ""},
    {"rows", vboard::key::Rows(kColumns), ""},
    {"files", vboard::key::Pairs(), ""},
    {"disk", vboard::key::Table(kDisk).Optional("none"), ""},
    {"disks", vboard::key::Tables(kDisk), ""},
};

void ExpectNumber(int64_t number) {
  Expect(number >= kLowest && number <= kHighest, "a number in its range");
}

// Ends with the fault that a device finds.
void ReadAll(vboard::Section &description) {
  Expect(description.Text("summary").size() < 4096, "a text");
  const std::string colour = description.Text("colour");
  Expect(colour == kColours[0] || colour == kColours[1], "a choice");
  ExpectNumber(description.Number("oem"));
  ExpectNumber(description.Number("size", kHighest));
  for (const int64_t number : description.Numbers("numbers")) ExpectNumber(number);
  for (const auto &row : description.Rows("rows")) {
    Expect(row.size() == std::size(kColumns), "a row");
    for (const int64_t number : row) ExpectNumber(number);
  }
  for (vboard::Section &disk : description.Tables("disks")) disk.Text("name");
  if (description.Has("disk")) description.Table("disk").Text("name");
  const std::string json = description.AsJson();
  Expect(json.starts_with('{') && json.ends_with('}'), "a description as JSON");
  if (!description.Flag("on")) description.Fail("on", "is off");
  const auto files = description.Pairs("files");
  const auto lines = description.Texts("lines");
  if (!files.empty()) description.FailAt("files", files.back().first, "is one too many");
  description.FailAt("files", lines.empty() ? "a" : lines[0], "is none");
}

}  // namespace

void Try(Input &input) {
  static const vboard::TemporaryFolder folder;
  static const std::string file = folder.path() + "/board.toml", base = folder.path() + "/base";
  const vboard::OwnCalls ownCalls;
  vboard::WriteFile(base, input.Text(1000));
  vboard::WriteFile(file, input.Rest());
  try {
    vboard::Section description = vboard::ReadDescription(file, kKeys);
    description.Complete();
    ReadAll(description);
    Expect(false, "a fault has no place");
  } catch (const vboard::DescriptionError &error) {
    const std::string what = error.what();
    Expect(what.starts_with(folder.path()) && what.find(": ") != what.npos, "where the fault is");
  }
}

}  // namespace fuzz
