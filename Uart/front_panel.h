// What the front-panel code branches on.
#pragma once

#include <stdint.h>

namespace panel {

struct Board {
  int32_t type;     // chip/board type
  int32_t variant;  // OEM type
  int32_t product;  // product type
};

Board ThisBoard();

// True where keys come from the queue, false where a front board sends them on its port.
bool HasKeyQueue(const Board &board);

// Products 27 to 32, whose panel is the same on every OEM type that has none of its own. A
// product 32 of OEM type 6 is not one of them.
constexpr bool HasProductPanel(const Board &board) {
  if (board.product == 32) return board.variant != 6;
  return board.product >= 27 && board.product <= 31;
}

// A GPIO line.
struct Line {
  uint8_t group;
  uint8_t bit;
  bool operator==(const Line &) const = default;
};

}  // namespace panel
