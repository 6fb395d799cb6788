// Network, disks, watchdog.
#include <arpa/inet.h>
#include <signal.h>
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

volatile sig_atomic_t interrupted = 0;

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

bool IsAddress(const char *text) {
  in_addr address;
  if (inet_pton(AF_INET, text, &address) == 1) return true;
  UsageError("'%s' is no address", text);
  return false;
}

// Whether the interface's settings file holds what was set.
bool IsStored(const char *name, int32_t type, const char *expected) {
  char path[64], key[32], stored[kTextSize] = "";
  return NetWorkGetConfigFileName(name, path, sizeof path) == 0 &&
         NetWorkGetKeyNameFromType(type, key, sizeof key) == 0 &&
         NetWorkReadKey(path, key, stored, sizeof stored) == 0 && strcmp(stored, expected) == 0;
}

// A write to the closed device fails where the board uses its watchdog, and is none elsewhere.
bool UsesWatchdog() {
  return WatchdogWrite("", 0) != 0;
}

// For so many seconds, or until a signal comes.
bool Feed(uint32_t seconds) {
  for (uint32_t second = 0; second < seconds && interrupted == 0; ++second) {
    if (WatchdogKeepAlive() != 0) return false;
    SystemSleepMsec(1000);
  }
  return true;
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
  const char *gateway = arguments.Or(3, nullptr);
  if (strcmp(name, "eth0") != 0 && strcmp(name, "eth1") != 0) {
    return UsageError("INTERFACE is eth0 or eth1");
  }
  for (size_t i = 1; i < arguments.size(); ++i) {
    if (!IsAddress(arguments[i])) return kUsage;
  }
  I2cOpen();
  if (NetWorkSetAddress(name, arguments[1], arguments[2], 1) != 0) {
    return Failure("%s does not take this address", name);
  }
  if (gateway != nullptr && NetWorkSetInterface(name, GATEWAYIP, gateway) != 0) {
    return Failure("%s does not take this gateway", name);
  }
  if (gateway != nullptr) NetWorkSaveAttributes(name, GATEWAYIP, gateway);
  const bool stored = IsStored(name, HOSTIP, arguments[1]) &&
                      IsStored(name, SUBMASK, arguments[2]) &&
                      (gateway == nullptr || IsStored(name, GATEWAYIP, gateway));
  return stored ? kDone : Failure("this is set, but could not be stored");
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
  if (!UsesWatchdog()) return Failure("this board does not use its watchdog");
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) signal(number, [](int) { interrupted = 1; });
  const bool fed = WatchdogStart() == 0 && Feed(seconds);
  // Whatever happened: a watchdog that nobody feeds would restart the board.
  if (WatchdogStop() != 0) return Failure("the watchdog does not stop");
  return fed ? kDone : Failure("the watchdog does not answer");
}

int WatchdogReboot(const Arguments &) {
  StartLibrary();
  const bool used = UsesWatchdog();
  if (WatchdogVendorCommand() != 0) return Failure("the watchdog does not answer");
  return used ? kDone : Failure("this board does not use its watchdog");
}
