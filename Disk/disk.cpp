// Disk discovery: the kernel's list of SCSI devices becomes one table of disks.
#include "libsys/disk.h"

#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <array>

#include "Base/text_file.h"
#include "Disk/disk.h"
#include "libsys/version.h"

using namespace libsys;

namespace {

struct {
  std::array<DiskInfo, DISK_MAX_DISKS> disks{};
  int32_t count = 0;
  bool enumerated = false;
} state;

constexpr const char *kDevices = "/sys/bus/scsi/devices/";
constexpr uint64_t kSmallestPartition = 3;  // the container of logical partitions has 1 or 2
constexpr size_t kDeviceLetters = 3;        // "sda" in front of a partition's number

// Kernels of different age name what belongs to a device differently: "block:sda" and
// "scsi_generic:sg0", or folders "block" and "scsi_generic" with "sda" and "sg0" in them.
constexpr const char *kBlockMark = "block:";
constexpr const char *kGenericMark = "scsi_generic:";
constexpr const char *kBlockFolder = "block";
constexpr const char *kGenericFolder = "scsi_generic";

struct Path {
  char text[1024];
};

// A path that does not fit is empty, and nothing opens.
Path Join(const char *folder, const char *name) {
  Path path;
  const int length = snprintf(path.text, sizeof path.text, "%s/%s", folder, name);
  if (length < 0 || static_cast<size_t>(length) >= sizeof path.text) path.text[0] = '\0';
  return path;
}

class Folder {
 public:
  explicit Folder(const char *path) : folder_(opendir(path)) {}
  Folder(const Folder &) = delete;
  Folder &operator=(const Folder &) = delete;
  ~Folder() {
    if (folder_ != nullptr) closedir(folder_);
  }

  explicit operator bool() const { return folder_ != nullptr; }

  // The name of the next entry that is not the folder itself or the one above; null at the end.
  const char *Next() {
    for (const dirent *entry = readdir(folder_); entry != nullptr; entry = readdir(folder_)) {
      if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0) return entry->d_name;
    }
    return nullptr;
  }

 private:
  DIR *folder_;
};

// The decimal number that a text begins with, or the other value when there is none from 0 to
// the largest.
int32_t LeadingNumber(const char *text, int32_t otherwise) {
  char *end = nullptr;
  const long long number = strtoll(text, &end, 10);
  return end != text && number >= 0 && number <= INT32_MAX ? static_cast<int32_t>(number)
                                                           : otherwise;
}

// A file that holds no number gives 0. False, with a message, when it cannot be opened.
bool ReadSectors(const Path &path, uint64_t *sectors) {
  base::TextFile file(path.text);
  if (!file) {
    printf("LIBDVR : open %s faild\n", path.text);
    return false;
  }
  char word[32];
  file.ReadWord(word);
  *sectors = strtoull(word, nullptr, 10);
  return true;
}

void ReadPartition(const char *block, const char *name, DiskInfo &disk) {
  if (disk.partitionCount == DISK_MAX_PARTITIONS) return;
  DiskPartition partition = {};
  if (strlen(name) > kDeviceLetters) partition.number = LeadingNumber(name + kDeviceLetters, 0);
  const Path folder = Join(block, name);
  if (!ReadSectors(Join(folder.text, "start"), &partition.start) ||
      !ReadSectors(Join(folder.text, "size"), &partition.size)) {
    return;
  }
  if (partition.size >= kSmallestPartition) disk.partitions[disk.partitionCount++] = partition;
}

// True when the block device's name ("sda", "sr0") is that of a disk or an optical drive.
bool ReadKind(const char *name, DiskInfo &disk) {
  const char kind = name[0] != '\0' ? name[1] : '\0';
  if (kind != 'd' && kind != 'r') {
    printf("LIBDVR : Unknow scsi type : bus :%d:0:0:0\n", disk.host);
    return false;
  }
  disk.kind = kind == 'd' ? DISK_KIND_DISK : DISK_KIND_OPTICAL;
  disk.letter = static_cast<unsigned char>(name[2]);
  return true;
}

// path is the block device's folder, name its name.
void ReadBlockDevice(const Path &path, const char *name, DiskInfo &disk) {
  if (!ReadKind(name, disk)) return;
  Folder block(path.text);
  if (!block) {
    printf("LIBDVR : open dir %s failed\n", path.text);
    return;
  }
  disk.partitionCount = 0;
  if (!ReadSectors(Join(path.text, "size"), &disk.size)) return;
  while (const char *entry = block.Next()) {
    if (strstr(entry, name) != nullptr) ReadPartition(path.text, entry, disk);
  }
}

void ReadGenericDevice(const char *name, DiskInfo &disk) {
  if (strncmp(name, "sg", 2) == 0) disk.genericNumber = LeadingNumber(name + 2, 0);
}

void ReadBlockFolder(const Path &path, DiskInfo &disk) {
  Folder folder(path.text);
  if (!folder) {
    printf("LIBDVR : open dir %s failed\n", path.text);
    return;
  }
  while (const char *name = folder.Next()) ReadBlockDevice(Join(path.text, name), name, disk);
}

void ReadGenericFolder(const Path &path, DiskInfo &disk) {
  Folder folder(path.text);
  if (!folder) {
    printf("LIBDVR : open dir %s failed\n", path.text);
    return;
  }
  while (const char *name = folder.Next()) ReadGenericDevice(name, disk);
}

void ReadEntry(const Path &device, const char *entry, DiskInfo &disk) {
  const Path path = Join(device.text, entry);
  if (const char *mark = strstr(entry, kBlockMark)) {
    ReadBlockDevice(path, mark + strlen(kBlockMark), disk);
  } else if (const char *genericMark = strstr(entry, kGenericMark)) {
    ReadGenericDevice(genericMark + strlen(kGenericMark), disk);
  } else if (strcmp(entry, kBlockFolder) == 0) {
    ReadBlockFolder(path, disk);
  } else if (strcmp(entry, kGenericFolder) == 0) {
    ReadGenericFolder(path, disk);
  }
}

// An ATA disk is internal wherever it is plugged in; any other is when its host is one of the
// board's own ports. False when the device names no vendor.
bool ReadClass(const Path &device, DiskInfo &disk) {
  base::TextFile file(Join(device.text, "vendor").text);
  if (!file) return false;
  char vendor[32];
  file.ReadWord(vendor);
  const bool internal = strcmp(vendor, "ATA") == 0 || disk.host < DvrGetHwidInformation(DISK_NUM);
  disk.diskClass = internal ? DISK_CLASS_INTERNAL : DISK_CLASS_EXTERNAL;
  return true;
}

// False when the host has no device that can be read. Only the first one behind a host counts.
bool ReadDevice(int32_t host, DiskInfo &disk) {
  disk = {};
  disk.host = host;
  Path device;
  snprintf(device.text, sizeof device.text, "%s/%d:0:0:0", kDevices, host);
  Folder folder(device.text);
  if (!folder || !ReadClass(device, disk)) return false;
  while (const char *entry = folder.Next()) ReadEntry(device, entry, disk);
  return true;
}

// The lowest host number that the list names beyond this one, or -1. The numbers have gaps of any
// size: a stick gets a new one whenever it is plugged in.
int32_t NextHost(int32_t host) {
  Folder devices(kDevices);
  if (!devices) {
    printf("LIBDVR : Open %s failed\n", kDevices);
    return -1;
  }
  int32_t next = -1;
  while (const char *name = devices.Next()) {
    const int32_t number = LeadingNumber(name, -1);
    if (number > host && (next < 0 || number < next)) next = number;
  }
  return next;
}

}  // namespace

int32_t DiskEnumerate(DiskInfo **table) {
  state.disks = {};
  state.count = 0;
  state.enumerated = true;
  int32_t host = -1;
  while (state.count < DISK_MAX_DISKS && (host = NextHost(host)) >= 0) {
    DiskInfo &disk = state.disks[static_cast<size_t>(state.count)];
    if (ReadDevice(host, disk)) ++state.count;
  }
  *table = state.disks.data();
  return state.count;
}

int32_t DiskGetCount() {
  DiskInfo *table = nullptr;
  return state.enumerated ? state.count : DiskEnumerate(&table);
}

const DiskInfo *disk::Find(int32_t index) {
  const bool found = index >= 0 && index < DiskGetCount();
  return found ? &state.disks[static_cast<size_t>(index)] : nullptr;
}
