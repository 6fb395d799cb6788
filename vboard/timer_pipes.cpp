#include "vboard/timer_pipes.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "vboard/board.h"
#include "vboard/real.h"
#include "vboard/turns.h"

namespace vboard {
namespace {

void NameOf(char (&name)[32], pid_t process, int fd) {
  snprintf(name, sizeof name, "/proc/%d/fd/%d", process, fd);
}

// The descriptor by which a process has a pipe; -1: none.
int DescriptorOf(pid_t process, uint64_t pipe) {
  char path[32];
  snprintf(path, sizeof path, "/proc/%d/fd", process);
  DIR *folder = opendir(path);
  if (folder == nullptr) return -1;
  int found = -1;
  for (const dirent *entry; found < 0 && (entry = readdir(folder)) != nullptr;) {
    const int fd = atoi(entry->d_name);
    if (PipeBehind(process, fd) == pipe) found = fd;
  }
  closedir(folder);
  return found;
}

}  // namespace

// The end that is read, open for both: it is neither at its end nor somebody else's to write.
int OpenTimerPipe(int flags) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return -1;
  char name[32];
  NameOf(name, OwnNumber(), ends[0]);
  const int both = real::open(name, O_RDWR | flags);
  static constinit real::Next<int(int, int, int)> next("dup3");
  const int fd = both < 0 ? -1 : next(both, ends[0], flags & O_CLOEXEC);
  const int error = errno;
  real::close(ends[1]);
  real::close(fd < 0 ? ends[0] : both);
  errno = error;
  return fd;
}

uint64_t PipeBehind(pid_t process, int fd) {
  constexpr char kKind[] = "pipe:[";
  constexpr size_t kLength = sizeof kKind - 1;
  char name[32], target[64];
  NameOf(name, process, fd);
  static constinit real::Next<ssize_t(const char *, char *, size_t)> next("readlink");
  const ssize_t length = next(name, target, sizeof target - 1);
  if (length <= static_cast<ssize_t>(kLength)) return 0;
  target[length] = '\0';
  return strncmp(target, kKind, kLength) == 0 ? strtoull(target + kLength, nullptr, 10) : 0;
}

IntervalTimer *TimerBehind(int fd) {
  const uint64_t pipe = PipeBehind(OwnNumber(), fd);
  if (pipe == 0) return nullptr;
  for (IntervalTimer &timer : State().time.timers) {
    if (timer.process > 0 && timer.kind == IntervalTimer::kDescriptor && timer.pipe == pipe) {
      return &timer;
    }
  }
  return nullptr;
}

void ClearPipe(int fd) {
  static constinit real::Next<int(pollfd *, nfds_t, int)> next("poll");
  pollfd readable = {fd, POLLIN, 0};
  uint64_t count = 0;
  if (next(&readable, 1, 0) > 0) real::read(fd, &count, sizeof count);
}

// Who opened it may have closed it, and still there may be a copy of the descriptor, with the same
// process or with a child.
bool IsLost(IntervalTimer &timer) {
  if (PipeBehind(timer.process, timer.descriptor) == timer.pipe) return false;
  for (const Member &member : State().time.members) {
    const pid_t process = member.process.number;
    const int fd = process > 0 ? DescriptorOf(process, timer.pipe) : -1;
    if (fd < 0) continue;
    timer.descriptor = fd;
    timer.process = process;
    return false;
  }
  return true;
}

void DropLostTimers() {
  for (IntervalTimer &timer : State().time.timers) {
    const bool isDescriptor = timer.process > 0 && timer.kind == IntervalTimer::kDescriptor;
    if (isDescriptor && IsLost(timer)) timer.process = 0;
  }
}

void AddToPipe(const IntervalTimer &timer, uint64_t times) {
  char name[32];
  NameOf(name, timer.process, timer.descriptor);
  const int fd = real::open(name, O_RDWR | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return;
  uint64_t count = 0;
  if (real::read(fd, &count, sizeof count) != sizeof count) count = 0;
  count += times;
  real::write(fd, &count, sizeof count);
  real::close(fd);
}

}  // namespace vboard
