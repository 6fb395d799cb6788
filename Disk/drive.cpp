// What a drive is told: its standby timer and the flush.
#include <fcntl.h>
#include <linux/hdreg.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <optional>

#include "Base/descriptor.h"
#include "Disk/disk.h"
#include "libsys/disk.h"

using namespace libsys;

namespace {

// The drive's timer counts 5-second steps up to 20 minutes and half hours from code 241 on;
// code 252 is 21 minutes.
constexpr int32_t kStepsAMinute = 12;
constexpr int32_t kMostMinutesInSteps = 20;
constexpr uint8_t kCodeOf21Minutes = 252;
constexpr int32_t kHalfHourBase = 240;
constexpr int32_t kMostHalfHours = 11;
constexpr int32_t kHalfHour = 30;

std::optional<uint8_t> TimerCode(int32_t minutes) {
  if (minutes < 0 || minutes > kMostHalfHours * kHalfHour) return std::nullopt;
  if (minutes <= kMostMinutesInSteps) return static_cast<uint8_t>(minutes * kStepsAMinute);
  if (minutes == kMostMinutesInSteps + 1) return kCodeOf21Minutes;
  return static_cast<uint8_t>(kHalfHourBase + (minutes + kHalfHour - 1) / kHalfHour);
}

// Opens even a drive without a medium, as the optical ones often are.
base::Descriptor Open(int32_t index) {
  char path[32];
  if (DiskGetPath(index, path, sizeof path) != 0) return {};
  return base::Descriptor(path, O_RDONLY | O_NONBLOCK);
}

}  // namespace

int32_t DiskGetPath(int32_t index, char *buffer, int32_t length) {
  const DiskInfo *disk = disk::Find(index);
  if (disk == nullptr || buffer == nullptr) return -1;
  const auto size = static_cast<size_t>(std::max(length, 0));
  const int written =
      snprintf(buffer, size, disk->kind == DISK_KIND_OPTICAL ? "/dev/sr%c" : "/dev/sd%c",
               static_cast<int>(disk->letter));
  return written >= 0 && written < length ? 0 : -1;
}

int32_t DiskSetStandby(int32_t index, int32_t minutes) {
  const DiskInfo *disk = disk::Find(index);
  const std::optional<uint8_t> code = TimerCode(minutes);
  if (disk == nullptr || !code) return -1;
  const base::Descriptor drive = Open(index);
  if (!drive) return -1;
  unsigned char command[4] = {WIN_SETIDLE1, *code, 0, 0};
  return ioctl(drive.get(), HDIO_DRIVE_CMD, command) == 0 ? 0 : -1;
}

int32_t DiskFlush(int32_t index) {
  const base::Descriptor drive = Open(index);
  return drive && fsync(drive.get()) == 0 ? 0 : -1;
}
