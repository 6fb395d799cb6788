// A program's start on the board and its end: the first and the last that the board hears of it.
#include <stdlib.h>
#include <string.h>

#include <exception>

#include "vboard/board.h"
#include "vboard/intercept/intercept.h"

using vboard::Event;

vboard::BoardEnvironment vboard::boardEnvironment;

extern "C" {

void _exit(int status) {
  NEXT(_exit);
  if (vboard::Attached()) Event("exit: status %d", status & 0xff);
  next(status);
  __builtin_unreachable();
}

void _Exit(int status) {
  _exit(status);
}

}  // extern "C"

namespace {

// A program that is started with the board's library in front of the C library's finds its
// board in the environment. Without one, nothing is redirected.
[[gnu::constructor]] void AttachFromEnvironment() {
  const char *folder = getenv("VBOARD_FOLDER");
  if (folder == nullptr) return;
  const char *library = getenv("LD_PRELOAD");
  vboard::boardEnvironment = {strdup(library != nullptr ? library : ""), strdup(folder)};
  try {
    vboard::Attach(folder);
  } catch (const std::exception &error) {
    fprintf(stderr, "vboard: %s\n", error.what());
    _exit(127);
  }
  vboard::AdoptDescriptors();
  on_exit([](int status, void *) { Event("exit: status %d", status & 0xff); }, nullptr);
}

}  // namespace
