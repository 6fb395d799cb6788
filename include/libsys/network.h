/* Network: the settings of an interface.
 *
 * NOT THERE YET: every operation answers -1 and leaves its buffers as they are. */
#ifndef LIBSYS_NETWORK_H
#define LIBSYS_NETWORK_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Writes the address and the netmask of an interface ("eth0") as dotted text into the caller's
 * buffers; the lengths are in bytes, at least 16. Returns 0, or -1. */
int32_t NetWorkGetDefaultAddress(const char *interfaceName, char *address, int32_t addressLength,
                                 char *netmask, int32_t netmaskLength);

/* Writes the gateway of an interface as dotted text into the caller's buffer of at least 16
 * bytes. Returns 0, or -1. */
int32_t NetWorkGetDefaultGateway(const char *interfaceName, char *gateway, int32_t length);

#ifdef __cplusplus
}
#endif

#endif
