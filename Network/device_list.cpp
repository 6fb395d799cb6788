// The Ethernet devices that the kernel lists, and the choice between the wired and the wireless
// one.
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <span>

#include "Base/message.h"
#include "Base/text_file.h"
#include "Network/message.h"
#include "libsys/network.h"

using namespace libsys;

namespace {

constexpr const char *kDevices = "/proc/net/dev";
constexpr int32_t kLeastListLength = 10;

using Name = std::array<char, sizeof(NetDeviceEntry::name)>;

// Finds the next line that names an Ethernet device: "eth" and what follows up to a colon.
bool NextName(base::TextFile &file, Name &name) {
  std::array<char, 256> line;
  while (file.ReadLine(line)) {
    const char *start = strstr(line.data(), "eth");
    const char *end = start != nullptr ? strchr(start, ':') : nullptr;
    if (end == nullptr) continue;
    snprintf(name.data(), name.size(), "%.*s", static_cast<int>(end - start), start);
    return true;
  }
  return false;
}

NetDeviceEntry EntryOf(const Name &name) {
  NetDeviceEntry entry = {};
  entry.wireless = strcmp(name.data(), "eth2") == 0;
  entry.selectable = entry.wireless == 1 || strcmp(name.data(), "eth0") == 0;
  snprintf(entry.name, sizeof entry.name, "%s", name.data());
  return entry;
}

struct DeviceList {
  std::array<NetDeviceEntry, NET_MAX_DEVICES> entries;
  int32_t count;

  DeviceList() : count(NetGetEthName(entries.data(), NET_MAX_DEVICES)) {
    if (count == 0) puts("LIBDVR : NetGetEthName");
  }
  std::span<const NetDeviceEntry> Found() const {
    return std::span(entries).first(static_cast<size_t>(count));
  }
};

}  // namespace

int32_t NetGetEthName(NetDeviceEntry *entries, int32_t capacity) {
  if (entries == nullptr) {
    network::InvalidParameter();
    return 0;
  }
  std::fill_n(entries, std::max(capacity, 0), NetDeviceEntry{});
  base::TextFile file(kDevices);
  if (!file) {
    base::PrintAt({network::kSource, 1667}, "Open file %s failed!\n", kDevices);
    return 0;
  }
  int32_t count = 0;
  for (Name name; count < std::min(capacity, NET_MAX_DEVICES) && NextName(file, name); ++count) {
    entries[count] = EntryOf(name);
  }
  return count;
}

int32_t NetGetEthNameList(char *text, int32_t length, int32_t *count) {
  if (text == nullptr || count == nullptr) {
    return network::InvalidParameter();
  }
  if (length < kLeastListLength) {
    base::PrintAt({network::kSource, 2066}, "EthNameLen=%d is too short(least is %d)!\n", length,
                  kLeastListLength);
    return -1;
  }
  const size_t size = static_cast<size_t>(length);
  base::TextFile file(kDevices);
  if (!file) {
    base::PrintAt({network::kSource, 2072}, "ERR: open file %s failed!\n", kDevices);
    snprintf(text, size, "eth0");
    *count = 1;
    return 0;
  }
  size_t used = 0;
  *count = 0;
  for (Name name; NextName(file, name);) {
    if (strcmp(name.data(), "eth1") == 0) continue;  // on purpose: never offered for choice
    if (used + strlen(name.data()) + strlen("::") >= size) continue;
    used += static_cast<size_t>(snprintf(text + used, size - used, "%s::", name.data()));
    ++*count;
  }
  if (*count == 0) {
    snprintf(text, size, "eth0::");
    *count = 1;
  }
  return 0;
}

int32_t NetWorkSetPriority(const char *interfaceName) {
  if (interfaceName == nullptr) {
    return network::InvalidParameter();
  }
  const DeviceList devices;
  if (devices.count == 0) return -1;
  for (const NetDeviceEntry &device : devices.Found()) {
    if (NetWorkCheckDevice(device.name) != 0) continue;
    const char *priority = strcmp(device.name, interfaceName) == 0 ? "0" : "1";
    // On purpose always the argument's own setting: the last device listed decides.
    if (NetWorkSaveAttributes(interfaceName, PRIO, priority) != 0) {
      printf("LIBDVR : NetWorkSaveAttributes %s failed\n", interfaceName);
    }
  }
  return 0;
}

int32_t NetWorkGetPriorityDevice(char *name) {
  if (name == nullptr) {
    return network::InvalidParameter();
  }
  const DeviceList devices;
  if (devices.count == 0) return -1;
  const char *chosen = "eth0";
  for (const NetDeviceEntry &device : devices.Found()) {
    if (device.wireless == 0 || NetWorkCheckDevice(device.name) != 0) continue;
    char text[20];
    if (NetWorkGetAttributes(device.name, PRIO, text, sizeof text) != 0) {
      puts("LIBDVR : get ip error");
      return -1;
    }
    int priority = 1;
    if (sscanf(text, "%d", &priority) == 1 && priority == 0) chosen = "eth2";
  }
  snprintf(name, sizeof "eth0", "%s", chosen);
  return 0;
}
