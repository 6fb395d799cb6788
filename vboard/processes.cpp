#include "vboard/processes.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <string>

// The header of some C libraries leaves this to its reader.
extern "C" {
#include <sys/pidfd.h>
}

#include "vboard/real.h"

namespace vboard {
namespace {

struct Process {
  pid_t number;
  char state;
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
  *process = {number, ' ', 0, 0};
  for (int i = 1; i <= 20; ++i) {
    field = strchr(field + 1, ' ');
    if (field == nullptr) return false;
    if (i == 1) process->state = field[1];
    if (i == 2) process->parent = atoi(field);
  }
  process->start = strtoull(field, nullptr, 10);
  return true;
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

std::vector<pid_t> Threads(pid_t process) {
  std::vector<pid_t> threads;
  char path[32];
  snprintf(path, sizeof path, "/proc/%d/task", process);
  DIR *folder = opendir(path);
  if (folder == nullptr) return threads;
  while (const dirent *entry = readdir(folder)) {
    if (const pid_t thread = atoi(entry->d_name); thread > 0) threads.push_back(thread);
  }
  closedir(folder);
  std::sort(threads.begin(), threads.end());
  return threads;
}

// The kernel has them by the thread that started them.
std::vector<pid_t> Children(pid_t process) {
  std::vector<pid_t> children;
  for (const pid_t thread : Threads(process)) {
    char path[64], part[512];
    snprintf(path, sizeof path, "/proc/%d/task/%d/children", process, thread);
    const int fd = real::open(path, O_RDONLY | O_CLOEXEC);
    std::string text;
    for (ssize_t length; (length = real::read(fd, part, sizeof part)) > 0;) {
      text.append(part, static_cast<size_t>(length));
    }
    real::close(fd);
    char *place = text.data();
    while (const auto child = static_cast<pid_t>(strtol(place, &place, 10))) {
      children.push_back(child);
    }
  }
  return children;
}

bool HasEnded(pid_t number) {
  Process process;
  return !Read(number, &process) || process.state == 'Z';
}

Status StatusOf(pid_t number) {
  Process process;
  if (!Read(number, &process)) return {"", '\0'};
  Status status = {"", process.state};
  std::getline(std::ifstream("/proc/" + std::to_string(number) + "/comm"), status.name);
  return status;
}

void AdoptOrphans() {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
}

namespace {

// One that has ended meanwhile may have left its number to somebody else's child.
std::vector<Process> Descendants(pid_t of) {
  const pid_t own = getpid();
  std::vector<Process> found = {{of != 0 ? of : own, ' ', 0, 0}};
  for (size_t i = 0; i < found.size(); ++i) {
    const pid_t parent = found[i].number;
    for (const pid_t child : Children(parent)) {
      Process process;
      if (!Read(child, &process)) continue;
      if (process.parent == parent || process.parent == own) found.push_back(process);
    }
  }
  found.erase(found.begin());
  return found;
}

}  // namespace

void SignalDescendants(int signal, pid_t of) {
  for (const Process &process : Descendants(of)) {
    // The descriptor stays with its process when the number goes to another one.
    const int fd = pidfd_open(process.number, 0);
    if (fd < 0) continue;
    if (StartOf(process.number) == process.start) pidfd_send_signal(fd, signal, nullptr, 0);
    real::close(fd);
  }
}

}  // namespace vboard
