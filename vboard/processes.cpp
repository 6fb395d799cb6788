#include "vboard/processes.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

// The header of some C libraries leaves this to its reader.
extern "C" {
#include <sys/pidfd.h>
}

#include "vboard/real.h"

namespace vboard {
namespace {

struct Process {
  pid_t number;
  pid_t parent;
  uint64_t start;
};

// What /proc tells of a process; false when there is none.
bool Read(pid_t number, Process *process) {
  char text[1024];
  snprintf(text, sizeof text, "/proc/%d/stat", number);
  const int fd = real::open(text, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  const ssize_t length = real::read(fd, text, sizeof text - 1);
  real::close(fd);
  text[std::max<ssize_t>(length, 0)] = '\0';
  // The program's name, in brackets, may hold anything. Behind it: state, parent, ..., and the
  // start as the twentieth field.
  const char *field = strrchr(text, ')');
  if (field == nullptr) return false;
  *process = {number, 0, 0};
  for (int i = 1; i <= 20; ++i) {
    field = strchr(field + 1, ' ');
    if (field == nullptr) return false;
    if (i == 2) process->parent = atoi(field);
  }
  process->start = strtoull(field, nullptr, 10);
  return true;
}

std::vector<Process> Descendants() {
  std::vector<Process> all;
  // What cannot be looked at now is looked at again the next time.
  std::error_code error;
  std::filesystem::directory_iterator entry("/proc", error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    Process process;
    const int number = atoi(entry->path().filename().c_str());
    if (number > 0 && Read(number, &process)) all.push_back(process);
  }
  std::vector<Process> found = {{getpid(), 0, 0}};
  for (size_t i = 0; i < found.size(); ++i) {
    std::copy_if(all.begin(), all.end(), std::back_inserter(found),
                 [parent = found[i].number](const Process &one) { return one.parent == parent; });
  }
  found.erase(found.begin());
  return found;
}

}  // namespace

uint64_t StartOf(pid_t number) {
  Process process;
  return Read(number, &process) ? process.start : 0;
}

bool Lives(const ProcessId &process) {
  const pid_t number = process.number;
  if (number <= 0 || (kill(number, 0) != 0 && errno == ESRCH)) return false;
  const uint64_t start = StartOf(number);
  return start == 0 || start == process.start;
}

void AdoptOrphans() {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
}

void SignalDescendants(int signal) {
  for (const Process &process : Descendants()) {
    // The descriptor stays with its process when the number goes to another one.
    const int fd = pidfd_open(process.number, 0);
    if (fd < 0) continue;
    if (StartOf(process.number) == process.start) pidfd_send_signal(fd, signal, nullptr, 0);
    real::close(fd);
  }
}

}  // namespace vboard
