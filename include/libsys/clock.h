/* The clock chip with its battery-backed memory, the temperature sensor, and the date and time.
 *
 * Chip and sensor share a bus, whose driver is /dev/gpioi2c: request 1 reads a byte and 2 writes
 * one, with a 32-bit word of the device (bits 31 to 24), the register (23 to 16) and the byte (7 to
 * 0). Each byte is a request of its own, so no lock is needed. */
#ifndef LIBSYS_CLOCK_H
#define LIBSYS_CLOCK_H

#include <stdint.h>

#include "libsys/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Opens the bus, sets the system clock from the clock chip, and goes on doing so every 60 seconds
 * with the interval timer of libsys/timer.h. Standard output becomes line buffered, because the
 * timer's signal writes lines of its own in between. The time zone counts as it is now, for the
 * years 1970 to 2099. Not to be called from several threads at once. Returns 0, at once when the
 * bus is open; -1 with a message when the device does not open. A chip that cannot be read and a
 * timer that does not start are only reported. */
LIBSYS_API int32_t I2cOpen(void);

/* Closes the bus. The timer goes on; its readings fail with a message. */
LIBSYS_API void I2cClose(void);

/* Reads or writes count bytes of consecutive registers of a device (0xd0 the clock chip, 0x90 the
 * temperature sensor); after register 255 comes 0. The buffer is the caller's. Returns 0; -1 with
 * a message when the bus is closed or the driver refuses, and then the bytes before that have been
 * transferred. */
LIBSYS_API int32_t I2cRead(uint32_t device, uint32_t firstRegister, uint8_t *buffer,
                           uint32_t count);
LIBSYS_API int32_t I2cWrite(uint32_t device, uint32_t firstRegister, const uint8_t *buffer,
                            uint32_t count);

/* I2cRead and I2cWrite on the clock chip's battery-backed memory, whose address 0 is register 8. It
 * ends with address 247: what follows are the registers of the date. */
LIBSYS_API int32_t NvramRead(uint32_t address, uint8_t *buffer, uint32_t count);
LIBSYS_API int32_t NvramWrite(uint32_t address, const uint8_t *buffer, uint32_t count);

/* Sets the system clock from the clock chip, which holds local standard time, and prints date and
 * weekday. The minutes that the kernel's own time zone lies west of Greenwich are added, on
 * purpose; on a board whose kernel knows no zone they are 0. It is the timer's signal handler and
 * async-signal-safe: its lines go to standard output by write(), past what stdio holds back.
 * signalNumber is not used. A chip time that the zone's clocks skipped when its standard time
 * changed is none for glibc's mktime(): the system clock then stays as it is. */
LIBSYS_API void I2cpCallBack(int signalNumber);

/* The same, also async-signal-safe. Returns 0; -1 when the chip cannot be read, with a message, or
 * the system clock could not be set. */
LIBSYS_API int32_t SystemSynchroniseTime(void);

/* The temperature in degrees Celsius as a byte, 0 to 255, that is in two's complement: 251 stands
 * for -5 degrees. 255 with a message when it cannot be read; without one it is -1 degree. Where
 * that matters, read the byte with I2cRead(0x90, 0, &byte, 1). */
LIBSYS_API int32_t SystemGetTemperature(void);

typedef struct SystemTime {
  int32_t year;    /* with its century */
  int32_t month;   /* 1 to 12 */
  int32_t day;     /* 1 to 31 */
  int32_t weekday; /* 0 (Sunday) to 6 */
  int32_t hour;
  int32_t minute;
  int32_t second;
} SystemTime;

/* Stores the local time of the system clock. Returns 0, or -1 with a message. */
LIBSYS_API int32_t SystemGetCurrentTime(SystemTime *time);

/* Sets the system clock and the clock chip to a local standard time. Fields beyond their range
 * carry over as with mktime(); the weekday is computed. While daylight saving time is in force the
 * chip gets the time with the hour added, on purpose. Returns 0; -1 with a message when the time is
 * before 1970, the caller may not set the clock, or the chip cannot be written. In the last case
 * the system clock is set, until the next synchronisation brings the chip's time back. */
LIBSYS_API int32_t SystemSetCurrentTime(const SystemTime *time);

/* Prints the local date, weekday and time. Returns 0. */
LIBSYS_API int32_t SystemShowWeekday(void);

#ifdef __cplusplus
}
#endif

#endif
