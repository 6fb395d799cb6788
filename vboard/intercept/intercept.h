// What the functions in front of the C library's share. These files are compiled without
// _FILE_OFFSET_BITS, so that "open" is open and "open64" is open64.
#pragma once

#include <stdint.h>

#include <string>

#include "vboard/device.h"
#include "vboard/real.h"

// The real function of the same name, looked up once.
#define NEXT(name) static constinit vboard::real::Next<decltype(::name)> next(#name)

namespace vboard {

// Whether a symbolic link at the end of a path is followed.
enum class Last { kFollowed, kAsItIs };

// A path as the C library has to see it: the board's own paths lead into the board's folder.
class Path {
 public:
  // A path that is not absolute starts from the folder behind this descriptor.
  explicit Path(const char *path, Last last = Last::kFollowed, int folder = AT_FDCWD);
  Path(const Path &) = delete;
  Path &operator=(const Path &) = delete;
  operator const char *() const { return path_; }
  bool OnBoard() const { return onBoard_; }
  // The normal path on the board.
  const char *Name() const { return name_.c_str(); }

 private:
  const char *path_;
  bool onBoard_ = false;
  std::string name_;
  std::string place_;
};

// Before a call on a path: false, with errno set, when a planned fault hits it or what is mounted
// there has gone.
bool MayReach(const char *call, const Path &place);

// The special file behind a descriptor; device is null for any other.
struct Special {
  const Device *device;
  int unit;
  bool onBoard = false;  // opened by a path of the board, special or not
  bool outside = false;  // leads to something that lives in the PC's time
  bool timer = false;

  // The device's calls of a kind: &Device::terminal. Null for a device without them.
  template <typename Calls>
  const Calls *Own(std::optional<Calls> Device::*kind) const {
    return device != nullptr && (device->*kind) ? &*(device->*kind) : nullptr;
  }
};
Special SpecialFile(int fd);
void Assign(int fd, Special special);

inline bool IsOutside(int fd) {
  return SpecialFile(fd).outside;
}

// Before an open: the errno value with which what is behind the path refuses it, or 0.
int OpenError(const Path &place, int flags);
// After an open of a path: remembers the special file, logs a path that the board lacks.
void Opened(const Path &place, int fd);
// At a program's start: remembers the special files that it has inherited, and what leads outside.
void AdoptDescriptors();

// Something was opened without close-on-exec.
void OpenedForChildren(const char *name);

// Whether this program has something open in a folder of the board.
bool HasOpenBelow(std::string_view folder);

// True, with errno set, when a planned fault hits this call on this descriptor. A read or write
// gives its length, which may become less.
bool DescriptorFails(const char *call, int fd, size_t *length = nullptr);

// For what nobody of the board's programs has needed so far: logs it; -1 with ENOSYS.
int Refuse(const char *call);

// True for a socket whose other end is not on the board.
bool IsSocketToOutside(int fd);

// True for a request on the network's interfaces, whichever kind of socket it is made on.
bool IsInterfaceRequest(int fd, unsigned long request);
int InterfaceRequest(unsigned long request, void *argument);

// What the environment of a program on the board has besides the program's own: set when this one
// was started on a board.
struct BoardEnvironment {
  const char *library = nullptr;
  const char *folder = nullptr;
};
extern BoardEnvironment boardEnvironment;

}  // namespace vboard
