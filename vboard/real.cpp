#include "vboard/real.h"

#include <limits.h>
#include <linux/futex.h>
#include <sys/syscall.h>

namespace vboard::real {

int open(const char *path, int flags, mode_t mode) {
  static constinit Next<int(const char *, int, ...)> next("open64");
  return next(path, flags, mode);
}

int close(int fd) {
  static constinit Next<int(int)> next("close");
  return next(fd);
}

ssize_t read(int fd, void *data, size_t length) {
  static constinit Next<ssize_t(int, void *, size_t)> next("read");
  return next(fd, data, length);
}

ssize_t write(int fd, const void *data, size_t length) {
  static constinit Next<ssize_t(int, const void *, size_t)> next("write");
  return next(fd, data, length);
}

ssize_t pread(int fd, void *data, size_t length, int64_t offset) {
  static constinit Next<ssize_t(int, void *, size_t, int64_t)> next("pread64");
  return next(fd, data, length, offset);
}

ssize_t pwrite(int fd, const void *data, size_t length, int64_t offset) {
  static constinit Next<ssize_t(int, const void *, size_t, int64_t)> next("pwrite64");
  return next(fd, data, length, offset);
}

int64_t seek(int fd, int64_t offset, int whence) {
  static constinit Next<int64_t(int, int64_t, int)> next("lseek64");
  return next(fd, offset, whence);
}

void *map(void *address, size_t length, int protection, int flags, int fd, int64_t offset) {
  static constinit Next<void *(void *, size_t, int, int, int, int64_t)> next("mmap64");
  return next(address, length, protection, flags, fd, offset);
}

int unmap(void *address, size_t length) {
  static constinit Next<int(void *, size_t)> next("munmap");
  return next(address, length);
}

int sleep(const timespec &duration) {
  static constinit Next<int(const timespec *, timespec *)> next("nanosleep");
  return next(&duration, nullptr);
}

int64_t Now() {
  static constinit Next<int(clockid_t, timespec *)> next("clock_gettime");
  timespec now;
  next(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

namespace {

constinit Next<long(long, ...)> systemCall("syscall");

}  // namespace

void SendSignal(pid_t process, pid_t thread, siginfo_t &information) {
  if (thread != 0) {
    systemCall(SYS_rt_tgsigqueueinfo, process, thread, information.si_signo, &information);
  } else {
    systemCall(SYS_rt_sigqueueinfo, process, information.si_signo, &information);
  }
}

int WaitForFutex(std::atomic<uint32_t> &futex, uint32_t value, int64_t nanoseconds) {
  // As this system call has it, however wide the C library's time is.
  const long time[] = {static_cast<long>(nanoseconds / 1'000'000'000),
                       static_cast<long>(nanoseconds % 1'000'000'000)};
  return static_cast<int>(systemCall(SYS_futex, &futex, FUTEX_WAIT, value, time, nullptr, 0));
}

void WakeFutex(std::atomic<uint32_t> &futex) {
  systemCall(SYS_futex, &futex, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

}  // namespace vboard::real
