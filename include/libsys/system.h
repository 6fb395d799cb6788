// System services: the clock chip with its battery-backed memory, the temperature; time bases,
// load and memory; fan and buzzer; reboot, power-off and exit; serial number.
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
// timer's signal writes lines of its own in between. The time zone counts as it is now, for the
// years 1970 to 2099. Not to be called from several threads at once. Returns 0, at once when the
// bus is open; -1 with a message when the device does not open.
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
// A chip time that the zone's clocks skipped when its standard time changed is none for glibc's
// mktime(): the system clock then stays as it is.
void I2cpCallBack(int signalNumber);

// The same, also async-signal-safe. Returns 0; -1 when the chip cannot be read, with a message, or
// the system clock could not be set.
int32_t SystemSynchroniseTime(void);

// The temperature in degrees Celsius as a byte, 0 to 255, that is in two's complement: 251 stands
// for -5 degrees. 255 with a message when it cannot be read; without one it is -1 degree. Where
// that matters, read the byte with I2cRead(0x90, 0, &byte, 1).
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
// carry over as with mktime(); the weekday is computed. While daylight saving time is in force the
// chip gets the time with the hour added, on purpose. Returns 0; -1 with a message when the time is
// before 1970, the caller may not set the clock, or the chip cannot be written.
int32_t SystemSetCurrentTime(const SystemTime *time);

// Prints the local date, weekday and time. Returns 0.
int32_t SystemShowWeekday(void);

/* ---- Time bases, load, memory ---------------------------------------------------------- */

// Milliseconds of a clock that runs since some point in the past, in steps of 10 ms, from times();
// wraps every 49.7 days.
uint32_t SystemGetMsec(void);

// Microseconds of the time of day; wraps every 71.6 minutes.
uint32_t SystemGetUsec(void);

// Blocks for so many milliseconds, however many signals come.
void SystemSleepMsec(uint32_t milliseconds);

// Prints the shares of user, system, nice and idle time of the first processor since the board's
// start (/proc/stat, proc(5)) and returns its load, 0 to 100. With a message: -1 when the file does
// not open, -2 when it is empty, -3 when there is no such line or a
// counter in it is negative or beyond all reason.
int32_t SystemGetCpuUsage(void);

// The kernel's sysinfo(2), in bytes unless the kernel says otherwise there.
typedef struct SystemCaps {
  unsigned long totalRam;
  unsigned long freeRam;
} SystemCaps;

// Returns 0, or -1 with a message.
int32_t SystemGetCaps(SystemCaps *caps);

/* ---- Fan and buzzer -------------------------------------------------------------------- */

// Both go to the front panel's microcontroller on boards of chip/board type 0 (serial port 1, the
// frames FF 5A, command, length, value), to a GPIO line on the others. The buzzer of product types
// 27 to 32, 40 to 43, 45 to 47 and 49 is on a GPIO line whatever their chip/board type.

// Switches the fan by bit 0 of `on`; boards without a fan of their own take it as done. Returns 0;
// -1 with a message when the serial port fails. A line that fails is only reported.
int32_t SystemFanControl(uint32_t on);

// Sounds the buzzer; blocks meanwhile. Use multiples of 50 ms: any other time lasts until
// SystemBeepExtend sets a new one. Product type 49 always beeps for 1 s. flags is not used. Returns
// what the last GpioWrite or UartDeviceWrite returned; a positive number, with a message, after a
// line has failed.
int32_t SystemBeep(uint32_t flags, uint32_t milliseconds);

// Lets the beep that runs in another thread go on for so many milliseconds from the moment it sees
// this, at most 50 ms later; without one, the next beep does. 0 takes back a time that no beep has
// seen yet.
void SystemBeepExtend(uint32_t flags, uint32_t milliseconds);

/* ---- Reboot, power off, exit ----------------------------------------------------------- */

// Gives every disk a standby time of a minute and writes out what it holds, waits 2 s, and reboots
// the board through the watchdog or the front panel. A disk that does not answer does not stop it.
// Returns the result of the last step: of WatchdogVendorCommand; or the raw product code; or,
// where that is 1 and the processor's own watchdog is set off, of DvrPhysicalMemoryAccess.
int32_t SystemReboot(void);

// The same for switching off, through the front panel and without writing out. Returns what
// FrontboardWrite returns.
int32_t SystemShutdown(void);

// The end of a recorder application. Where a launcher supervises it, this stops the watchdog,
// tells the launcher (a '1' in /opt/sav/Config/Config3), stops the front panel (FrontboardStop,
// which needs a scanner that has run), writes out the file systems and ends the process with status
// 0. On any other board it is SystemShutdown.
int32_t ApplicationExit(void);

// Writes a '2' where ApplicationExit writes a '1'. Returns 0, or -1 with a message.
int32_t ApplicationRestartFlag(void);

/* ---- Serial number and abilities ------------------------------------------------------- */

// Copies the board's serial number, at most length characters, and terminates it: the buffer holds
// length + 1 bytes. It is the boot variable "ID"; on OEM type 8 "MSA", or "MSB" with an alarm
// board, and the address of eth0. Returns 0, or -1 with a message.
int32_t SystemGetSerialNumber(char *text, int32_t length);

// Stores a text of at most length characters as the boot variable "ID"; blocks until the flash is
// written. The buffer holds length + 1 bytes, the last of which becomes 0. Returns 0, or -1 with a
// message.
int32_t SystemSetSerialNumber(char *text, int32_t length);

typedef struct SystemAbility {
  uint32_t reserved;  // 0
  uint8_t flags[9];   // feature flags of the hardware identity, with the audio channels second
  uint32_t boardByte;
} SystemAbility;

// Returns 0.
int32_t SystemGetAbility(SystemAbility *ability);

#ifdef __cplusplus
}
#endif

#endif
