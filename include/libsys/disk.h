/* Disk discovery: disks, USB sticks and optical drives behind the kernel's SCSI layer.
 *
 * NOT THERE YET: DiskEnumerate finds no disks. */
#ifndef LIBSYS_DISK_H
#define LIBSYS_DISK_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define DISK_MAX_PARTITIONS 15

/* Values of DiskInfo.kind and DiskInfo.diskClass. */
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
  int32_t kind;           /* DiskKind */
  int32_t diskClass;      /* DiskClass */
  DiskPartition partitions[DISK_MAX_PARTITIONS];
} DiskInfo;

/* Builds the table of disks anew and stores a pointer to its first record. The table belongs
 * to the library and stays valid until the next call. Returns the number of records, 0 to 16,
 * and never a negative value. Not for several threads at once. */
int32_t DiskEnumerate(DiskInfo **table);

#ifdef __cplusplus
}
#endif

#endif
