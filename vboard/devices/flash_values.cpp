// What is on the flash: its sectors, and the boot variables in their block.
#include <string.h>
#include <zlib.h>

#include <algorithm>
#include <string>

#include "vboard/devices/flash.h"
#include "vboard/files.h"
#include "vboard/values.h"

namespace vboard {
namespace {

constexpr size_t kCrcSize = 4;
constexpr char kErased = '\xff';

std::string Cells(size_t unit) {
  return ReadFile(RootPath(DevicePath(kCharacterDevice, unit)));
}

void ShowSectors(Values &values, size_t unit, const std::string &cells) {
  const FlashState &flash = Flash();
  size_t number = OffsetOf(unit) / flash.sectorSize;
  for (size_t at = 0; at < cells.size(); at += flash.sectorSize, ++number) {
    const std::string_view sector = std::string_view(cells).substr(at, flash.sectorSize);
    const auto erased = std::count(sector.begin(), sector.end(), kErased);
    values.Object("", [&] {
      if (number < kCountedSectors) values.Number("erases", flash.erases[number]);
      values.Number("programmed", static_cast<int64_t>(sector.size()) - erased);
    });
  }
}

void ShowPartition(Values &values, size_t unit) {
  values.Text("name", Flash().names[unit]);
  values.Number("offset", OffsetOf(unit));
  values.Number("size", Flash().sizes[unit]);
  values.Number("sector_size", Flash().sectorSize);
  values.List("sectors", [&] { ShowSectors(values, unit, Cells(unit)); });
}

bool HasItsCrc(const std::string &block) {
  const auto *data = reinterpret_cast<const Bytef *>(block.data()) + kCrcSize;
  const auto crc =
      static_cast<uint32_t>(crc32(0, data, static_cast<uInt>(block.size() - kCrcSize)));
  for (size_t i = 0; i < kCrcSize; ++i) {
    if (static_cast<uint8_t>(block[i]) != static_cast<uint8_t>(crc >> (8 * i))) return false;
  }
  return true;
}

// The entries that the programs on the board read: the CRC counts only where the list shows erased
// flash, for not all who write the block know of it.
std::string_view List(const std::string &block) {
  const std::string_view data = std::string_view(block).substr(kCrcSize);
  const size_t end = data.starts_with('\0') ? 0 : data.find(std::string_view("\0\0", 2));
  const std::string_view list = data.substr(0, end == data.npos ? end : end + (end > 0 ? 1 : 0));
  return list.find(kErased) != list.npos && !HasItsCrc(block) ? std::string_view() : list;
}

void ShowVariables(Values &values, const std::string &block) {
  const bool erased = std::all_of(block.begin(), block.end(), [](char c) { return c == kErased; });
  values.Text("block", HasItsCrc(block) ? "whole" : erased ? "empty" : "torn");
  values.Object("variables", [&] {
    std::string_view list = List(block);
    while (!list.empty()) {
      const std::string entry(list.substr(0, list.find('\0')));
      list.remove_prefix(std::min(entry.size() + 1, list.size()));
      const size_t name = std::min(entry.find('='), entry.size());
      values.Text(entry.substr(0, name).c_str(),
                  std::string_view(entry).substr(std::min(name + 1, entry.size())));
    }
  });
}

}  // namespace

void ShowFlash(Values &values) {
  values.List("flash", [&] {
    for (size_t unit = 0; unit < Flash().partitions; ++unit) {
      values.Object("", [&] { ShowPartition(values, unit); });
    }
  });
  if (Flash().variablesSize == 0) return;
  const std::string cells = Cells(Flash().variablesUnit);
  values.Object("boot", [&] {
    ShowVariables(values, cells.substr(Flash().variablesOffset, Flash().variablesSize));
  });
}

}  // namespace vboard
