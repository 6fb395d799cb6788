// The kernel's watchdog, on the boards that use it.
#include "libsys/watchdog.h"

#include <fcntl.h>
#include <linux/watchdog.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "Base/message.h"
#include "Base/standard_descriptors.h"
#include "System/version/products.h"
#include "libsys/version.h"

using namespace libsys;

namespace {

struct {
  int descriptor = -1;
} state;

constexpr const char *kDevice = "/dev/watchdog";
constexpr const char *kModule = "Misc/watchdog";
constexpr int kTimeout = 180;                    // seconds
constexpr char kMagicClose[] = "V";              // with its zero byte
constexpr unsigned kVendorRequest = 0x8004570b;  // restarts the board

// A raw product code of 1 is a board without a watchdog of its own.
bool HasWatchdog() {
  return DvrGetHwidInformation(PRODUCT_TYPE) != 1;
}

bool InUseOnThisBoard(int32_t type) {
  return product::OemHas(product::kUsesWatchdog) ||
         product::Get(&product::Product::usesWatchdog, type, DvrGetHwidInformation(OEM_TYPE)) != 0;
}

bool WatchdogInUse() {
  const int32_t product = DvrGetProductType();
  return HasWatchdog() && InUseOnThisBoard(product);
}

int32_t Request(unsigned request, void *argument, int line) {
  if (ioctl(state.descriptor, request, argument) >= 0) return 0;
  base::PrintAt({kModule, line}, "ioctl failed\n");
  return -1;
}

}  // namespace

int32_t WatchdogIsUsed() {
  return WatchdogInUse() ? 1 : 0;
}

int32_t WatchdogStart() {
  if (!WatchdogInUse() || state.descriptor > 0) return 0;
  if (state.descriptor == -1) state.descriptor = base::Open(kDevice, O_RDWR);
  if (state.descriptor == -1) {
    base::PrintAt({kModule, 106}, "Open failed\n");
    return -1;
  }
  int timeout = kTimeout;  // the driver writes back what it has set
  return Request(WDIOC_SETTIMEOUT, &timeout, 113);
}

int32_t WatchdogStop() {
  if (!WatchdogInUse() || state.descriptor < 1) return 0;
  const ssize_t written = write(state.descriptor, kMagicClose, sizeof kMagicClose);
  if (written < static_cast<ssize_t>(sizeof kMagicClose)) {
    base::PrintAt({kModule, 172}, "Write to watchdog failed\n");
    return -1;
  }
  close(state.descriptor);
  state.descriptor = -1;
  return 0;
}

int32_t WatchdogKeepAlive() {
  const int32_t product = DvrGetProductType();
  if (!HasWatchdog()) return 0;
  // On purpose before the board is asked whether it uses its watchdog.
  if (state.descriptor < 0) return -1;
  return InUseOnThisBoard(product) ? Request(WDIOC_KEEPALIVE, nullptr, 222) : 0;
}

int32_t WatchdogVendorCommand() {
  const int32_t product = DvrGetProductType();
  if (!HasWatchdog() && DvrGetHwidInformation(OEM_TYPE) != 2) return 0;
  if (!InUseOnThisBoard(product)) return 0;
  WatchdogStart();
  return Request(kVendorRequest, nullptr, 264);
}

int32_t WatchdogRead(void *buffer, uint32_t length) {
  if (!WatchdogInUse()) return 0;
  return static_cast<int32_t>(read(state.descriptor, buffer, length));
}

int32_t WatchdogWrite(const void *buffer, uint32_t length) {
  if (!WatchdogInUse()) return 0;
  return static_cast<int32_t>(write(state.descriptor, buffer, length));
}
