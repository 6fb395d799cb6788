// This command shows the disks and sticks.
#include <string.h>

#include "boardctl/command.h"
#include "boardctl/output.h"
#include "libsys/disk.h"

namespace boardctl {

int Disks(const Arguments &) {
  DiskInfo *disks = nullptr;
  const int32_t count = DiskEnumerate(&disks);
  output::BeginList();
  for (int32_t i = 0; i < count; ++i) {
    char path[32] = "/dev/";
    DiskGetPath(i, path, sizeof path);
    output::BeginRecord();
    output::Text("device", path + strlen("/dev/"));
    output::Text("class", disks[i].diskClass == DISK_CLASS_INTERNAL ? "internal" : "external");
    output::Number("sectors", static_cast<int64_t>(disks[i].size));
    output::Number("partitions", disks[i].partitionCount);
    output::EndRecord();
  }
  output::EndList();
  return kDone;
}

}  // namespace boardctl
