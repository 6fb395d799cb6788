// The partition table, transfers by linear address, and erasing with what hangs on it.
#include <errno.h>
#include <stdio.h>

#include <filesystem>
#include <optional>

#include "libsys/boot.h"
#include "libsys/flash.h"
#include "libsys/version.h"
#include "tests/support/flash_board.h"
#include "tests/support/table.h"

namespace {

using test::FlashBytes;
using test::Printed;
using testing::ElementsAre;

constexpr uint32_t kSector = 0x10000;
constexpr test::Product kSmallSectorProducts[] = {
    test::kProduct2, test::kProduct3, test::kProduct30, test::kProduct31, test::kProduct32};
const std::string kErased(kSector, '\xff');
const std::string kSize = "LIBDVR : Flash sector size : 0x10000\n";
const std::string kInitFailed = "LIBDVR : FILE -> Flash/flash, LINE -> 191: FlashInit falied \n";
const std::string kTransferFailed = "LIBDVR : FlashWrite failed, not erase?\n";

std::string Sectors(unsigned count) {
  std::string text = "dev:    size   erasesize  name\n";
  for (unsigned i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    text += "mtd" + number + ": 00010000 00010000 \"part" + number + "\"\n";
  }
  return text;
}

class FlashTest : public test::BoardTest {
 protected:
  FlashTest() { Keep(test::kFlash); }

  void UseSectors(unsigned count) {
    UseBoard(
        test::FlashBoard(test::kProduct2, 0, kSector, test::Partitions(count, {"part", kSector})));
  }
  void PutList(const std::string &text) { vboard::WriteFile(vboard::RootPath("/proc/mtd"), text); }

  // Runs checks in a new process on a board with the boot variables in the last sector of its
  // first partition.
  void OnBoard(test::Product product, const test::Partitions &partitions,
               const std::function<void()> &checks) {
    SCOPED_TRACE(testing::Message() << product << ", first partition " << partitions[0].second);
    UseBoard(test::FlashBoard(product, 0, kSector, partitions));
    test::PutFlashBytes(0, partitions[0].second - kSector, test::Block("xuart=0", kSector));
    const test::Child child = test::InChild(
        [&] {
          DvrReadBootParameters();
          FlashInit();
          Events();
          checks();
          return HasFailure() ? 1 : 0;
        },
        test::kFlash);
    EXPECT_EQ(0, child.exitStatus) << child.printed;
  }
};

TEST_F(FlashTest, PartitionLists) {
  constexpr int kFailed = 100;
  const struct {
    const char *what;
    std::optional<std::string> list;
    int result;  // rows
    std::string printed;
    const char *call = "", *path = "";  // of a fault
  } rows[] = {
      {"missing", {}, kFailed, "LIBDVR : Read /proc/mtd failed\n" + kInitFailed},
      {"unreadable", Sectors(1), kFailed, "LIBDVR : Read /proc/mtd failed\n" + kInitFailed, "fopen",
       "/proc/mtd"},
      {"no partitions", Sectors(0), kFailed, kInitFailed},
      {"garbage", test::Bytes("mtd\n\0\xff\x80mtd\nx0: 10000 10000 \"mtd\"\nmtd0: 1"), kFailed,
       kInitFailed},
      {"garbage between", "mtd0: 10000\n\n" + Sectors(2) + "mtd2", 2, kSize},
      {"eleven", Sectors(11), 11, kSize},
      {"twelve", Sectors(12), kFailed,
       kSize + "LIBDVR : Parrtion count > 10 error\n" + kInitFailed},
      {"three columns", "mtd0: 10000 10000 \n\t mtd1:\t10000\v10000\f\"b\"\n", 1, kSize},
      {"a long line", "mtd0: 10000 10000 \"" + std::string(200, 'n') + "\"\n" + Sectors(1), 2,
       kSize},
      {"sizes that differ", "mtd0: 10000 10000 \"a\"\nmtd1: 20000 20000 \"b\"", 2, kSize},
      {"a device that does not open", Sectors(3), kFailed,
       kSize + "LIBDVR : FILE -> Flash/flash, LINE -> 201: open /dev/mtd1 failed\n", "open",
       "/dev/mtd1"},
  };
  UseSectors(12);
  for (const auto &row : rows) {
    SCOPED_TRACE(row.what);
    std::filesystem::remove(vboard::RootPath("/proc/mtd"));
    if (row.list) PutList(*row.list);
    if (row.call[0] != '\0') vboard::PlanFault(row.call, row.path, EIO, 1, false);
    const test::Child child = test::InChild(
        [] {
          FlashPartitionTable table;
          if (FlashInit() != 0) return FlashGetSectorSize(&table.sectorSize) < 0 ? kFailed : -1;
          return FlashGetPartitionTable(&table) + static_cast<int>(table.count);
        },
        row.result == kFailed ? test::Paths() : test::kFlash);
    EXPECT_EQ(row.result, child.exitStatus);
    EXPECT_EQ(row.printed, child.printed);
  }
}

TEST_F(FlashTest, RowsFollowOneAnother) {
  UseSectors(4);
  PutList(
      "mtd0: 00010000 00010000 \"boot\"\nmtd10: 00020000 00020000 \"tool\"\n"
      "mtdblock19: 00010000 00010000 tool\nmtd9: 10000 10000 \"boot\"\n");
  uint32_t toolStart = 1;
  EXPECT_EQ(-1, FlashGetToolPartitionStart(&toolStart));
  EXPECT_EQ(1U, toolStart);
  EXPECT_EQ(-1, FlashGetPartitionTable(nullptr));
  FlashPartitionTable table = {};
  table.rows[10].size = 1;
  EXPECT_EQ(0, FlashGetPartitionTable(&table));
  EXPECT_EQ(0U, table.rows[4].start | table.rows[10].size);
  EXPECT_EQ(kSector, table.sectorSize);
  EXPECT_EQ(FLASH_BASE_ADDRESS, table.base);
  std::vector<std::string> rows;
  for (int32_t i = 0; i < table.count; ++i) {
    const auto &[path, start, size, name] = table.rows[i];
    const MtdPartition *found = FlashFindPartition(name);
    ASSERT_NE(nullptr, found);
    char text[120];
    snprintf(text, sizeof text, "%s %s %x %x; found %d", path, name, start, size, found->index);
    rows.push_back(text);
  }
  // Of two with the same name the first is found.
  EXPECT_THAT(rows, ElementsAre("/dev/mtd0 \"boot\" 80000000 10000; found 0",
                                "/dev/mtd1 \"tool\" 80010000 20000; found 0",
                                "/dev/mtdblock2 tool 80030000 10000; found 9",
                                "/dev/mtd3 \"boot\" 80040000 10000; found 0"));
  EXPECT_EQ(nullptr, FlashFindPartition("boot"));
  EXPECT_EQ(nullptr, FlashFindPartition(""));
  EXPECT_EQ(nullptr, FlashFindPartition(nullptr));
  EXPECT_EQ(-1, FlashGetToolPartitionStart(nullptr));
  EXPECT_EQ(0, FlashGetToolPartitionStart(&toolStart));
  EXPECT_EQ(0x80030000, toolStart);
  // Built once: the list is not read again before the table is closed.
  PutList("");
  EXPECT_EQ("", Printed([] { EXPECT_EQ(0, FlashInit()); }));
  EXPECT_EQ(0, FlashCloseAll());
  EXPECT_EQ(kInitFailed, Printed([] { EXPECT_EQ(-1, FlashInit()); }));
}

TEST_F(FlashTest, AddressesAndCounts) {
  UseSectors(3);
  // The device of the last row is shorter than its row says.
  PutList(Sectors(2) + "mtd2: 20000 10000 \"part2\"\n");
  FlashInit();
  EXPECT_EQ(-1, FlashGetSectorSize(nullptr));
  char buffer[kSector + 1] = {};
  const std::function<int32_t(uint32_t, uint32_t)> select = [](auto at, auto) {
    return FlashSelect(at);
  };
  const auto read = [&](auto at, auto count) { return FlashRead(buffer, at, count); };
  const auto write = [&](auto at, auto count) { return FlashWrite(buffer, at, count); };
  const auto erase = [](auto at, auto) { return FlashErase(at); };
  const std::string notAligned = "LIBDVR : Not alain flash sector size\n";
  const struct {
    std::function<int32_t(uint32_t, uint32_t)> call;
    uint32_t address, count;
    int32_t result;
    std::string printed;
    const char *failing = "";  // call on the device that fails
  } rows[] = {
      {select, 0x7FFF0000, 0, -1, ""},
      {select, 0x80000000, 0, 0, ""},
      {select, 0x80030000, 0, 0, ""},   // the last sector
      {select, 0x80040000, 0, -1, ""},  // behind it
      {select, 0xFFFF0000, 0, -1, ""},
      {select, 0x80000200, 0, -1, notAligned},
      {read, 0x80020000, kSector, 0, ""},
      {read, 0x80030000, 1, 0, ""},  // the device's end is no failure
      {read, 0x80020000, kSector + 1, -1, "LIBDVR : cnt must <= 0x10000"},
      {write, 0x80020000, kSector + 1, -1, "LIBDVR : cnt must <= 0x10000"},
      {read, 0x80040000, 1, -1, "LIBDVR : FlashRead : Invalid address: 80040000\n"},
      {read, 0x80000001, 1, -1, notAligned + "LIBDVR : FlashRead : Invalid address: 80000001\n"},
      {write, 0x80040000, 1, -1, "LIBDVR : FlashWrite : Invalid address: 80040000\n"},
      {erase, 0x80040000, 0, -1, "LIBDVR : FlashErase : Invalid address: 80040000\n"},
      {read, 0x80020000, 1, -1, kTransferFailed, "read"},
      {write, 0x80020000, 1, -1, kTransferFailed, "write"},
      {erase, 0x80020000, 0, -1, "LIBDVR : Flash erase failed\n", "ioctl"},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    if (row.failing[0] != '\0') vboard::PlanFault(row.failing, "/dev/mtd2", EIO, 1, false);
    EXPECT_EQ(row.printed,
              Printed([&] { EXPECT_EQ(row.result, row.call(row.address, row.count)); }));
  }
}

// Without a table a size by product is taken, and from then on the table counts as built.
TEST_F(FlashTest, DefaultSectorSize) {
  for (test::Row &row : test::Table("identity.txt", "flash and boot variables")) {
    SCOPED_TRACE("product type " + row["type"]);
    UseBoard(test::SmallBoard(test::IdentifierOf(row["type"], row["generation"] == "1"), 0));
    const test::Child child = test::InChild([size = test::Numbers(row["sector"])[0] * 1024] {
      uint32_t found = 1;
      DvrReadBootParameters();
      const bool none = FlashGetSectorSize(&found) == -1 && found == 0;
      const bool erased = FlashErase(0x80000000) == 0;
      const bool some = FlashGetSectorSize(&found) == 0 && found == size && FlashInit() == 0;
      return none && !erased && some ? 0 : 1;
    });
    EXPECT_EQ(0, child.exitStatus);
    // A board that nobody makes says so when its product is asked for.
    const std::string unknown = row["type"] == "99" ? "LIBDVR : Unknow product type\n" : "";
    EXPECT_EQ("LIBDVR : FlashGetSectorSize failed\n" + unknown +
                  "LIBDVR : Can't get flashsectsize, initialize : 131072\n"
                  "LIBDVR : FlashErase : Invalid address: 80000000\n",
              child.printed);
  }
}

TEST_F(FlashTest, ErasingTheEnvironmentKeepsACopy) {
  const test::Partitions arrangement = {{"boot", 0x30000}, {"next", 0x30000}};
  for (const auto product : kSmallSectorProducts) {
    OnBoard(product, arrangement, [this] {
      const std::string old = FlashBytes(0, 0x20000);
      EXPECT_EQ("envoffset now = 20000\n", Printed([] { EXPECT_EQ(0, FlashErase(0x80020000)); }));
      EXPECT_TRUE(kErased == FlashBytes(0, 0x20000));
      EXPECT_TRUE(old == FlashBytes(1, 0, kSector));
      EXPECT_EQ(0, FlashErase(0x80030000));
      EXPECT_THAT(Events(),
                  ElementsAre("flash: erase mtd1 0x0 +0x10000", "flash: write mtd1 0x0 +0x10000",
                              "flash: erase mtd0 0x20000 +0x10000"));
    });
  }
  const auto noCopy = [this] {
    EXPECT_EQ("", Printed([] { EXPECT_EQ(0, FlashErase(0x80020000)); }));
    EXPECT_EQ(0, FlashErase(0x80030000));
    EXPECT_EQ(2U, Events().size());
  };
  OnBoard(test::kProduct4, arrangement, noCopy);
  OnBoard(test::kProduct27, arrangement, noCopy);
  OnBoard(test::kProduct2, {{"boot", 0x20000}, {"next", 0x30000}}, noCopy);
  OnBoard(test::kProduct2, {{"boot", 0x40000}}, noCopy);
  OnBoard(test::kProduct2, {{"other", 0x40000}}, noCopy);
  // In pieces; and what the device does not give stays erased.
  for (const int part : {vboard::kHalf, vboard::kNothing}) {
    OnBoard(test::kProduct2, arrangement, [part] {
      const std::string old = FlashBytes(0, 0x20000);
      vboard::PlanFault("read", "/dev/mtd0", part, 1, false);
      vboard::PlanFault("write", "/dev/mtd1", vboard::kHalf, 1, false);
      EXPECT_EQ(0, FlashErase(0x80020000));
      EXPECT_TRUE((part == vboard::kHalf ? old : kErased) == FlashBytes(1, 0, kSector));
    });
  }
}

TEST_F(FlashTest, FailedCopyStopsTheErase) {
  const test::Partitions arrangement = {{"boot", 0x30000}, {"next", 0x30000}};
  const struct {
    test::Partitions partitions;
    const char *call, *path;
    std::string printed;
  } rows[] = {
    {arrangement, "read", "/dev/mtd0", kTransferFailed},
    {arrangement, "ioctl", "/dev/mtd1", "LIBDVR : Flash erase failed\n"},
    {arrangement, "write", "/dev/mtd1", kTransferFailed},
// A sanitizer has memory without asking the board.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    {arrangement, "malloc", "", "LIBDVR : Malloc for MtdBuffer failed\n"},
#endif
    {{{"boot", 0x30000}}, "", "", "LIBDVR : FlashErase : Invalid address: 80020000\n"},
  };
  for (const auto &row : rows) {
    OnBoard(test::kProduct2, row.partitions, [&row] {
      const std::string old = FlashBytes(0);
      if (row.call[0] != '\0') vboard::PlanFault(row.call, row.path, EIO, 1, false);
      EXPECT_EQ("envoffset now = 20000\n" + row.printed,
                Printed([] { EXPECT_EQ(-1, FlashErase(0x80020000)); }));
      EXPECT_TRUE(old == FlashBytes(0));
    });
  }
}

TEST_F(FlashTest, ErasingTheFirstSectorSetsRestore) {
  const auto restore = [] {
    char value[4];
    return BootEnvGet("restore", value, sizeof value) == 0 ? std::string(value) : "none";
  };
  const auto fails = [] {
    EXPECT_THAT(Printed([] { EXPECT_EQ(-1, FlashErase(0x80000000)); }),
                testing::EndsWith("\nLIBDVR : Save boot restore = 1 failed\n"));
    EXPECT_TRUE(kErased == FlashBytes(0, 0, kSector));
  };
  OnBoard(test::kProduct2, {{"boot", 0x40000}}, [&] {
    EXPECT_EQ(0, FlashErase(0x80010000));
    EXPECT_EQ("none", restore());
    vboard::PlanFault("ioctl", "/dev/mtd0", EIO, 2, false);
    fails();
    EXPECT_EQ("none", restore());
    EXPECT_EQ(0, FlashErase(0x80000000));
    EXPECT_EQ("1", restore());
  });
  OnBoard(test::kProduct2, {{"other", 0x40000}}, fails);
  // Whatever the product is, a gap of 0x20000 leaves the variable alone.
  for (const auto product : {test::kProduct2, test::kProduct4}) {
    OnBoard(product, {{"boot", 0x30000}}, [&] {
      EXPECT_EQ(0, FlashErase(0x80000000));
      EXPECT_EQ("none", restore());
    });
  }
}

}  // namespace
