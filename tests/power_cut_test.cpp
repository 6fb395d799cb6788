// The power goes at every point of a save: the variables are the old ones, the new ones or none,
// and nothing else on the flash changes.
#include <signal.h>
#include <stdio.h>
#include <string.h>

#include "libsys/boot.h"
#include "libsys/flash.h"
#include "libsys/version.h"
#include "tests/support/flash_board.h"

namespace {

using vboard::Moment;
using Values = std::vector<std::string>;

const std::string kOldList = test::Bytes("bootdelay=1\0xuart=0\0ipaddr=10.0.0.7\0xapp=1\0");
const Values kOld = {"1", "0", "10.0.0.7", "1"};
const Values kNew = {"1", "console", "10.0.0.7", "1"};
// CRC, the list with xuart=console and the empty entry at its end.
const size_t kNewSize = 4 + kOldList.size() + strlen("console") - strlen("0") + 1;
enum Reading { kReadsOld, kReadsNew, kReadsEmpty, kReadsMixture, kNextSetFails };

std::string Get(const char *name) {
  char value[32] = {};
  return BootEnvGet(name, value, 31) == 0 ? value : "none";
}

// What the next start finds; its own save has to keep that.
int ReadAndSetNext() {
  const auto readAll = [] {
    return Values{Get("bootdelay"), Get("xuart"), Get("ipaddr"), Get("xapp")};
  };
  DvrReadBootParameters();
  const Values values = readAll();
  if (BootEnvSet("next", "7") != 0 || Get("next") != "7" || readAll() != values) {
    return kNextSetFails;
  }
  if (values == kOld) return kReadsOld;
  if (values == kNew) return kReadsNew;
  return values == Values(4, "none") ? kReadsEmpty : kReadsMixture;
}

class PowerCutTest : public test::BoardTest {
 protected:
  PowerCutTest() { Keep(test::kFlash); }

  // Makes a board with the old list in a block of one sector.
  void UseFlash(test::Product product, uint32_t sectorSize, const test::Partitions &partitions,
                size_t unit, uint32_t offset) {
    UseBoard(test::FlashBoard(product, 0, sectorSize, partitions));
    test::PutFlashBytes(unit, offset, test::Block(kOldList, sectorSize));
    sectorSize_ = sectorSize;
    chip_.resize(partitions.size());
    chip_ = Chip();
  }

  std::vector<std::string> Chip() const {
    std::vector<std::string> chip;
    for (size_t unit = 0; unit < chip_.size(); ++unit) chip.push_back(test::FlashBytes(unit));
    return chip;
  }

  // Runs a task on the old flash once for every point where the power can go: before, inside
  // (each byte of the list, half, all but the last byte, bits at random) and after each of its
  // operations on a sector. Calls check after each and returns how many there were.
  int CutEverywhere(unsigned operations, const std::function<void()> &task,
                    const std::function<void()> &check) {
    std::vector<std::pair<Moment, size_t>> points = {{Moment::kBefore, 0}, {Moment::kAfter, 0}};
    for (size_t bytes = 1; bytes <= kNewSize; ++bytes) points.emplace_back(Moment::kInside, bytes);
    points.emplace_back(Moment::kInside, sectorSize_ / 2);
    points.emplace_back(Moment::kInside, sectorSize_ - 1);
    for (size_t seed = 1; seed <= 4; ++seed) points.emplace_back(Moment::kTorn, seed);
    const auto run = [&task] {
      DvrReadBootParameters();
      FlashInit();
      task();
      return 0;
    };
    EXPECT_EQ(0, test::InChild(run, test::kFlash).exitStatus);
    EXPECT_EQ(operations, vboard::State().flashOperations);
    int cuts = 0;
    for (unsigned operation = 1; operation <= operations; ++operation) {
      for (const auto &[moment, bytes] : points) {
        SCOPED_TRACE(testing::Message() << "operation " << operation << ", moment "
                                        << static_cast<int>(moment) << ", " << bytes << " bytes");
        for (size_t unit = 0; unit < chip_.size(); ++unit) {
          vboard::WriteFile(test::DeviceFile(unit), chip_[unit]);
        }
        vboard::PlanPowerCut(operation, moment, static_cast<unsigned>(bytes));
        EXPECT_EQ(SIGKILL, test::InChild(run).signal);
        vboard::PowerOn();
        check();
        ++cuts;
      }
    }
    return cuts;
  }

  // Cuts the power everywhere in one save of the block at this place.
  void CutSave(size_t unit, uint32_t offset) {
    int counts[5] = {};
    const auto save = [] { BootEnvSet("xuart", "console"); };
    const int cuts = CutEverywhere(2, save, [&] {
      const test::Child child = test::InChild(ReadAndSetNext, test::kFlash);
      ASSERT_TRUE(child.exitStatus >= 0 && child.exitStatus <= kReadsEmpty) << child.exitStatus;
      ++counts[child.exitStatus];
      std::vector<std::string> chip = Chip();
      chip[unit].replace(offset, sectorSize_, chip_[unit], offset, sectorSize_);
      EXPECT_TRUE(chip_ == chip);
    });
    printf("power cuts in a save of 0x%zx bytes: %d; list old %d, new %d, empty %d\n", sectorSize_,
           cuts, counts[kReadsOld], counts[kReadsNew], counts[kReadsEmpty]);
    EXPECT_EQ(124, cuts);
    EXPECT_EQ(5, counts[kReadsOld]);
    EXPECT_EQ(4, counts[kReadsNew]);
    EXPECT_EQ(115, counts[kReadsEmpty]);
  }

  size_t sectorSize_ = 0;
  std::vector<std::string> chip_;  // the old flash, by partition
};

TEST_F(PowerCutTest, SaveOfASmallBlock) {
  UseFlash(test::kProduct2, 0x10000, {{"boot", 0x40000}, {"config", 0x20000}}, 0, 0x30000);
  CutSave(0, 0x30000);
}

TEST_F(PowerCutTest, SaveOfALargeBlock) {
  UseFlash(test::kProduct7, 0x20000, {{"boot", 0x20000}, {"env", 0x40000}, {"config", 0x20000}}, 1,
           0);
  CutSave(1, 0);
}

TEST_F(PowerCutTest, EraseOfTheEnvironmentKeepsOneCopy) {
  UseFlash(test::kProduct2, 0x10000, {{"boot", 0x30000}, {"next", 0x20000}}, 0, 0x20000);
  const std::string block = chip_[0].substr(0x20000);
  int both = 0, original = 0, copy = 0;
  const auto erase = [] { FlashErase(0x80020000); };
  const int cuts = CutEverywhere(3, erase, [&] {
    const std::vector<std::string> chip = Chip();
    const bool originalWhole = chip[0].substr(0x20000) == block;
    const bool copyWhole = chip[1].substr(0, 0x10000) == block;
    EXPECT_TRUE(originalWhole || copyWhole);
    both += originalWhole && copyWhole;
    original += originalWhole && !copyWhole;
    copy += !originalWhole && copyWhole;
    EXPECT_TRUE(chip[0].substr(0, 0x20000) == chip_[0].substr(0, 0x20000));
    EXPECT_TRUE(chip[1].substr(0x10000) == chip_[1].substr(0x10000));
  });
  printf("power cuts in a copy and erase: %d; whole: original %d, both %d, copy %d\n", cuts,
         original, both, copy);
  EXPECT_EQ(186, cuts);
  EXPECT_EQ(123, original);
  EXPECT_EQ(2, both);
  EXPECT_EQ(61, copy);
}

}  // namespace
