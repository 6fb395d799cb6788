#include "vboard/faults.h"

#include <errno.h>
#include <signal.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace vboard {
namespace {

// The calls that ask here whether they fail. One name stands for all the forms of a call.
constexpr const char *kCalls[] = {
    "access",    "chdir",     "chmod",    "chown",   "clock_settime",  "exec",      "fopen",
    "fork",      "fsync",     "ioctl",    "link",    "mkdir",          "mkfifo",    "mmap",
    "mount",     "open",      "opendir",  "popen",   "pthread_create", "read",      "readlink",
    "realpath",  "remove",    "rename",   "rmdir",   "sendto",         "setitimer", "setsockopt",
    "socket",    "stat",      "statfs",   "symlink", "sysinfo",        "system",    "tcflush",
    "tcgetattr", "tcsetattr", "truncate", "umount",  "unlink",         "write",
};

}  // namespace

void PlanFault(const char *call, const std::string &path, int error, unsigned nth, bool repeat) {
  if (std::none_of(std::begin(kCalls), std::end(kCalls),
                   [&](const char *known) { return strcmp(known, call) == 0; })) {
    throw std::invalid_argument("'" + std::string(call) + "' is no call that can fail");
  }
  if (path.size() >= sizeof Fault::path) throw std::invalid_argument("the path is too long");
  Lock lock;
  for (Fault &fault : State().faults) {
    if (fault.error != 0) continue;
    fault = {};
    Store(fault.call, call);
    Store(fault.path, path);
    fault.error = error;
    fault.nth = nth;
    fault.repeat = repeat;
    ++State().faultsPlanned;
    return;
  }
  throw std::invalid_argument("too many faults are planned");
}

bool CallFails(const char *call, const char *path) {
  if (State().faultsPlanned == 0) return false;
  int error = 0;
  {
    Lock lock;
    for (Fault &fault : State().faults) {
      if (fault.error == 0 || strcmp(fault.call, call) != 0) continue;
      if (fault.path[0] != '\0' && strcmp(fault.path, path) != 0) continue;
      if (fault.nth > 1) {
        --fault.nth;
        continue;
      }
      error = fault.error;
      if (fault.repeat == 0) fault = {};
      break;
    }
  }
  if (error == 0) return false;
  if (error < 0) {
    Event("fault: %s %s: %s", call, path, sigdescr_np(-error));
    kill(getpid(), -error);
    return false;
  }
  Event("fault: %s %s: %s", call, path, strerrordesc_np(error));
  errno = error;
  return true;
}

void PlanPowerCut(unsigned nth, Moment moment, unsigned bytes) {
  Lock lock;
  State().cut = {nth, moment, bytes};
}

PowerCut TakePowerCut() {
  ++State().flashOperations;
  PowerCut &plan = State().cut;
  if (plan.operation == 0 || --plan.operation > 0) return {};
  const PowerCut cut = plan;
  plan = {};
  return cut;
}

void CutPower() {
  Event("power cut");
  State().power = Power::kCut;
  // One's own group is no number that may be another's by now; the machine ends who has left it.
  // It has no number, as the board has none, for who runs apart in a process table of his own.
  const pid_t group = State().processGroup;
  if (group > 0 && getpgrp() == group) kill(0, SIGKILL);
  kill(getpid(), SIGKILL);
  _exit(1);
}

int FaultNumber(const std::string &name) {
  for (int signal = 1; signal < SIGRTMIN; ++signal) {
    const char *known = sigabbrev_np(signal);
    if (known != nullptr && name == "SIG" + std::string(known)) return -signal;
  }
  for (int error = 1; error < 200; ++error) {
    const char *known = strerrorname_np(error);
    if (known != nullptr && name == known) return error;
  }
  throw std::invalid_argument("'" + name + "' is no name of an error or a signal");
}

}  // namespace vboard
