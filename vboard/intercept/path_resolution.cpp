// Where a path leads: made normal, with the symbolic links on its way followed, for a path of the
// board may be written in many ways.
#include <errno.h>
#include <limits.h>
#include <string.h>

#include <algorithm>

#include "vboard/board.h"
#include "vboard/faults.h"
#include "vboard/files.h"
#include "vboard/intercept/intercept.h"
#include "vboard/mounts.h"
#include "vboard/turns.h"

namespace vboard {
namespace {

constexpr int kMostLinks = 40;

std::string LinkTarget(const std::string &place) {
  static constinit real::Next<ssize_t(const char *, char *, size_t)> next("readlink");
  char target[PATH_MAX];
  const ssize_t length = next(place.c_str(), target, sizeof target);
  return {target, length > 0 ? static_cast<size_t>(length) : 0};
}

// What a symbolic link holds, empty for anything else. The kernel's own links below /proc say
// nothing about the way that they lead.
std::string Link(const std::string &path) {
  if (BelongsToBoard(path)) return LinkTarget(PathOnBoard(path));
  return path.starts_with("/proc/") ? "" : LinkTarget(path);
}

void DropLast(std::string &path) {
  path.erase(std::min(path.rfind('/'), path.size()));
}

enum class Links { kNone, kOnTheWay, kAll };

// The path without "." and "..", and without the links that are to be followed.
std::string Normal(std::string rest, Links links) {
  std::string path;
  int followed = 0;
  while (!rest.empty()) {
    const std::string name = rest.substr(0, rest.find('/'));
    rest.erase(0, name.size() + 1);
    if (name == "..") DropLast(path);
    if (name.empty() || name == "." || name == "..") continue;
    path += "/" + name;
    if (links == Links::kNone || (links == Links::kOnTheWay && rest.empty())) continue;
    const std::string target = Link(path);
    if (target.empty() || ++followed > kMostLinks) continue;
    if (target[0] == '/') {
      path.clear();
    } else {
      DropLast(path);
    }
    rest = target + "/" + rest;
  }
  return path.empty() ? "/" : path;
}

// The folder that relative paths start from. One that was opened where it lies on the PC is not
// the board's: that is how the board looks after its own files.
std::string Start(int folder) {
  const std::string place =
      LinkTarget(folder == AT_FDCWD ? "/proc/self/cwd" : "/proc/self/fd/" + std::to_string(folder));
  const bool mayBeOnBoard = folder == AT_FDCWD || SpecialFile(folder).onBoard;
  const std::string path = mayBeOnBoard ? BoardPath(place) : "";
  return path.empty() ? place : path;
}

}  // namespace

Path::Path(const char *path, Last last, int folder) : path_(path) {
  if (!Attached() || path == nullptr || path[0] == '\0') return;
  const int kept = errno;
  const std::string start = path[0] == '/' ? "" : Start(folder);
  const std::string whole = start + "/" + path;
  const bool slash = whole.ends_with('/');
  const std::string written = Normal(whole, Links::kNone);
  name_ = Normal(whole, last == Last::kFollowed || slash ? Links::kAll : Links::kOnTheWay);
  // A file of the board that is a link to one of the PC's, such as a program, stays the board's.
  if (!BelongsToBoard(name_) && BelongsToBoard(written)) name_ = written;
  onBoard_ = BelongsToBoard(name_);
  if (onBoard_ || BelongsToBoard(start)) {
    place_ = (onBoard_ ? PathOnBoard(name_) : name_) + (slash ? "/" : "");
    path_ = place_.c_str();
  }
  errno = kept;
}

bool MayReach(const char *call, const Path &place) {
  if (!place.OnBoard()) return true;
  NoteLook();
  if (const int error = MountError(place.Name())) {
    Event("gone: %s: %s", place.Name(), strerrordesc_np(error));
    errno = error;
    return false;
  }
  return !CallFails(call, place.Name());
}

}  // namespace vboard
