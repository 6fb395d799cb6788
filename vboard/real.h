// The C library's own functions, behind the ones that the board puts in front of them.
#pragma once

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

namespace vboard::real {

// The next function of this name behind libvboard, looked up when it is first called. Threads
// that come at the same time find the same; there is no guard, for calls that come from inside
// a sanitizer's library.
template <typename Type>
class Next {
 public:
  explicit constexpr Next(const char *name) : name_(name) {}
  operator Type *() {
    Type *function = function_.load(std::memory_order_relaxed);
    if (function == nullptr) {
      function = reinterpret_cast<Type *>(dlsym(RTLD_NEXT, name_));
      function_.store(function, std::memory_order_relaxed);
    }
    return function;
  }

 private:
  const char *name_;
  std::atomic<Type *> function_{nullptr};
};

int open(const char *path, int flags, mode_t mode = 0);
int close(int fd);
ssize_t read(int fd, void *data, size_t length);
ssize_t write(int fd, const void *data, size_t length);
ssize_t pread(int fd, void *data, size_t length, int64_t offset);
ssize_t pwrite(int fd, const void *data, size_t length, int64_t offset);
int64_t seek(int fd, int64_t offset, int whence);
void *map(void *address, size_t length, int protection, int flags, int fd, int64_t offset);
int unmap(void *address, size_t length);
int sleep(const timespec &duration);
// Sends a process, or one thread of it, a signal with all that is said of it; thread 0: any.
void SendSignal(pid_t process, pid_t thread, siginfo_t &information);
// The PC's monotonic clock in nanoseconds.
int64_t Now();
// Waits while the futex has this value, no longer than so many nanoseconds: 0, or -1 with errno
// set.
int WaitForFutex(std::atomic<uint32_t> &futex, uint32_t value, int64_t nanoseconds);
void WakeFutex(std::atomic<uint32_t> &futex);

}  // namespace vboard::real
