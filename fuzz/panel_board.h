// Which board the front panel's code is asked to serve: an input chooses one.
#pragma once

#include <stdint.h>

#include "fuzz/fuzz.h"
#include "libsys/frontboard.h"
#include "libsys/version.h"

namespace fuzz {

inline struct { int32_t type = 0, oem = 0, product = 0; } board;

inline void ChooseBoard(Input &input) {
  constexpr int32_t kProducts[] = {0,  2,  3,  4,  5,  7,  8,  13, 14, 16, 19, 21,
                                   27, 28, 30, 32, 40, 41, 43, 45, 46, 47, 49, 99};
  board.type = input.Below(2) == 0 ? 2 : 0;
  board.oem = input.Below(22);
  board.product = kProducts[input.Below(std::size(kProducts))];
  const uint8_t variants = input.Byte();
  FrontboardVariantA = variants & 1;
  FrontboardVariantB = variants >> 1 & 1;
  FrontboardVariantC = variants >> 2 & 1;
  FrontboardVariantD = variants >> 3 & 1;
  FrontboardSubType = variants >> 4 & 7;
  FrontboardPanelModel = (variants & 0x80) != 0 ? 92 : 99;
  DvrBoardByte = input.Byte();
}

}  // namespace fuzz

extern "C" {

[[gnu::used]] inline int32_t __wrap_DvrGetBoardType() {
  return fuzz::board.type;
}

[[gnu::used]] inline int32_t __wrap_DvrGetProductType() {
  return fuzz::board.product;
}

int32_t __real_DvrGetHwidInformation(uint32_t command);
[[gnu::used]] inline int32_t __wrap_DvrGetHwidInformation(uint32_t command) {
  return command == OEM_TYPE ? fuzz::board.oem : __real_DvrGetHwidInformation(command);
}

}  // extern "C"
