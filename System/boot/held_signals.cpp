#include "System/boot/held_signals.h"

#include <errno.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>

namespace libsys::boot {
namespace {

constexpr int kHeld[] = {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM};

struct {
  std::atomic<int> came[std::size(kHeld)];  // which of them came, in the same order
  std::atomic<int> holding{0};
} state;

// The holder and the handler that another thread still runs may both come here: one of them sends.
void SendAgain(size_t held) {
  int yes = 1;
  if (state.came[held].compare_exchange_strong(yes, 0)) kill(getpid(), kHeld[held]);
}

// Runs in any thread, and may end only when the holder has gone.
void Note(int number) {
  const int error = errno;
  const auto held = static_cast<size_t>(std::ranges::find(kHeld, number) - std::begin(kHeld));
  state.came[held] = 1;
  if (state.holding == 0) SendAgain(held);
  errno = error;
}

}  // namespace

HeldSignals::HeldSignals() {
  static_assert(kCount == std::size(kHeld));
  struct sigaction note = {};
  note.sa_handler = Note;
  note.sa_flags = SA_RESTART;
  sigfillset(&note.sa_mask);
  state.holding = 1;
  for (size_t i = 0; i < kCount; ++i) {
    sigaction(kHeld[i], nullptr, &before_[i]);
    // One that the process ignores does no harm; a handler would interrupt what other threads wait
    // for.
    if (before_[i].sa_handler != SIG_IGN) sigaction(kHeld[i], &note, nullptr);
  }
}

// First all of them as they were: what the first one does may end the process or find its way
// past this place.
HeldSignals::~HeldSignals() {
  for (size_t i = 0; i < kCount; ++i) sigaction(kHeld[i], &before_[i], nullptr);
  state.holding = 0;
  for (size_t i = 0; i < kCount; ++i) SendAgain(i);
}

}  // namespace libsys::boot
