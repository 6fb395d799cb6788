// The clock chip behind its bus, in memory.
#pragma once

#include <errno.h>
#include <stdarg.h>
#include <sys/ioctl.h>

#include <array>

#include "fuzz/fuzz.h"
#include "libsys/clock.h"
#include "libsys/timer.h"

namespace fuzz {

inline struct {
  std::array<uint8_t, 256> registers = {};
  bool answers = true;
} chip;

// Without the timer, whose signal the fuzzer has.
inline void OpenBus() {
  static const BoardFile bus("/dev/gpioi2c");
  static const bool opened = (bus.Put(""), I2cOpen() == 0 && TimerStop() == 0);
  Expect(opened, "the clock chip's bus");
}

}  // namespace fuzz

extern "C" {

int __real_ioctl(int fd, unsigned long request, ...);
[[gnu::used]] inline int __wrap_ioctl(int fd, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  void *const argument = va_arg(arguments, void *);
  va_end(arguments);
  if (request != 1 && request != 2) return __real_ioctl(fd, request, argument);
  uint32_t &word = *static_cast<uint32_t *>(argument);
  if (!fuzz::chip.answers || word >> 24 != 0xd0) return -1;
  uint8_t &byte = fuzz::chip.registers[word >> 16 & 0xff];
  if (request == 1) word = (word & 0xffffff00) | byte;
  if (request == 2) byte = static_cast<uint8_t>(word);
  return 0;
}

}  // extern "C"
