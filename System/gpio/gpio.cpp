// GPIO lines through the driver's device file.
#include "libsys/gpio.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>

#include "Base/message.h"
#include "Base/standard_descriptors.h"
#include "System/gpio/gpio.h"

using namespace libsys;

namespace {

struct {
  std::atomic<int> descriptor{-1};
} state;

constexpr const char *kDevice = "/dev/hi_gpio";
constexpr uint32_t kGroups = 8;

enum Request : unsigned { kSetDirection = 1, kReadLevel = 3, kWriteLevel = 4 };
enum Direction : uint32_t { kInput = 0, kOutput = 1 };

// What every request of the driver takes.
struct Record {
  uint32_t group;
  uint32_t bit;
  uint32_t value;
};

// A device that refused a request is opened afresh by the next call.
bool Send(Request request, Record *record) {
  if (ioctl(state.descriptor, request, record) >= 0) return true;
  const int failed = state.descriptor.exchange(-1);
  if (failed >= 0) close(failed);
  return false;
}

bool OpenLine(uint32_t group, int messageLine) {
  if (!gpio::Open()) {
    base::PrintAt({"System/gpio.c", messageLine}, "Open %s\n failed\n", kDevice);
    return false;
  }
  if (group >= kGroups) {
    puts("LIBDVR : Portindex is out of range !");
    return false;
  }
  return true;
}

}  // namespace

// Another thread may have opened the device meanwhile; its descriptor then stands.
bool gpio::Open() {
  if (state.descriptor >= 0) return true;
  const int opened = base::Open(kDevice, O_RDWR);
  if (opened < 0) return false;
  int closed = -1;
  if (!state.descriptor.compare_exchange_strong(closed, opened)) close(opened);
  return true;
}

int32_t GpioWrite(uint32_t group, uint32_t bit, uint32_t value) {
  if (!OpenLine(group, 47)) return -1;
  Record record = {group, bit, kOutput};
  if (!Send(kSetDirection, &record)) return -1;
  record.value = value;
  return Send(kWriteLevel, &record) ? 0 : -1;
}

int32_t GpioRead(uint32_t group, uint32_t bit, uint8_t *out) {
  if (!OpenLine(group, 103)) return -1;
  Record record = {group, bit, kInput};
  if (!Send(kSetDirection, &record)) return -1;
  if (!Send(kReadLevel, &record)) return -1;
  *out = static_cast<uint8_t>(record.value);
  return 0;
}
