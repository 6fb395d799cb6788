// The event log: one line an event, written in one piece, so that every process on the board
// can add to it and a reader sees whole lines in the order in which things happened. A mark on the
// console says how long the log was when the next text came; see Transcript. Signal
// handlers cause events too: nothing here takes memory from the heap.
#include <errno.h>
#include <fcntl.h>
#include <inttypes.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>

#include "vboard/board.h"
#include "vboard/device.h"
#include "vboard/real.h"
#include "vboard/transcript.h"

namespace vboard {
namespace {

// Both files are opened for each event and closed again: programs on the board see no descriptor of
// ours. A log that cannot be written must not change what the program on the board does, and ends
// the machine. But a program that has no descriptor left loses its events, and the board goes on.

// The log's length up to and with the line, or -1.
int64_t AppendToLog(const char *line, size_t length) {
  const int fd = real::open(EventsPath(), O_WRONLY | O_APPEND | O_CLOEXEC);
  if (fd < 0) {
    if (errno != EMFILE && errno != ENFILE) State().logFailed = true;
    return -1;
  }
  const bool whole = real::write(fd, line, length) == static_cast<ssize_t>(length);
  const int64_t end = whole ? real::seek(fd, 0, SEEK_CUR) : -1;
  real::close(fd);
  if (end < 0) State().logFailed = true;
  return end;
}

// Nobody waits for good for a terminal that nobody reads: its reader may be who writes here. False
// when it did not take the mark.
bool MarkConsole(int64_t end) {
  char mark[kMarkLength + 1];
  snprintf(mark, sizeof mark, "%c%s%016" PRIx64, kMarkStart, State().mark, end);
  const int fd = real::open(State().console, O_WRONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (fd < 0) return false;
  bool whole = false;
  for (int attempt = 0; attempt < 100 && !whole; ++attempt) {
    if (attempt > 0) real::sleep({0, 1'000'000});
    whole = real::write(fd, mark, kMarkLength) == static_cast<ssize_t>(kMarkLength);
  }
  real::close(fd);
  return whole;
}

void Write(const char *text) {
  char line[kLongestEvent + 1];
  const int whole =
      snprintf(line, sizeof line, "%12.6f [%d] %s", BoardTime(), ProcessNumber(), text);
  const int length = std::min(whole, static_cast<int>(sizeof line) - 1);
  std::replace_if(
      line, line + length, [](char c) { return c >= 0 && c < ' '; }, ' ');
  line[length] = '\n';
  const int64_t end = AppendToLog(line, static_cast<size_t>(length) + 1);
  if (end >= 0 && State().console[0] != '\0' && !MarkConsole(end)) State().unmarked = true;
}

}  // namespace

// No place where a thread can be cancelled, as what it tells of may be none.
void Event(const char *format, ...) {
  const int kept = errno;
  int cancel;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel);
  static thread_local bool settling = false;
  if (!settling) {
    settling = true;
    for (const Device *device : Devices()) {
      if (device->settle != nullptr) device->settle();
    }
    settling = false;
  }
  char text[kLongestEvent + 1];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  Write(text);
  pthread_setcancelstate(cancel, nullptr);
  errno = kept;
}

}  // namespace vboard
