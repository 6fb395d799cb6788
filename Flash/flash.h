// What the flash module's files share: the partition that FlashSelect made current.
#pragma once

#include <stdint.h>

namespace libsys::flash {

struct Selection {
  int fd = -1;
  uint32_t start = 0;  // linear address of the partition's first byte
};

const Selection &CurrentSelection();

// Products with 64 KiB sectors; they keep a second copy of the boot environment.
bool IsSmallSectorProduct();

}  // namespace libsys::flash
