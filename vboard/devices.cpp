// The table of the board's devices. The first one that knows a path or a command has it.
#include "vboard/device.h"

namespace vboard {

extern const Device kFlash;
extern const Device kBootParameters;
extern const Device kClock;
extern const Device kGpio;
extern const Device kPanel;
extern const Device kInfrared;
extern const Device kSerial;
extern const Device kConsole;
extern const Device kMemory;
extern const Device kFiles;
extern const Device kPower;
extern const Device kScsi;
extern const Device kNetwork;
extern const Device kWatchdog;
extern const Device kSystem;
extern const Device kPace;
extern const Device kFaults;

std::span<const Device *const> Devices() {
  static const Device *const devices[] = {
      &kFlash,   &kBootParameters, &kClock,  &kGpio,  &kPanel,  &kInfrared,
      &kSerial,  &kConsole,        &kMemory, &kFiles, &kScsi,   &kPower,
      &kNetwork, &kWatchdog,       &kSystem, &kPace,  &kFaults,
  };
  return devices;
}

}  // namespace vboard
