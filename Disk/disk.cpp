#include "libsys/disk.h"

int32_t DiskEnumerate(DiskInfo **table) {
  static DiskInfo none;
  *table = &none;
  return 0;
}
