// These commands read and write GPIO lines, physical memory and the clock chip's memory.
#include <array>

#include "boardctl/command.h"
#include "boardctl/output.h"
#include "libsys/clock.h"
#include "libsys/gpio.h"

namespace boardctl {
namespace {

constexpr uint32_t kNvramSize = 248;  // bytes

bool Line(const Arguments &arguments, uint32_t *group, uint32_t *bit) {
  return Number(arguments[0], "GROUP", 7, group) && Number(arguments[1], "BIT", 7, bit);
}

bool Address(const char *word, uint32_t *address) {
  if (!Number(word, "ADDRESS", UINT32_MAX, address)) return false;
  if (*address % 4 == 0) return true;
  UsageError("ADDRESS is a multiple of 4");
  return false;
}

void ShowBytes(const char *name, uint32_t first, std::span<const uint8_t> bytes) {
  output::BeginList();
  for (size_t i = 0; i < bytes.size(); ++i) {
    output::BeginRecord();
    output::Number(name, static_cast<int64_t>(first + i));
    output::Hex("value", bytes[i], 2);
    output::EndRecord();
  }
  output::EndList();
}

}  // namespace

int GpioGet(const Arguments &arguments) {
  uint32_t group = 0, bit = 0;
  uint8_t level = 0;
  if (!Line(arguments, &group, &bit)) return kUsage;
  if (GpioRead(group, bit, &level) != 0) return Failure("the line cannot be read");
  output::Single("level", level);
  return kDone;
}

int GpioSet(const Arguments &arguments) {
  uint32_t group = 0, bit = 0, level = 0;
  if (!Line(arguments, &group, &bit) || !Number(arguments[2], "LEVEL", 1, &level)) return kUsage;
  return GpioWrite(group, bit, level) == 0 ? kDone : Failure("the line cannot be driven");
}

int MemRead(const Arguments &arguments) {
  uint32_t address = 0, count = 1;
  if (!Address(arguments[0], &address)) return kUsage;
  if (!Number(arguments.Or(1, "1"), "COUNT", 1024, &count)) return kUsage;
  if (count > (UINT32_MAX - address) / 4 + 1) return UsageError("memory ends at 0xffffffff");
  output::BeginList();
  for (uint32_t i = 0; i < count; ++i) {
    uint8_t word[4];
    const uint32_t at = address + i * 4;
    if (DvrPhysicalMemoryAccess(at, word, sizeof word, 0) != 1) {
      output::EndList();
      return Failure("0x%08x cannot be read", at);
    }
    output::BeginRecord();
    output::Hex("address", at, 8);
    output::Hex("value",
                word[0] | word[1] << 8 | word[2] << 16 | static_cast<uint32_t>(word[3]) << 24, 8);
    output::EndRecord();
  }
  output::EndList();
  return kDone;
}

int MemWrite(const Arguments &arguments) {
  uint32_t address = 0, value = 0;
  if (!Address(arguments[0], &address)) return kUsage;
  if (!Number(arguments[1], "VALUE", UINT32_MAX, &value)) return kUsage;
  std::array<uint8_t, 4> word;
  for (size_t i = 0; i < word.size(); ++i) word[i] = static_cast<uint8_t>(value >> 8 * i);
  const bool written = DvrPhysicalMemoryAccess(address, word.data(), word.size(), 1) == 1;
  return written ? kDone : Failure("0x%08x cannot be written", address);
}

int NvramShow(const Arguments &arguments) {
  uint32_t address = 0, count = 0;
  std::array<uint8_t, kNvramSize> bytes;
  if (!Number(arguments.Or(0, "0"), "ADDRESS", kNvramSize - 1, &address)) return kUsage;
  const char *word = arguments.size() == 1 ? "1" : arguments.Or(1, "64");
  if (!Number(word, "COUNT", kNvramSize - address, &count)) return kUsage;
  if (!OpenBus() || NvramRead(address, bytes.data(), count) != 0) {
    return Failure("the clock chip does not answer");
  }
  ShowBytes("address", address, std::span(bytes).first(count));
  return kDone;
}

int NvramStore(const Arguments &arguments) {
  uint32_t address = 0;
  size_t count = 0;
  std::array<uint8_t, kNvramSize> bytes;
  if (!Number(arguments[0], "ADDRESS", kNvramSize - 1, &address)) return kUsage;
  if (!Bytes(arguments, 1, std::span(bytes).first(kNvramSize - address), &count)) return kUsage;
  if (!OpenBus() || NvramWrite(address, bytes.data(), static_cast<uint32_t>(count)) != 0) {
    return Failure("the clock chip does not answer");
  }
  return kDone;
}

}  // namespace boardctl
