// Whether somebody uses a flash partition.
#pragma once

#include <stddef.h>

#include "libsys/flash.h"

// True for a partition that is mounted or that a word of the kernel's command line names, such as
// root=/dev/mtdblock2; `by` then says which, for a person. Also true when that cannot be known.
bool IsPartitionInUse(const MtdPartition &partition, char *by, size_t size);
