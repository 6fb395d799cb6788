// The list of boot variables inside one block: CRC, then name=value entries.
#pragma once

#include <stdint.h>

namespace libsys::boot {

// NUL bytes behind the block in memory. They end every walk over the list, whatever the block
// holds, and take what an append may write beyond the block.
inline constexpr uint32_t kSpareBytes = 8;

struct BootEnv {
  char *bytes = nullptr;  // `size` bytes as in flash, then kSpareBytes
  uint32_t size = 0;
};

// Makes the list empty where a power cut left the block erased or torn: erased flash shows in it,
// and its CRC is wrong.
void ClearBrokenList(const BootEnv &env);

// The value of the first entry with this name, or null.
const char *FindValue(const BootEnv &env, const char *name);

// The entry behind this one, or the first for null; null behind the last one.
const char *NextOf(const BootEnv &env, const char *entry);

// Deletes the first entry with this name, if there is one.
void DeleteEntry(const BootEnv &env, const char *name);

// Appends name=value to the list. False, changing nothing, when it does not fit.
bool AppendEntry(const BootEnv &env, const char *name, const char *value);

// Stores the CRC of the block's data.
void StoreCrc(const BootEnv &env);

}  // namespace libsys::boot
