// These commands read and erase flash partitions.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "boardctl/command.h"
#include "boardctl/messages.h"
#include "boardctl/output.h"
#include "boardctl/partition_use.h"
#include "libsys/flash.h"

namespace boardctl {
namespace {

// The library knows the names as /proc/mtd prints them, in quotes; people need not type these.
const MtdPartition *FindPartition(const char *name) {
  char quoted[40];
  snprintf(quoted, sizeof quoted, "\"%s\"", name);
  if (FlashInit() != 0) return nullptr;
  messages::Forget();
  return FlashFindPartition(quoted);
}

// FlashRead takes no address but the start of a sector.
int CopySectors(const MtdPartition &partition, FILE *file, uint8_t *buffer, uint32_t sector) {
  for (uint32_t done = 0; done < partition.size; done += sector) {
    const uint32_t count = std::min(sector, partition.size - done);
    if (FlashRead(buffer, partition.start + done, count) != 0) {
      return Failure("cannot read the flash at 0x%08x", partition.start + done);
    }
    if (fwrite(buffer, 1, count, file) != count) return Failure("the copy cannot be written");
  }
  return fflush(file) == 0 ? kDone : Failure("the copy cannot be written");
}

int CopyPartition(const MtdPartition &partition, FILE *file) {
  uint32_t sector = 0;
  FlashGetSectorSize(&sector);
  if (sector == 0) return Failure("the flash does not tell the size of its sectors");
  auto *buffer = static_cast<uint8_t *>(malloc(sector));
  if (buffer == nullptr) return Failure("there is no memory for a sector");
  const int status = CopySectors(partition, file, buffer, sector);
  free(buffer);
  return status;
}

// No board starts without its boot loader and the boot loader's variables.
bool MayErase(const MtdPartition &partition, const char *name) {
  char by[160];
  if (strcmp(name, "boot") == 0 || strcmp(name, "env") == 0) {
    Failure("without '%s' this board does not start: erase it with --force only", name);
  } else if (IsPartitionInUse(partition, by, sizeof by)) {
    Failure("'%s' is in use (%s): erase it with --force only", name, by);
  } else {
    return true;
  }
  return false;
}

}  // namespace

int FlashList(const Arguments &) {
  FlashPartitionTable table;
  if (FlashGetPartitionTable(&table) != 0 || table.count == 0) {
    return Failure("there are no flash partitions");
  }
  output::BeginList();
  for (int32_t i = 0; i < table.count; ++i) {
    char name[32];
    const char *quoted = table.rows[i].name;
    snprintf(name, sizeof name, "%.*s", static_cast<int>(strcspn(quoted + 1, "\"")), quoted + 1);
    output::BeginRecord();
    output::Text("name", name);
    output::Hex("start", table.rows[i].start, 8);
    output::Hex("size", table.rows[i].size, 8);
    output::Hex("sector", table.sectorSize, 5);
    output::Text("device", table.rows[i].path);
    output::EndRecord();
  }
  output::EndList();
  return kDone;
}

int FlashDump(const Arguments &arguments) {
  if (arguments.json && arguments.size() == 1) return UsageError("with --json there is a FILE");
  const MtdPartition *partition = FindPartition(arguments[0]);
  if (partition == nullptr) return Failure("there is no flash partition '%s'", arguments[0]);
  if (arguments.size() == 1) return CopyPartition(*partition, output::Stream());
  FILE *file = fopen(arguments[1], "we");
  if (file == nullptr) return Failure("cannot create %s", arguments[1]);
  const int status = CopyPartition(*partition, file);
  return fclose(file) == 0 || status != kDone ? status : Failure("the copy cannot be written");
}

int FlashErasePartition(const Arguments &arguments) {
  const char *name = arguments[0];
  const MtdPartition *partition = FindPartition(name);
  if (partition == nullptr) return Failure("there is no flash partition '%s'", name);
  if (!arguments.force && !MayErase(*partition, name)) return kFailed;
  uint32_t sector = 0;
  FlashGetSectorSize(&sector);
  if (sector == 0) return Failure("the flash does not tell the size of its sectors");
  const uint32_t start = partition->start, size = partition->size;
  for (uint32_t done = 0; done < size; done += sector) {
    if (FlashErase(start + done) != 0) return Failure("cannot erase 0x%08x", start + done);
  }
  return kDone;
}

}  // namespace boardctl
