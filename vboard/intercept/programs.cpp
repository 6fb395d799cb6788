// Programs: starting them, their end, shell commands, and what concerns the whole system:
// mounts and restarts.
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/reboot.h>
#include <sys/wait.h>

#include <vector>

#include "vboard/board.h"
#include "vboard/device.h"
#include "vboard/faults.h"
#include "vboard/files.h"
#include "vboard/intercept/intercept.h"

using vboard::Attached;
using vboard::Event;
using vboard::Path;

namespace {

using Arguments = std::vector<char *>;

std::string Joined(char *const *arguments) {
  std::string text;
  for (; arguments != nullptr && *arguments != nullptr; ++arguments) {
    text += " " + std::string(*arguments);
  }
  return text;
}

// The arguments of execl and its like, the null pointer at their end included.
Arguments Collect(const char *first, va_list rest) {
  Arguments list = {const_cast<char *>(first)};
  while (list.back() != nullptr) list.push_back(va_arg(rest, char *));
  return list;
}

int Execute(const char *path, char *const *arguments, char *const *environment) {
  NEXT(execve);
  if (!Attached()) return next(path, arguments, environment);
  if (vboard::CallFails("exec", path)) return -1;
  const Path place(path);
  // Logged first, for a program that starts leaves nobody to log it.
  Event("start: %s:%s", path, Joined(arguments).c_str());
  const int result = next(place, arguments, environment);
  Event("start: %s: %s", path, strerrordesc_np(errno));
  return result;
}

// A shell command is the affair of the device that knows it; nothing reaches the PC's shell.
int Command(const char *line) {
  Event("command: %s", line);
  if (vboard::CallFails("system", line)) return -1;
  for (const vboard::Device *device : vboard::Devices()) {
    const int status = device->command != nullptr ? device->command(line) : -1;
    if (status >= 0) return W_EXITCODE(status, 0);
  }
  Event("command not found: %s", line);
  return W_EXITCODE(127, 0);
}

// The result of a system call from 0 or an errno value.
int Result(int error) {
  if (error == 0) return 0;
  errno = error;
  return -1;
}

std::string Outcome(int error) {
  return error == 0 ? "" : std::string(": ") + strerrordesc_np(error);
}

// Tells the devices of a mount or an unmount that worked.
int MountResult(int error) {
  if (error != 0) return Result(error);
  for (const vboard::Device *device : vboard::Devices()) {
    if (device->remounted != nullptr) device->remounted();
  }
  return 0;
}

int UnmountWith(const char *point) {
  const int error = vboard::CallFails("umount", point) ? errno : vboard::Unmount(point);
  Event("unmount: %s%s", point, Outcome(error).c_str());
  return MountResult(error);
}

}  // namespace

extern "C" {

int execve(const char *path, char *const arguments[], char *const environment[]) {
  return Execute(path, arguments, environment);
}

int execv(const char *path, char *const arguments[]) {
  return Execute(path, arguments, environ);
}

int execl(const char *path, const char *first, ...) {
  va_list rest;
  va_start(rest, first);
  const Arguments arguments = Collect(first, rest);
  va_end(rest);
  return Execute(path, arguments.data(), environ);
}

int execle(const char *path, const char *first, ...) {
  va_list rest;
  va_start(rest, first);
  const Arguments arguments = Collect(first, rest);
  char *const *environment = va_arg(rest, char *const *);
  va_end(rest);
  return Execute(path, arguments.data(), environment);
}

int system(const char *line) {
  NEXT(system);
  if (!Attached()) return next(line);
  return line == nullptr ? 1 : Command(line);
}

void _exit(int status) {
  NEXT(_exit);
  if (Attached()) Event("exit: status %d", status & 0xff);
  next(status);
  __builtin_unreachable();
}

void _Exit(int status) {
  _exit(status);
}

int mount(const char *source, const char *point, const char *type, unsigned long flags,
          const void *data) {
  NEXT(mount);
  if (!Attached()) return next(source, point, type, flags, data);
  const int error =
      vboard::CallFails("mount", source) ? errno : vboard::MountDevice(source, point, type);
  Event("mount: %s on %s, %s, flags 0x%lx, %s%s", source, point, type, flags,
        data == nullptr ? "no data" : static_cast<const char *>(data), Outcome(error).c_str());
  return MountResult(error);
}

int umount(const char *point) noexcept {
  NEXT(umount);
  return Attached() ? UnmountWith(point) : next(point);
}

int umount2(const char *point, int flags) noexcept {
  NEXT(umount2);
  return Attached() ? UnmountWith(point) : next(point, flags);
}

void sync() noexcept {
  NEXT(sync);
  if (Attached()) return Event("sync");
  next();
}

int reboot(int how) noexcept {
  NEXT(reboot);
  if (!Attached()) return next(how);
  Command(how == RB_AUTOBOOT ? "reboot" : "poweroff");
  return 0;
}

}  // extern "C"

namespace {

// A program that is started with the board's library in front of the C library's finds its
// board in the environment. Without one, nothing is redirected.
[[gnu::constructor]] void AttachFromEnvironment() {
  const char *folder = getenv("VBOARD_FOLDER");
  if (folder == nullptr) return;
  vboard::Attach(folder);
  vboard::AdoptDescriptors();
  on_exit([](int status, void *) { Event("exit: status %d", status & 0xff); }, nullptr);
}

}  // namespace
