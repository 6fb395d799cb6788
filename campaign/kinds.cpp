#include "campaign/kinds.h"

#include <errno.h>

#include <algorithm>
#include <string_view>

#include "vboard/actions.h"
#include "vboard/board.h"

namespace campaign {
namespace {

using Texts = std::vector<std::string>;

// What the manual pages give for each call, but for what only a wrong argument brings.
struct Outcomes {
  const char *call;
  const char *names;
};
constexpr Outcomes kOutcomes[] = {
    {"access", "EACCES EIO ELOOP ENAMETOOLONG ENOENT ENOMEM ENOTDIR EPERM EROFS ETXTBSY"},
    {"chdir", "EACCES EIO ELOOP ENAMETOOLONG ENOENT ENOMEM ENOTDIR"},
    {"chmod", "EACCES EIO ELOOP ENAMETOOLONG ENOENT ENOMEM ENOTDIR EPERM EROFS"},
    {"chown", "EACCES EIO ELOOP ENAMETOOLONG ENOENT ENOMEM ENOTDIR EPERM EROFS"},
    {"clock_settime", "EINVAL EPERM"},
    {"exec",
     "E2BIG EACCES EAGAIN EIO EISDIR ELOOP EMFILE ENAMETOOLONG ENFILE ENOENT ENOEXEC ENOMEM "
     "ENOTDIR EPERM ETXTBSY"},
    {"fopen",
     "EACCES EDQUOT EINTR EISDIR ELOOP EMFILE ENAMETOOLONG ENFILE ENODEV ENOENT ENOMEM ENOSPC "
     "ENOTDIR ENXIO EPERM EROFS ETXTBSY"},
    {"fork", "EAGAIN ENOMEM ENOSYS"},
    {"fsync", "EDQUOT EINTR EIO ENOSPC EROFS"},
    {"ioctl", "EBUSY EFAULT EINTR EINVAL EIO ENODEV ENOTTY EPERM"},
    {"link",
     "EACCES EDQUOT EEXIST EIO ELOOP EMLINK ENOENT ENOMEM ENOSPC ENOTDIR EPERM EROFS EXDEV"},
    {"malloc", "ENOMEM"},
    {"mkdir", "EACCES EDQUOT EEXIST ELOOP EMLINK ENOENT ENOMEM ENOSPC ENOTDIR EPERM EROFS"},
    {"mkfifo", "EACCES EDQUOT EEXIST ENAMETOOLONG ENOENT ENOSPC ENOTDIR EROFS"},
    {"mmap", "EACCES EAGAIN ENFILE ENODEV ENOMEM EOVERFLOW EPERM"},
    {"mount",
     "EACCES EBUSY EINVAL ELOOP EMFILE ENAMETOOLONG ENODEV ENOENT ENOMEM ENOTBLK ENOTDIR ENXIO "
     "EPERM EROFS"},
    {"open",
     "EACCES EBUSY EDQUOT EINTR EISDIR ELOOP EMFILE ENAMETOOLONG ENFILE ENODEV ENOENT ENOMEM "
     "ENOSPC ENOTDIR ENXIO EPERM EROFS ETXTBSY"},
    {"opendir", "EACCES EMFILE ENFILE ENOENT ENOMEM ENOTDIR"},
    {"popen", "EAGAIN EMFILE ENFILE ENOMEM"},
    {"pthread_create", "EAGAIN EPERM"},
    {"read", "EAGAIN EINTR EINVAL EIO EISDIR NOTHING ONE HALF"},
    {"readlink", "EACCES EINVAL EIO ELOOP ENAMETOOLONG ENOENT ENOMEM ENOTDIR"},
    {"realpath", "EACCES EIO ELOOP ENAMETOOLONG ENOENT ENOMEM ENOTDIR"},
    {"remove", "EACCES EBUSY EIO ELOOP ENOENT ENOMEM ENOTDIR EPERM EROFS"},
    {"rename", "EACCES EBUSY EDQUOT ENOENT ENOMEM ENOSPC ENOTDIR EPERM EROFS EXDEV"},
    {"rmdir", "EACCES EBUSY ELOOP ENOENT ENOMEM ENOTDIR ENOTEMPTY EPERM EROFS"},
    {"sendto", "EACCES EAGAIN ECONNRESET EINTR EMSGSIZE ENOBUFS ENOMEM ENETDOWN EPIPE"},
    {"setitimer", "EINVAL"},
    {"setsockopt", "EINVAL ENOPROTOOPT"},
    {"socket", "EACCES EAFNOSUPPORT EINVAL EMFILE ENFILE ENOBUFS ENOMEM EPROTONOSUPPORT"},
    {"stat", "EACCES ELOOP ENAMETOOLONG ENOENT ENOMEM ENOTDIR EOVERFLOW"},
    {"statfs", "EACCES EINTR EIO ELOOP ENAMETOOLONG ENOENT ENOMEM ENOSYS ENOTDIR EOVERFLOW"},
    {"symlink", "EACCES EDQUOT EEXIST EIO ELOOP ENOENT ENOMEM ENOSPC ENOTDIR EPERM EROFS"},
    {"sysinfo", "EFAULT"},
    {"system", "EAGAIN ENOMEM"},
    {"tcflush", "EIO ENOTTY"},
    {"tcgetattr", "EIO ENOTTY"},
    {"tcsetattr", "EINTR EIO ENOTTY"},
    {"timer_create", "EAGAIN ENOMEM"},
    {"timerfd_create", "EMFILE ENFILE ENODEV ENOMEM"},
    {"truncate", "EACCES EFBIG EINTR EIO EISDIR ENOENT ENOTDIR EPERM EROFS ETXTBSY"},
    {"umount", "EAGAIN EBUSY EINVAL ENOENT ENOMEM EPERM"},
    {"unlink", "EACCES EBUSY EIO EISDIR ELOOP ENOENT ENOMEM ENOTDIR EPERM EROFS"},
    {"write", "EAGAIN EDQUOT EFBIG EINTR EIO ENOSPC EPERM EPIPE NOTHING ONE HALF"},
};

constexpr const char *kCutMoments[] = {"before", "after",       "inside",  "inside:1",
                                       "half",   "all-but-one", "torn:17", "torn:4711"};

std::string TextOf(const std::string &board, const Call &call, unsigned nth,
                   const std::string &outcome, bool always) {
  Trial trial;
  trial.board = board;
  trial.steps.push_back({0, Fault{call.name, call.process, call.path, nth, outcome, always}});
  return TextOf(trial);
}

// A scanner makes the same calls in each round: all of them are looked at only where somebody wants
// that.
unsigned Next(unsigned nth, bool every) {
  constexpr unsigned kEachOfTheFirst = 30;
  return every || nth < kEachOfTheFirst ? nth + 1 : 2 * nth;
}

Texts FaultTrials(const std::string &board, const Survey &survey, bool memory,
                  const Extent &extent) {
  Texts texts;
  for (const Call &call : survey.calls) {
    if ((call.name == "malloc") != memory || call.path.size() >= sizeof vboard::Fault::path) {
      continue;
    }
    for (unsigned nth = 1; nth <= call.count; nth = Next(nth, extent.every)) {
      for (const std::string &outcome : OutcomesOf(call.name)) {
        texts.push_back(TextOf(board, call, nth, outcome, false));
        if (LastsOn(outcome)) texts.push_back(TextOf(board, call, nth, outcome, true));
      }
    }
  }
  return texts;
}

// What changes files and mounts, in front of which the power goes, too. Inside of it the file
// system keeps order, which is none of the board's programs' business.
constexpr std::string_view kChanges[] = {
    "chmod",  "fopen",  "fsync", "link",   "mkdir",   "mkfifo",   "mount",  "open",
    "remove", "rename", "rmdir", "umount", "symlink", "truncate", "unlink", "write"};

bool ChangesFiles(const Call &call) {
  return std::find(std::begin(kChanges), std::end(kChanges), call.name) != std::end(kChanges) &&
         !call.path.starts_with("/dev/") && !call.path.starts_with("/proc/") &&
         call.path.size() < sizeof vboard::Fault::path;
}

Texts PowerTrials(const std::string &board, const Survey &survey, const Extent &) {
  Texts texts;
  for (const Call &call : survey.calls) {
    for (unsigned nth = 1; ChangesFiles(call) && nth <= call.count; ++nth) {
      texts.push_back(TextOf(board, call, nth, "CUT", false));
    }
  }
  for (size_t operation = 1; operation <= survey.operations.size(); ++operation) {
    for (const char *moment : kCutMoments) {
      texts.push_back(board + "/cut#" + std::to_string(operation) + "=" + moment);
    }
  }
  return texts;
}

Texts RandomTrials(const std::string &board, const Survey &, const Extent &extent) {
  Texts texts;
  for (uint64_t seed = 1; seed <= extent.random; ++seed) {
    texts.push_back(board + "/random:" + std::to_string(seed));
  }
  return texts;
}

}  // namespace

bool LastsOn(const std::string &outcome) {
  return outcome != "EINTR";
}

std::vector<std::string> OutcomesOf(const std::string &call) {
  for (const Outcomes &outcomes : kOutcomes) {
    if (call == outcomes.call) return vboard::Words(outcomes.names);
  }
  return {};
}

const std::vector<Kind> &Kinds() {
  static const std::vector<Kind> kinds = {
      {"calls", "each call that can fail, once and from then on, with each of its errors",
       [](const std::string &board, const Survey &survey, const Extent &extent) {
         return FaultTrials(board, survey, false, extent);
       }},
      {"power",
       "the power goes before, inside and after flash operations, and before changes of files",
       PowerTrials},
      {"memory", "each allocation fails, once and from then on",
       [](const std::string &board, const Survey &survey, const Extent &extent) {
         return FaultTrials(board, survey, true, extent);
       }},
      {"random", "histories that mix all of it with what a person does", RandomTrials},
  };
  return kinds;
}

}  // namespace campaign
