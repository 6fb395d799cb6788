// NOR flash behind the kernel's MTD devices: an erase sets a whole sector to 0xFF, a write can
// only clear bits, and the power can go before, inside and after each of them. The bytes of a
// partition are the file that stands for its device.
//
// Its file systems: a partition mounts as jffs2 when each of its sectors is erased or begins
// with a jffs2 node. The files themselves are kept beside the flash; they belong to the first
// sector and are gone when that is erased.
#include <errno.h>
#include <mtd/mtd-user.h>
#include <string.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <numeric>
#include <vector>

#include "vboard/board.h"
#include "vboard/device.h"
#include "vboard/devices/flash.h"
#include "vboard/faults.h"
#include "vboard/files.h"
#include "vboard/real.h"

namespace vboard {
namespace {

constexpr char kJffs2Magic[] = {'\x85', '\x19'};

// The unit in a path of a prefix and a decimal number, or -1.
int UnitAfter(std::string_view prefix, std::string_view path) {
  if (!path.starts_with(prefix)) return -1;
  for (size_t unit = 0; unit < Flash().partitions; ++unit) {
    if (path.substr(prefix.size()) == std::to_string(unit)) return static_cast<int>(unit);
  }
  return -1;
}

int Unit(std::string_view path) {
  return UnitAfter(kCharacterDevice, path);
}

int OpenChip(int unit, int flags) {
  const std::string path = RootPath(DevicePath(kCharacterDevice, static_cast<size_t>(unit)));
  return real::open(path.c_str(), flags | O_CLOEXEC);
}

ssize_t Write(int unit, int fd, const void *data, size_t length, int64_t *offset) {
  const int64_t position = offset != nullptr ? *offset : real::seek(fd, 0, SEEK_CUR);
  const int64_t size = Flash().sizes[unit];
  if (position >= size) {
    errno = ENOSPC;
    return -1;
  }
  length = std::min(length, static_cast<size_t>(size - position));
  std::vector<uint8_t> before(length), cells(length);
  // A descriptor of our own to read with: the program's may be for writing only.
  const int chip = OpenChip(unit, O_RDONLY);
  const auto *bytes = static_cast<const uint8_t *>(data);
  ssize_t result = 0;
  {
    Lock lock;
    result = real::pread(chip, before.data(), length, position);
    for (size_t i = 0; i < length; ++i) cells[i] = before[i] & bytes[i];
    WithPowerCut(before, cells, [&](std::span<const uint8_t> done) {
      if (result >= 0) result = real::pwrite(fd, done.data(), length, position);
    });
  }
  real::close(chip);
  if (result < 0) return -1;
  Event("flash: write mtd%d 0x%llx +0x%zx", unit, static_cast<long long>(position), length);
  if (offset == nullptr) real::seek(fd, position + result, SEEK_SET);
  return result;
}

// Under the lock.
void CountErases(int unit, const erase_info_user &sector) {
  FlashState &flash = Flash();
  const size_t first = (OffsetOf(static_cast<size_t>(unit)) + sector.start) / flash.sectorSize;
  const size_t end = std::min(first + sector.length / flash.sectorSize, kCountedSectors);
  for (size_t counted = first; counted < end; ++counted) ++flash.erases[counted];
}

int Erase(int unit, int fd, const erase_info_user &sector) {
  const FlashState &flash = Flash();
  if (sector.length == 0 || sector.start % flash.sectorSize != 0 ||
      sector.length % flash.sectorSize != 0 ||
      uint64_t{sector.start} + sector.length > flash.sizes[unit]) {
    errno = EINVAL;
    return -1;
  }
  std::vector<uint8_t> before(sector.length), erased(sector.length, 0xff);
  const int chip = OpenChip(unit, O_RDONLY);
  ssize_t result = 0;
  {
    Lock lock;
    CountErases(unit, sector);
    result = real::pread(chip, before.data(), before.size(), sector.start);
    WithPowerCut(before, erased, [&](std::span<const uint8_t> done) {
      if (result >= 0) result = real::pwrite(fd, done.data(), done.size(), sector.start);
    });
  }
  real::close(chip);
  if (result < 0) return -1;
  Event("flash: erase mtd%d 0x%x +0x%x", unit, sector.start, sector.length);
  return 0;
}

int Ioctl(int unit, int fd, unsigned long request, void *argument) {
  if (static_cast<uint32_t>(request) == static_cast<uint32_t>(MEMERASE)) {
    return Erase(unit, fd, *static_cast<const erase_info_user *>(argument));
  }
  errno = ENOTTY;
  return -1;
}

bool IsErased(std::span<const char> cells) {
  return std::all_of(cells.begin(), cells.end(), [](char cell) { return cell == '\xff'; });
}

// What is in each sector of a partition that can be mounted: true for an erased one. Empty for
// a partition that cannot.
std::vector<bool> ErasedSectors(int unit) {
  std::vector<char> cells(Flash().sectorSize);
  std::vector<bool> sectors;
  const int chip = OpenChip(unit, O_RDONLY);
  while (real::read(chip, cells.data(), cells.size()) == static_cast<ssize_t>(cells.size())) {
    sectors.push_back(IsErased(cells));
    if (sectors.back() || memcmp(cells.data(), kJffs2Magic, 2) == 0) continue;
    sectors.clear();
    break;
  }
  real::close(chip);
  return sectors;
}

// Puts the node at the start of each erased sector, as the file system does on its own.
void MarkSectors(int unit, const std::vector<bool> &erased) {
  const int chip = OpenChip(unit, O_WRONLY);
  for (size_t sector = 0; sector < erased.size(); ++sector) {
    if (!erased[sector]) continue;
    uint8_t before[sizeof kCleanMarker], marked[sizeof kCleanMarker];
    memset(before, 0xff, sizeof before);
    memcpy(marked, kCleanMarker, sizeof marked);
    WithPowerCut(before, marked, [&](std::span<const uint8_t> done) {
      real::pwrite(chip, done.data(), done.size(),
                   static_cast<int64_t>(sector * Flash().sectorSize));
    });
  }
  real::close(chip);
}

int MountJffs2(std::string_view source, std::string_view type, std::string *content) {
  const int unit = UnitAfter(kBlockDevice, source);
  if (unit < 0) return -1;
  if (type != "jffs2") return EINVAL;
  const Lock lock;
  const std::vector<bool> erased = ErasedSectors(unit);
  if (erased.empty()) return EIO;
  *content = "mtd" + std::to_string(unit);
  if (erased[0]) {
    const std::string folder = Folder() + "/disks/" + *content;
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
  }
  MarkSectors(unit, erased);
  return 0;
}

void CutAtOperation(std::span<const std::string> words) {
  PlanPowerCut(NumberOf(words[0]), MomentOf(words[1]), NumberOf(words[2]));
}

constexpr const char *kPaths[] = {"/proc/mtd", "/sys/class/ubi", "/proc/cmdline", "/dev/mtd"};
constexpr Action kActions[] = {
    {"flash cut", "OPERATION MOMENT NUMBER",
     "cut the power at the OPERATIONth erase or write from now on, MOMENT 'before' it, 'after' it "
     "or with a part of it done: 'inside' (NUMBER bytes), 'half', 'all-but-one' (bytes), or 'torn' "
     "(bits as the seed NUMBER draws)",
     CutAtOperation},
};

}  // namespace

FlashState &Flash() {
  return StateOf<FlashState>(kFlash);
}

uint32_t OffsetOf(size_t unit) {
  const auto &sizes = Flash().sizes;
  return std::accumulate(std::begin(sizes), std::begin(sizes) + unit, uint32_t{0});
}

const Device kFlash = {
    .name = "flash",
    .about = "NOR flash and its partitions",
    .keys = kFlashKeys,
    .stateSize = sizeof(FlashState),
    .paths = kPaths,
    .make = MakeFlash,
    .files = FileCalls{.unit = Unit, .write = Write, .ioctl = Ioctl},
    .mounts = MountCalls{.mount = MountJffs2},
    .values = ShowFlash,
    .help = "power cuts in the middle of flash operations",
    .actions = kActions,
};

}  // namespace vboard
