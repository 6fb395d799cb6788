/* The four serial ports of the board, /dev/ttyAMA0 to /dev/ttyAMA3, numbered 0 to 3.
 *
 * Three have fixed roles: port 1 leads to the front-panel microcontroller, port 2 to the front
 * board, and port 3 is the system console, that is, the process's standard output. On boards of
 * product type 13 and 14 the routed console (port 0) stands for ports 0 and 2 together. While
 * the routed console's port is open the kernel's console is suspended, by the requests 0
 * (suspend) and 1 (resume) of its driver behind /dev/consoledev.
 *
 * Operations return 0 or a count of bytes, or -1 with a message on standard output. Nothing
 * takes a lock: every port is meant to have one reader, and bytes of writers that write to one
 * port at the same time may mix. Line attributes are those of termios. */
#ifndef LIBSYS_UART_H
#define LIBSYS_UART_H

#include <stdint.h>

#include "libsys/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Which port has which role. Set before other threads run, or left alone. */
LIBSYS_API extern uint32_t UartConsolePortIndex; /* 3 */
LIBSYS_API extern uint32_t UartFrontboardIndex;  /* 2 */
LIBSYS_API extern uint32_t UartMcuIndex;         /* 1 */
LIBSYS_API extern uint32_t UartConsoleIndex;     /* 0: the routed console */
LIBSYS_API extern int32_t UartFrontboardOnUart;  /* 1: the front board is read on its own port */

/* What the boot variables "xuart" (0 or 1) and "xapp" (0 to 3) select, 0 when they are missing;
 * written by SerialInit. */
LIBSYS_API extern uint8_t UartXuartSetting;
LIBSYS_API extern uint8_t UartXappSetting;

typedef struct UartAttribute {
  uint32_t baudRate; /* bits a second: 50, 75, 110, 134, 150, 200, 300, 600, 1200, 1800, 2400,
                      * 4800, 9600, 19200, 38400, 57600 or 115200 */
  uint8_t dataBits;  /* 5 to 8 */
  uint8_t parity;    /* 0 none, 1 odd, 2 even, 3 odd and 4 as the port has it, the last two
                      * without a change of the input check */
  uint8_t stopBits;  /* 0 and 1 one, 2 two */
} UartAttribute;

/* Opens a port for reading and writing; the microcontroller's also synchronous. The routed
 * console's port suspends the kernel's console. Returns 0, at once when the port is open. When
 * only the suspending fails the result is -1 and the port stays open. */
LIBSYS_API int32_t UartDeviceOpen(uint32_t index);

/* Resumes the console (routed console's port only) and closes the port; the copy of standard output
 * that the console's port has from SerialInit stays open until SerialExit. Returns 0, also for a
 * port that is not open; -1 when the console does not resume, and then the port stays open. */
LIBSYS_API int32_t UartDeviceClose(uint32_t index);

/* Closes as UartDeviceClose; only the position in the message for a bad index differs. */
LIBSYS_API int32_t UartDeviceDestroy(uint32_t index);

/* Makes a port ready by its role. The front board's and the microcontroller's are opened and
 * set to 9600 baud, 8 data bits, no parity, one stop bit. For the routed console the console's
 * driver is opened, for good, and on product types 13 and 14 port 2 is made ready besides. The
 * console's port needs nothing. Returns 0; -1 for any other port or after a failure. */
LIBSYS_API int32_t UartDeviceCreate(uint32_t index);

/* Sets the line attributes of an open port at once and drops what it has received or not yet
 * sent. Ports are set to raw bytes; only the console's keeps the other settings that standard
 * output had at SerialInit. A value that is not listed changes nothing. Returns 0 or -1. */
LIBSYS_API int32_t UartSetAttribute(uint32_t index, const struct UartAttribute *attribute);

/* Reads length bytes into the caller's buffer; blocks until all have come. The first 4, when
 * there are so many, are a key event, whose codes become those common to all front panels;
 * some events are answered through FrontboardWrite. Where one port stands for two, all bytes
 * come from the one that has something to read, port 0 first. Returns length; -1 with a message
 * for a null buffer, length 0, a bad index or a failed read, that is also one from a port whose
 * other side is gone. */
LIBSYS_API int32_t UartDeviceRead(uint32_t index, void *buffer, uint32_t length);

/* Reads bytes as they are: length when that is 1 to 3, else (negative or larger) 4, which the
 * buffer holds. Blocks until they have come, or the port has been silent three times for 90 ms.
 * Returns the count, 0 at once for length 0; -1 without a message after the third silence, for
 * a bad index or a null buffer, and when the read fails. */
LIBSYS_API int32_t UartDeviceReadTimed(uint32_t index, void *buffer, int32_t length);

/* Writes length bytes; blocks until the port has taken all. The first 4, when there are so
 * many, are a command, which becomes what this board's front panel understands; the caller's
 * buffer stays as it is. Returns length; -1 with a message for a null buffer, length 0, a bad
 * index or a failed write. */
LIBSYS_API int32_t UartDeviceWrite(uint32_t index, const void *buffer, uint32_t length);

/* Writes the bytes as they are with a single system call. Returns the bytes that the port took,
 * or -1 as UartDeviceWrite. */
LIBSYS_API int32_t UartDeviceWriteOnce(uint32_t index, const void *buffer, uint32_t length);

/* Makes a descriptor, or -1, the port's own, without looking at it: from then on closing the port
 * closes it, and nobody else may. The one that the port had is not closed. A bad index is ignored.
 */
LIBSYS_API void UartDeviceSetFd(uint32_t index, int32_t descriptor);

#ifdef __cplusplus
}
#endif

#endif
