// Erasing a flash partition that somebody uses loses what it holds, or stops the board.
#pragma once

#include <stddef.h>

#include "libsys/flash.h"

namespace boardctl {

// A partition is in use while it is mounted or attached to UBI, and when a word of the kernel's
// command line names it, such as root=/dev/mtdblock2. Returns true then, and also when that cannot
// be known; `by` says why, for a person.
bool IsPartitionInUse(const MtdPartition &partition, char *by, size_t size);

}  // namespace boardctl
