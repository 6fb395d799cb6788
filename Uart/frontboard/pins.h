// How the key matrices are wired to the main board: the place to change for a board that is
// wired otherwise. Scan lines are driven low one at a time; a pressed key pulls its sense line
// low. The number of a key is its scan line times 5 plus its sense line.
#pragma once

#include <stdint.h>

#include <algorithm>
#include <array>

#include "System/version/board_lines.h"
#include "Uart/frontboard/leds.h"
#include "Uart/frontboard/panel.h"

namespace libsys::panel {

using Lines = std::array<Line, 5>;

struct PinMap {
  int32_t variant;
  Lines scan;
  Lines sense;
};

constexpr Lines Group(uint8_t group, std::array<uint8_t, 5> bits) {
  Lines lines = {};
  for (size_t i = 0; i < lines.size(); ++i) lines[i] = {group, bits[i]};
  return lines;
}

inline constexpr PinMap kPinMaps[] = {
    {2, Group(7, {0, 1, 2, 3, 4}), Group(6, {0, 1, 2, 4, 5})},
    {4, Group(7, {0, 1, 2, 3, 4}), Group(3, {0, 1, 2, 4, 5})},
    {6, Group(7, {3, 4, 5, 6, 7}), Group(2, {2, 3, 4, 6, 7})},
    {8, Group(4, {1, 2, 3, 4, 6}), Group(7, {0, 1, 2, 3, 4})},
    {9, Group(7, {0, 1, 2, 3, 4}), Group(5, {2, 3, 4, 6, 7})},
    {11, Group(3, {0, 1, 2, 4, 5}), Group(6, {0, 1, 2, 4, 5})},
    {13, Group(6, {0, 1, 2, 4, 5}), Group(7, {0, 1, 2, 3, 4})},
    {14, Group(7, {0, 1, 2, 3, 4}), Group(2, {2, 3, 4, 6, 7})},
    {15, Group(7, {3, 4, 5, 6, 7}), Group(3, {0, 1, 2, 4, 5})},
    {20, Group(5, {2, 3, 4, 6, 7}), Group(7, {0, 1, 2, 3, 4})},
};
// For products 27 to 32 where panel::HasProductMatrix says so.
inline constexpr PinMap kProductPins = {0, Group(7, {3, 4, 5, 6, 7}), Group(6, {0, 1, 2, 4, 5})};

constexpr bool IsUsedOtherwise(const Line &line) {
  if (board_lines::IsUsed(line)) return true;
  for (const LedWiring &wiring : kLedWirings) {
    for (const Led &led : wiring.leds) {
      if (led.drive != Drive::kNone && led.line == line) return true;
    }
  }
  return false;
}

// Ten different lines, none of which has another use on any panel.
constexpr bool IsSound(const PinMap &map) {
  for (const Lines *lines : {&map.scan, &map.sense}) {
    for (const Line &line : *lines) {
      if (line.group > 7 || line.bit > 7 || IsUsedOtherwise(line)) return false;
      const auto uses = std::count(map.scan.begin(), map.scan.end(), line) +
                        std::count(map.sense.begin(), map.sense.end(), line);
      if (uses != 1) return false;
    }
  }
  return true;
}
static_assert(std::all_of(std::begin(kPinMaps), std::end(kPinMaps), IsSound));

// HasProductMatrix knows every OEM type that has keys and pins of its own.
constexpr bool KeepsItsPins(const PinMap &map) {
  const Board board = {2, map.variant, 30, product::kPanel30};
  return HasProductMatrix(board) == (map.variant == 8);
}
static_assert(std::all_of(std::begin(kPinMaps), std::end(kPinMaps), KeepsItsPins));
static_assert(IsSound(kProductPins));

}  // namespace libsys::panel
