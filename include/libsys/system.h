/* System services: time bases, load and memory; fan and buzzer; reboot, power-off and exit; serial
 * number. Date, time and temperature are in libsys/clock.h, which comes with this header. */
#ifndef LIBSYS_SYSTEM_H
#define LIBSYS_SYSTEM_H

#include <stdint.h>

#include "libsys/clock.h"
#include "libsys/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Time bases, load, memory ---------------------------------------------------------- */

/* Milliseconds of a clock that runs since some point in the past, in steps of 10 ms, from times();
 * wraps every 49.7 days. */
LIBSYS_API uint32_t SystemGetMsec(void);

/* Microseconds of the time of day; wraps every 71.6 minutes. */
LIBSYS_API uint32_t SystemGetUsec(void);

/* Blocks for so many milliseconds, however many signals come. */
LIBSYS_API void SystemSleepMsec(uint32_t milliseconds);

/* Prints the shares of user, system, nice and idle time of the first processor since the board's
 * start (/proc/stat, proc(5)) and returns its load, 0 to 100. With a message: -1 when the file does
 * not open, -2 when it is empty, -3 when there is no such line or a counter in it is negative or
 * beyond all reason. */
LIBSYS_API int32_t SystemGetCpuUsage(void);

/* The kernel's sysinfo(2), in bytes unless the kernel says otherwise there. */
typedef struct SystemCaps {
  unsigned long totalRam;
  unsigned long freeRam;
} SystemCaps;

/* Returns 0, or -1 with a message. */
LIBSYS_API int32_t SystemGetCaps(SystemCaps *caps);

/* ---- Fan and buzzer -------------------------------------------------------------------- */

/* Both go to the front panel's microcontroller on boards of chip/board type 0 (serial port 1, the
 * frames FF 5A, command, length, value), to a GPIO line on the others. The buzzer of product types
 * 27 to 32, 40 to 43, 45 to 47 and 49 is on a GPIO line whatever their chip/board type. */

/* Returns 1 where SystemFanControl switches a fan, else 0. */
LIBSYS_API int32_t SystemHasFan(void);

/* Switches the fan by bit 0 of `on`; boards without a fan of their own take it as done. Returns 0;
 * -1 with a message when the serial port fails. A line that fails is only reported. */
LIBSYS_API int32_t SystemFanControl(uint32_t on);

/* Sounds the buzzer; blocks meanwhile. Use multiples of 50 ms: any other time lasts until
 * SystemBeepExtend sets a new one. Product type 49 always beeps for 1 s. flags is not used. Returns
 * what the last GpioWrite or UartDeviceWrite returned; a positive number, with a message, after a
 * line has failed. */
LIBSYS_API int32_t SystemBeep(uint32_t flags, uint32_t milliseconds);

/* Lets the beep that runs in another thread go on for so many milliseconds from the moment it sees
 * this, at most 50 ms later; without one, the next beep does. 0 takes back a time that no beep has
 * seen yet. */
LIBSYS_API void SystemBeepExtend(uint32_t flags, uint32_t milliseconds);

/* ---- Reboot, power off, exit ----------------------------------------------------------- */

/* Gives every disk a standby time of a minute and writes out what it holds, waits 2 s, and reboots
 * the board through the watchdog or the front panel. A disk that does not answer does not stop it.
 * Returns the result of the last step: of WatchdogVendorCommand, which does nothing where the board
 * does not use its watchdog; or the raw product code; or,
 * where that is 1 and the processor's own watchdog is set off, of DvrPhysicalMemoryAccess. */
LIBSYS_API int32_t SystemReboot(void);

/* The same for switching off, through the front panel and without writing out. Returns what
 * FrontboardWrite returns. */
LIBSYS_API int32_t SystemShutdown(void);

/* The end of a recorder application. On boards of chip/board type 2 with OEM type 4, 9, 14, 15 (but
 * for product type 4), or 6 while FrontboardVariantA is 1, this stops the watchdog,
 * tells the launcher (APPLICATION_HANDED_BACK in the flag file), stops the front panel
 * (FrontboardStop, which needs a scanner that has run), writes out the file systems and ends the
 * process with status 0. On any other board it is SystemShutdown. */
LIBSYS_API int32_t ApplicationExit(void);

/* What the flag file /opt/sav/Config/Config3 says in its first character. The launcher writes the
 * first one before each start of the application, the application the second one at its end. */
enum ApplicationFlag {
  APPLICATION_STARTED = '0',
  APPLICATION_HANDED_BACK = '1',
  APPLICATION_RESTART = '2' /* for other launchers: this one takes no notice */
};

/* Opens the flag file, which is made where there is none. Returns the descriptor, close-on-exec and
 * the caller's to close, or -1 with a message. */
LIBSYS_API int32_t ApplicationFlagOpen(void);

/* Writes APPLICATION_STARTED and a zero byte. Returns 0, or -1 with a message. */
LIBSYS_API int32_t ApplicationFlagStart(void);

/* Returns the flag of the open file; APPLICATION_STARTED when the file is empty or, with a message,
 * cannot be read. */
LIBSYS_API int32_t ApplicationFlagRead(int32_t descriptor);

/* Writes APPLICATION_RESTART where ApplicationExit writes APPLICATION_HANDED_BACK. Returns 0, or -1
 * with a message. */
LIBSYS_API int32_t ApplicationRestartFlag(void);

/* ---- Programs -------------------------------------------------------------------------- */

/* Opens /dev/null in place of each standard descriptor that is closed, and leaves it there: init or
 * a daemon may have started the program without one, and what it prints must not go into a device
 * that is opened next. Call it first thing in main, before other threads run. The library does the
 * same by itself before it opens anything that can be written to. Returns which ones were closed:
 * bit n for descriptor n. */
LIBSYS_API uint32_t SystemOpenStandardDescriptors(void);

/* ---- Serial number and abilities ------------------------------------------------------- */

/* Copies the board's serial number, at most length characters, and terminates it: the buffer holds
 * length + 1 bytes. It is the boot variable "ID"; on OEM type 8 "MSA" while
 * FrontboardVariantB is 0, else "MSB", and the address of eth0. Returns 0, or -1 with a message. */
LIBSYS_API int32_t SystemGetSerialNumber(char *text, int32_t length);

/* Stores a text of at most length characters as the boot variable "ID"; blocks until the flash is
 * written. The buffer holds length + 1 bytes, the last of which becomes 0. Returns 0, or -1 with a
 * message. */
LIBSYS_API int32_t SystemSetSerialNumber(char *text, int32_t length);

typedef struct SystemAbility {
  uint32_t reserved; /* 0 */
  uint8_t flags[9];  /* HWID_FLAG_53 + 2 * HWID_FLAG_38, AUDIO_CHANNEL, HWID_FLAG_34, HWID_FLAG_33,
                        1, 0, 0, 6 or 7, 0 */
  uint32_t boardByte;
} SystemAbility;

/* Returns 0. */
LIBSYS_API int32_t SystemGetAbility(SystemAbility *ability);

#ifdef __cplusplus
}
#endif

#endif
