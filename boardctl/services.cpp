// Network, disks, watchdog.
#include <stdio.h>
#include <string.h>

#include <algorithm>

#include "boardctl/command.h"
#include "boardctl/output.h"
#include "libsys/disk.h"
#include "libsys/network.h"
#include "libsys/system.h"
#include "libsys/watchdog.h"

namespace {

constexpr int32_t kTextSize = 16;

void ShowInterface(const char *name) {
  char mac[18] = "", text[kTextSize];
  struct {
    const char *title;
    int32_t type;
  } const settings[] = {{"address", HOSTIP}, {"netmask", SUBMASK}, {"gateway", GATEWAYIP}};
  output::BeginRecord();
  output::Text("interface", name);
  NetWorkGetMACAddress(name, mac, sizeof mac);
  output::Text("mac", mac);
  for (const auto &setting : settings) {
    text[0] = '\0';
    NetWorkGetAttributes(name, setting.type, text, sizeof text);
    output::Text(setting.title, text);
  }
  const int32_t link = NetGetLinkState(name);
  output::Text("link", link == 0 ? "up" : link == -1 ? "down" : "unknown");
  output::EndRecord();
}

}  // namespace

int NetShow(const Arguments &) {
  NetDeviceEntry entries[NET_MAX_DEVICES];
  I2cOpen();  // the settings may be in the clock chip's memory
  const int32_t count = NetGetEthName(entries, NET_MAX_DEVICES);
  if (count == 0) return Failure("there are no network interfaces");
  output::BeginList();
  for (int32_t i = 0; i < count; ++i) ShowInterface(entries[i].name);
  output::EndList();
  return kDone;
}

int NetSet(const Arguments &arguments) {
  const char *name = arguments[0];
  if (NetWorkCheckDevice(name) != 0) return UsageError("INTERFACE is eth0, eth1 or eth2");
  I2cOpen();
  if (NetWorkSetAddress(name, arguments[1], arguments[2], 1) != 0) {
    return Failure("%s does not take this address", name);
  }
  if (arguments.size() < 4) return kDone;
  if (NetWorkSetInterface(name, GATEWAYIP, arguments[3]) != 0) {
    return Failure("%s does not take this gateway", name);
  }
  NetWorkSaveAttributes(name, GATEWAYIP, arguments[3]);
  return kDone;
}

int Disks(const Arguments &) {
  DiskInfo *disks = nullptr;
  const int32_t count = DiskEnumerate(&disks);
  output::BeginList();
  for (int32_t i = 0; i < count; ++i) {
    const DiskInfo &disk = disks[i];
    char device[16];
    snprintf(device, sizeof device, "%s%c", disk.kind == DISK_KIND_OPTICAL ? "sr" : "sd",
             static_cast<char>(disk.letter));
    output::BeginRecord();
    output::Text("device", device);
    output::Text("class", disk.diskClass == DISK_CLASS_INTERNAL ? "internal" : "external");
    output::Number("sectors", static_cast<int64_t>(disk.size));
    output::Number("partitions", disk.partitionCount);
    output::EndRecord();
  }
  output::EndList();
  return kDone;
}

int WatchdogFeed(const Arguments &arguments) {
  uint32_t seconds = 0;
  if (!Number(arguments[0], "SECONDS", UINT32_MAX, &seconds)) return kUsage;
  StartLibrary();
  if (WatchdogStart() != 0) return Failure("the watchdog does not start");
  for (uint32_t second = 0; second < seconds; ++second) {
    if (WatchdogKeepAlive() != 0) return Failure("this board does not use its watchdog");
    SystemSleepMsec(1000);
  }
  return WatchdogStop() == 0 ? kDone : Failure("the watchdog does not stop");
}

int WatchdogReboot(const Arguments &) {
  StartLibrary();
  return WatchdogVendorCommand() == 0 ? kDone : Failure("the watchdog does not answer");
}
