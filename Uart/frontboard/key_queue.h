// The queue from the scanning thread to the reader of keys: one producer, one consumer, no
// lock. It is never full: a producer that laps the reader overwrites what was not read.
#pragma once

#include <stdint.h>

namespace libsys::panel {

constexpr uint8_t kInfraredSource = 25;

struct QueueEntry {
  uint8_t source;  // key number 0 to 24, or kInfraredSource
  uint8_t code;    // of the remote control
  uint8_t state;
};

void PutKey(QueueEntry entry);

// The oldest entry, which stays in the queue until DropKey. Blocks until there is one.
QueueEntry WaitForKey();
void DropKey();

}  // namespace libsys::panel
