/* Flash partitions and one linear flash address space.
 *
 * The partition list comes from /proc/mtd ("mtd0: 00100000 00010000 "boot"": device, size and
 * erase size in hexadecimal, name in double quotes). Partition 0 begins at the linear address
 * FLASH_BASE_ADDRESS, every further one where the one before it ends. Transfers go to the MTD
 * character devices, erasing to the MEMERASE request of <mtd/mtd-user.h>.
 *
 * Every address must be a multiple of the sector size, for reading and writing too. The module
 * has no lock: the selected partition is shared by the whole process, so callers on several
 * threads serialise their calls. Failures are reported on standard output.
 */
#ifndef LIBSYS_FLASH_H
#define LIBSYS_FLASH_H

#include <stdint.h>

#include "libsys/export.h"

#ifdef __cplusplus
extern "C" {
#endif

#define FLASH_BASE_ADDRESS 0x80000000u
#define FLASH_MAX_PARTITIONS 11

/* One partition. Texts that do not fit their field are cut; both are always terminated. */
typedef struct MtdPartition {
  int32_t fd;     /* the character device, open for reading and writing; -1 when closed */
  int32_t index;  /* last digit of the MTD number: mtd0 and mtd10 both have 0 */
  uint32_t start; /* linear address */
  uint32_t size;  /* bytes */
  char path[32];  /* character device: /dev/mtd and the row number */
  char name[32];  /* as /proc/mtd prints it, double quotes included */
} MtdPartition;

/* A copy of the partition table. Only the first `count` rows are filled, the others are zero. */
typedef struct FlashPartitionTable {
  int32_t count;
  uint32_t sectorSize; /* bytes */
  uint32_t base;       /* FLASH_BASE_ADDRESS */
  struct {
    char path[32];
    uint32_t start;
    uint32_t size;
    char name[32];
  } rows[FLASH_MAX_PARTITIONS];
} FlashPartitionTable;

/* Reads /proc/mtd and opens every partition's device. The first partition's erase size becomes
 * the sector size of all. Once there is a sector size, further calls do nothing. Lines that are
 * no partition (fewer than four columns, a device name without 'd' or 'k') are skipped.
 * Returns 0, or -1 when the list cannot be read, is empty or has more than FLASH_MAX_PARTITIONS
 * partitions, or when a device cannot be opened; nothing stays open then. */
LIBSYS_API int32_t FlashInit(void);

/* Closes every partition and empties the table; the next FlashInit builds it anew. Rows that
 * FlashFindPartition returned are invalid afterwards. Returns 0. */
LIBSYS_API int32_t FlashCloseAll(void);

/* Finds the first partition with exactly this name, double quotes included: "\"config\"".
 * Does not build the table: call FlashInit first. Returns the module's own row, valid until
 * FlashCloseAll and not to be freed, or NULL. */
LIBSYS_API const MtdPartition *FlashFindPartition(const char *name);

/* Stores the linear start of the partition whose name is the four letters tool, without quotes.
 * A name that /proc/mtd prints in quotes never matches. Call FlashInit first. Returns 0; -1 without
 * such a partition, leaving *address as it was. */
LIBSYS_API int32_t FlashGetToolPartitionStart(uint32_t *address);

/* Calls FlashInit and copies the table into the caller's *table; without a table the row count
 * is 0. Returns 0; -1 only for a null argument. */
LIBSYS_API int32_t FlashGetPartitionTable(FlashPartitionTable *table);

/* Makes the partition that holds the linear address the current one. Without a sector size it
 * first stores the default of the board's product type, after which FlashInit counts as done.
 * Returns 0; -1 when the address is not a multiple of the sector size or in no partition. */
LIBSYS_API int32_t FlashSelect(uint32_t address);

/* Reads `count` bytes, at most one sector, from the linear address into the caller's buffer.
 * Blocks until done. Returns 0, also when the device ends early (the rest of the buffer is left
 * as it was); -1 for an invalid address, a count above the sector size or a failed transfer. */
LIBSYS_API int32_t FlashRead(void *buffer, uint32_t address, uint32_t count);

/* Writes `count` bytes, at most one sector, at the linear address, which must have been erased.
 * Blocks until done. Returns as FlashRead does. */
LIBSYS_API int32_t FlashWrite(const void *buffer, uint32_t address, uint32_t count);

/* Erases the sector that begins at the linear address; blocks until done. On boards that keep a
 * second copy of the boot environment, erasing 0x80020000 first copies that sector to
 * 0x80030000, and erasing 0x80030000 does nothing and succeeds. On other boards erasing the
 * very first sector sets the boot variable "restore" to "1" (boot.h).
 * Returns 0; -1 for an invalid address or when any of these steps fails. */
LIBSYS_API int32_t FlashErase(uint32_t address);

/* Stores the sector size in bytes. Returns 0; -1, storing 0, before FlashInit. */
LIBSYS_API int32_t FlashGetSectorSize(uint32_t *size);

#ifdef __cplusplus
}
#endif

#endif
