// The table of disks inside this module.
#pragma once

#include "libsys/disk.h"

namespace libsys::disk {

// The record at an index of the last enumeration, or null. Enumerates where none has run yet.
const DiskInfo *Find(int32_t index);

}  // namespace libsys::disk
