// A GPIO line.
#pragma once

#include <stdint.h>

namespace libsys {

struct Line {
  uint8_t group;
  uint8_t bit;
  bool operator==(const Line &) const = default;
};

inline constexpr Line kNoLine = {0xff, 0xff};

}  // namespace libsys
