// The disks behind the kernel's SCSI layer: internal ones, USB sticks and optical drives. Each
// that is plugged in has its folder below /sys/bus/scsi/devices, as kernels of the board's time
// ("classic") or today's ("modern") lay it out, and its nodes below /dev.
//
// A disk can hold one vfat file system, on its first partition or, where it has none, on the
// whole of it. When a mounted disk is pulled, opening its files fails, and what a program
// still writes to files that it has open is lost.
#include <ctype.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/hdreg.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <stdexcept>

#include "vboard/board.h"
#include "vboard/description.h"
#include "vboard/device.h"
#include "vboard/devices/scsi_disks.h"
#include "vboard/files.h"
#include "vboard/mounts.h"
#include "vboard/values.h"

namespace vboard {
namespace {

using namespace scsi;

// From now on the content is a copy: files that programs have open are no longer part of it.
void SeverContent(const Disk &disk) {
  const std::string folder = ContentFolder(disk);
  const std::string copy = folder + "-pulled";
  std::filesystem::copy(folder, copy, std::filesystem::copy_options::recursive);
  std::filesystem::remove_all(folder);
  std::filesystem::rename(copy, folder);
}

void Pull(Disk &disk) {
  const Lock lock;
  disk.planned = {};
  if (!disk.plugged) return;
  Vanish(disk);
  LoseMounts(Content(disk));
  SeverContent(disk);
  Event("stick: %s pulled", disk.name);
}

void ReadPartitions(Section &section, Disk &disk) {
  for (const auto &row : section.Rows("partitions")) {
    if (disk.partitionCount == kMostPartitions) section.Fail("partitions", "are too many");
    disk.partitions[disk.partitionCount++] = {static_cast<int32_t>(row[0]), row[1], row[2]};
  }
}

constexpr Column kPartitionColumns[] = {
    {"number", 1, 255}, {"start", 0, INT64_MAX}, {"size", 0, INT64_MAX}};
constexpr const char *kKinds[] = {"disk", "optical"};
constexpr Key kDiskKeys[] = {
    {"name", key::Text(), "what actions call it: a file's name of at most 31 characters"},
    {"letter", key::Text(),
     "the last character of its node: a for /dev/sda, or /dev/sra of an optical drive"},
    {"host", key::Number(0, INT32_MAX), "its SCSI host, which it has alone"},
    {"kind", key::Choice(kKinds).Default("disk"), "what it is"},
    {"vendor", key::Text().Default("ATA"), "its vendor; only ATA takes ATA commands"},
    {"generic", key::Number(-1, INT32_MAX).Optional("its place in the list, from 0"),
     "the number of its generic node, as in /dev/sg0; -1: it has none"},
    {"size", key::Number(0, INT64_MAX).Default(0x100000), "sectors of 512 bytes"},
    {"partitions", key::Rows(kPartitionColumns), "its partitions, in sectors; at most 24"},
    {"medium", key::Flag(true), "whether a medium is in the drive"},
    {"mounts", key::Flag(true),
     "has a vfat file system, on the first partition or without one on the whole disk"},
    {"files", key::Pairs(),
     "files by their name, with their content; a name that ends in / is a folder"},
    {"plugged", key::Flag(true), "is plugged in at power-on"},
};
constexpr const char *kForms[] = {"classic", "modern"};
constexpr Key kKeys[] = {
    {"form", key::Choice(kForms).Default("classic"),
     "how the kernel lays out /sys/bus/scsi: as in the board's time, or as today's"},
    {"disk", key::Tables(kDiskKeys), "the disks, sticks and optical drives; at most 24"},
};

void CheckNames(Section &section, const std::string &letter, const std::string &name) {
  if (letter.size() != 1 || isalnum(static_cast<unsigned char>(letter[0])) == 0) {
    section.Fail("letter", "has to be one letter or digit");
  }
  if (!StaysBelow(name) || name.find('/') != name.npos || name.size() >= sizeof Disk::name) {
    section.Fail("name", "has to be a file's name of at most 31 characters");
  }
}

void RefuseTwins(Section &section, const Disk &disk) {
  for (const Disk &other : Disks()) {
    if (other.host == disk.host) section.Fail("host", "belongs to another disk");
    if (strcmp(other.node, disk.node) == 0) section.Fail("letter", "belongs to another disk");
    if (strcmp(other.name, disk.name) == 0) section.Fail("name", "belongs to another disk");
  }
}

void MakeDisk(Section &section) {
  const uint32_t place = Layer().count;
  if (place == kMostDisks) section.Fail("name", "is one disk too many");
  Disk &disk = Layer().disks[place];
  const std::string letter = section.Text("letter"), name = section.Text("name");
  CheckNames(section, letter, name);
  Store(disk.name, name);
  Store(disk.vendor, section.Text("vendor"));
  disk.optical = section.Text("kind") == "optical";
  Store(disk.node, (disk.optical ? "sr" : "sd") + letter);
  disk.host = section.Number<int32_t>("host");
  disk.generic = static_cast<int32_t>(section.Number("generic", place));
  disk.size = section.Number("size");
  disk.medium = section.Flag("medium");
  disk.mounts = section.Flag("mounts");
  ReadPartitions(section, disk);
  RefuseTwins(section, disk);
  WriteFile(ContentFolder(disk) + "/", "");
  PutFiles(section, ContentFolder(disk));
  if (section.Flag("plugged")) Appear(disk);
  ++Layer().count;
}

void Make(Section &section) {
  Layer().modern = section.Text("form") == "modern";
  WriteFile(RootPath(kDevices), "");
  for (Section &disk : section.Tables("disk")) MakeDisk(disk);
}

void Unmounted() {
  for (Disk &disk : Disks()) disk.mounted = 0;
}

// The disk that a node below /dev belongs to, and the node's partition: 0 for the whole disk.
Disk *FindNode(std::string_view path, int *partition) {
  for (Disk &disk : Disks()) {
    const std::string node = std::string("/dev/") + disk.node;
    if (!disk.plugged || !path.starts_with(node)) continue;
    const std::string_view rest = path.substr(node.size());
    *partition = 0;
    const auto end = std::from_chars(rest.data(), rest.data() + rest.size(), *partition).ptr;
    if (end == rest.data() + rest.size()) return &disk;
  }
  return nullptr;
}

int Unit(std::string_view path) {
  int partition = 0;
  const Disk *disk = FindNode(path, &partition);
  return disk != nullptr ? static_cast<int>(disk - Disks().data()) : -1;
}

// Without a medium a drive opens only for those who do not wait for one.
int Open(int unit, int flags) {
  const Disk &disk = Disks()[static_cast<size_t>(unit)];
  return disk.medium || (flags & O_NONBLOCK) != 0 ? 0 : ENOMEDIUM;
}

// Only drives on the ATA layer take ATA commands.
int Ioctl(int unit, int, unsigned long request, void *argument) {
  const Disk &disk = Disks()[static_cast<size_t>(unit)];
  const bool takes = disk.plugged && !disk.optical && strcmp(disk.vendor, "ATA") == 0;
  if (request != HDIO_DRIVE_CMD || !takes) {
    errno = disk.plugged ? EINVAL : ENODEV;
    return -1;
  }
  const auto *command = static_cast<const uint8_t *>(argument);
  Event("disk: %s command %02x %02x %02x %02x", disk.node, command[0], command[1], command[2],
        command[3]);
  return 0;
}

int Sync(int unit) {
  const Disk &disk = Disks()[static_cast<size_t>(unit)];
  if (!disk.plugged) {
    errno = EIO;
    return -1;
  }
  Event("disk: %s flushed", disk.node);
  return 0;
}

int MountVfat(std::string_view source, std::string_view type, std::string *content) {
  if (!source.starts_with("/dev/sd") && !source.starts_with("/dev/sr")) return -1;
  int partition = 0;
  const Disk *disk = FindNode(source, &partition);
  if (disk == nullptr || !std::filesystem::exists(RootPath(source))) return ENOENT;
  const int formatted = disk->partitionCount > 0 ? disk->partitions[0].number : 0;
  if (type != "vfat" || !disk->mounts || partition != formatted) return EINVAL;
  *content = Content(*disk);
  return 0;
}

bool CountDown(uint32_t &count) {
  return count > 0 && --count == 0;
}

void Remounted() {
  for (Disk &disk : Disks()) {
    const auto mounted = static_cast<uint32_t>(
        std::count_if(std::begin(vboard::State().mounts), std::end(vboard::State().mounts),
                      [&](const Mount &mount) {
                        return mount.point[0] != '\0' && Content(disk) == mount.content;
                      }));
    const bool more = mounted > disk.mounted;
    const bool less = mounted < disk.mounted;
    disk.mounted = mounted;
    if ((more && CountDown(disk.planned.mount)) || (less && CountDown(disk.planned.unmount))) {
      Pull(disk);
    }
  }
}

Disk &FindName(const std::string &name) {
  for (Disk &disk : Disks()) {
    if (name == disk.name) return disk;
  }
  throw std::invalid_argument("'" + name + "' is no disk of this board");
}

void PlugStick(std::span<const std::string> words) {
  Disk &disk = FindName(words[0]);
  if (disk.plugged) throw std::invalid_argument("'" + words[0] + "' is plugged in");
  Appear(disk);
  Event("stick: %s plugged in as %s", disk.name, disk.node);
}

void PullStick(std::span<const std::string> words) {
  Pull(FindName(words[0]));
}

void PullStickAfter(std::span<const std::string> words) {
  const auto nth = NumberOf(words[1]);
  PlannedPull &planned = FindName(words[2]).planned;
  if (words[0] == "mount") {
    planned.mount = nth;
  } else if (words[0] == "unmount") {
    planned.unmount = nth;
  } else {
    throw std::invalid_argument("CALL is mount or unmount");
  }
}

void Show(Values &values) {
  values.List("disks", [&] {
    for (const Disk &disk : Disks()) {
      values.Object("", [&] {
        values.Text("name", disk.name);
        values.Text("node", disk.node);
        values.Text("kind", disk.optical ? "optical" : "disk");
        values.Text("vendor", disk.vendor);
        values.Number("sectors", disk.size);
        values.Flag("plugged", disk.plugged);
        values.Number("mounted", disk.mounted);
      });
    }
  });
}

constexpr const char *kPaths[] = {"/sys/bus/scsi"};
constexpr Action kActions[] = {
    {"stick plug", "NAME", "plug in a disk of the description", PlugStick},
    {"stick pull", "NAME", "pull a disk out, mounted or not", PullStick},
    {"stick pull-after", "CALL NTH NAME",
     "pull a disk out after its NTH CALL, mount or unmount, from now on", PullStickAfter},
};

}  // namespace

const Device kScsi = {
    .name = "scsi",
    .about = "disks, USB sticks and optical drives",
    .keys = kKeys,
    .stateSize = sizeof(scsi::State),
    .paths = kPaths,
    .make = Make,
    .powerOn = Unmounted,
    .files = FileCalls{.unit = Unit, .open = Open, .ioctl = Ioctl, .sync = Sync},
    .mounts = MountCalls{.mount = MountVfat, .remounted = Remounted},
    .values = Show,
    .help = "disks and USB sticks that are plugged in and pulled out",
    .actions = kActions,
};

}  // namespace vboard
