#include "Uart/frontboard/infrared.h"

#include <array>
#include <atomic>
#include <initializer_list>

#include "libsys/frontboard.h"

namespace libsys::panel {
namespace {

// The code of the key event for each raw code; 0 where there is none.
using Codes = std::array<uint8_t, 256>;

struct Translation {
  uint8_t rawCode;
  uint8_t code;
};

consteval Codes Table(std::initializer_list<Translation> translations) {
  Codes codes = {};
  for (const auto &[rawCode, code] : translations) codes[rawCode] = code;
  return codes;
}

// clang-format off
constexpr Codes kOem2 = Table({
    {0, 0x93}, {2, 0xa1}, {3, 0xa2}, {6, 0xa3}, {8, 0x91}, {11, 0x97}, {13, 0xa4}, {14, 0x82},
    {15, 0x83}, {16, 0x9c}, {17, 0x82}, {18, 0x96}, {19, 0x95}, {20, 0x9b}, {21, 0x9e}, {22, 0x99},
    {23, 0x9a}, {24, 0xa0}, {25, 0x9e}, {27, 0x9d}, {28, 0x90}, {29, 0x87}, {30, 0x86}, {31, 0x85},
    {64, 0x8b}, {65, 0x8a}, {66, 0x89}, {67, 0x8f}, {68, 0x8e},
});
constexpr Codes kOem4 = Table({
    {0, 0x9e}, {1, 0x87}, {2, 0x86}, {3, 0x85}, {4, 0x8b}, {5, 0x8a}, {6, 0x89}, {7, 0x8f},
    {8, 0x8e}, {9, 0x8d}, {10, 0x94}, {11, 0x8c}, {12, 0xfe}, {13, 0x93}, {14, 0x93}, {15, 0x9b},
    {16, 0x9e}, {17, 0x82}, {18, 0x95}, {19, 0x70}, {20, 0x84}, {21, 0x99}, {22, 0x71}, {23, 0x98},
    {29, 0x9a}, {30, 0x96}, {84, 0x9c},
});
constexpr Codes kOem9 = Table({
    {0, 0x9e}, {1, 0x87}, {2, 0x86}, {3, 0x85}, {4, 0x8b}, {5, 0x8a}, {6, 0x89}, {7, 0x8f},
    {8, 0x8e}, {9, 0x8d}, {10, 0x97}, {11, 0x90}, {13, 0x82}, {14, 0x93}, {15, 0x9b}, {16, 0x84},
    {17, 0x9f}, {18, 0x95}, {19, 0x91}, {20, 0x80}, {21, 0x99}, {22, 0x9e}, {23, 0x9f}, {24, 0x92},
    {25, 0x94}, {27, 0x84}, {28, 0x91}, {29, 0x9a}, {30, 0x96}, {31, 0x82}, {64, 0x83}, {65, 0x96},
    {84, 0x9d},
});
constexpr Codes kOem6 = Table({
    {1, 0x87}, {2, 0x86}, {3, 0x85}, {4, 0x8b}, {5, 0x8a}, {6, 0x89}, {7, 0x8f}, {8, 0x8e},
    {9, 0x8d}, {10, 0x92}, {11, 0x90}, {12, 0x96}, {14, 0x82}, {16, 0x9e}, {18, 0x9e}, {19, 0x71},
    {20, 0x9f}, {21, 0x9e}, {23, 0x84}, {24, 0x94}, {25, 0x82}, {26, 0x99}, {27, 0x95}, {28, 0x96},
    {29, 0x82}, {30, 0x9b}, {31, 0x9a}, {64, 0x9c}, {65, 0x83}, {66, 0x8c}, {67, 0x91}, {68, 0x84},
});
constexpr Codes kOem14 = Table({
    {0, 0x9e}, {1, 0x87}, {2, 0x86}, {3, 0x85}, {4, 0x8b}, {5, 0x8a}, {6, 0x89}, {7, 0x8f},
    {8, 0x8e}, {9, 0x8d}, {10, 0x94}, {11, 0x90}, {13, 0x82}, {14, 0x81}, {15, 0x9b}, {16, 0x9e},
    {17, 0x93}, {18, 0x95}, {19, 0x91}, {20, 0x80}, {21, 0x99}, {22, 0x91}, {23, 0x9f}, {24, 0x92},
    {25, 0x94}, {27, 0x84}, {28, 0x71}, {29, 0x9a}, {30, 0x96}, {31, 0x82}, {64, 0x83}, {65, 0x96},
    {84, 0x8c},
});
// clang-format on
constexpr Codes kNone = {};

struct {
  // A table stands as a whole: whoever reads keys meanwhile sees the old one or the new one.
  std::atomic<const Codes *> FrontIrTable = &kNone;
} state;

// Raw codes that stand for keys of the panel.
struct PanelKey {
  int32_t variant;
  uint8_t rawCode;
  uint8_t group;
  uint8_t code;
};
constexpr PanelKey kPanelKeys[] = {
    {4, 12, 0x1a, 0xfe},  {4, 22, 0x1e, 0xbf},   {4, 19, 0x1f, 0xfb}, {4, 16, 0x1e, 0xef},
    {4, 23, 0x1f, 0xf7},  {4, 10, 0x1f, 0xfd},   {6, 15, 0x1a, 0xfe}, {9, 12, 0x1a, 0xfe},
    {11, 12, 0x1a, 0xfe}, {15, 192, 0x1a, 0xfe},
};

// Null where the OEM type's panel has no remote control of its own.
const Codes *CodesOfType2(const Board &board) {
  switch (board.variant) {
    case 2:
      return &kOem2;
    case 4:
      return &kOem4;
    case 9:
      return &kOem9;
    case 6:
      return FrontboardVariantA == 1 ? &kOem6 : nullptr;
    case 14:
      // Chosen although the codes of these panels are passed on as they are.
      return board.product != 4 ? &kOem14 : nullptr;
    case 8:
      return FrontboardVariantB == 0 ? &kNone : nullptr;
    default:
      return nullptr;
  }
}

// Null where a front board does all that.
const Codes *CodesOf(const Board &board) {
  const Codes *codes = board.type == 2 ? CodesOfType2(board) : nullptr;
  if (codes == nullptr && board.panel == product::kPanel30) codes = &kNone;
  return codes;
}

bool PassesRawCodes(const Board &board) {
  return identity::IsOneOf(board.variant, {8, 14, 15, 20}) || HasProductPanel(board);
}

}  // namespace

bool ChooseInfraredTable(const Board &board) {
  const Codes *codes = CodesOf(board);
  if (codes != nullptr) state.FrontIrTable = codes;
  return codes != nullptr;
}

void InfraredEvent(const Board &board, uint8_t rawCode, uint8_t *event) {
  event[0] = 0xff;
  event[1] = 0x01;
  event[2] = PassesRawCodes(board) ? rawCode : (*state.FrontIrTable.load())[rawCode];
  for (const PanelKey &key : kPanelKeys) {
    if (key.variant != board.variant || key.rawCode != rawCode) continue;
    event[1] = key.group;
    event[2] = key.code;
  }
}

}  // namespace libsys::panel
