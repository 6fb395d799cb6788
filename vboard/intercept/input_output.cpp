// What programs do with an open file: read, write, ioctl, fsync and their forms.
#include <errno.h>

#include "vboard/intercept/blocking.h"
#include "vboard/intercept/intercept.h"
#include "vboard/timer_pipes.h"

using vboard::DescriptorFails;
using vboard::Device;
using vboard::FileCalls;
using vboard::Special;
using vboard::SpecialFile;

namespace {

// What the pipe behind a timer takes and the timer does not.
bool TimerRefuses(int fd, bool writes, size_t length) {
  if (!writes && length >= sizeof(uint64_t)) return false;
  if (!SpecialFile(fd).timer || vboard::TimerBehind(fd) == nullptr) return false;
  errno = EINVAL;
  return true;
}

template <typename Next>
ssize_t ReadWith(int fd, void *data, size_t length, Next next) {
  const size_t asked = length;
  if (DescriptorFails("read", fd, &length) || TimerRefuses(fd, false, asked)) return -1;
  if (length == 0 && asked > 0) return 0;
  const Special special = SpecialFile(fd);
  const FileCalls *files = special.Own(&Device::files);
  if (files == nullptr || files->read == nullptr) {
    return vboard::WhenReadable(fd, [&] { return next(length); });
  }
  return vboard::WhenReadable(fd, [&] { return files->read(special.unit, fd, data, length); });
}

template <typename Next>
ssize_t WriteWith(int fd, const void *data, size_t length, int64_t *offset, Next next) {
  const size_t asked = length;
  if (DescriptorFails("write", fd, &length) || TimerRefuses(fd, true, asked)) return -1;
  if (length == 0 && asked > 0) return 0;
  const Special special = SpecialFile(fd);
  const FileCalls *files = special.Own(&Device::files);
  if (files == nullptr || files->write == nullptr) return next(length);
  return files->write(special.unit, fd, data, length, offset);
}

// A read at an offset is none of a device's.
template <typename Next>
ssize_t ReadAtWith(int fd, size_t length, Next next) {
  const size_t asked = length;
  if (DescriptorFails("read", fd, &length)) return -1;
  return length == 0 && asked > 0 ? 0 : next(length);
}

int SyncWith(int fd, int (*next)(int)) {
  if (DescriptorFails("fsync", fd)) return -1;
  const Special special = SpecialFile(fd);
  const FileCalls *files = special.Own(&Device::files);
  return files != nullptr && files->sync != nullptr ? files->sync(special.unit) : next(fd);
}

}  // namespace

extern "C" {

ssize_t read(int fd, void *data, size_t length) {
  NEXT(read);
  return ReadWith(fd, data, length, [&](size_t part) { return next(fd, data, part); });
}

ssize_t __read_chk(int fd, void *data, size_t length, size_t size);
ssize_t __read_chk(int fd, void *data, size_t length, size_t size) {
  NEXT(__read_chk);
  return ReadWith(fd, data, length, [&](size_t part) { return next(fd, data, part, size); });
}

ssize_t write(int fd, const void *data, size_t length) {
  NEXT(write);
  return WriteWith(fd, data, length, nullptr, [&](size_t part) { return next(fd, data, part); });
}

#define INTERCEPT_PREAD(name, offset_type)                                                    \
  ssize_t name(int fd, void *data, size_t length, offset_type offset) {                       \
    NEXT(name);                                                                               \
    return ReadAtWith(fd, length, [&](size_t part) { return next(fd, data, part, offset); }); \
  }
INTERCEPT_PREAD(pread, off_t)
INTERCEPT_PREAD(pread64, off64_t)

#define INTERCEPT_PREAD_CHECKED(name, offset_type)                                      \
  ssize_t name(int fd, void *data, size_t length, offset_type offset, size_t size);     \
  ssize_t name(int fd, void *data, size_t length, offset_type offset, size_t size) {    \
    NEXT(name);                                                                         \
    return ReadAtWith(fd, length,                                                       \
                      [&](size_t part) { return next(fd, data, part, offset, size); }); \
  }
INTERCEPT_PREAD_CHECKED(__pread_chk, off_t)
INTERCEPT_PREAD_CHECKED(__pread64_chk, off64_t)

#define INTERCEPT_PWRITE(name, offset_type)                                      \
  ssize_t name(int fd, const void *data, size_t length, offset_type offset) {    \
    NEXT(name);                                                                  \
    int64_t position = offset;                                                   \
    return WriteWith(fd, data, length, &position,                                \
                     [&](size_t part) { return next(fd, data, part, offset); }); \
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
  const FileCalls *files = special.Own(&Device::files);
  if (files == nullptr || files->ioctl == nullptr) return next(fd, request, argument);
  return files->ioctl(special.unit, fd, request, argument);
}

int fsync(int fd) {
  NEXT(fsync);
  return SyncWith(fd, next);
}

int fdatasync(int fd) {
  NEXT(fdatasync);
  return SyncWith(fd, next);
}

}  // extern "C"
