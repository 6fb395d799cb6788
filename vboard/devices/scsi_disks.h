// The disks of a board as its kernel shows them below /sys and /dev. All in the shared state.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>
#include <string>

namespace vboard {

struct Device;
extern const Device kScsi;

namespace scsi {

constexpr const char *kDevices = "/sys/bus/scsi/devices/";
constexpr size_t kMostDisks = 24;
constexpr size_t kMostPartitions = 24;

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
  bool medium;
  bool mounts;
  bool plugged;
  int64_t size;
  uint32_t partitionCount;
  Partition partitions[kMostPartitions];
  uint32_t mounted;  // how often it is mounted now
  PlannedPull planned;
};

struct State {
  bool modern;
  uint32_t count;
  Disk disks[kMostDisks];
};

State &Layer();
std::span<Disk> Disks();

// The name and the place of the folder below disks/ with a disk's files.
std::string Content(const Disk &disk);
std::string ContentFolder(const Disk &disk);

void Appear(Disk &disk);
void Vanish(Disk &disk);

}  // namespace scsi
}  // namespace vboard
