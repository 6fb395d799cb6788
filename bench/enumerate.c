/* Enumerates the disks and says how many there are: bench/launcher counts its system calls. */
#include <libsys/disk.h>
#include <stdio.h>

int main(void) {
  DiskInfo *disks = NULL;
  printf("%d\n", (int)DiskEnumerate(&disks));
  return 0;
}
