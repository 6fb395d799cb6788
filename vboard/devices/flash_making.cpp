// The flash of a new board: partitions, their content, boot variables.
#include <stdio.h>
#include <zlib.h>

#include <algorithm>
#include <vector>

#include "vboard/board.h"
#include "vboard/description.h"
#include "vboard/devices/flash.h"
#include "vboard/files.h"

namespace vboard {
namespace {

constexpr int64_t kLargestChip = 0x10000000;

constexpr const char *kContents[] = {"erased", "zero", "garbage", "jffs2"};
constexpr Key kPartitionKeys[] = {
    {"name", key::Text(), "its name, as in /proc/mtd"},
    {"size", key::Number(1, kLargestChip), "bytes, in whole sectors"},
    {"content", key::Choice(kContents).Default("erased"),
     "what it holds; jffs2: a file system with the files; garbage: nothing that mounts"},
    {"files", key::Pairs(),
     "files by their name, with their content; a name that ends in / is a folder"},
};
constexpr Key kEnvironmentKeys[] = {
    {"partition", key::Text(), "the name of the partition that they are on"},
    {"offset", key::Number(0, UINT32_MAX), "where in it their block begins"},
    {"size", key::Number(16, 0x100000), "the block's bytes"},
    {"variables", key::Pairs(), "their names and values"},
};
constexpr Key kKeys[] = {
    {"size", key::Number(0x100, kLargestChip).Default(0x1000000), "the chip's bytes"},
    {"sector_size", key::Number(0x100, 0x400000).Default(0x20000), "what an erase clears"},
    {"partition", key::Tables(kPartitionKeys), "the partitions, mtd0 first; at most 16"},
    {"environment", key::Table(kEnvironmentKeys).Optional("no boot variables"),
     "where the boot variables are"},
};

std::string MadeContent(const std::string &kind, size_t size) {
  if (kind == "zero") return std::string(size, '\0');
  std::string content(size, '\xff');
  if (kind == "jffs2") {
    for (size_t at = 0; at < size; at += Flash().sectorSize) {
      content.replace(at, sizeof kCleanMarker, kCleanMarker, sizeof kCleanMarker);
    }
  } else if (kind == "garbage") {
    for (size_t at = 0; at < size; ++at) content[at] = static_cast<char>(at * 167 + at / 251);
  }
  return content;
}

// A block of boot variables, made by its own rules and not by the product's code.
std::string EnvironmentBlock(Section &environment, size_t size) {
  std::string list;
  for (const auto &[name, value] : environment.Pairs("variables")) {
    list += name + "=" + value + '\0';
  }
  if (list.size() + 5 > size) environment.Fail("variables", "do not fit the block");
  list.resize(size - 4, '\0');
  const auto crc = static_cast<uint32_t>(
      crc32(0, reinterpret_cast<const Bytef *>(list.data()), static_cast<uInt>(list.size())));
  std::string block;
  for (unsigned shift = 0; shift < 32; shift += 8) block += static_cast<char>(crc >> shift);
  return block + list;
}

struct Made {
  std::vector<std::string> names;
  std::vector<std::string> contents;
};

void MakePartition(Section &partition, int64_t room, Made &made) {
  FlashState &flash = Flash();
  const size_t unit = flash.partitions;
  if (unit == kMostPartitions) partition.Fail("name", "is one partition too many");
  const auto size = partition.Number<uint32_t>("size");
  if (size % flash.sectorSize != 0) partition.Fail("size", "has to be whole sectors");
  if (size > room) partition.Fail("size", "does not fit the flash");
  Store(flash.names[unit], partition.Text("name"));
  flash.sizes[flash.partitions++] = size;
  made.names.push_back(partition.Text("name"));
  made.contents.push_back(MadeContent(partition.Text("content"), size));
  const std::string folder = Folder() + "/disks/mtd" + std::to_string(unit) + "/";
  WriteFile(folder, "");
  PutFiles(partition, folder);
}

void PutEnvironment(Section environment, Made &made) {
  const auto found = std::find(made.names.begin(), made.names.end(), environment.Text("partition"));
  if (found == made.names.end()) environment.Fail("partition", "names no partition");
  std::string &content = made.contents[static_cast<size_t>(found - made.names.begin())];
  const auto size = environment.Number<size_t>("size");
  const auto offset = environment.Number<size_t>("offset");
  if (offset + size > content.size()) environment.Fail("offset", "does not fit the partition");
  Flash().variablesUnit = static_cast<uint32_t>(found - made.names.begin());
  Flash().variablesOffset = static_cast<uint32_t>(offset);
  Flash().variablesSize = static_cast<uint32_t>(size);
  content.replace(offset, size, EnvironmentBlock(environment, size));
}

// What the kernel tells in /proc/mtd.
std::string PartitionTable(const std::vector<std::string> &names) {
  std::string table = "dev:    size   erasesize  name\n";
  for (size_t unit = 0; unit < names.size(); ++unit) {
    char line[160];
    snprintf(line, sizeof line, "mtd%zu: %08x %08x \"%s\"\n", unit, Flash().sizes[unit],
             Flash().sectorSize, names[unit].c_str());
    table += line;
  }
  return table;
}

// The kernel's parameters on a board whose root file system is the partition of that name.
std::string CommandLine(const std::vector<std::string> &names) {
  const std::string common = "console=ttyAMA0,115200";
  const auto root = std::find(names.begin(), names.end(), "rootfs");
  if (root == names.end()) return common + "\n";
  return common + " root=" + DevicePath(kBlockDevice, static_cast<size_t>(root - names.begin())) +
         " rootfstype=jffs2\n";
}

}  // namespace

constinit const std::span<const Key> kFlashKeys = kKeys;

void MakeFlash(Section &section) {
  Flash().sectorSize = section.Number<uint32_t>("sector_size");
  Made made;
  int64_t room = section.Number("size");
  for (Section &partition : section.Tables("partition")) {
    MakePartition(partition, room, made);
    room -= Flash().sizes[Flash().partitions - 1];
  }
  if (section.Has("environment")) PutEnvironment(section.Table("environment"), made);
  for (size_t unit = 0; unit < made.contents.size(); ++unit) {
    WriteFile(RootPath(DevicePath(kCharacterDevice, unit)), made.contents[unit]);
    WriteFile(RootPath(DevicePath(kBlockDevice, unit)), "");
  }
  if (!made.names.empty()) WriteFile(RootPath("/proc/mtd"), PartitionTable(made.names));
  WriteFile(RootPath("/proc/cmdline"), CommandLine(made.names));
}

}  // namespace vboard
