// The keys of each panel's matrix.
#pragma once

#include <stdint.h>

#include <array>

#include "Uart/frontboard/panel.h"

namespace libsys::panel {

// The key's event, all FF where the matrix has no key, and the level that its input had when
// it was last sampled; FF as long as none was, so that the first scan reports the key.
struct Key {
  uint8_t sync;
  uint8_t group;
  uint8_t code;
  uint8_t level;
};

// By key number: scan line times 5 plus sense line.
using Keys = std::array<Key, 25>;

// The keys of this board's matrix. Only the scanning thread writes to them, and only to the
// levels.
Keys &KeysOf(const Board &board);

// Stores a key's group and code, and what stands for sync, in the first three bytes of an event.
// Leaves them alone, with a message, on an OEM-9 panel of unknown sub-type.
void KeyEvent(const Board &board, uint8_t number, uint8_t *event);

}  // namespace libsys::panel
