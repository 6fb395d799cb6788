// The kernel's list of flash partitions.
#include <string.h>

#include <vector>

#include "fuzz/fuzz.h"
#include "libsys/flash.h"

namespace fuzz {
namespace {

void CheckRow(const FlashPartitionTable &table, int32_t index) {
  const auto &row = table.rows[index];
  Expect(IsPadded(row.path) && IsTerminated(row.name), "a text of the table is terminated");
  Expect(strncmp(row.path, "/dev/", 5) == 0, "the path is one of a device");
  int32_t first = 0;
  while (strcmp(table.rows[first].name, row.name) != 0) ++first;
  const MtdPartition *found = FlashFindPartition(row.name);
  Expect(found != nullptr && found->start == table.rows[first].start &&
             found->size == table.rows[first].size && found->fd > 2,
         "the first partition of a name is found");
  Expect(found->index >= 0 && found->index <= 9, "the index is a digit");
}

// What is written to the first sector is what is read there.
void Transfer(const FlashPartitionTable &table) {
  const uint32_t sector = table.sectorSize;
  const bool valid = sector == 0 || (FLASH_BASE_ADDRESS % sector == 0 && sector >= 4);
  char read[5] = "xxxx";
  Expect(FlashWrite("1234", FLASH_BASE_ADDRESS, 4) == (valid ? 0 : -1), "the sector is written");
  Expect(FlashRead(read, FLASH_BASE_ADDRESS, 4) == (valid ? 0 : -1), "the sector is read");
  Expect(strcmp(read, valid ? "1234" : "xxxx") == 0, "what is written is read");
}

}  // namespace

void Try(Input &input) {
  static const BoardFile list("/proc/mtd");
  static std::vector<BoardFile> devices;  // one more than the table has rows
  while (devices.size() <= FLASH_MAX_PARTITIONS) {
    devices.emplace_back("/dev/mtd" + std::to_string(devices.size()));
  }
  for (const BoardFile &device : devices) device.Put("");
  list.Put(input.Rest());
  const int32_t result = FlashInit();
  FlashPartitionTable table;
  memset(&table, 0xff, sizeof table);
  Expect(FlashGetPartitionTable(&table) == 0 && table.base == FLASH_BASE_ADDRESS, "a table");
  Expect(table.count >= 0 && table.count <= FLASH_MAX_PARTITIONS, "the table's count");
  Expect(result == 0 ? table.count > 0 : table.count == 0, "the table is what was read");
  uint32_t start = FLASH_BASE_ADDRESS;
  for (int32_t i = 0; i < table.count; ++i) {
    Expect(table.rows[i].start == start, "partitions follow each other");
    start += table.rows[i].size;
    CheckRow(table, i);
  }
  if (table.count > 0 && table.rows[0].size > 0 && start > FLASH_BASE_ADDRESS) Transfer(table);
  FlashCloseAll();
}

}  // namespace fuzz
