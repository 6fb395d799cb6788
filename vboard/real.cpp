#include "vboard/real.h"

namespace vboard::real {

int open(const char *path, int flags, mode_t mode) {
  static auto *const next = Next<int(const char *, int, ...)>("open64");
  return next(path, flags, mode);
}

int close(int fd) {
  static auto *const next = Next<int(int)>("close");
  return next(fd);
}

ssize_t read(int fd, void *data, size_t length) {
  static auto *const next = Next<ssize_t(int, void *, size_t)>("read");
  return next(fd, data, length);
}

ssize_t write(int fd, const void *data, size_t length) {
  static auto *const next = Next<ssize_t(int, const void *, size_t)>("write");
  return next(fd, data, length);
}

ssize_t pread(int fd, void *data, size_t length, int64_t offset) {
  static auto *const next = Next<ssize_t(int, void *, size_t, int64_t)>("pread64");
  return next(fd, data, length, offset);
}

ssize_t pwrite(int fd, const void *data, size_t length, int64_t offset) {
  static auto *const next = Next<ssize_t(int, const void *, size_t, int64_t)>("pwrite64");
  return next(fd, data, length, offset);
}

int64_t seek(int fd, int64_t offset, int whence) {
  static auto *const next = Next<int64_t(int, int64_t, int)>("lseek64");
  return next(fd, offset, whence);
}

void *map(void *address, size_t length, int protection, int flags, int fd, int64_t offset) {
  static auto *const next = Next<void *(void *, size_t, int, int, int, int64_t)>("mmap64");
  return next(address, length, protection, flags, fd, offset);
}

int unmap(void *address, size_t length) {
  static auto *const next = Next<int(void *, size_t)>("munmap");
  return next(address, length);
}

int sleep(const timespec &duration) {
  static auto *const next = Next<int(const timespec *, timespec *)>("nanosleep");
  return next(&duration, nullptr);
}

}  // namespace vboard::real
