// System services: the clock chip with its battery-backed memory, the temperature.
//
// The clock chip and the temperature sensor share a bus, whose driver is /dev/gpioi2c: request 1
// reads a byte and 2 writes one, with a 32-bit word of the device (bits 31 to 24), the register
// (23 to 16) and the byte (7 to 0). Each byte is a request of its own, so no lock is needed.
#ifndef LIBSYS_SYSTEM_H
#define LIBSYS_SYSTEM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Bus, clock chip, temperature ------------------------------------------------------ */

// Opens the bus, sets the system clock from the clock chip, and goes on doing so every 60 seconds
// with the interval timer of libsys/timer.h. Standard output becomes line buffered, because the
// timer's signal writes lines of its own in between. The time zone counts as it is now. Returns
// 0, at once when the bus is open; -1 with a message when the device does not open.
int32_t I2cOpen(void);

// Closes the bus. The timer goes on; its readings fail with a message.
void I2cClose(void);

// Reads or writes count bytes of consecutive registers of a device (0xd0 the clock chip, 0x90 the
// temperature sensor); after register 255 comes 0. The buffer is the caller's. Returns 0; -1 with
// a message when the bus is closed or the driver refuses, and then the bytes before that have been
// transferred.
int32_t I2cRead(uint32_t device, uint32_t firstRegister, uint8_t *buffer, uint32_t count);
int32_t I2cWrite(uint32_t device, uint32_t firstRegister, const uint8_t *buffer, uint32_t count);

// I2cRead and I2cWrite on the clock chip's battery-backed memory, whose address 0 is register 8.
int32_t NvramRead(uint32_t address, uint8_t *buffer, uint32_t count);
int32_t NvramWrite(uint32_t address, const uint8_t *buffer, uint32_t count);

// Sets the system clock from the clock chip, which holds local standard time, and prints date and
// weekday. It is the timer's signal handler and async-signal-safe: its lines go to standard output
// by write(), past what stdio holds back. signalNumber is not used.
void I2cpCallBack(int signalNumber);

// The temperature in degrees Celsius, one byte; 255 with a message when it cannot be read.
int32_t SystemGetTemperature(void);

typedef struct SystemTime {
  int32_t year;     // with its century
  int32_t month;    // 1 to 12
  int32_t day;      // 1 to 31
  int32_t weekday;  // 0 (Sunday) to 6
  int32_t hour;
  int32_t minute;
  int32_t second;
} SystemTime;

// Stores the local time of the system clock. Returns 0, or -1 with a message.
int32_t SystemGetCurrentTime(SystemTime *time);

// Sets the system clock and the clock chip to a local standard time. Fields beyond their range
// carry over as with mktime(); the weekday is computed. Returns 0; -1 with a message when the time
// is before 1970, the caller may not set the clock, or the chip cannot be written.
int32_t SystemSetCurrentTime(const SystemTime *time);

// Prints the local date, weekday and time. Returns 0.
int32_t SystemShowWeekday(void);

#ifdef __cplusplus
}
#endif

#endif
