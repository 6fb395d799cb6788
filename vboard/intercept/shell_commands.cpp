// Shell commands: each is the affair of the device that knows it; nothing reaches the PC's shell.
#include <errno.h>
#include <stdio_ext.h>
#include <string.h>
#include <sys/reboot.h>
#include <sys/wait.h>

#include <map>
#include <mutex>

#include "vboard/board.h"
#include "vboard/device.h"
#include "vboard/faults.h"
#include "vboard/intercept/intercept.h"

using vboard::Attached;
using vboard::Event;

namespace {

constexpr int kUnknown = 127;

// Runs a line, a pipeline included. Its wait status, or -1 with errno set.
int Run(const char *call, const char *line, std::string *output) {
  Event("command: %s", line);
  if (__fpending(stdout) != 0) Event("command runs before the output in front of it");
  if (vboard::CallFails(call, line)) return -1;
  for (const vboard::Device *device : vboard::Devices()) {
    const int status = device->command != nullptr ? device->command(line, output) : -1;
    if (status >= 0) return W_EXITCODE(status, 0);
  }
  Event("command not found: %s", line);
  return W_EXITCODE(kUnknown, 0);
}

// The wait statuses of the commands that are open.
struct {
  std::mutex lock;
  std::map<FILE *, int> statuses;
} commands;

FILE *FileOf(const std::string &output, bool reading) {
  const int fd = memfd_create("command", MFD_CLOEXEC);
  if (fd < 0) return nullptr;
  const ssize_t written = vboard::real::pwrite(fd, output.data(), output.size(), 0);
  if (written == static_cast<ssize_t>(output.size())) {
    if (FILE *file = fdopen(fd, reading ? "r" : "w")) return file;
  }
  vboard::real::close(fd);
  return nullptr;
}

FILE *OpenCommand(const char *line, bool reading) {
  std::string output;
  const int status = Run("popen", line, &output);
  if (status < 0) return nullptr;
  FILE *file = FileOf(output, reading);
  if (file == nullptr) return nullptr;
  const std::lock_guard guard(commands.lock);
  commands.statuses[file] = status;
  return file;
}

}  // namespace

extern "C" {

int system(const char *line) {
  NEXT(system);
  if (!Attached()) return next(line);
  if (line == nullptr) return 1;
  std::string output;
  const int status = Run("system", line, &output);
  if (!output.empty()) {
    [[maybe_unused]] const ssize_t written =
        vboard::real::write(STDOUT_FILENO, output.data(), output.size());
  }
  return status;
}

FILE *popen(const char *line, const char *mode) {
  NEXT(popen);
  if (!Attached()) return next(line, mode);
  const std::string_view way(mode);
  if (way == "r" || way == "re" || way == "w" || way == "we") {
    if (way.size() == 1) vboard::OpenedForChildren(line);
    return OpenCommand(line, way[0] == 'r');
  }
  errno = EINVAL;
  return nullptr;
}

int pclose(FILE *file) {
  NEXT(pclose);
  int status = 0;
  {
    const std::lock_guard guard(commands.lock);
    const auto found = commands.statuses.find(file);
    if (found == commands.statuses.end()) return next(file);
    status = found->second;
    commands.statuses.erase(found);
  }
  fclose(file);
  return status;
}

int reboot(int how) noexcept {
  NEXT(reboot);
  if (!Attached()) return next(how);
  std::string output;
  Run("system", how == RB_AUTOBOOT ? "reboot" : "poweroff", &output);
  return 0;
}

}  // extern "C"
