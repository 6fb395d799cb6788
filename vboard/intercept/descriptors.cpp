// Descriptors: which special file each one stands for, through close, dup and fcntl.
#include <errno.h>
#include <limits.h>
#include <string.h>
#include <sys/epoll.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <iterator>

#include "vboard/board.h"
#include "vboard/faults.h"
#include "vboard/files.h"
#include "vboard/intercept/intercept.h"
#include "vboard/mounts.h"
#include "vboard/turns.h"

namespace vboard {
namespace {

struct Slot {
  std::atomic<const Device *> device;
  std::atomic<int> unit;
  std::atomic<bool> onBoard;
  std::atomic<bool> outside;
  std::atomic<bool> timer;
};

// By descriptor. A descriptor beyond the table reaches the plain file.
std::array<Slot, 1024> slots;

char inherited[PATH_MAX];

Slot *SlotOf(int fd) {
  return Attached() && fd >= 0 && fd < static_cast<int>(slots.size())
             ? &slots[static_cast<size_t>(fd)]
             : nullptr;
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

// One at which a person types; nobody types at the board's console.
bool IsForeignTerminal(int fd) {
  char name[PATH_MAX];
  return ttyname_r(fd, name, sizeof name) == 0 && strcmp(name, State().console) != 0;
}

Special FindSpecial(std::string_view path) {
  for (const Device *device : Devices()) {
    const int unit = device->files ? device->files->unit(path) : -1;
    if (unit >= 0) return {device, unit, true};
  }
  return {nullptr, 0, true};
}

}  // namespace

void Assign(int fd, Special special) {
  Slot *slot = SlotOf(fd);
  if (slot == nullptr) return;
  slot->unit = special.unit;
  slot->onBoard = special.onBoard;
  slot->outside = special.outside;
  slot->timer = special.timer;
  slot->device = special.device;
}

Special SpecialFile(int fd) {
  const Slot *slot = SlotOf(fd);
  if (slot == nullptr) return {nullptr, 0};
  return {slot->device, slot->unit, slot->onBoard, slot->outside, slot->timer};
}

const char *OpenedForChildren() {
  return inherited;
}

void OpenedForChildren(const char *name) {
  snprintf(inherited, sizeof inherited, "%s", name);
}

int OpenError(const Path &place, int flags) {
  if (!Attached() || !place.OnBoard()) return 0;
  const Special special = FindSpecial(place.Name());
  if (special.device == nullptr) return 0;
  if (special.device->terminal && (flags & O_NOCTTY) == 0) {
    Event("terminal: %s opened without O_NOCTTY", place.Name());
  }
  const auto *files = special.Own(&Device::files);
  return files != nullptr && files->open != nullptr ? files->open(special.unit, flags) : 0;
}

void Opened(const Path &place, int fd) {
  if (!place.OnBoard()) return Assign(fd, {nullptr, 0});
  if (fd >= 0 && (fcntl(fd, F_GETFD) & FD_CLOEXEC) == 0) OpenedForChildren(place.Name());
  if (fd < 0) {
    if (errno == ENOENT) Event("missing: %s", place.Name());
    return;
  }
  const Special special = FindSpecial(place.Name());
  Assign(fd, special);
  const FileCalls *files = special.Own(&Device::files);
  if (files != nullptr && files->opened != nullptr) files->opened(special.unit);
}

namespace {

void Adopt(int fd) {
  char path[PATH_MAX];
  if (OpenedPath(fd, path)) {
    Assign(fd, FindSpecial(path));
    if (fd > STDERR_FILENO) Event("inherited: descriptor %d, %s", fd, path);
  } else if (IsSocketToOutside(fd) || IsForeignTerminal(fd)) {
    Assign(fd, {.device = nullptr, .unit = 0, .outside = true});
  }
}

// What is open, in rising order; of the PC's own list, for a board has none.
std::vector<int> OpenDescriptors() {
  static constinit real::Next<DIR *(const char *)> openFolder("opendir");
  static constinit real::Next<dirent *(DIR *)> readFolder("readdir");
  static constinit real::Next<int(DIR *)> closeFolder("closedir");
  std::vector<int> open;
  DIR *folder = openFolder("/proc/self/fd");
  if (folder == nullptr) return open;
  while (const dirent *entry = readFolder(folder)) {
    const bool isOpen = entry->d_name[0] != '.';
    if (isOpen && atoi(entry->d_name) != dirfd(folder)) open.push_back(atoi(entry->d_name));
  }
  closeFolder(folder);
  std::sort(open.begin(), open.end());
  return open;
}

}  // namespace

void AdoptDescriptors() {
  for (const int fd : OpenDescriptors()) {
    if (fd < static_cast<int>(slots.size())) Adopt(fd);
  }
}

bool HasOpenBelow(std::string_view folder) {
  char path[PATH_MAX];
  for (int fd = 0; fd < static_cast<int>(slots.size()); ++fd) {
    if (!SpecialFile(fd).onBoard || !OpenedPath(fd, path)) continue;
    const std::string_view open = path;
    if (open.starts_with(folder) && (open.size() == folder.size() || open[folder.size()] == '/')) {
      return true;
    }
  }
  return false;
}

bool DescriptorFails(const char *call, int fd, size_t *length) {
  if (!Attached()) return false;
  NoteLook();
  const bool lost = std::any_of(std::begin(State().mounts), std::end(State().mounts),
                                [](const Mount &mount) { return mount.error != 0; });
  if (!CallMayFail(call) && !lost) return false;
  char path[PATH_MAX];
  if (!OpenedPath(fd, path)) return false;
  if (const int error = MountError(path)) {
    errno = error;
    return true;
  }
  return CallFails(call, path, length);
}

}  // namespace vboard

namespace {

// Before a descriptor is closed.
void Closing(int fd) {
  const vboard::Special special = vboard::SpecialFile(fd);
  vboard::Assign(fd, {nullptr, 0});
  const vboard::FileCalls *files = special.Own(&vboard::Device::files);
  if (files != nullptr && files->closed != nullptr) files->closed(special.unit);
}

int Duplicated(int fd, int copy) {
  if (copy >= 0) vboard::Assign(copy, vboard::SpecialFile(fd));
  return copy;
}

}  // namespace

extern "C" {

int close(int fd) {
  NEXT(close);
  Closing(fd);
  return next(fd);
}

int fclose(FILE *file) {
  NEXT(fclose);
  Closing(fileno(file));
  return next(file);
}

// Until it is closed: what an epoll descriptor waits for is looked up nowhere.
int epoll_ctl(int fd, int operation, int what, epoll_event *event) noexcept {
  NEXT(epoll_ctl);
  const int result = next(fd, operation, what, event);
  if (result == 0 && operation == EPOLL_CTL_ADD && vboard::IsOutside(what)) {
    vboard::Assign(fd, {.device = nullptr, .unit = 0, .outside = true});
  }
  return result;
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

#define INTERCEPT_FCNTL(name)                                                   \
  int name(int fd, int command, ...) {                                          \
    NEXT(name);                                                                 \
    va_list arguments;                                                          \
    va_start(arguments, command);                                               \
    void *const argument = va_arg(arguments, void *);                           \
    va_end(arguments);                                                          \
    const int result = next(fd, command, argument);                             \
    if (command == F_DUPFD && result >= 0) vboard::OpenedForChildren("a copy"); \
    const bool copies = command == F_DUPFD || command == F_DUPFD_CLOEXEC;       \
    return copies ? Duplicated(fd, result) : result;                            \
  }
INTERCEPT_FCNTL(fcntl)
INTERCEPT_FCNTL(fcntl64)

}  // extern "C"
