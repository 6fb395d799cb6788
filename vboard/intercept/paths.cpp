// Calls that name a path.
#include <errno.h>
#include <string.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>

#include "vboard/board.h"
#include "vboard/faults.h"
#include "vboard/files.h"
#include "vboard/intercept/intercept.h"

namespace vboard {

Path::Path(const char *path) : path_(path) {
  if (!Attached() || path == nullptr || path[0] != '/' || !BelongsToBoard(path)) return;
  onBoard_ = true;
  place_ = PathOnBoard(path);
  path_ = place_.c_str();
}

bool MayOpen(const char *call, const char *path, const Path &place) {
  if (!place.OnBoard()) return true;
  if (const int error = MountError(path)) {
    Event("gone: %s: %s", path, strerrordesc_np(error));
    errno = error;
    return false;
  }
  return !CallFails(call, path);
}

}  // namespace vboard

using vboard::MayOpen;
using vboard::Opened;
using vboard::Path;

namespace {

bool NeedsMode(int flags) {
  return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

// A device behind a FIFO opens without waiting for somebody at the other end.
int OpenFlags(const Path &place, int flags) {
  struct stat status;
  if (!place.OnBoard() || (flags & O_ACCMODE) == O_RDWR) return flags;
  if (stat(place, &status) != 0 || !S_ISFIFO(status.st_mode)) return flags;
  return (flags & ~O_ACCMODE) | O_RDWR;
}

template <typename Call>
int OpenWith(const char *path, int flags, Call call) {
  const Path place(path);
  if (!MayOpen("open", path, place)) return -1;
  const int fd = call(place, OpenFlags(place, flags));
  Opened(path, place, fd);
  return fd;
}

template <typename Call>
FILE *FopenWith(const char *path, Call call) {
  const Path place(path);
  if (!MayOpen("fopen", path, place)) return nullptr;
  FILE *file = call(place);
  Opened(path, place, file != nullptr ? fileno(file) : -1);
  return file;
}

}  // namespace

extern "C" {

#define INTERCEPT_OPEN(name)                                                             \
  int name(const char *path, int flags, ...) {                                           \
    NEXT(name);                                                                          \
    mode_t mode = 0;                                                                     \
    if (NeedsMode(flags)) {                                                              \
      va_list arguments;                                                                 \
      va_start(arguments, flags);                                                        \
      mode = va_arg(arguments, mode_t);                                                  \
      va_end(arguments);                                                                 \
    }                                                                                    \
    return OpenWith(path, flags,                                                         \
                    [&](const char *place, int how) { return next(place, how, mode); }); \
  }
INTERCEPT_OPEN(open)
INTERCEPT_OPEN(open64)

#define INTERCEPT_OPENAT(name)                                                                   \
  int name(int folder, const char *path, int flags, ...) {                                       \
    NEXT(name);                                                                                  \
    mode_t mode = 0;                                                                             \
    if (NeedsMode(flags)) {                                                                      \
      va_list arguments;                                                                         \
      va_start(arguments, flags);                                                                \
      mode = va_arg(arguments, mode_t);                                                          \
      va_end(arguments);                                                                         \
    }                                                                                            \
    return OpenWith(path, flags,                                                                 \
                    [&](const char *place, int how) { return next(folder, place, how, mode); }); \
  }
INTERCEPT_OPENAT(openat)
INTERCEPT_OPENAT(openat64)

// What the fortified headers call when the flags are known not to create.
int __open_2(const char *path, int flags);
int __open64_2(const char *path, int flags);
int __open_2(const char *path, int flags) {
  return open(path, flags);
}
int __open64_2(const char *path, int flags) {
  return open64(path, flags);
}

int creat(const char *path, mode_t mode) {
  return open(path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}
int creat64(const char *path, mode_t mode) {
  return open64(path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

#define INTERCEPT_FOPEN(name)                                                     \
  FILE *name(const char *path, const char *mode) {                                \
    NEXT(name);                                                                   \
    return FopenWith(path, [&](const char *place) { return next(place, mode); }); \
  }
INTERCEPT_FOPEN(fopen)
INTERCEPT_FOPEN(fopen64)

#define INTERCEPT_FREOPEN(name)                                                         \
  FILE *name(const char *path, const char *mode, FILE *file) {                          \
    NEXT(name);                                                                         \
    return FopenWith(path, [&](const char *place) { return next(place, mode, file); }); \
  }
INTERCEPT_FREOPEN(freopen)
INTERCEPT_FREOPEN(freopen64)

// Calls that only need the other path. "place" is the path on the board.
#define INTERCEPT_PATH(type, name, parameters, ...) \
  type name parameters {                            \
    NEXT(name);                                     \
    const Path place(path);                         \
    return next(__VA_ARGS__);                       \
  }
INTERCEPT_PATH(int, stat, (const char *path, struct stat *result), place, result)
INTERCEPT_PATH(int, stat64, (const char *path, struct stat64 *result), place, result)
INTERCEPT_PATH(int, lstat, (const char *path, struct stat *result), place, result)
INTERCEPT_PATH(int, lstat64, (const char *path, struct stat64 *result), place, result)
INTERCEPT_PATH(int, fstatat, (int folder, const char *path, struct stat *result, int flags), folder,
               place, result, flags)
INTERCEPT_PATH(int, fstatat64, (int folder, const char *path, struct stat64 *result, int flags),
               folder, place, result, flags)
INTERCEPT_PATH(int, statx,
               (int folder, const char *path, int flags, unsigned mask, struct statx *result),
               folder, place, flags, mask, result)
INTERCEPT_PATH(int, statfs, (const char *path, struct statfs *result), place, result)
INTERCEPT_PATH(int, statfs64, (const char *path, struct statfs64 *result), place, result)
INTERCEPT_PATH(int, statvfs, (const char *path, struct statvfs *result), place, result)
INTERCEPT_PATH(int, statvfs64, (const char *path, struct statvfs64 *result), place, result)
INTERCEPT_PATH(int, access, (const char *path, int mode), place, mode)
INTERCEPT_PATH(int, faccessat, (int folder, const char *path, int mode, int flags), folder, place,
               mode, flags)
INTERCEPT_PATH(int, chmod, (const char *path, mode_t mode), place, mode)
INTERCEPT_PATH(int, chown, (const char *path, uid_t owner, gid_t group), place, owner, group)
INTERCEPT_PATH(int, mkdir, (const char *path, mode_t mode), place, mode)
INTERCEPT_PATH(int, mkdirat, (int folder, const char *path, mode_t mode), folder, place, mode)
INTERCEPT_PATH(int, mkfifo, (const char *path, mode_t mode), place, mode)
INTERCEPT_PATH(int, rmdir, (const char *path), place)
INTERCEPT_PATH(int, unlink, (const char *path), place)
INTERCEPT_PATH(int, unlinkat, (int folder, const char *path, int flags), folder, place, flags)
INTERCEPT_PATH(int, remove, (const char *path), place)
INTERCEPT_PATH(int, truncate, (const char *path, off_t size), place, size)
INTERCEPT_PATH(int, truncate64, (const char *path, off64_t size), place, size)
INTERCEPT_PATH(ssize_t, readlink, (const char *path, char *target, size_t size), place, target,
               size)
INTERCEPT_PATH(int, chdir, (const char *path), place)
INTERCEPT_PATH(char *, realpath, (const char *path, char *resolved), place, resolved)

int rename(const char *path, const char *target) {
  NEXT(rename);
  return next(Path(path), Path(target));
}

int symlink(const char *content, const char *path) {
  NEXT(symlink);
  return next(content, Path(path));
}

int link(const char *path, const char *target) {
  NEXT(link);
  return next(Path(path), Path(target));
}

}  // extern "C"
