// The disks behind the kernel's SCSI layer: internal ones, USB sticks and optical drives. Each
// that is plugged in has its folder below /sys/bus/scsi/devices, as kernels of the board's time
// ("classic") or today's ("modern") lay it out, and its nodes below /dev.
//
// A disk can hold one vfat file system, on its first partition or, where it has none, on the
// whole of it. When a mounted disk is pulled, opening its files fails, and what a program
// still writes to files that it has open is lost.
#include <ctype.h>
#include <errno.h>
#include <linux/hdreg.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <stdexcept>

#include "vboard/board.h"
#include "vboard/description.h"
#include "vboard/device.h"
#include "vboard/files.h"

namespace vboard {
extern const Device kScsi;
namespace {

constexpr size_t kMostDisks = 24;
constexpr size_t kMostPartitions = 24;
constexpr const char *kDevices = "/sys/bus/scsi/devices/";

struct Partition {
  int32_t number;
  int64_t start;
  int64_t size;
};

// A pull that waits for the nth mount or unmount; 0: none.
struct PlannedPull {
  uint32_t mount;
  uint32_t unmount;
};

struct Disk {
  char name[32];
  char vendor[32];
  char node[8];  // sda, sr0
  int32_t host;
  int32_t generic;  // -1: no generic node
  bool optical;
  bool mounts;
  bool plugged;
  int64_t size;
  uint32_t partitionCount;
  Partition partitions[kMostPartitions];
  uint32_t mounted;  // how often it is mounted now
  PlannedPull planned;
};

struct ScsiState {
  bool modern;
  uint32_t count;
  Disk disks[kMostDisks];
};

std::span<Disk> Disks() {
  auto &state = StateOf<ScsiState>(kScsi);
  return {state.disks, state.count};
}

std::string Content(const Disk &disk) {
  return std::string("scsi-") + disk.name;
}

std::string ContentFolder(const Disk &disk) {
  return Folder() + "/disks/" + Content(disk);
}

std::string Number(int64_t number) {
  return std::to_string(number) + "\n";
}

std::string DeviceFolder(const Disk &disk) {
  return RootPath(kDevices) + std::to_string(disk.host) + ":0:0:0";
}

// What a folder of the list holds or what stands beside it, in today's kernels only.
std::vector<std::string> ModernNeighbours(const Disk &disk) {
  const std::string host = std::to_string(disk.host);
  return {RootPath(kDevices) + "host" + host, RootPath(kDevices) + "target" + host + ":0:0"};
}

std::vector<std::string> Nodes(const Disk &disk) {
  std::vector<std::string> nodes = {disk.node};
  for (size_t i = 0; i < disk.partitionCount; ++i) {
    nodes.push_back(disk.node + std::to_string(disk.partitions[i].number));
  }
  if (disk.generic >= 0) nodes.push_back("sg" + std::to_string(disk.generic));
  return nodes;
}

void WriteBlockFolder(const std::string &folder, const Disk &disk) {
  WriteFile(folder + "size", Number(disk.size));
  WriteFile(folder + "removable", Number(disk.optical ? 1 : 0));
  WriteFile(folder + "queue/scheduler", "noop [cfq]\n");
  for (size_t i = 0; i < disk.partitionCount; ++i) {
    const Partition &partition = disk.partitions[i];
    const std::string place = folder + disk.node + std::to_string(partition.number) + "/";
    WriteFile(place + "start", Number(partition.start));
    WriteFile(place + "size", Number(partition.size));
  }
}

void Appear(Disk &disk) {
  const bool modern = StateOf<ScsiState>(kScsi).modern;
  const std::string folder = DeviceFolder(disk) + "/";
  std::string vendor = disk.vendor;
  vendor.resize(std::max<size_t>(vendor.size(), 8), ' ');  // as the inquiry pads it
  WriteFile(folder + "vendor", vendor + "\n");
  WriteFile(folder + "type", Number(disk.optical ? 5 : 0));
  WriteFile(folder + "device_blocked", "0\n");
  WriteBlockFolder(folder + (modern ? "block/" : "block:") + disk.node + "/", disk);
  if (disk.generic >= 0) {
    const std::string node = "sg" + std::to_string(disk.generic);
    WriteFile(folder + (modern ? "scsi_generic/" : "scsi_generic:") + node + "/", "");
  }
  if (modern) {
    for (const std::string &neighbour : ModernNeighbours(disk)) WriteFile(neighbour + "/", "");
  }
  for (const std::string &node : Nodes(disk)) WriteFile(RootPath("/dev/" + node), "");
  disk.plugged = true;
}

void Vanish(Disk &disk) {
  disk.plugged = false;
  std::filesystem::remove_all(DeviceFolder(disk));
  for (const std::string &neighbour : ModernNeighbours(disk)) {
    std::filesystem::remove_all(neighbour);
  }
  for (const std::string &node : Nodes(disk)) std::filesystem::remove(RootPath("/dev/" + node));
}

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
  for (const auto &row : section.Rows("partitions", 3)) {
    if (disk.partitionCount == kMostPartitions) section.Fail("partitions", "are too many");
    if (row[0] < 1 || row[0] > 255 || row[1] < 0 || row[2] < 0) {
      section.Fail("partitions", "has to hold rows of number, start and size in sectors");
    }
    disk.partitions[disk.partitionCount++] = {static_cast<int32_t>(row[0]), row[1], row[2]};
  }
}

bool ReadKind(Section &section) {
  const std::string kind = section.Text("kind", "disk");
  if (kind != "disk" && kind != "optical") section.Fail("kind", "has to be disk or optical");
  return kind == "optical";
}

void MakeDisk(Section &section, ScsiState &state) {
  if (state.count == kMostDisks) section.Fail("name", "is one disk too many");
  Disk &disk = state.disks[state.count];
  const std::string letter = section.Text("letter"), name = section.Text("name");
  if (letter.size() != 1 || isalnum(static_cast<unsigned char>(letter[0])) == 0) {
    section.Fail("letter", "has to be one letter or digit");
  }
  if (!StaysBelow(name) || name.find('/') != name.npos || name.size() >= sizeof disk.name) {
    section.Fail("name", "has to be a file's name of at most 31 characters");
  }
  Store(disk.name, name);
  Store(disk.vendor, section.Text("vendor", "ATA"));
  disk.optical = ReadKind(section);
  Store(disk.node, (disk.optical ? "sr" : "sd") + letter);
  disk.host = static_cast<int32_t>(section.Number("host", 0, INT32_MAX));
  disk.generic = static_cast<int32_t>(section.Number("generic", state.count, -1, INT32_MAX));
  disk.size = section.Number("size", 0x100000, 0, INT64_MAX);
  disk.mounts = section.Flag("mounts", true);
  ReadPartitions(section, disk);
  for (const Disk &other : Disks()) {
    if (other.host == disk.host) section.Fail("host", "belongs to another disk");
    if (strcmp(other.node, disk.node) == 0) section.Fail("letter", "belongs to another disk");
    if (strcmp(other.name, disk.name) == 0) section.Fail("name", "belongs to another disk");
  }
  WriteFile(ContentFolder(disk) + "/", "");
  PutFiles(section, ContentFolder(disk));
  if (section.Flag("plugged", true)) Appear(disk);
  ++state.count;
}

void Make(Section &section) {
  auto &state = StateOf<ScsiState>(kScsi);
  const std::string form = section.Text("form", "classic");
  if (form != "classic" && form != "modern") {
    section.Fail("form", "has to be classic or modern");
  }
  state.modern = form == "modern";
  WriteFile(RootPath(kDevices), "");
  for (Section &disk : section.Tables("disk")) MakeDisk(disk, state);
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
    const auto mounted = static_cast<uint32_t>(std::count_if(
        std::begin(State().mounts), std::end(State().mounts), [&](const Mount &mount) {
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
    .stateSize = sizeof(ScsiState),
    .paths = kPaths,
    .make = Make,
    .powerOn = Unmounted,
    .unit = Unit,
    .ioctl = Ioctl,
    .sync = Sync,
    .mount = MountVfat,
    .remounted = Remounted,
    .actions = kActions,
};

}  // namespace vboard
