// Boards that differ in product and flash, and the bytes of their flash as they lie on the chip.
#pragma once

#include <inttypes.h>
#include <stdio.h>

#include <string>
#include <vector>

#include "tests/support/board_test.h"
#include "tests/support/identifiers.h"

namespace test {

// Identifiers by product type.
enum Product : uint64_t {
  kProduct2 = First({.channels = 4}),
  kProduct3 = First({.channels = 8}),
  kProduct4 = First({.channels = 16}),
  kProduct5 = Second(2, 4),
  kProduct7 = Second(2, 16),  // chip/board type 0
  kProduct27 = Second(10, 4),
  kProduct30 = Second(1, 4, 1),
  kProduct31 = Second(1, 8, 1),
  kProduct32 = Second(1, 16, 1),
  kProduct99 = Second(0, 4),  // unknown; chip/board type -1
};

// Names and sizes.
using Partitions = std::vector<std::pair<std::string, uint32_t>>;

// A board with these partitions, each full of garbage so that a byte too many shows.
inline std::string FlashBoard(uint64_t product, uint32_t oem, uint32_t sectorSize,
                              const Partitions &partitions) {
  char text[160];
  snprintf(text, sizeof text,
           "summary = \"a board for tests\"\n[identity]\nproduct = \"%016" PRIX64
           "\"\noem = %" PRIu32 "\n[flash]\nsector_size = %" PRIu32 "\n",
           product, oem, sectorSize);
  std::string description = text;
  for (const auto &[name, size] : partitions) {
    description += "[[flash.partition]]\nname = \"" + name + "\"\nsize = " + std::to_string(size) +
                   "\ncontent = \"garbage\"\n";
  }
  return description;
}

inline std::string DeviceFile(size_t unit) {
  return vboard::RootPath("/dev/mtd" + std::to_string(unit));
}

inline std::string FlashBytes(size_t unit, size_t offset = 0, size_t length = std::string::npos) {
  return vboard::ReadFile(DeviceFile(unit)).substr(offset, length);
}

inline void PutFlashBytes(size_t unit, size_t offset, const std::string &bytes) {
  std::string content = FlashBytes(unit);
  vboard::WriteFile(DeviceFile(unit), content.replace(offset, bytes.size(), bytes));
}

// A block of boot variables from its entries, NULs included. Its CRC is wrong: nobody looks.
inline std::string Block(const std::string &list, size_t size, char fill = '\0') {
  std::string block = "crc?" + list;
  block.resize(size, fill);
  return block;
}

// A literal that holds NULs.
template <size_t N>
std::string Bytes(const char (&text)[N]) {
  return std::string(text, N - 1);
}

}  // namespace test
