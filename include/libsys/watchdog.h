/* The kernel's watchdog device, /dev/watchdog, with a timeout of 180 seconds.
 *
 * Whether a board uses its watchdog depends on its hardware identity and, on OEM type 6, on
 * FrontboardVariantA; every operation decides it anew. On a board that does not use it, the
 * operations return 0 without touching the device, but for WatchdogKeepAlive and
 * WatchdogVendorCommand (see there).
 *
 * Nothing here blocks beyond the request to the driver. One descriptor is shared by the whole
 * process, without a lock. */
#ifndef LIBSYS_WATCHDOG_H
#define LIBSYS_WATCHDOG_H

#include <stdint.h>

#include "libsys/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Returns 1 on a board that uses its watchdog, else 0. */
LIBSYS_API int32_t WatchdogIsUsed(void);

/* Opens the device and sets its timeout (WDIOC_SETTIMEOUT); from then on the board restarts
 * unless it is fed within 180 seconds. While it is open already, nothing happens. Returns 0,
 * or -1 with a message when the device does not open or refuses the timeout; in the latter case it
 * is open and runs with the driver's own timeout. */
LIBSYS_API int32_t WatchdogStart(void);

/* Stops the watchdog: writes the magic close, "V" and a zero byte, and closes the device.
 * Returns 0, also when it is closed already, or -1 with a message when the write fails; the
 * watchdog then goes on. */
LIBSYS_API int32_t WatchdogStop(void);

/* Feeds the watchdog (WDIOC_KEEPALIVE). Returns 0, or -1: without a message when it is not
 * started (also on a board that does not use its watchdog, unless its raw product code is 1),
 * with one when the driver refuses. */
LIBSYS_API int32_t WatchdogKeepAlive(void);

/* Starts the watchdog and sends the vendor's request 11 (0x8004570b), which restarts the board.
 * A board whose raw product code is 1 sends it only with OEM type 2, and
 * to a device that is not open: -1. Returns 0, or -1 with a
 * message when the driver refuses. */
LIBSYS_API int32_t WatchdogVendorCommand(void);

/* What read() and write() on the device return, -1 when it is closed; 0 on a board that does
 * not use its watchdog. The buffer of length bytes is the caller's. Every write feeds the
 * watchdog; a 'V' in it allows the driver to stop at the next close. */
LIBSYS_API int32_t WatchdogRead(void *buffer, uint32_t length);
LIBSYS_API int32_t WatchdogWrite(const void *buffer, uint32_t length);

#ifdef __cplusplus
}
#endif

#endif
