// The bus of the clock chip and the temperature sensor.
#include "System/clock/i2c.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>

#include "Base/standard_descriptors.h"
#include "System/clock/time_zone.h"
#include "libsys/clock.h"
#include "libsys/timer.h"

using namespace libsys;

namespace {

struct {
  std::atomic<int> descriptor{-1};
} state;

constexpr const char *kDevice = "/dev/gpioi2c";
constexpr uint32_t kSynchronisationPeriod = 60'000;  // milliseconds
constexpr uint32_t kNvramRegister = 8;

enum Request : unsigned { kReadByte = 1, kWriteByte = 2 };

i2c::Result Transfer(Request request, uint32_t device, uint32_t index, uint8_t *byte) {
  const int descriptor = state.descriptor;
  if (descriptor < 0) return i2c::Result::kClosed;
  uint32_t word = (device & 0xff) << 24 | (index & 0xff) << 16;
  if (request == kWriteByte) word |= *byte;
  if (ioctl(descriptor, request, &word) < 0) return i2c::Result::kFailed;
  if (request == kReadByte) *byte = static_cast<uint8_t>(word);
  return i2c::Result::kDone;
}

}  // namespace

namespace libsys::i2c {

Result Read(uint32_t device, uint32_t firstRegister, uint8_t *buffer, uint32_t count) {
  if (state.descriptor < 0) return Result::kClosed;
  for (uint32_t i = 0; i < count; ++i) {
    const Result result = Transfer(kReadByte, device, firstRegister + i, &buffer[i]);
    if (result != Result::kDone) return result;
  }
  return Result::kDone;
}

const char *ReadMessage(Result result) {
  return result == Result::kClosed ? "LIBDVR : I2cRead : Invalid parma"
                                   : "LIBDVR :  Read from I2c failed";
}

}  // namespace libsys::i2c

int32_t I2cOpen() {
  if (state.descriptor > 0) return 0;
  const int opened = base::Open(kDevice, O_RDWR);
  if (opened < 0) {
    printf("LIBDVR : open %s failed!!!!\n", kDevice);
    return -1;
  }
  time_zone::Capture();  // before the timer's signal, if it still comes, finds the chip
  state.descriptor = opened;
  // The synchronisation writes past stdio: nothing may wait there, now and later.
  fflush(stdout);
  setvbuf(stdout, nullptr, _IOLBF, 0);
  I2cpCallBack(0);
  if (TimerStart(nullptr, I2cpCallBack, nullptr, kSynchronisationPeriod) != 0) {
    puts("LIBDVR : Create timer(sync rtc time) failed : ");
  }
  return 0;
}

void I2cClose() {
  const int descriptor = state.descriptor.exchange(-1);
  if (descriptor >= 1) close(descriptor);
}

int32_t I2cRead(uint32_t device, uint32_t firstRegister, uint8_t *buffer, uint32_t count) {
  const i2c::Result result = i2c::Read(device, firstRegister, buffer, count);
  if (result == i2c::Result::kDone) return 0;
  puts(i2c::ReadMessage(result));
  return -1;
}

int32_t I2cWrite(uint32_t device, uint32_t firstRegister, const uint8_t *buffer, uint32_t count) {
  if (state.descriptor < 0) {
    puts("LIBDVR : I2cWrite : Invalid parma");
    return -1;
  }
  for (uint32_t i = 0; i < count; ++i) {
    uint8_t byte = buffer[i];
    if (Transfer(kWriteByte, device, firstRegister + i, &byte) != i2c::Result::kDone) {
      puts("LIBDVR : i2c write failed");
      return -1;
    }
  }
  return 0;
}

int32_t NvramRead(uint32_t address, uint8_t *buffer, uint32_t count) {
  return I2cRead(i2c::kClockChip, address + kNvramRegister, buffer, count);
}

int32_t NvramWrite(uint32_t address, const uint8_t *buffer, uint32_t count) {
  return I2cWrite(i2c::kClockChip, address + kNvramRegister, buffer, count);
}

int32_t SystemGetTemperature() {
  uint8_t degrees = 0;
  if (I2cRead(i2c::kTemperatureSensor, 0, &degrees, 1) == 0) return degrees;
  puts("Utils : TMP75 read failed");
  return 255;
}
