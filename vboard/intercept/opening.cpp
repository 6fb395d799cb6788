// Opening files by their names: open, creat, fopen and their forms.
#include <errno.h>
#include <string.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>

#include "vboard/board.h"
#include "vboard/faults.h"
#include "vboard/files.h"
#include "vboard/intercept/intercept.h"

using vboard::Last;
using vboard::MayReach;
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

Last LastOfOpen(int flags) {
  const bool asItIs =
      (flags & O_NOFOLLOW) != 0 || (flags & (O_CREAT | O_EXCL)) == (O_CREAT | O_EXCL);
  return asItIs ? Last::kAsItIs : Last::kFollowed;
}

template <typename Call>
int OpenWith(int folder, const char *path, int flags, Call call) {
  const Path place(path, LastOfOpen(flags), folder);
  if (!MayReach("open", place)) return -1;
  if (const int error = vboard::OpenError(place, flags)) {
    errno = error;
    return -1;
  }
  const int fd = call(place, OpenFlags(place, flags));
  Opened(place, fd);
  return fd;
}

template <typename Call>
FILE *FopenWith(const char *path, Call call) {
  const Path place(path);
  if (!MayReach("fopen", place)) return nullptr;
  FILE *file = call(place);
  Opened(place, file != nullptr ? fileno(file) : -1);
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
    return OpenWith(AT_FDCWD, path, flags,                                               \
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
    return OpenWith(folder, path, flags,                                                         \
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
int __openat_2(int folder, const char *path, int flags);
int __openat64_2(int folder, const char *path, int flags);
int __openat_2(int folder, const char *path, int flags) {
  return openat(folder, path, flags);
}
int __openat64_2(int folder, const char *path, int flags) {
  return openat64(folder, path, flags);
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

}  // extern "C"
