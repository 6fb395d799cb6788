// What the front-panel code branches on.
#pragma once

#include <stdint.h>

#include <algorithm>
#include <array>

namespace libsys::panel {

struct Board {
  int32_t type;     // chip/board type
  int32_t variant;  // OEM type
  int32_t product;  // product type
};

Board ThisBoard();

// True where keys come from the queue, false where a front board sends them on its port.
bool HasKeyQueue(const Board &board);

// Products 27 to 32: keys come from the queue, whatever the OEM type, and codes of the remote
// control go through as they are. A product 32 of OEM type 6 is not one of them.
constexpr bool HasProductPanel(const Board &board) {
  if (board.product == 32) return board.variant != 6;
  return board.product >= 27 && board.product <= 31;
}

// True where these products also have their own key matrix, that is, its keys and its pins: with
// every OEM type that has no keys of its own. With OEM type 8, whose pins belong to the keys that
// all other boards share, only the LEDs are the OEM type's.
constexpr bool HasProductMatrix(const Board &board) {
  constexpr std::array kOwnKeys = {2, 4, 6, 9, 11, 13, 14, 15, 20};
  return HasProductPanel(board) &&
         std::find(kOwnKeys.begin(), kOwnKeys.end(), board.variant) == kOwnKeys.end();
}

// A GPIO line.
struct Line {
  uint8_t group;
  uint8_t bit;
  bool operator==(const Line &) const = default;
};

}  // namespace libsys::panel
