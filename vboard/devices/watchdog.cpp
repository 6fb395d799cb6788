// The watchdog /dev/watchdog: from its opening on it restarts the board unless it is fed in time;
// a 'V' in the last write lets the next closing stop it. Request 11 of its driver restarts the
// board at once.
#include <errno.h>
#include <linux/watchdog.h>
#include <string.h>

#include "vboard/board.h"
#include "vboard/description.h"
#include "vboard/device.h"
#include "vboard/files.h"
#include "vboard/values.h"

namespace vboard {
extern const Device kWatchdog;
namespace {

constexpr const char *kPath = "/dev/watchdog";
constexpr int32_t kDefaultTimeout = 60;  // seconds
constexpr unsigned long kRestart = _IOR(WATCHDOG_IOCTL_BASE, 11, int);

struct WatchdogState {
  bool running;
  bool mayStop;
  int32_t timeout;  // seconds
  int64_t fed;      // lifetime
};

WatchdogState &Watchdog() {
  return StateOf<WatchdogState>(kWatchdog);
}

constexpr Key kKeys[] = {
    {"fitted", key::Flag(true), "the board has the watchdog, /dev/watchdog"},
};

void Make(Section &section) {
  if (section.Flag("fitted")) WriteFile(RootPath(kPath), "");
}

void Reset() {
  Watchdog() = {false, false, kDefaultTimeout, 0};
}

int Unit(std::string_view path) {
  return path == kPath ? 0 : -1;
}

void Feed(bool mayStop) {
  Watchdog().fed = Lifetime();
  Watchdog().mayStop = mayStop;
}

void Opened(int) {
  Event("watchdog: running, %d s", Watchdog().timeout);
  Feed(false);
  Watchdog().running = true;
}

void Closed(int) {
  Watchdog().running = !Watchdog().mayStop;
  Event("watchdog: %s", Watchdog().running ? "closed without its magic, goes on" : "stopped");
}

ssize_t Write(int, int, const void *data, size_t length, int64_t *) {
  Feed(memchr(data, 'V', length) != nullptr);
  return static_cast<ssize_t>(length);
}

int Ioctl(int, int, unsigned long request, void *argument) {
  switch (request) {
    case WDIOC_SETTIMEOUT:
      Watchdog().timeout = *static_cast<int *>(argument);
      Feed(false);
      Event("watchdog: timeout %d s", Watchdog().timeout);
      return 0;
    case WDIOC_KEEPALIVE:
      Feed(false);
      Event("watchdog: fed");
      return 0;
    case kRestart:
      Event("watchdog: restart requested");
      State().power = Power::kRestart;
      return 0;
    default:
      errno = ENOTTY;
      return -1;
  }
}

int64_t Due() {
  return Watchdog().running ? Watchdog().fed + Watchdog().timeout * kSecond : kNever;
}

void Bite() {
  Watchdog().running = false;
  Event("watchdog: not fed for %d s, the board restarts", Watchdog().timeout);
  State().power = Power::kCut;
}

void Show(Values &values) {
  values.Object("watchdog", [&] {
    values.Flag("running", Watchdog().running);
    values.Number("timeout", Watchdog().timeout);
  });
}

}  // namespace

const Device kWatchdog = {
    .name = "watchdog",
    .about = "what restarts a board whose program no longer feeds it",
    .keys = kKeys,
    .stateSize = sizeof(WatchdogState),
    .make = Make,
    .powerOn = Reset,
    .due = Due,
    .tick = Bite,
    .files =
        FileCalls{
            .unit = Unit,
            .opened = Opened,
            .closed = Closed,
            .write = Write,
            .ioctl = Ioctl,
        },
    .values = Show,
};

}  // namespace vboard
