// The event log: one line an event, written in one piece, so that every process on the board
// can add to it and a reader sees whole lines in the order in which things happened. Signal
// handlers cause events too: nothing here takes memory from the heap.
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>

#include "vboard/board.h"
#include "vboard/device.h"
#include "vboard/real.h"

namespace vboard {
namespace {

// Opened for each event and closed again: programs on the board see no descriptor of ours.
// A log that cannot be written must not change what the program on the board does.
void Append(const char *path, int flags, const char *text, size_t length) {
  const int fd = real::open(path, O_WRONLY | O_CLOEXEC | O_NOCTTY | flags);
  if (fd < 0) return;
  // Nobody waits for good for a terminal that nobody reads: its reader may be who writes here.
  for (int attempt = 0; attempt < 100 && length > 0; ++attempt) {
    const ssize_t written = real::write(fd, text, length);
    if (written < 0 && errno != EAGAIN) break;
    if (written < 0) real::sleep({0, 1'000'000});
    if (written < 0) continue;
    text += written;
    length -= static_cast<size_t>(written);
  }
  real::close(fd);
}

void Write(const char *format, va_list arguments) {
  // The marks around the line tell the console's reader events from text.
  char line[400] = "\x1e";
  int length =
      1 + snprintf(line + 1, sizeof line - 1, "%12.6f [%d] ", BoardTime(), ProcessNumber());
  length +=
      vsnprintf(line + length, sizeof line - 2 - static_cast<size_t>(length), format, arguments);
  length = std::min(length, static_cast<int>(sizeof line) - 3);
  std::replace_if(
      line + 1, line + length, [](char c) { return c >= 0 && c < ' '; }, ' ');
  line[length] = '\n';
  line[length + 1] = '\x1f';
  Append(EventsPath(), O_APPEND, line + 1, static_cast<size_t>(length));
  if (State().console[0] != '\0') {
    line[length] = '\x1f';
    Append(State().console, O_NONBLOCK, line, static_cast<size_t>(length) + 1);
  }
}

}  // namespace

void Event(const char *format, ...) {
  const int kept = errno;
  static thread_local bool settling = false;
  if (!settling) {
    settling = true;
    for (const Device *device : Devices()) {
      if (device->settle != nullptr) device->settle();
    }
    settling = false;
  }
  va_list arguments;
  va_start(arguments, format);
  Write(format, arguments);
  va_end(arguments);
  errno = kept;
}

}  // namespace vboard
