// Setting the clock chip beside the timer's signal, which reads it.
#pragma once

namespace libsys::clock_chip {

// While one is alive the time is being set, the system clock first and then the chip's registers
// one after the other: I2cpCallBack leaves alone what it reads meanwhile.
class BeingSet {
 public:
  BeingSet();
  ~BeingSet();
  BeingSet(const BeingSet &) = delete;
  BeingSet &operator=(const BeingSet &) = delete;
};

}  // namespace libsys::clock_chip
