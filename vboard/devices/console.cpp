// The driver of the kernel's console: request 0 suspends what the kernel prints, 1 resumes it.
#include <errno.h>

#include "vboard/board.h"
#include "vboard/description.h"
#include "vboard/device.h"
#include "vboard/files.h"

namespace vboard {
namespace {

constexpr const char *kPath = "/dev/consoledev";

enum Request : unsigned long { kSuspend = 0, kResume = 1 };

constexpr Key kKeys[] = {
    {"fitted", key::Flag(true), "the kernel has the driver, /dev/consoledev"},
};

void Make(Section &section) {
  if (section.Flag("fitted")) WriteFile(RootPath(kPath), "");
}

int Unit(std::string_view path) {
  return path == kPath ? 0 : -1;
}

int Ioctl(int, int, unsigned long request, void *) {
  if (request != kSuspend && request != kResume) {
    errno = ENOTTY;
    return -1;
  }
  Event("console: %s", request == kSuspend ? "suspended" : "resumed");
  return 0;
}

}  // namespace

extern const Device kConsole;
const Device kConsole = {
    .name = "console",
    .about = "the driver of the kernel's console",
    .keys = kKeys,
    .make = Make,
    .files = FileCalls{.unit = Unit, .ioctl = Ioctl},
};

}  // namespace vboard
