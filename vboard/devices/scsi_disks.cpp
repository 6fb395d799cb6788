#include "vboard/devices/scsi_disks.h"

#include <algorithm>
#include <filesystem>
#include <vector>

#include "vboard/board.h"
#include "vboard/files.h"

namespace vboard::scsi {
namespace {

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

}  // namespace

State &Layer() {
  return StateOf<State>(kScsi);
}

std::span<Disk> Disks() {
  return {Layer().disks, Layer().count};
}

std::string Content(const Disk &disk) {
  return std::string("scsi-") + disk.name;
}

std::string ContentFolder(const Disk &disk) {
  return Folder() + "/disks/" + Content(disk);
}

void Appear(Disk &disk) {
  const bool modern = Layer().modern;
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

}  // namespace vboard::scsi
