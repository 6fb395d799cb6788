// What the kernel tells about the system.
#include <sys/sysinfo.h>

#include "vboard/board.h"
#include "vboard/device.h"
#include "vboard/faults.h"
#include "vboard/intercept/intercept.h"

extern "C" int sysinfo(struct sysinfo *information) {
  NEXT(sysinfo);
  if (!vboard::Attached()) return next(information);
  if (vboard::CallFails("sysinfo", "")) return -1;
  for (const vboard::Device *device : vboard::Devices()) {
    if (device->information != nullptr) return device->information(information);
  }
  return next(information);
}
