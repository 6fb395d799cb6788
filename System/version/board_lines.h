// The GPIO lines of the board that belong to no panel.
#pragma once

#include <stdint.h>

#include <algorithm>

#include "System/version/line.h"
#include "System/version/products.h"

namespace libsys::board_lines {

inline constexpr Line kFan = {0, 6};  // on product type 4
inline constexpr Line kAlarmBoardDetection = {1, 5};
inline constexpr Line kFirstStrap = {1, 0};
inline constexpr Line kSecondStrap = {1, 4};

constexpr int8_t kAny = -2;  // -1 is a board type

struct Buzzer {
  int8_t oem;
  int8_t boardType;
  int8_t product;
  int8_t field42;  // the answer to HWID_FIELD_42
  Line line;
};

// Where the buzzer is on boards whose product's row has no line; on board type 0 the
// microcontroller has it. The first row that fits the board counts, the last one fits all.
// clang-format off
inline constexpr Buzzer kBuzzers[] = {
    // OEM type, board type, product type, field 42
    {2,    kAny, kAny, kAny, {5, 5}},
    {6,    kAny, kAny, kAny, {0, 5}},
    {11,   kAny, kAny, kAny, {0, 5}},
    {20,   kAny, kAny, kAny, {0, 5}},
    {9,    2,    kAny, kAny, {0, 7}},
    {8,    kAny, 4,    kAny, {0, 5}},
    {8,    kAny, kAny, kAny, {5, 0}},
    {14,   kAny, kAny, kAny, {0, 5}},
    {15,   kAny, kAny, kAny, {0, 5}},
    {kAny, kAny, kAny, 1,    {1, 7}},
    {4,    kAny, 4,    kAny, {0, 6}},  // the fan's line: on this board they are one
    {kAny, kAny, 4,    kAny, {0, 5}},
    {kAny, kAny, kAny, kAny, {5, 5}},
};
// clang-format on

// Whether any board uses the line for something that is on no panel.
constexpr bool IsUsed(const Line &line) {
  for (const Line &other : {kFan, kAlarmBoardDetection, kFirstStrap, kSecondStrap}) {
    if (other == line) return true;
  }
  const auto has = [line](const auto &row) { return row == line; };
  return std::ranges::any_of(kBuzzers, has, &Buzzer::line) ||
         std::ranges::any_of(product::kProducts, has, &product::Product::buzzer);
}

}  // namespace libsys::board_lines
