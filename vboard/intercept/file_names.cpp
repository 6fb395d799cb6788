// File names: calls that look at what a path names, or change it, without opening it.
#include <stdlib.h>
#include <string.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>

#include "vboard/files.h"
#include "vboard/intercept/intercept.h"

using vboard::Last;
using vboard::MayReach;
using vboard::Path;

namespace {

Last LastOf(int flags) {
  return (flags & AT_SYMLINK_NOFOLLOW) != 0 ? Last::kAsItIs : Last::kFollowed;
}

// The path as programs on the board know it; the caller's where there is a buffer.
char *OnBoard(char *found, const Path &place, bool callersBuffer) {
  if (found == nullptr || !place.OnBoard()) return found;
  const std::string path = vboard::BoardPath(found);
  if (path.empty()) return found;
  if (callersBuffer) return static_cast<char *>(memcpy(found, path.c_str(), path.size() + 1));
  free(found);
  return strdup(path.c_str());
}

}  // namespace

extern "C" {

// Calls that only need the other path. "place" is the path on the board, made in the way given;
// the call's name is the one that its faults are planned with.
#define INTERCEPT_PATH(type, name, call, way, parameters, ...) \
  type name parameters {                                       \
    NEXT(name);                                                \
    const Path place way;                                      \
    return MayReach(call, place) ? next(__VA_ARGS__) : -1;     \
  }
#define FOLLOWED (path)
#define AS_IT_IS (path, Last::kAsItIs)
#define FROM_FOLDER (path, LastOf(flags), folder)

INTERCEPT_PATH(int, stat, "stat", FOLLOWED, (const char *path, struct stat *result), place, result)
INTERCEPT_PATH(int, stat64, "stat", FOLLOWED, (const char *path, struct stat64 *result), place,
               result)
INTERCEPT_PATH(int, lstat, "stat", AS_IT_IS, (const char *path, struct stat *result), place, result)
INTERCEPT_PATH(int, lstat64, "stat", AS_IT_IS, (const char *path, struct stat64 *result), place,
               result)
INTERCEPT_PATH(int, fstatat, "stat", FROM_FOLDER,
               (int folder, const char *path, struct stat *result, int flags), folder, place,
               result, flags)
INTERCEPT_PATH(int, fstatat64, "stat", FROM_FOLDER,
               (int folder, const char *path, struct stat64 *result, int flags), folder, place,
               result, flags)
INTERCEPT_PATH(int, statx, "stat", FROM_FOLDER,
               (int folder, const char *path, int flags, unsigned mask, struct statx *result),
               folder, place, flags, mask, result)
INTERCEPT_PATH(int, statfs, "statfs", FOLLOWED, (const char *path, struct statfs *result), place,
               result)
INTERCEPT_PATH(int, statfs64, "statfs", FOLLOWED, (const char *path, struct statfs64 *result),
               place, result)
INTERCEPT_PATH(int, statvfs, "statfs", FOLLOWED, (const char *path, struct statvfs *result), place,
               result)
INTERCEPT_PATH(int, statvfs64, "statfs", FOLLOWED, (const char *path, struct statvfs64 *result),
               place, result)
INTERCEPT_PATH(int, access, "access", FOLLOWED, (const char *path, int mode), place, mode)
INTERCEPT_PATH(int, faccessat, "access", FROM_FOLDER,
               (int folder, const char *path, int mode, int flags), folder, place, mode, flags)
INTERCEPT_PATH(int, chmod, "chmod", FOLLOWED, (const char *path, mode_t mode), place, mode)
INTERCEPT_PATH(int, chown, "chown", FOLLOWED, (const char *path, uid_t owner, gid_t group), place,
               owner, group)
INTERCEPT_PATH(int, mkdir, "mkdir", AS_IT_IS, (const char *path, mode_t mode), place, mode)
INTERCEPT_PATH(int, mkdirat, "mkdir", (path, Last::kAsItIs, folder),
               (int folder, const char *path, mode_t mode), folder, place, mode)
INTERCEPT_PATH(int, mkfifo, "mkfifo", AS_IT_IS, (const char *path, mode_t mode), place, mode)
INTERCEPT_PATH(int, rmdir, "rmdir", AS_IT_IS, (const char *path), place)
INTERCEPT_PATH(int, unlink, "unlink", AS_IT_IS, (const char *path), place)
INTERCEPT_PATH(int, unlinkat, "unlink", (path, Last::kAsItIs, folder),
               (int folder, const char *path, int flags), folder, place, flags)
INTERCEPT_PATH(int, remove, "remove", AS_IT_IS, (const char *path), place)
INTERCEPT_PATH(int, truncate, "truncate", FOLLOWED, (const char *path, off_t size), place, size)
INTERCEPT_PATH(int, truncate64, "truncate", FOLLOWED, (const char *path, off64_t size), place, size)
INTERCEPT_PATH(int, symlink, "symlink", AS_IT_IS, (const char *content, const char *path), content,
               place)
INTERCEPT_PATH(ssize_t, readlink, "readlink", AS_IT_IS,
               (const char *path, char *target, size_t size), place, target, size)
ssize_t __readlink_chk(const char *path, char *target, size_t size, size_t room);
INTERCEPT_PATH(ssize_t, __readlink_chk, "readlink", AS_IT_IS,
               (const char *path, char *target, size_t size, size_t room), place, target, size,
               room)
INTERCEPT_PATH(int, chdir, "chdir", FOLLOWED, (const char *path), place)

char *realpath(const char *path, char *resolved) {
  NEXT(realpath);
  const Path place(path);
  if (!MayReach("realpath", place)) return nullptr;
  return OnBoard(next(place, resolved), place, resolved != nullptr);
}

char *__realpath_chk(const char *path, char *resolved, size_t room);
char *__realpath_chk(const char *path, char *resolved, size_t room) {
  NEXT(__realpath_chk);
  const Path place(path);
  if (!MayReach("realpath", place)) return nullptr;
  return OnBoard(next(place, resolved, room), place, true);
}

// Calls that name two paths.
#define INTERCEPT_TWO_PATHS(name, from, to, parameters, ...)            \
  int name parameters {                                                 \
    NEXT(name);                                                         \
    const Path place from;                                              \
    const Path target to;                                               \
    const bool may = MayReach(#name, place) && MayReach(#name, target); \
    return may ? next(__VA_ARGS__) : -1;                                \
  }
INTERCEPT_TWO_PATHS(rename, AS_IT_IS, (other, Last::kAsItIs), (const char *path, const char *other),
                    place, target)
INTERCEPT_TWO_PATHS(link, AS_IT_IS, (other, Last::kAsItIs), (const char *path, const char *other),
                    place, target)

}  // extern "C"
