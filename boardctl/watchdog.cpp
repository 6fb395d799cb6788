// These commands feed the watchdog and reboot the board through it.
#include <signal.h>

#include "boardctl/command.h"
#include "boardctl/signals.h"
#include "libsys/system.h"
#include "libsys/watchdog.h"

namespace boardctl {
namespace {

volatile sig_atomic_t interrupted = 0;

// A watchdog that nobody feeds restarts the board: it is stopped whatever happened. Returns the
// status, or kFailed when the watchdog goes on.
int StopWatchdog(int status) {
  if (WatchdogStop() == 0) return status;
  return Failure("the watchdog does not stop: the board restarts within 180 s");
}

// Feeds it for so many seconds, or until a signal comes. Returns false when it does not answer.
bool Feed(uint32_t seconds) {
  for (uint32_t second = 0; second < seconds && interrupted == 0; ++second) {
    if (WatchdogKeepAlive() != 0) return false;
    SystemSleepMsec(1000);
  }
  return true;
}

}  // namespace

int WatchdogFeed(const Arguments &arguments) {
  uint32_t seconds = 0;
  if (!Number(arguments[0], "SECONDS", UINT32_MAX, &seconds)) return kUsage;
  StartLibrary();
  if (WatchdogIsUsed() == 0) return Failure("this board does not use its watchdog");
  signals::Catch([](int) { interrupted = 1; });
  const bool fed = WatchdogStart() == 0 && Feed(seconds);
  return StopWatchdog(fed ? kDone : Failure("the watchdog does not answer"));
}

int WatchdogReboot(const Arguments &) {
  StartLibrary();
  const bool used = WatchdogIsUsed() != 0;
  // Before it asked for the reboot the library started the watchdog.
  if (WatchdogVendorCommand() != 0) return StopWatchdog(Failure("the watchdog does not answer"));
  return used ? kDone : Failure("this board does not use its watchdog");
}

}  // namespace boardctl
