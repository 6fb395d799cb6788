// LEDs on lines of the main board.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <array>

#include "Uart/frontboard/panel.h"

namespace libsys::panel {

enum class Drive : uint8_t { kNone, kRaw, kInverted };

struct Led {
  Drive drive = Drive::kNone;
  Line line = {};
};

enum class LedPanel : uint8_t {
  kOem2,
  kOem4Board16,
  kOem4,
  kOem8,
  kOem9,
  kOem14Model92,
  kOem14Model99,
  kOem14,
  kOem15,
  kOem6VariantD,
  kOem6,
  kOem13,  // and products 30 to 32
  kOem20,
  kCount,
};

// What the commands FF DD 09 to FF DD 0E drive.
struct LedWiring {
  LedPanel panel;
  std::array<Led, 6> leds;
  // On purpose: 09 is carried out, but answered as if it were no command.
  bool denies09 = false;
};

constexpr Led Raw(uint8_t group, uint8_t bit) {
  return {Drive::kRaw, {group, bit}};
}
constexpr Led Inv(uint8_t group, uint8_t bit) {
  return {Drive::kInverted, {group, bit}};
}
inline constexpr Led kNone = {};

// clang-format off
inline constexpr LedWiring kLedWirings[] = {
    //                         09         0A         0B         0C         0D         0E
    {LedPanel::kOem2,         {Inv(1, 6), Inv(1, 3), kNone,     kNone,     Inv(0, 6), kNone    }},
    {LedPanel::kOem4Board16,  {Inv(1, 4), Inv(4, 5), kNone,     kNone,     kNone,     Inv(4, 0)}},
    {LedPanel::kOem4,         {Inv(2, 0), kNone,     kNone,     kNone,     kNone,     Inv(3, 7)}},
    {LedPanel::kOem8,         {Inv(2, 5), kNone,     kNone,     Inv(3, 7), kNone,     kNone    }, true},
    {LedPanel::kOem9,         {Inv(1, 3), Inv(0, 6), kNone,     Inv(0, 6), Inv(1, 4), kNone    }},
    {LedPanel::kOem14Model92, {Raw(5, 1), kNone,     Raw(5, 0), Raw(5, 1), kNone,     kNone    }},
    {LedPanel::kOem14Model99, {kNone,     kNone,     Raw(5, 1), Raw(1, 4), kNone,     kNone    }},
    {LedPanel::kOem14,        {Raw(5, 0), kNone,     Raw(5, 1), Raw(5, 0), kNone,     kNone    }},
    {LedPanel::kOem15,        {kNone,     kNone,     kNone,     Raw(2, 1), kNone,     kNone    }},
    {LedPanel::kOem6VariantD, {kNone,     kNone,     Inv(3, 6), Inv(3, 7), kNone,     kNone    }},
    {LedPanel::kOem6,         {Raw(1, 3), kNone,     kNone,     kNone,     kNone,     kNone    }},
    {LedPanel::kOem13,        {Raw(1, 3), kNone,     Raw(1, 4), kNone,     kNone,     kNone    }},
    {LedPanel::kOem20,        {Raw(1, 3), kNone,     kNone,     Raw(1, 4), kNone,     kNone    }, true},
};
// clang-format on

// In the order of the panels, so that each has its row.
constexpr bool AreComplete() {
  size_t panel = 0;
  for (const LedWiring &wiring : kLedWirings) {
    if (wiring.panel != static_cast<LedPanel>(panel++)) return false;
  }
  return panel == static_cast<size_t>(LedPanel::kCount);
}
static_assert(AreComplete());

// The wiring of this board; null where a front board has the LEDs.
const LedWiring *LedsOf(const Board &board);

// Carries out a command of length bytes. Returns 4, or 0 for one that is none of this panel's.
int32_t DriveLed(const LedWiring &wiring, const uint8_t *command, int32_t length);

}  // namespace libsys::panel
