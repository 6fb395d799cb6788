#include "boardctl/messages.h"

#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <unistd.h>

namespace boardctl::messages {
namespace {

struct {
  bool verbose = false;
  int readEnd = -1;
  int writeEnd = -1;  // while it is -1 there is no pipe: messages are shown as they come
} state;

// Neither end makes anybody wait: what a full pipe does not take is lost.
void OpenPipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return;
  state.readEnd = ends[0];
  state.writeEnd = ends[1];
}

// Empties the pipe into the file; without a file the messages are dropped.
void Empty(FILE *file) {
  fflush(stdout);
  char piece[512];
  ssize_t length = 0;
  while ((length = read(state.readEnd, piece, sizeof piece)) > 0) {
    if (file != nullptr) fwrite(piece, 1, static_cast<size_t>(length), file);
  }
}

}  // namespace

void Start(bool verbose) {
  state.verbose = verbose;
  setvbuf(stdout, nullptr, _IOLBF, 0);
  OpenPipe();
  dup2(STDERR_FILENO, STDOUT_FILENO);
  if (!verbose) SetAside();
}

void SetAside() {
  fflush(stdout);
  if (state.writeEnd >= 0) dup2(state.writeEnd, STDOUT_FILENO);
}

bool Any() {
  fflush(stdout);
  pollfd pipe = {state.readEnd, POLLIN, 0};
  return poll(&pipe, 1, 0) > 0;
}

void Forget() {
  Empty(nullptr);
}

void Finish(bool failed) {
  if (failed || state.verbose) Empty(stderr);
}

}  // namespace boardctl::messages
