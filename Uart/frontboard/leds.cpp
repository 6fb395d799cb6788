#include "Uart/frontboard/leds.h"

#include <stddef.h>

#include <array>
#include <optional>

#include "libsys/frontboard.h"
#include "libsys/gpio.h"
#include "libsys/version.h"

namespace libsys::panel {
namespace {

constexpr int32_t kCommandLength = 4;
constexpr uint8_t kFirstCommand = 0x09;

// The LEDs that only boards of chip/board type 2 have.
std::optional<LedPanel> LedsOfType2(const Board &board) {
  switch (board.variant) {
    case 2:
      return LedPanel::kOem2;
    case 4:
      return (DvrBoardByte & 0x1f) == 16 ? LedPanel::kOem4Board16 : LedPanel::kOem4;
    case 8:
      if (FrontboardVariantB != 0) return std::nullopt;
      return LedPanel::kOem8;
    case 9:
      return LedPanel::kOem9;
    case 14:
      if (board.product != 2 && board.product != 3) return std::nullopt;
      if (FrontboardPanelModel == 92) return LedPanel::kOem14Model92;
      return FrontboardPanelModel == 99 ? LedPanel::kOem14Model99 : LedPanel::kOem14;
    case 15:
      if (board.product != 2 && board.product != 3) return std::nullopt;
      return LedPanel::kOem15;
    case 6:
      if (FrontboardVariantA != 1) return std::nullopt;
      return FrontboardVariantD == 1 ? LedPanel::kOem6VariantD : LedPanel::kOem6;
    default:
      return std::nullopt;
  }
}

std::optional<LedPanel> LedPanelOf(const Board &board) {
  const auto leds = board.type == 2 ? LedsOfType2(board) : std::nullopt;
  if (leds) return leds;
  if (board.variant == 20 && FrontboardVariantC == 1) return LedPanel::kOem20;
  if (board.variant == 13 || board.panel == product::kPanel30) return LedPanel::kOem13;
  return std::nullopt;
}

// Every value but 0 and 1 drives an inverted LED's line low.
uint32_t Level(Drive drive, uint8_t value) {
  if (drive == Drive::kRaw) return value;
  return value <= 1 ? 1U - value : 0U;
}

}  // namespace

const LedWiring *LedsOf(const Board &board) {
  const auto leds = LedPanelOf(board);
  if (!leds) return nullptr;
  return &kLedWirings[static_cast<size_t>(*leds)];
}

int32_t DriveLed(const LedWiring &wiring, const uint8_t *command, int32_t length) {
  if (command == nullptr || length != kCommandLength) return 0;
  if (command[0] != 0xff || command[1] != 0xdd || command[2] < kFirstCommand) return 0;
  const size_t index = command[2] - size_t{kFirstCommand};
  if (index >= wiring.leds.size() || wiring.leds[index].drive == Drive::kNone) return 0;
  const auto &[drive, line] = wiring.leds[index];
  GpioWrite(line.group, line.bit, Level(drive, command[3]));
  return index == 0 && wiring.denies09 ? 0 : kCommandLength;
}

}  // namespace libsys::panel
