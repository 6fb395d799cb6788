// What the functions in front of the C library's share. These files are compiled without
// _FILE_OFFSET_BITS, so that "open" is open and "open64" is open64.
#pragma once

#include <stdint.h>

#include <string>

#include "vboard/real.h"

// The real function of the same name, looked up once.
#define NEXT(name) static constinit vboard::real::Next<decltype(::name)> next(#name)

namespace vboard {

struct Device;

// A path as the C library has to see it: the board's own paths lead into the board's folder.
class Path {
 public:
  explicit Path(const char *path);
  operator const char *() const { return path_; }
  bool OnBoard() const { return onBoard_; }

 private:
  const char *path_;
  bool onBoard_ = false;
  std::string place_;
};

// Before an open: false, with errno set, when a planned fault hits it.
bool MayOpen(const char *call, const char *path, const Path &place);
// After an open of a path: remembers the special file, logs a path that the board lacks.
void Opened(const char *path, const Path &place, int fd);

// At a program's start: remembers the special files that it has inherited.
void AdoptDescriptors();

// The special file behind a descriptor; device is null for any other.
struct Special {
  const Device *device;
  int unit;
};
Special SpecialFile(int fd);

// True, with errno set, when a planned fault hits this call on this descriptor.
bool DescriptorFails(const char *call, int fd);

}  // namespace vboard
