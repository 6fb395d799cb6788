/* The front panel: key events, and the threads that collect them.
 *
 * A key event has 4 bytes: 0xFF, key group, key code, state (1 pressed, 0 released).
 *
 * NOT THERE YET: no panel is read. FrontboardInit and FrontboardRead answer -1, and the two
 * thread bodies end at once. */
#ifndef LIBSYS_FRONTBOARD_H
#define LIBSYS_FRONTBOARD_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Thread bodies; the argument is not used. McuProc serves the front-panel microcontroller and
 * ends with the exit value "McuProc exit\n". FrontScanProc scans the key matrix and the
 * infrared receiver until FrontboardStop, and ends with the exit value "expect\n". */
void *McuProc(void *unused);
void *FrontScanProc(void *unused);

/* Prepares the panel of this board. Returns 0, or -1. */
int32_t FrontboardInit(void);

/* Reads one key event into the caller's buffer; length is 4. Blocks until there is one.
 * Returns 4, or -1. */
int32_t FrontboardRead(uint8_t *event, int32_t length);

/* Asks the scanning thread to end and returns when it has; at once when it has ended already.
 * Where none was ever started this blocks for good, on purpose. */
void FrontboardStop(void);

#ifdef __cplusplus
}
#endif

#endif
