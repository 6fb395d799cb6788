#include "vboard/faults.h"

#include <errno.h>
#include <limits.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <stdexcept>
#include <utility>

#include "vboard/real.h"

namespace vboard {
namespace {

// The calls that ask here whether they fail. One name stands for all the forms of a call.
constexpr const char *kCalls[] = {
    "access",    "chdir",          "chmod",        "chown",          "clock_settime", "exec",
    "fopen",     "fork",           "fsync",        "ioctl",          "link",          "malloc",
    "mkdir",     "mkfifo",         "mmap",         "mount",          "open",          "opendir",
    "popen",     "pthread_create", "read",         "readlink",       "realpath",      "remove",
    "rename",    "rmdir",          "sendto",       "setitimer",      "setsockopt",    "socket",
    "stat",      "statfs",         "symlink",      "sysinfo",        "system",        "tcflush",
    "tcgetattr", "tcsetattr",      "timer_create", "timerfd_create", "truncate",      "umount",
    "unlink",    "write",
};

}  // namespace

void CheckFault(const std::string &call, const std::string &path, int outcome) {
  if (std::none_of(std::begin(kCalls), std::end(kCalls),
                   [&](const char *known) { return call == known; })) {
    throw std::invalid_argument("'" + call + "' is no call that can fail");
  }
  if (outcome >= kNothing && call != "read" && call != "write") {
    throw std::invalid_argument("only read and write do a part");
  }
  if (path.size() >= sizeof Fault::path) throw std::invalid_argument("the path is too long");
}

void PlanFault(const std::string &call, const std::string &path, int outcome, unsigned nth,
               bool repeat, int process) {
  CheckFault(call, path, outcome);
  Lock lock;
  for (Fault &fault : State().faults) {
    if (fault.outcome != 0) continue;
    fault = {};
    Store(fault.call, call);
    Store(fault.path, path);
    fault.process = process;
    fault.outcome = outcome;
    fault.nth = nth;
    fault.repeat = repeat;
    ++State().faultsPlanned;
    return;
  }
  throw std::invalid_argument("a board has room for " + std::to_string(std::size(State().faults)) +
                              " planned faults, and as many wait for their calls");
}

void DropFaults() {
  Lock lock;
  for (Fault &fault : State().faults) fault = {};
  State().faultsPlanned = 0;
}

bool CallsMayFail() {
  return State().faultsPlanned != 0 || State().notesCalls;
}

bool CallMayFail(const char *call) {
  if (!CallsMayFail()) return false;
  const int kept = errno;
  ProcessNumber();
  errno = kept;
  return State().notesCalls ||
         std::any_of(std::begin(State().faults), std::end(State().faults), [&](const Fault &fault) {
           return fault.outcome != 0 && strcmp(fault.call, call) == 0;
         });
}

namespace {

void NoteCall(const char *call, const char *path) {
  char line[PATH_MAX + 40];
  const int length = snprintf(line, sizeof line, "%d %s %s\n", ProcessNumber(), call, path);
  char file[PATH_MAX];
  snprintf(file, sizeof file, "%s/calls", Folder().c_str());
  const int fd = real::open(file, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) return;
  real::write(fd, line, std::min(static_cast<size_t>(length), sizeof line - 1));
  real::close(fd);
}

// The outcome of the first plan whose call this is; 0: none.
int PlannedOutcome(const char *call, const char *path) {
  // Asked in front of every call, so that who appears first is the same with any plan.
  const int process = ProcessNumber();
  Lock lock;
  for (Fault &fault : State().faults) {
    if (fault.outcome == 0 || strcmp(fault.call, call) != 0) continue;
    if (fault.path[0] != '\0' && strcmp(fault.path, path) != 0) continue;
    if (fault.process != 0 && fault.process != process) continue;
    if (fault.nth > 1) {
      --fault.nth;
      continue;
    }
    const int outcome = fault.outcome;
    if (fault.repeat == 0) fault = {};
    return outcome;
  }
  return 0;
}

void Shorten(const char *call, const char *path, int part, size_t *length) {
  const size_t asked = *length;
  *length = part == kNothing ? 0 : part == kOneByte ? std::min<size_t>(1, asked) : asked / 2;
  Event("fault: %s %s: %zu of %zu bytes", call, path, *length, asked);
}

}  // namespace

bool CallFails(const char *call, const char *path, size_t *length) {
  if (!CallsMayFail()) return false;
  const int kept = errno;
  if (State().notesCalls) NoteCall(call, path);
  const int outcome = PlannedOutcome(call, path);
  errno = kept;
  if (outcome == kPowerGoes) {
    Event("fault: %s %s: the power goes", call, path);
    CutPower();
  }
  if (outcome >= kNothing) {
    if (length != nullptr) Shorten(call, path, outcome, length);
    return false;
  }
  if (outcome < 0) {
    Event("fault: %s %s: %s", call, path, sigdescr_np(-outcome));
    kill(getpid(), -outcome);
  }
  if (outcome <= 0) return false;
  Event("fault: %s %s: %s", call, path, strerrordesc_np(outcome));
  errno = outcome;
  return true;
}

namespace {

constexpr std::pair<const char *, Moment> kMoments[] = {
    {"before", Moment::kBefore},         {"inside", Moment::kInside}, {"half", Moment::kHalf},
    {"all-but-one", Moment::kAllButOne}, {"torn", Moment::kTorn},     {"after", Moment::kAfter}};
constexpr std::pair<const char *, Outcome> kOutcomes[] = {
    {"CUT", kPowerGoes}, {"NOTHING", kNothing}, {"ONE", kOneByte}, {"HALF", kHalf}};

}  // namespace

Moment MomentOf(const std::string &name) {
  for (const auto &[known, moment] : kMoments) {
    if (name == known) return moment;
  }
  throw std::invalid_argument("the moment is before, inside, half, all-but-one, torn or after");
}

const char *MomentName(Moment moment) {
  for (const auto &[name, known] : kMoments) {
    if (moment == known) return name;
  }
  return "";
}

void PlanPowerCut(unsigned nth, Moment moment, unsigned number) {
  Lock lock;
  State().cut = {nth, moment, number};
}

PowerCut TakePowerCut() {
  ++State().flashOperations;
  PowerCut &plan = State().cut;
  if (plan.operation == 0 || --plan.operation > 0) return {};
  const PowerCut cut = plan;
  plan = {};
  return cut;
}

namespace {

// Each bit that was to change has or has not.
void Tear(unsigned seed, std::span<const uint8_t> before, std::span<uint8_t> after) {
  std::minstd_rand random(seed);
  for (size_t i = 0; i < after.size(); ++i) {
    const auto done = static_cast<uint8_t>(random() >> 8);
    after[i] = static_cast<uint8_t>((after[i] & done) | (before[i] & ~done));
  }
}

}  // namespace

void Interrupt(const PowerCut &cut, std::span<const uint8_t> before, std::span<uint8_t> after) {
  if (cut.moment == Moment::kTorn) return Tear(cut.number, before, after);
  const size_t size = after.size();
  const size_t done = cut.moment == Moment::kInside      ? std::min<size_t>(cut.number, size)
                      : cut.moment == Moment::kHalf      ? size / 2
                      : cut.moment == Moment::kAllButOne ? size - 1
                                                         : size;
  std::copy(before.begin() + static_cast<ptrdiff_t>(done), before.end(),
            after.begin() + static_cast<ptrdiff_t>(done));
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
  for (const auto &[known, outcome] : kOutcomes) {
    if (name == known) return outcome;
  }
  for (int signal = 1; signal < SIGRTMIN; ++signal) {
    const char *known = sigabbrev_np(signal);
    if (known != nullptr && name == "SIG" + std::string(known)) return -signal;
  }
  for (int error = 1; error < 200; ++error) {
    const char *known = strerrorname_np(error);
    if (known != nullptr && name == known) return error;
  }
  throw std::invalid_argument("'" + name + "' is no name of an error, a signal, a part or a cut");
}

std::string FaultName(int outcome) {
  for (const auto &[name, known] : kOutcomes) {
    if (outcome == known) return name;
  }
  const char *name = outcome < 0 ? sigabbrev_np(-outcome) : strerrorname_np(outcome);
  return std::string(outcome < 0 ? "SIG" : "") + (name != nullptr ? name : "");
}

}  // namespace vboard
