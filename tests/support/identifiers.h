// Hardware identifiers, made of their fields.
#pragma once

#include <stdint.h>

namespace test {

struct FirstGeneration {
  uint64_t code = 0, channels = 0, audio = 0, alarmInputs = 0, alarmOutputs = 0;
  uint64_t videoChip = 0, bit40 = 0, dsps = 0, count = 0;
};
constexpr uint64_t First(const FirstGeneration &fields) {
  return fields.code << 60 | fields.channels | fields.audio << 5 | fields.alarmInputs << 10 |
         fields.alarmOutputs << 15 | fields.videoChip << 23 | fields.bit40 << 40 |
         fields.dsps << 50 | fields.count << 54;
}

// Of the second generation there are three, and 16, 24 and 32 channels have codes of their own.
constexpr uint64_t Second(uint64_t product, uint64_t channels, uint64_t subType = 0,
                          uint64_t bit40 = 0, uint64_t generation = 1) {
  const uint64_t code = channels < 16 ? channels : channels / 8 + 7;
  return generation << 62 | product << 56 | code << 51 | subType << 48 | bit40 << 40;
}

}  // namespace test
