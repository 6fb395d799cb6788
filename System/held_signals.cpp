#include "System/held_signals.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>

namespace boot {
namespace {

constexpr int kHeld[] = {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM};

// Which of them came, in the same order.
std::atomic<bool> came[std::size(kHeld)];

// Any thread's, so it only notes the signal.
void Note(int number) {
  const auto held = std::find(std::begin(kHeld), std::end(kHeld), number);
  came[held - std::begin(kHeld)].store(true, std::memory_order_relaxed);
}

}  // namespace

HeldSignals::HeldSignals() {
  static_assert(kCount == std::size(kHeld));
  struct sigaction note = {};
  note.sa_handler = Note;
  note.sa_flags = SA_RESTART;
  sigfillset(&note.sa_mask);
  for (size_t i = 0; i < kCount; ++i) {
    came[i].store(false, std::memory_order_relaxed);
    sigaction(kHeld[i], &note, &before_[i]);
  }
}

// First all of them as they were: what the first one does may end the process or find its way
// past this place.
HeldSignals::~HeldSignals() {
  for (size_t i = 0; i < kCount; ++i) sigaction(kHeld[i], &before_[i], nullptr);
  for (size_t i = 0; i < kCount; ++i) {
    if (came[i].load(std::memory_order_relaxed)) kill(getpid(), kHeld[i]);
  }
}

}  // namespace boot
