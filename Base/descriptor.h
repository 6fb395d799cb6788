// A file descriptor that is closed when its owner goes out of scope. Everything is opened
// close-on-exec: the application inherits descriptors 0, 1 and 2 and no others.
#pragma once

#include <unistd.h>

#include <utility>

#include "Base/standard_descriptors.h"

namespace libsys::base {

class Descriptor {
 public:
  Descriptor() = default;
  // The mode is that of a file which the flags create.
  Descriptor(const char *path, int flags, mode_t mode = 0) : fd_(Open(path, flags, mode)) {}
  // Takes over what another call opened, close-on-exec; -1 for a call that failed.
  explicit Descriptor(int fd) : fd_(MoveAboveStandard(fd)) {}
  Descriptor(Descriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;
  Descriptor &operator=(Descriptor &&) = delete;
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }

  explicit operator bool() const { return fd_ >= 0; }
  int get() const { return fd_; }

 private:
  int fd_ = -1;
};

}  // namespace libsys::base
