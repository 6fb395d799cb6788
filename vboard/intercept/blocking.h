// Calls that wait in the kernel until a descriptor has something for them.
#pragma once

#include "vboard/board.h"
#include "vboard/intercept/intercept.h"
#include "vboard/turns.h"

namespace vboard {

// Makes a call that waits until the descriptor can be read, unless it has a flag of its own that it
// does not. A plain file of the board always can.
template <typename Call>
auto WhenReadable(int fd, Call call, bool waits = true) {
  const Special special = SpecialFile(fd);
  if (!Attached() || (special.onBoard && special.device == nullptr)) return call();
  NEXT(ppoll);
  pollfd readable = {fd, POLLIN, 0};
  const timespec none = {};
  if (next(&readable, 1, &none, nullptr) != 0) return call();
  static constinit real::Next<int(int, int, ...)> status("fcntl");
  if (!waits || (status(fd, F_GETFL) & O_NONBLOCK) != 0) {
    NoteLook();
    return call();
  }
  CallWait wait(kNever, special.outside);
  decltype(call()) result;
  wait.Ends(&result, call);
  return result;
}

}  // namespace vboard
