/* Start and stop of the serial ports, once at the start and at the end of a program. */
#ifndef LIBSYS_SERIAL_H
#define LIBSYS_SERIAL_H

#include <stdint.h>

#include "libsys/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Before any port is created and other threads run: reads the boot variables "xuart" and "xapp"
 * into the settings of uart.h, keeps copies of descriptors 0, 1 and 2 and the terminal settings
 * of standard output, and makes that copy of standard output the console's port (not on product
 * types 13 and 14). Returns 1, 0 when it was done before, -1 with a message when /dev/null does
 * not open. */
LIBSYS_API int32_t SerialInit(void);

/* Closes what SerialInit keeps and destroys the routed console's port. Returns as
 * UartDeviceDestroy. */
LIBSYS_API int32_t SerialExit(void);

#ifdef __cplusplus
}
#endif

#endif
