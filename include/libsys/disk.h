/* Disk discovery: disks, USB sticks and optical drives behind the kernel's SCSI layer, as
 * /sys/bus/scsi/devices lists them.
 *
 * Not for several threads at once: the table of disks is shared and rewritten in place. An
 * operation blocks as long as the files or the drive that it asks. */
#ifndef LIBSYS_DISK_H
#define LIBSYS_DISK_H

#include <stdint.h>

#include "libsys/export.h"

#ifdef __cplusplus
extern "C" {
#endif

#define DISK_MAX_DISKS 16
#define DISK_MAX_PARTITIONS 15

/* Values of DiskInfo.kind and DiskInfo.diskClass. A disk is internal when its vendor is "ATA" or
 * its host is one of the board's own ports: below DISK_NUM of libsys/version.h. */
enum DiskKind { DISK_KIND_DISK = 1, DISK_KIND_OPTICAL = 2 };
enum DiskClass { DISK_CLASS_EXTERNAL = 0, DISK_CLASS_INTERNAL = 3 };

typedef struct DiskPartition {
  uint64_t start; /* sectors of 512 bytes */
  uint64_t size;  /* sectors */
  int32_t number; /* 1 for sda1 */
} DiskPartition;

typedef struct DiskInfo {
  int32_t host;           /* SCSI host number */
  uint32_t letter;        /* 'a' for sda, '0' for sr0 */
  int32_t genericNumber;  /* N of sgN; 0 when there is none */
  int32_t partitionCount; /* entries in partitions, at most DISK_MAX_PARTITIONS */
  uint64_t size;          /* sectors of 512 bytes */
  int32_t kind;           /* DiskKind; 0 for a device that is neither */
  int32_t diskClass;      /* DiskClass */
  DiskPartition partitions[DISK_MAX_PARTITIONS];
} DiskInfo;

/* Builds the table of disks anew and stores a pointer to its first record. The table belongs
 * to the library and stays valid until the next call. The records are in the order of the host
 * numbers, and of each host only the device 0:0:0 is looked at; those of a disk's partitions are
 * in the order in which the kernel lists them. Partitions of less than 3 sectors, such as the
 * container of logical ones, and those beyond DISK_MAX_PARTITIONS are left out. It looks only for
 * hosts that the list names, so that a high host number costs no time; numbers above INT32_MAX are
 * none. Returns the number of records, 0 to DISK_MAX_DISKS, and never a negative value; what cannot
 * be read is reported and skipped. */
LIBSYS_API int32_t DiskEnumerate(DiskInfo **table);

/* Returns the number of records that the last enumeration found, and enumerates where none has
 * run yet. The operations below take an index from 0 to one below it. */
LIBSYS_API int32_t DiskGetCount(void);

/* Writes the path of a disk's device, "/dev/sda" or "/dev/sr0", terminated, into a buffer of length
 * bytes. Returns 0, or -1 when there is no such disk or the path does not fit. */
LIBSYS_API int32_t DiskGetPath(int32_t index, char *buffer, int32_t length);

/* Sets how long a disk waits without work before it stops its motor: 1 to 330 minutes, from 22
 * on rounded up to half hours; 0 switches the timer off. The command is ATA IDLE, sent with
 * the request HDIO_DRIVE_CMD of linux/hdreg.h. Returns 0, or -1 when there is no such disk,
 * the time is out of range, or the drive does not take the command, as optical drives and most
 * USB sticks do not. */
LIBSYS_API int32_t DiskSetStandby(int32_t index, int32_t minutes);

/* Brings everything written to the disk's device onto the disk, with fsync. Returns 0, or -1
 * when there is no such disk or the disk fails. */
LIBSYS_API int32_t DiskFlush(int32_t index);

#ifdef __cplusplus
}
#endif

#endif
