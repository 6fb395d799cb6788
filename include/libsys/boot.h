/* The boot loader's variables.
 *
 * They lie in one block of flash, shared with the boot loader: a CRC-32 (that of zlib and
 * Ethernet, little-endian) of all bytes behind it, then entries name=value, each ended by a NUL,
 * and an empty entry after the last one. The block is 0x10000 or 0x20000 bytes long, by product.
 * The CRC is written with every change and never checked.
 *
 * Where it lies: on boards of type 0 in the partition "env", or at 0x80000 in "boot" where there
 * is no "env"; on all others in the last sector of "boot".
 *
 * Nothing is cached: every get and every set reads the block from flash and releases it again,
 * under one mutex, so they may be called from any thread. They block while the flash works, a set
 * for as long as an erase and a write take. Failures are reported on standard output.
 *
 * A set erases the block and writes it anew; the power may fail in between. A block whose data
 * begins with 0xFF (erased) counts as an empty list, and so does a list that has no end inside
 * a block whose last byte is 0xFF (the write stopped inside the list): after a cut at any byte the
 * block reads as the old list, the new one or an empty one. The next set on such a block starts
 * from an all-NUL data area. A list that fills its block to the last byte reads up to there.
 *
 * From the erase to the end of the write SIGHUP, SIGINT, SIGQUIT, SIGPIPE and SIGTERM are held back
 * for the whole process: one that comes meanwhile, to whatever thread, is sent to the process again
 * before the set returns, as by kill(2); a handler may neither use these operations nor leave by
 * siglongjmp(3) or exit(3). No other thread may change what the process does about them while a set
 * runs, be it with sigaction(2) or with system(3), which some operations of libsys/network.h use.
 * Nothing holds back SIGKILL or an exit of the process.
 */
#ifndef LIBSYS_BOOT_H
#define LIBSYS_BOOT_H

#include <stdint.h>

#include "libsys/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Finds the block (calling FlashInit), reads it into memory and keeps it and the open device
 * until the next get, set or BootEnvRelease. Get and set load for themselves; this only tells
 * whether the block can be read. Returns 0, at once if it is loaded; -1 when there is no such
 * partition, its device does not open or the block cannot be read whole. */
LIBSYS_API int32_t BootEnvInit(void);

/* Frees the block in memory and closes the device. Changes that were not saved are lost. */
LIBSYS_API void BootEnvRelease(void);

/* Fills `destination` with `length` zero bytes and copies the variable's value into it, at most
 * `length` bytes: a value of that length or longer is cut and NOT terminated.
 * Returns 0; -1 when there is no such variable (the destination is zero then), when the block
 * cannot be read, or for a null argument. */
LIBSYS_API int32_t BootEnvGet(const char *name, void *destination, uint32_t length);

/* Calls visit with each entry name=value, in the order of the list, and the context. The text is
 * valid during the call, which may not use these operations. Returns 0; -1 for null or when the
 * block cannot be read. */
LIBSYS_API int32_t BootEnvForEach(void (*visit)(const char *entry, void *context), void *context);

/* Deletes the variable, appends it with its new value at the end of the list and saves the block.
 * A null value only deletes, and saves even where there was nothing to delete.
 * A pair that fills the block may lose the last two characters of its value.
 * Returns 0; -1 for a null name, or when the block cannot be read, the pair does not fit (flash
 * keeps the old block, the old value included), or erasing or writing fails. After a failed
 * write the block is left erased or partly written. */
LIBSYS_API int32_t BootEnvSet(const char *name, const char *value);

/* BootEnvSet of a text name=value, split at its first '='. Name and value are cut to 31
 * characters each. Returns as BootEnvSet; -1 for a null text or one without '='. */
LIBSYS_API int32_t BootEnvSetText(const char *text);

/* Where the value begins in `entry`, a terminated name=value, if that is the entry of `name`:
 * the whole name, then '=' at once. Returns the position in bytes, or -1. */
LIBSYS_API int32_t BootEnvMatchName(const char *name, const char *entry);

#ifdef __cplusplus
}
#endif

#endif
