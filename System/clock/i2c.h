// Reading the bus of the clock chip and the temperature sensor without a message.
#pragma once

#include <stdint.h>

namespace libsys::i2c {

constexpr uint32_t kClockChip = 0x00d0;
constexpr uint32_t kTemperatureSensor = 0x0090;

enum class Result { kDone, kClosed, kFailed };

// As I2cRead, without a message. Async-signal-safe.
Result Read(uint32_t device, uint32_t firstRegister, uint8_t *buffer, uint32_t count);

// What a reading that was not done says.
const char *ReadMessage(Result result);

}  // namespace libsys::i2c
