// The C library's own functions, behind the ones that the board puts in front of them.
#pragma once

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
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

namespace vboard::real {

// Finds the next function of this name behind libvboard.
template <typename Function>
Function *Next(const char *name) {
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

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

}  // namespace vboard::real
