// The boot loader's variables in flash.
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "System/boot/boot_list.h"
#include "fuzz/fuzz.h"
#include "libsys/boot.h"
#include "libsys/flash.h"
#include "libsys/version.h"

namespace fuzz {
namespace {

using libsys::boot::BootEnv;

constexpr uint32_t kCrcSize = 4;

// A block in memory, with what the list is to be: the entries up to the first empty one; none where
// erased flash shows in them and the CRC does not fit.
struct Block {
  std::vector<char> bytes;
  BootEnv env;
  std::vector<std::string> list;

  explicit Block(const std::string &content, bool hasItsCrc = false)
      : bytes(content.begin(), content.end()) {
    bytes.resize(content.size() + libsys::boot::kSpareBytes);
    env = {bytes.data(), static_cast<uint32_t>(content.size())};
    const std::string text = content.substr(kCrcSize) + std::string(2, '\0');
    for (size_t at = 0; text[at] != '\0'; at += list.back().size() + 1) list.push_back(&text[at]);
    const auto showsErasedFlash = [](const std::string &entry) {
      return entry.find('\xff') != entry.npos;
    };
    if (hasItsCrc) {
      libsys::boot::StoreCrc(env);
    } else if (std::ranges::any_of(list, showsErasedFlash)) {
      list.clear();
    }
  }

  auto Find(const std::string &name) const {
    auto entry = list.begin();
    while (entry != list.end() && !entry->starts_with(name + "=")) ++entry;
    return entry;
  }

  // What FindValue is to find; null for nothing.
  const char *Value(const std::string &name) const {
    const auto entry = Find(name);
    return entry != list.end() ? entry->c_str() + name.size() + 1 : nullptr;
  }
};

void ExpectList(const Block &block) {
  const char *entry = nullptr;
  for (const std::string &expected : block.list) {
    entry = libsys::boot::NextOf(block.env, entry);
    Expect(entry != nullptr && entry == expected, "the entries are those of the block");
  }
  Expect(libsys::boot::NextOf(block.env, entry) == nullptr, "there are no other entries");
}

std::string Content(Input &input) {
  const size_t size = 16 + input.Byte();
  const char filler = input.Below(4) == 3 ? '\xff' : '\0';
  std::string content(size, filler);
  const std::string text = input.Take(size - kCrcSize);
  return content.replace(kCrcSize, text.size(), text);
}

void Set(Block &block, const std::string &name, const std::string &value) {
  libsys::boot::DeleteEntry(block.env, name.c_str());
  if (const auto entry = block.Find(name); entry != block.list.end()) block.list.erase(entry);
  ExpectList(block);
  size_t used = kCrcSize;
  for (const std::string &entry : block.list) used += entry.size() + 1;
  // The space is counted to 4 bytes beyond the block.
  const bool fits = used + name.size() + value.size() + 3 <= block.env.size + 4;
  Expect(libsys::boot::AppendEntry(block.env, name.c_str(), value.c_str()) == fits, "what fits");
  if (fits) block.list.push_back(name + "=" + value);
  ExpectList(block);
}

const BoardFile parameters("/proc/vss/bootpara"), partitions("/proc/mtd"), device("/dev/mtd0");

// The operations of the public header, on a block of the flash that cannot be erased.
void TryFlash(Input &input) {
  partitions.Put("mtd0: 00010000 00010000 \"boot\"\n");
  parameters.Put("product=0000000000000004\n");  // with a block of 64 KiB
  DvrReadBootParameters();
  const uint32_t length = input.Byte() % 40U;
  const std::string name = input.Text(40), text = input.Line(80);
  std::string content(1000, '\0');
  const std::string data = input.Take(900);
  device.Put(content.replace(kCrcSize, data.size(), data));
  Expect(ftruncate(device.Descriptor(), 0x10000) == 0, "the rest of the block is zero");
  const Block block(content);
  const char *expected = block.Value(name);
  std::vector<char> value(length + 1, '\0');
  Expect(BootEnvGet(name.c_str(), value.data(), length) == (expected != nullptr ? 0 : -1), "found");
  Expect(value.back() == '\0', "nothing behind the buffer is written");
  Expect(strncmp(value.data(), expected != nullptr ? expected : "", length) == 0, "the value");
  Expect(BootEnvSetText(text.c_str()) == -1, "the variable is not saved");
  FlashCloseAll();
}

}  // namespace

void Try(Input &input) {
  const uint8_t changes = input.Byte();
  if (changes % 64 == 63) return TryFlash(input);
  const std::string name = input.Text(20);
  const bool hasItsCrc = input.Below(4) == 3;
  Block block(Content(input), hasItsCrc);
  libsys::boot::ClearBrokenList(block.env);
  ExpectList(block);
  const char *value = libsys::boot::FindValue(block.env, name.c_str());
  const char *expected = block.Value(name);
  Expect((value == nullptr) == (expected == nullptr), "a name is found");
  Expect(value == nullptr || strcmp(value, expected) == 0, "the first value of a name");
  for (uint32_t i = 0; i < changes % 4; ++i) Set(block, "a" + input.Word(8), input.Word(60));
  libsys::boot::StoreCrc(block.env);
  ExpectList(block);
}

}  // namespace fuzz
