// The description of a virtual board.
#include "vboard/description.h"

#include "fuzz/fuzz.h"
#include "vboard/board.h"
#include "vboard/files.h"
#include "vboard/make.h"

namespace fuzz {

const std::vector<const char *> kMessages = {};

void Try(Input &input) {
  static const vboard::TemporaryFolder folder;
  static const std::string file = folder.path() + "/board.toml";
  static const std::string base = folder.path() + "/base";
  const std::string bytes = input.Text(1000);
  const vboard::OwnCalls ownCalls;
  vboard::WriteFile(base, bytes);
  vboard::WriteFile(file, TextOf(input.Rest()));
  try {
    vboard::Section description = vboard::ReadDescription(file, vboard::BoardKeys());
    description.Complete();
    Expect(description.Has("summary"), "a board has a summary");
    for (const vboard::Key &key : vboard::BoardKeys()) {
      if (key.value.type == vboard::Value::Type::kTable) description.Table(key.name).Complete();
    }
    const std::string json = description.AsJson();
    Expect(json.starts_with('{') && json.ends_with('}'), "a description as JSON");
  } catch (const vboard::DescriptionError &error) {
    const std::string what = error.what();
    Expect(what.starts_with(folder.path()) && what.find(": ") != what.npos, "where the fault is");
  }
}

}  // namespace fuzz
