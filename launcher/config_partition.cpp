// The configuration partition: mounted on /opt/sav, or erased when it does not mount.
#include <stdio.h>
#include <stdlib.h>
#include <sys/mount.h>

#include "launcher/launcher.h"
#include "libsys/flash.h"

namespace launcher {
namespace {

constexpr const char *kMountPoint = "/opt/sav";

bool Mount(const MtdPartition &partition) {
  char device[32];
  snprintf(device, sizeof device, "/dev/mtdblock%d", partition.index);
  umount2(kMountPoint, MNT_DETACH);
  return mount(device, kMountPoint, "jffs2", MS_MGC_VAL, "sync") >= 0;
}

// The erased partition mounts as an empty file system after the reboot.
void EraseAndReboot(const MtdPartition &partition, uint32_t sectorSize) {
  printf("ConfigMtd_p->StartAddress = %x\n", partition.start);
  // Counted from the start, so that a partition at the top of the address space ends too;
  // without a sector size there is no next sector.
  for (uint32_t offset = 0; offset < partition.size; offset += sectorSize) {
    FlashErase(partition.start + offset);
    if (sectorSize == 0 || partition.size - offset <= sectorSize) break;
  }
  // The system shuts down on its own; the launcher goes on meanwhile.
  if (system("reboot") != 0) return;
}

}  // namespace

bool MountConfigPartition() {
  if (FlashInit() < 0) return false;
  uint32_t sectorSize = 0;
  FlashGetSectorSize(&sectorSize);
  const MtdPartition *config = FlashFindPartition("\"config\"");
  if (config == nullptr) {
    puts("LIBDVR : Cant't find Config mtd");
    return false;
  }
  if (!Mount(*config)) EraseAndReboot(*config, sectorSize);
  return true;
}

}  // namespace launcher
