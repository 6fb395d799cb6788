// What each product is: one row a product type, and behind them what single products, or an OEM
// type on them, have otherwise. A new board is a new row.
#pragma once

#include <stdint.h>

#include <algorithm>
#include <array>

#include "System/version/line.h"

namespace libsys::product {

// Facts that are no numbers.
constexpr int8_t kNone = -1;   // the product has none
constexpr int8_t kCode = -1;   // the raw product code tells
constexpr int8_t kFlags = -2;  // flags of the hardware identity tell
constexpr int8_t kVideo = 0;   // as many as video channels
constexpr int8_t kByOem = -1;  // the OEM type tells

// A count that holds unless the OEM type has one. A plain count holds whatever the OEM type is.
constexpr int8_t kLeastOrOem = 64;
constexpr int8_t OrOem(int8_t count) {
  return static_cast<int8_t>(kLeastOrOem + count);
}

// Sizes, counted in 64 KiB.
constexpr int8_t k64 = 1, k128 = 2;

// The front panels that products bring along whatever their OEM type is.
constexpr int8_t kPanel27 = 27;  // a key matrix of their own
constexpr int8_t kPanel30 = 30;  // the same, with LEDs and a remote control of their own
constexpr int8_t kPanel40 = 40;  // a front board with other key codes and commands
constexpr int8_t kPanel45 = 45;  // a front board with other commands

struct Product {
  int8_t type;
  int8_t boardType;          // 0, 2 or kCode
  int8_t code;               // the answer to PRODUCT_TYPE and HWID_FIELD_21 on second-generation
                             // boards
  int8_t dsps;               // the answer to DSP_NUM there
  int8_t encode;             // the maximum encode number, kNone or kFlags
  int8_t playback;           // channels
  int8_t audio;              // channels, or kVideo
  int8_t alarmIn;            // lines, OrOem(lines) or kByOem
  int8_t alarmOut;           // the same
  int8_t sector;             // of the flash, where nothing else tells; with k64 there is a second
                             // copy of the boot variables
  int8_t block;              // of the boot variables
  int8_t panel;              // kPanel..., or kByOem
  int8_t usesWatchdog;       // 1: whatever the OEM type is
  int8_t rebootsByWatchdog;  // 1: the same
  Line buzzer = kNoLine;     // kNoLine: the OEM type tells
  // What only single products have: the rows of kExceptions say which.
  int8_t field42 = kNone;     // the answer to HWID_FIELD_42 on second-generation boards
  int8_t field54 = 0;         // the answer to HWID_FIELD_54 there
  int8_t hasPciDisks = 0;     // 1: its disks are behind PCI controllers
  int8_t hasDualConsole = 0;  // 1: the routed console stands for the serial ports 0 and 2
};

// clang-format off
inline constexpr std::array kProducts = std::to_array<Product>({
    // type
    // |  board type
    // |  |      code                                                                uses watchdog
    // |  |      |  DSPs      playback                         sector                |  reboots by it
    // |  |      |  |  encode |   audio   alarm in   alarm out |     block panel     |  |  buzzer
    {2,  2,     0, 1, 4,      4,  4,      kByOem,    kByOem,   k64,  k64,  kByOem,   0, 0},
    {3,  2,     0, 1, 2,      8,  8,      kByOem,    kByOem,   k64,  k64,  kByOem,   0, 0},
    {4,  2,     0, 1, 0,      4,  16,     kByOem,    kByOem,   k128, k128, kByOem,   0, 0},
    {5,  2,     0, 1, kFlags, 4,  4,      4,         1,        k128, k128, kByOem,   0, 0},
    {6,  2,     0, 1, 2,      8,  8,      8,         2,        k128, k128, kByOem,   0, 0},
    {7,  0,     0, 1, 2,      16, 16,     16,        OrOem(4), k128, k128, kByOem,   0, 0},
    {8,  0,     0, 2, kNone,  4,  kVideo, 16,        OrOem(4), k128, k128, kByOem,   0, 0},
    {9,  0,     2, 1, 8,      4,  8,      16,        OrOem(4), k128, k128, kByOem,   0, 0},
    {10, 0,     2, 1, 2,      4,  16,     16,        OrOem(4), k128, k128, kByOem,   0, 0},
    {11, kCode, 0, 1, kNone,  4,  kVideo, 16,        OrOem(4), k128, k128, kByOem,   0, 0},
    {12, kCode, 2, 1, kNone,  0,  16,     kByOem,    kByOem,   k128, k128, kByOem,   0, 0},
    {13, 0,     2, 2, kNone,  8,  8,      16,        OrOem(4), k128, k128, kByOem,   0, 0},
    {14, 0,     2, 3, 16,     16, kVideo, 16,        OrOem(4), k128, k128, kByOem,   0, 0},
    {15, 0,     2, 2, kNone,  16, kVideo, 16,        OrOem(4), k128, k128, kByOem,   0, 0},
    {16, 0,     0, 1, 8,      4,  8,      16,        OrOem(4), k128, k128, kByOem,   0, 0},
    {17, 0,     2, 2, kNone,  4,  kVideo, 16,        OrOem(4), k128, k128, kByOem,   0, 0},
    {18, kCode, 2, 1, kNone,  0,  16,     16,        OrOem(4), k128, k128, kByOem,   0, 0},
    {19, 0,     0, 1, 2,      16, 16,     16,        OrOem(4), k128, k128, kByOem,   0, 0},
    {20, kCode, 0, 1, 8,      8,  8,      16,        OrOem(4), k128, k128, kByOem,   0, 0},
    {21, 2,     0, 1, kFlags, 4,  4,      4,         1,        k128, k128, kByOem,   0, 0},
    {27, 2,     2, 1, 4,      4,  4,      4,         1,        k128, k128, kPanel27, 1, 1, {0, 5}},
    {28, 2,     2, 1, 2,      4,  8,      4,         1,        k128, k128, kPanel27, 1, 1, {0, 5}},
    {29, 2,     2, 1, 0,      4,  16,     4,         1,        k128, k128, kPanel27, 1, 1, {0, 4}},
    {30, 2,     2, 1, 4,      4,  4,      kByOem,    kByOem,   k64,  k64,  kPanel30, 1, 1, {0, 5}},
    {31, 2,     2, 1, 2,      8,  8,      kByOem,    kByOem,   k64,  k64,  kPanel30, 1, 1, {0, 5}},
    {32, 2,     2, 1, 0,      4,  16,     kByOem,    kByOem,   k64,  k64,  kPanel30, 1, 1, {0, 5}},
    {40, 0,     2, 1, 8,      4,  8,      16,        OrOem(4), k128, k128, kPanel40, 0, 0, {3, 3}},
    {41, 0,     2, 1, 0,      16, 16,     16,        OrOem(4), k128, k128, kPanel40, 0, 0, {3, 3}},
    {42, 0,     2, 1, 0,      8,  16,     16,        OrOem(4), k128, k128, kPanel40, 0, 0, {3, 3}},
    {43, 0,     2, 1, 0,      4,  16,     16,        OrOem(4), k128, k128, kPanel40, 0, 0, {3, 3}},
    {45, 0,     2, 1, 8,      8,  kVideo, OrOem(16), OrOem(4), k128, k128, kPanel45, 0, 0, {3, 3}},
    {46, 0,     2, 1, 16,     4,  16,     16,        OrOem(4), k128, k128, kPanel45, 0, 0, {3, 3}},
    {47, 0,     2, 1, kNone,  4,  kVideo, OrOem(16), OrOem(4), k128, k128, kPanel45, 0, 0, {3, 3}},
    {49, 0,     2, 1, 4,      4,  4,      8,         2,        k128, k128, kByOem,   0, 0, {6, 3}},
});

// A board that has no row.
inline constexpr Product kOther =
    {kNone, kCode, 2, 1, kNone, 0, kVideo, kByOem, kByOem, k128, k128, kByOem, 0, 0};

constexpr int8_t kAnyOem = -1;

struct Exception {
  int8_t product;
  int8_t oem;
  int8_t Product::*fact;
  int8_t value;
};

// What single products, or an OEM type on them, have otherwise; ordered by product.
inline constexpr std::array kExceptions = std::to_array<Exception>({
    {2,  15,      &Product::rebootsByWatchdog, 1},
    {3,  15,      &Product::rebootsByWatchdog, 1},
    {3,  6,       &Product::playback,          4},
    {3,  8,       &Product::playback,          4},
    {3,  9,       &Product::playback,          4},
    {3,  11,      &Product::playback,          4},
    {3,  14,      &Product::playback,          4},
    {3,  15,      &Product::playback,          4},
    {3,  20,      &Product::playback,          4},
    {4,  11,      &Product::block,             k64},
    {4,  14,      &Product::block,             k64},
    {4,  15,      &Product::block,             k64},
    {5,  kAnyOem, &Product::field42,           2},
    {6,  kAnyOem, &Product::field42,           2},
    {6,  3,       &Product::alarmIn,           4},
    {6,  3,       &Product::alarmOut,          1},
    {8,  kAnyOem, &Product::hasPciDisks,       1},
    {13, kAnyOem, &Product::hasDualConsole,    1},
    {14, kAnyOem, &Product::hasDualConsole,    1},
    {15, kAnyOem, &Product::field54,           16},
    {16, 3,       &Product::alarmIn,           8},
    {16, 3,       &Product::alarmOut,          OrOem(2)},
    {32, 6,       &Product::panel,             kByOem},
    {32, 6,       &Product::usesWatchdog,      0},
    {32, 6,       &Product::rebootsByWatchdog, 0},
});
// clang-format on

// The row of a product type, or kOther.
constexpr const Product &RowOf(int32_t type) {
  const auto *row = std::ranges::find(kProducts, type, &Product::type);
  return row != kProducts.end() ? *row : kOther;
}

// Columns that changed places show here; so does a board that would never reboot.
constexpr bool IsSound(const Product &row) {
  const bool hasBoardType = row.boardType == kCode || row.boardType == 0 || row.boardType == 2;
  const bool hasPanel = row.panel == kByOem || row.panel == kPanel27 || row.panel == kPanel30 ||
                        row.panel == kPanel40 || row.panel == kPanel45;
  const bool hasSizes = row.block >= k64 && row.block <= row.sector && row.sector <= k128;
  const bool hasBuzzer = row.buzzer == kNoLine || (row.buzzer.group < 8 && row.buzzer.bit < 8);
  return hasBoardType && hasPanel && hasSizes && hasBuzzer && row.dsps > 0 &&
         (row.code == 0 || row.code == 2) && row.rebootsByWatchdog <= row.usesWatchdog;
}

// No product has two rows, and every exception belongs to one.
constexpr bool AreSound() {
  for (size_t i = 1; i < kProducts.size(); ++i) {
    if (kProducts[i - 1].type >= kProducts[i].type) return false;
  }
  return std::ranges::all_of(kProducts, IsSound) &&
         std::ranges::is_sorted(kExceptions, {}, &Exception::product) &&
         std::ranges::all_of(kExceptions, [](const Exception &exception) {
           return RowOf(exception.product).type == exception.product;
         });
}
static_assert(AreSound());

// A fact of a product of an OEM type.
int32_t Get(int8_t Product::*fact, int32_t type, int32_t oem);

// The same fact of this board.
int32_t Get(int8_t Product::*fact);

// What OEM types bring along.
enum OemFact : uint8_t {
  kUsesWatchdog = 1,
  kRebootsByWatchdog = 2,
  kHandsBack = 4,  // at its end the application hands the board back to the launcher
};
bool OemHas(OemFact fact);

}  // namespace libsys::product
