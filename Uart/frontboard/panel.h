// What the front-panel code branches on.
#pragma once

#include <stdint.h>

#include "System/version/boot_parameters.h"
#include "System/version/line.h"
#include "System/version/products.h"

namespace libsys::panel {

struct Board {
  int32_t type;     // chip/board type
  int32_t variant;  // OEM type
  int32_t product;  // product type
  int32_t panel;    // product::kPanel..., or product::kByOem
};

Board ThisBoard();

// True where keys come from the queue, false where a front board sends them on its port.
bool HasKeyQueue(const Board &board);

// Products 27 to 32: keys come from the queue, whatever the OEM type, and codes of the remote
// control go through as they are.
constexpr bool HasProductPanel(const Board &board) {
  return board.panel == product::kPanel27 || board.panel == product::kPanel30;
}

// True where these products also have their own key matrix, that is, its keys and its pins: with
// every OEM type that has no keys of its own. With OEM type 8, whose pins belong to the keys that
// all other boards share, only the LEDs are the OEM type's.
constexpr bool HasProductMatrix(const Board &board) {
  return HasProductPanel(board) &&
         !identity::IsOneOf(board.variant, {2, 4, 6, 9, 11, 13, 14, 15, 20});
}

}  // namespace libsys::panel
