/* The front panel: key events and LEDs, whatever the panel is made of.
 *
 * A panel is either a front board on a serial port, or a key matrix, LEDs and an infrared
 * receiver on lines of the main board, whose keys a scanning thread puts into a queue. Which
 * one it is follows from the OEM type, the board and product types and the words of
 * libsys/board_words.h.
 *
 * Key events and commands have 4 bytes: 0xFF, key group, key code, state (1 pressed,
 * 0 released; LED commands: the LED's value). Remote-control codes come in group 0x01; the
 * front board sends and takes the same 4 bytes on its port. */
#ifndef LIBSYS_FRONTBOARD_H
#define LIBSYS_FRONTBOARD_H

#include <pthread.h>
#include <stdint.h>

#include "libsys/board_words.h"
#include "libsys/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What McuProc received last: type, length, and the payload, of a frame of type 2 in reverse order
 * of arrival.
 * FrontMcuFlags become 1 and 0 with each frame of type 2; they are guarded by FrontMcuMutex,
 * which a reader of either holds. FrontMcuIdle is 1 until the first such frame and 0 from then
 * on; it has no lock and is read with an atomic load. */
LIBSYS_API extern uint8_t FrontMcuFrame[2 + 255];
LIBSYS_API extern uint8_t FrontMcuFlags[2];
LIBSYS_API extern int32_t FrontMcuIdle;
LIBSYS_API extern pthread_mutex_t FrontMcuMutex;

/* Thread body that serves the front-panel microcontroller on its serial port: opens the port
 * and receives frames 0xFF 0x5A, type, length, payload. The argument is not used. Runs for
 * good; ends with the exit value "McuProc exit\n" when the port cannot be opened. */
LIBSYS_API void *McuProc(void *unused);

/* Thread body that scans the key matrix of this board's panel and the infrared receiver behind
 * /dev/Hi_IR (records of 12 bytes: byte 6 the code, byte 8 the state) into the key queue until
 * FrontboardStop; then it ends with the exit value "expect\n". The argument is not used. One
 * scanner at a time. */
LIBSYS_API void *FrontScanProc(void *unused);

/* Prepares the panel: chooses the remote control's code table, or opens the front board's port.
 * Until then remote controls whose codes are translated send code 0. Other threads may read keys
 * meanwhile. Returns 0, or -1 when the port cannot be opened. */
LIBSYS_API int32_t FrontboardInit(void);

struct UartAttribute;

/* Waits a second and sets the line attributes of the port that carries the front board.
 * Returns 0 or -1, as UartSetAttribute. */
LIBSYS_API int32_t FrontboardSetAttribute(const struct UartAttribute *attribute);

/* Reads one key event into the caller's buffer of length bytes. Blocks until there is one.
 * From the queue: returns 4, or 0 at once when length is not 4; a key of an OEM-9 panel whose
 * sub-type is unknown prints a message and leaves the buffer's first three bytes. From the port:
 * returns the bytes read, at most 4, or -1 with a message. */
LIBSYS_API int32_t FrontboardRead(uint8_t *event, int32_t length);

/* Carries out a 4-byte command. LEDs are FF DD and 09 to 0E. Where the main board drives them
 * it returns 4, or 0 for a command of another length or one that the panel has no LED for;
 * some panels answer 0 for FF DD 09, with the LED set. Elsewhere the 4 bytes go to the front
 * board: returns 4, or -1 with a message. */
LIBSYS_API int32_t FrontboardWrite(const uint8_t *event, int32_t length);

/* Takes one event from the key queue, as FrontboardRead. Blocks until there is one. Returns 4,
 * or 0 at once when length is less than 4. */
LIBSYS_API int32_t FrontKeyQueueGet(uint8_t *event, int32_t length);

/* Closes the front board's port, where the panel has one. Returns 0 or -1. */
LIBSYS_API int32_t FrontboardExit(void);

/* Asks the scanning thread to end and returns when it has; at once when it has ended already, also
 * while a new one is being created and has not begun. Where none was ever started this blocks for
 * good, on purpose. */
LIBSYS_API void FrontboardStop(void);

#ifdef __cplusplus
}
#endif

#endif
