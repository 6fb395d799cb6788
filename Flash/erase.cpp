// Sector erase, with the second copy of the boot environment that some boards keep.

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "Flash/flash.h"
#include "Flash/mtd.h"
#include "libsys/boot.h"
#include "libsys/flash.h"

using namespace libsys;

namespace {

constexpr uint32_t kFirstSector = FLASH_BASE_ADDRESS;
constexpr uint32_t kEnvironment = 0x80020000;
constexpr uint32_t kEnvironmentCopy = 0x80030000;
constexpr uint32_t kEnvironmentSize = 0x10000;
constexpr uint32_t kBackupBootGap = 0x20000;

// The size of "boot" without one sector; without "boot" it is 0.
uint32_t BootGap() {
  uint32_t sectorSize = 0;
  if (FlashGetSectorSize(&sectorSize) < 0) puts("LIBDVR : FlashGetSectorSize failed");
  const MtdPartition *boot = FlashFindPartition("\"boot\"");
  return boot == nullptr ? 0 : boot->size - sectorSize;
}

// Erases the sector at `address`; `requested` is the address that the caller gave.
bool EraseSector(uint32_t address, uint32_t requested) {
  if (FlashSelect(address) < 0) {
    printf("LIBDVR : FlashErase : Invalid address: %lx\n", static_cast<unsigned long>(requested));
    return false;
  }
  uint32_t sectorSize = 0;
  FlashGetSectorSize(&sectorSize);
  const flash::Selection &current = flash::CurrentSelection();
  if (MtdErase(current.fd, address - current.start, sectorSize)) return true;
  puts("LIBDVR : Flash erase failed");
  return false;
}

bool BackUpEnvironment(uint32_t bootGap) {
  printf("envoffset now = %x\n", bootGap);
  void *copy = malloc(kEnvironmentSize);
  if (copy == nullptr) {
    puts("LIBDVR : Malloc for MtdBuffer failed");
    return false;
  }
  // What a short read leaves out stays erased in the copy.
  memset(copy, 0xFF, kEnvironmentSize);
  const bool copied = FlashRead(copy, kEnvironment, kEnvironmentSize) >= 0 &&
                      EraseSector(kEnvironmentCopy, kEnvironment) &&
                      FlashWrite(copy, kEnvironmentCopy, kEnvironmentSize) >= 0;
  free(copy);
  return copied;
}

}  // namespace

int32_t FlashErase(uint32_t address) {
  const uint32_t bootGap = BootGap();
  if (bootGap == kBackupBootGap && flash::IsSmallSectorProduct()) {
    // The copy is erased only when it is rewritten.
    if (address == kEnvironmentCopy) return 0;
    if (address == kEnvironment && !BackUpEnvironment(bootGap)) return -1;
  }
  if (!EraseSector(address, address)) return -1;
  if (address == kFirstSector && bootGap != kBackupBootGap && BootEnvSet("restore", "1") < 0) {
    puts("LIBDVR : Save boot restore = 1 failed");
    return -1;
  }
  return 0;
}
