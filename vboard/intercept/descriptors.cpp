// Calls on an open descriptor.
#include <errno.h>
#include <limits.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <iterator>

#include "vboard/board.h"
#include "vboard/device.h"
#include "vboard/faults.h"
#include "vboard/files.h"
#include "vboard/intercept/intercept.h"

namespace vboard {
namespace {

struct Slot {
  std::atomic<const Device *> device;
  std::atomic<int> unit;
  std::atomic<bool> onBoard;
};

// By descriptor. A descriptor beyond the table reaches the plain file.
std::array<Slot, 1024> slots;

Slot *SlotOf(int fd) {
  return Attached() && fd >= 0 && fd < static_cast<int>(slots.size())
             ? &slots[static_cast<size_t>(fd)]
             : nullptr;
}

void Assign(int fd, Special special) {
  Slot *slot = SlotOf(fd);
  if (slot == nullptr) return;
  slot->unit = special.unit;
  slot->onBoard = special.onBoard;
  slot->device = special.device;
}

// The path that a program on the board opened; false for a descriptor of anything else. Signal
// handlers come here as well: nothing is taken from the heap.
bool OpenedPath(int fd, std::span<char> path) {
  char link[32], place[PATH_MAX];
  snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
  static constinit real::Next<ssize_t(const char *, char *, size_t)> next("readlink");
  const ssize_t length = next(link, place, sizeof place);
  return length > 0 && BoardPath({place, static_cast<size_t>(length)}, path) && path[0] != '\0';
}

Special FindSpecial(std::string_view path) {
  for (const Device *device : Devices()) {
    const int unit = device->unit != nullptr ? device->unit(path) : -1;
    if (unit >= 0) return {device, unit, true};
  }
  return {nullptr, 0, true};
}

}  // namespace

Special SpecialFile(int fd) {
  const Slot *slot = SlotOf(fd);
  if (slot == nullptr) return {nullptr, 0};
  return {slot->device, slot->unit, slot->onBoard};
}

void Opened(const Path &place, int fd) {
  if (!place.OnBoard()) return Assign(fd, {nullptr, 0});
  if (fd < 0) {
    if (errno == ENOENT) Event("missing: %s", place.Name());
    return;
  }
  const Special special = FindSpecial(place.Name());
  Assign(fd, special);
  if (special.device != nullptr && special.device->opened != nullptr) {
    special.device->opened(special.unit);
  }
}

void Closing(int fd) {
  const Special special = SpecialFile(fd);
  Assign(fd, {nullptr, 0});
  if (special.device != nullptr && special.device->closed != nullptr) {
    special.device->closed(special.unit);
  }
}

void OpenedSocket(int fd, Special special) {
  Assign(fd, special);
}

void AdoptDescriptors() {
  for (int fd = 0; fd < static_cast<int>(slots.size()); ++fd) {
    char path[PATH_MAX];
    if (OpenedPath(fd, path)) Assign(fd, FindSpecial(path));
  }
}

bool DescriptorFails(const char *call, int fd) {
  if (!Attached()) return false;
  const bool lost = std::any_of(std::begin(State().mounts), std::end(State().mounts),
                                [](const Mount &mount) { return mount.error != 0; });
  if (!lost && State().faultsPlanned == 0) return false;
  char path[PATH_MAX];
  if (!OpenedPath(fd, path)) return false;
  if (const int error = MountError(path)) {
    errno = error;
    return true;
  }
  return CallFails(call, path);
}

}  // namespace vboard

using vboard::DescriptorFails;
using vboard::Special;
using vboard::SpecialFile;

namespace {

int Duplicated(int fd, int copy) {
  if (copy >= 0) vboard::Assign(copy, SpecialFile(fd));
  return copy;
}

template <typename Next>
ssize_t ReadWith(int fd, void *data, size_t length, Next next) {
  if (DescriptorFails("read", fd)) return -1;
  const Special special = SpecialFile(fd);
  if (special.device == nullptr || special.device->read == nullptr) return next();
  return special.device->read(special.unit, fd, data, length);
}

template <typename Next>
ssize_t WriteWith(int fd, const void *data, size_t length, int64_t *offset, Next next) {
  if (DescriptorFails("write", fd)) return -1;
  const Special special = SpecialFile(fd);
  if (special.device == nullptr || special.device->write == nullptr) return next();
  return special.device->write(special.unit, fd, data, length, offset);
}

int SyncWith(int fd, int (*next)(int)) {
  if (DescriptorFails("fsync", fd)) return -1;
  const Special special = SpecialFile(fd);
  const bool own = special.device != nullptr && special.device->sync != nullptr;
  return own ? special.device->sync(special.unit) : next(fd);
}

}  // namespace

extern "C" {

int close(int fd) {
  NEXT(close);
  vboard::Closing(fd);
  return next(fd);
}

int fclose(FILE *file) {
  NEXT(fclose);
  vboard::Closing(fileno(file));
  return next(file);
}

int dup(int fd) {
  NEXT(dup);
  return Duplicated(fd, next(fd));
}

int dup2(int fd, int copy) {
  NEXT(dup2);
  return Duplicated(fd, next(fd, copy));
}

int dup3(int fd, int copy, int flags) {
  NEXT(dup3);
  return Duplicated(fd, next(fd, copy, flags));
}

#define INTERCEPT_FCNTL(name)                                             \
  int name(int fd, int command, ...) {                                    \
    NEXT(name);                                                           \
    va_list arguments;                                                    \
    va_start(arguments, command);                                         \
    void *const argument = va_arg(arguments, void *);                     \
    va_end(arguments);                                                    \
    const int result = next(fd, command, argument);                       \
    const bool copies = command == F_DUPFD || command == F_DUPFD_CLOEXEC; \
    return copies ? Duplicated(fd, result) : result;                      \
  }
INTERCEPT_FCNTL(fcntl)
INTERCEPT_FCNTL(fcntl64)

ssize_t read(int fd, void *data, size_t length) {
  NEXT(read);
  return ReadWith(fd, data, length, [&] { return next(fd, data, length); });
}

ssize_t __read_chk(int fd, void *data, size_t length, size_t size);
ssize_t __read_chk(int fd, void *data, size_t length, size_t size) {
  NEXT(__read_chk);
  return ReadWith(fd, data, length, [&] { return next(fd, data, length, size); });
}

ssize_t write(int fd, const void *data, size_t length) {
  NEXT(write);
  return WriteWith(fd, data, length, nullptr, [&] { return next(fd, data, length); });
}

#define INTERCEPT_PREAD(name, offset_type)                                    \
  ssize_t name(int fd, void *data, size_t length, offset_type offset) {       \
    NEXT(name);                                                               \
    return DescriptorFails("read", fd) ? -1 : next(fd, data, length, offset); \
  }
INTERCEPT_PREAD(pread, off_t)
INTERCEPT_PREAD(pread64, off64_t)

#define INTERCEPT_PREAD_CHECKED(name, offset_type)                                   \
  ssize_t name(int fd, void *data, size_t length, offset_type offset, size_t size);  \
  ssize_t name(int fd, void *data, size_t length, offset_type offset, size_t size) { \
    NEXT(name);                                                                      \
    return DescriptorFails("read", fd) ? -1 : next(fd, data, length, offset, size);  \
  }
INTERCEPT_PREAD_CHECKED(__pread_chk, off_t)
INTERCEPT_PREAD_CHECKED(__pread64_chk, off64_t)

#define INTERCEPT_PWRITE(name, offset_type)                                                        \
  ssize_t name(int fd, const void *data, size_t length, offset_type offset) {                      \
    NEXT(name);                                                                                    \
    int64_t position = offset;                                                                     \
    return WriteWith(fd, data, length, &position, [&] { return next(fd, data, length, offset); }); \
  }
INTERCEPT_PWRITE(pwrite, off_t)
INTERCEPT_PWRITE(pwrite64, off64_t)

int ioctl(int fd, unsigned long request, ...) {
  NEXT(ioctl);
  va_list arguments;
  va_start(arguments, request);
  void *const argument = va_arg(arguments, void *);
  va_end(arguments);
  if (vboard::IsInterfaceRequest(fd, request)) return vboard::InterfaceRequest(request, argument);
  if (DescriptorFails("ioctl", fd)) return -1;
  const Special special = SpecialFile(fd);
  if (special.device == nullptr || special.device->ioctl == nullptr) {
    return next(fd, request, argument);
  }
  return special.device->ioctl(special.unit, fd, request, argument);
}

int fsync(int fd) {
  NEXT(fsync);
  return SyncWith(fd, next);
}

int fdatasync(int fd) {
  NEXT(fdatasync);
  return SyncWith(fd, next);
}

#define INTERCEPT_MMAP(name, offset_type)                                       \
  void *name(void *address, size_t length, int protection, int flags, int fd,   \
             offset_type offset) {                                              \
    NEXT(name);                                                                 \
    if (fd >= 0 && DescriptorFails("mmap", fd)) return MAP_FAILED;              \
    const Special special = SpecialFile(fd);                                    \
    if (special.device == nullptr || special.device->map == nullptr) {          \
      return next(address, length, protection, flags, fd, offset);              \
    }                                                                           \
    return special.device->map(fd, address, length, protection, flags, offset); \
  }
INTERCEPT_MMAP(mmap, off_t)
INTERCEPT_MMAP(mmap64, off64_t)

int munmap(void *address, size_t length) {
  NEXT(munmap);
  if (vboard::Attached()) {
    for (const vboard::Device *device : vboard::Devices()) {
      if (device->unmap != nullptr && device->unmap(address, length)) break;
    }
  }
  return next(address, length);
}

}  // extern "C"
