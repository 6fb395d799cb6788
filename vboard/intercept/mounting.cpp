// Mounting and unmounting.
#include <errno.h>
#include <string.h>
#include <sys/mount.h>

#include "vboard/board.h"
#include "vboard/faults.h"
#include "vboard/intercept/intercept.h"
#include "vboard/mounts.h"

using vboard::Attached;
using vboard::Event;

namespace {

// The result of a system call from 0 or an errno value.
int Result(int error) {
  if (error == 0) return 0;
  errno = error;
  return -1;
}

std::string Outcome(int error) {
  return error == 0 ? "" : std::string(": ") + strerrordesc_np(error);
}

// Tells the devices of a mount or an unmount that worked.
int MountResult(int error) {
  if (error != 0) return Result(error);
  for (const vboard::Device *device : vboard::Devices()) {
    if (device->mounts && device->mounts->remounted != nullptr) device->mounts->remounted();
  }
  return 0;
}

// While this program has files of it open, only MNT_DETACH takes a mount away.
int UnmountWith(const char *point, int flags) {
  const bool busy = (flags & MNT_DETACH) == 0 && vboard::HasOpenBelow(point);
  const int error = vboard::CallFails("umount", point) ? errno
                    : busy                             ? EBUSY
                                                       : vboard::Unmount(point);
  Event("unmount: %s%s", point, Outcome(error).c_str());
  return MountResult(error);
}

}  // namespace

extern "C" {

int mount(const char *source, const char *point, const char *type, unsigned long flags,
          const void *data) {
  NEXT(mount);
  if (!Attached()) return next(source, point, type, flags, data);
  const int error =
      vboard::CallFails("mount", source) ? errno : vboard::MountDevice(source, point, type);
  Event("mount: %s on %s, %s, flags 0x%lx, %s%s", source, point, type, flags,
        data == nullptr ? "no data" : static_cast<const char *>(data), Outcome(error).c_str());
  return MountResult(error);
}

int umount(const char *point) noexcept {
  NEXT(umount);
  return Attached() ? UnmountWith(point, 0) : next(point);
}

int umount2(const char *point, int flags) noexcept {
  NEXT(umount2);
  return Attached() ? UnmountWith(point, flags) : next(point, flags);
}

void sync() noexcept {
  NEXT(sync);
  if (Attached()) return Event("sync");
  next();
}

}  // extern "C"
