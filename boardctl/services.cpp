// Disks, watchdog.
#include <signal.h>
#include <stdio.h>

#include <algorithm>

#include "boardctl/command.h"
#include "boardctl/output.h"
#include "boardctl/signals.h"
#include "libsys/disk.h"
#include "libsys/system.h"
#include "libsys/watchdog.h"

namespace {

volatile sig_atomic_t interrupted = 0;

// A write to the closed device fails where the board uses its watchdog, and is none elsewhere.
bool UsesWatchdog() {
  return WatchdogWrite("", 0) != 0;
}

// A watchdog that nobody feeds restarts the board: it is stopped whatever happened. The status, or
// that of a watchdog that goes on.
int StopWatchdog(int status) {
  if (WatchdogStop() == 0) return status;
  return Failure("the watchdog does not stop: the board restarts within 180 s");
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
  signals::Catch([](int) { interrupted = 1; });
  const bool fed = WatchdogStart() == 0 && Feed(seconds);
  return StopWatchdog(fed ? kDone : Failure("the watchdog does not answer"));
}

int WatchdogReboot(const Arguments &) {
  StartLibrary();
  const bool used = UsesWatchdog();
  // The request has started the watchdog first.
  if (WatchdogVendorCommand() != 0) return StopWatchdog(Failure("the watchdog does not answer"));
  return used ? kDone : Failure("this board does not use its watchdog");
}
