#include "Base/standard_descriptors.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

namespace libsys::base {
namespace {

struct {
  bool seenTo = false;  // the program itself has seen to its standard descriptors
} state;

// Close-on-exec until it stands in a gap: another thread may start a program meanwhile.
int OpenNull() {
  return open("/dev/null", O_RDWR | O_CLOEXEC);
}

unsigned FillGaps() {
  unsigned closed = 0;
  int fd = OpenNull();
  for (; fd >= 0 && fd <= STDERR_FILENO; fd = OpenNull()) {
    fcntl(fd, F_SETFD, 0);
    closed |= 1U << fd;
  }
  if (fd >= 0) close(fd);
  return closed;
}

}  // namespace

unsigned OpenStandardDescriptors() {
  state.seenTo = true;
  return FillGaps();
}

int Open(const char *path, int flags, mode_t mode) {
  if (!state.seenTo && (flags & O_ACCMODE) != O_RDONLY) FillGaps();
  return MoveAboveStandard(open(path, flags | O_CLOEXEC, mode));
}

FILE *OpenFile(const char *path, const char *mode) {
  if (!state.seenTo && strcmp(mode, "re") != 0) FillGaps();
  FILE *file = fopen(path, mode);
  if (file == nullptr || fileno(file) > STDERR_FILENO) return file;
  const int fd = fcntl(fileno(file), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  fclose(file);
  file = fd < 0 ? nullptr : fdopen(fd, mode);
  if (file == nullptr && fd >= 0) close(fd);
  return file;
}

int MoveAboveStandard(int fd) {
  if (fd < 0 || fd > STDERR_FILENO) return fd;
  const int moved = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int error = errno;
  close(fd);
  errno = error;
  return moved;
}

}  // namespace libsys::base
