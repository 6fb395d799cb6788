// The flash chip as all that deals with it knows it.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>
#include <string>
#include <string_view>

#include "vboard/keys.h"

namespace vboard {

class Section;
class Values;
struct Device;
extern const Device kFlash;

constexpr size_t kMostPartitions = 16;
// Of larger chips with small sectors the erases of those beyond are not counted.
constexpr size_t kCountedSectors = 4096;
constexpr std::string_view kCharacterDevice = "/dev/mtd";
constexpr std::string_view kBlockDevice = "/dev/mtdblock";
// The node that jffs2 puts at the start of an erased sector.
constexpr char kCleanMarker[] = {'\x85', '\x19', '\x03', '\x20', '\x0c', 0,
                                 0,      0,      '\xb1', '\xb0', '\x1e', '\xe4'};

// In the shared state.
struct FlashState {
  uint32_t sectorSize;
  uint32_t partitions;
  uint32_t sizes[kMostPartitions];
  char names[kMostPartitions][32];
  uint32_t erases[kCountedSectors];  // of each sector, from the chip's first one on
  // Where the boot variables are; size 0: nowhere.
  uint32_t variablesUnit, variablesOffset, variablesSize;
};
FlashState &Flash();
// The place of a partition's first byte on the chip.
uint32_t OffsetOf(size_t unit);

inline std::string DevicePath(std::string_view prefix, size_t unit) {
  return std::string(prefix) + std::to_string(unit);
}

// Makes the partitions and what the description puts on them.
extern const std::span<const Key> kFlashKeys;
void MakeFlash(Section &section);

void ShowFlash(Values &values);

}  // namespace vboard
