/* GPIO lines and physical registers of the board.
 *
 * Nothing here blocks beyond the request to the driver. No lock is taken: two threads that
 * use GPIO at once share the driver's descriptor, and their requests may interleave. */
#ifndef LIBSYS_GPIO_H
#define LIBSYS_GPIO_H

#include <stdint.h>

#include "libsys/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Makes a line an output and sets its level, through the driver behind /dev/hi_gpio
 * (requests 1 and 4). group is the port, 0 to 7; bit the line within it; value the level,
 * 0 or 1. The device is opened on first use and stays open; a failed request closes it, and
 * the next call opens it again. Returns 0, or -1 when the device does not open, group is 8
 * or more (both with a message), or a request fails. */
LIBSYS_API int32_t GpioWrite(uint32_t group, uint32_t bit, uint32_t value);

/* Makes a line an input and stores its level, 0 or 1, in the one byte at out (requests 1
 * and 3). The other arguments, the device and the result are those of GpioWrite; on failure
 * *out is left alone. out is the caller's and must not be null. */
LIBSYS_API int32_t GpioRead(uint32_t group, uint32_t bit, uint8_t *out);

/* Copies length bytes between buffer and the physical address, through /dev/mem: to the
 * registers when write is not zero, from them otherwise. The copy goes byte by byte and may
 * not cross the 4096-byte page of its address. buffer is the caller's. Returns 1 on success,
 * and 0 with a message when buffer is null, the access would cross its page, or /dev/mem
 * does not open or map. */
LIBSYS_API int32_t DvrPhysicalMemoryAccess(uint32_t address, uint8_t *buffer, uint32_t length,
                                           int32_t write);

#ifdef __cplusplus
}
#endif

#endif
