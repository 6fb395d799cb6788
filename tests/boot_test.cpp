// The boot variables: where their block lies, what it may hold, and what saving it prints.
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <random>
#include <thread>

#include "libsys/boot.h"
#include "libsys/version.h"
#include "tests/support/flash_board.h"
#include "tests/support/table.h"

namespace {

using test::Block;
using test::Bytes;
using test::FlashBytes;
using testing::HasSubstr;

constexpr uint32_t kSmall = 0x10000;
constexpr uint32_t kLarge = 0x20000;
constexpr size_t kOffset = 0x30000;  // of the block in the small board's "boot"

// The value of a variable, at most 31 bytes of it.
std::optional<std::string> Get(const char *name) {
  char value[32] = {};
  if (BootEnvGet(name, value, 31) != 0) return std::nullopt;
  return value;
}

class BootTest : public test::BoardTest {
 protected:
  BootTest() { Keep(test::kFlash); }

  void UseSmallBoard() {
    UseBoard(test::SmallBoard(test::kProduct2, 0));
    DvrReadBootParameters();
  }
  void PutBlock(const std::string &block) { test::PutFlashBytes(0, kOffset, block); }

  // Runs the independent maker and checker of blocks; what it printed, or how it failed.
  std::string Script(const std::string &arguments) {
    const std::string program = SOURCE_FOLDER "/tests/environment_block.py";
    const std::string line = "/usr/bin/env python3 '" + program + "' " + arguments + " 2>&1";
    const std::string board = vboard::Folder();
    vboard::Detach();  // the script runs on the PC
    FILE *pipe = popen(line.c_str(), "re");
    std::string text;
    for (int c; (c = getc(pipe)) != EOF;) text += static_cast<char>(c);
    const int status = pclose(pipe);
    vboard::Attach(board);
    return status == 0 ? text : "failed: " + text;
  }
  std::string Checked() {
    const std::string file = Folder() + "/block";
    vboard::WriteFile(file, FlashBytes(0, kOffset, kSmall));
    return Script("check " + file);
  }
};

TEST_F(BootTest, PlaceAndSizeOfTheBlock) {
  for (test::Row &row : test::Table("identity.txt", "flash and boot variables")) {
    const uint64_t product = test::IdentifierOf(row["type"], row["generation"] == "1");
    const uint32_t size = test::Numbers(row["block"])[0] * 1024;
    const bool inEnv = row["place"] == "env", inside = row["place"] == "inside";
    for (const uint32_t oem : test::Numbers(row["OEM"])) {
      SCOPED_TRACE("product type " + row["type"] + ", OEM " + std::to_string(oem));
      // With one sector as long as the block, a wrong size can be neither read nor erased.
      UseBoard(test::FlashBoard(product, oem, size,
                                {{"boot", 0xC0000}, {inside ? "other" : "env", kLarge}}));
      const size_t unit = inEnv ? 1 : 0;
      const uint32_t offset = inEnv ? 0 : inside ? 0x80000 : 0xC0000 - size;
      test::PutFlashBytes(unit, offset, Block("here=1", size));
      const test::Child child = test::InChild(
          [] {
            DvrReadBootParameters();
            return BootEnvSet("new", "2") == 0 && Get("here") == "1" && Get("new") == "2" ? 0 : 1;
          },
          test::kFlash);
      EXPECT_EQ(0, child.exitStatus);
      char text[64];
      snprintf(text, sizeof text, "envoffset = %x\nBOOT_ENV_SIZE = %x\n", offset, size);
      EXPECT_THAT(child.printed, HasSubstr(inEnv    ? "LIBDVR : Find device chip\n"
                                           : inside ? "LIBDVR : No device chip\n"
                                                    : text));
      snprintf(text, sizeof text, "flash: erase mtd%zu 0x%x +0x%x", unit, offset, size);
      EXPECT_THAT(Events(), testing::Contains(text));
    }
  }
}

TEST_F(BootTest, Transcripts) {
  const std::string flash = "LIBDVR : Flash sector size : 0x10000\n";
  const std::string place = flash + "envoffset = 30000\n";
  const std::string at = "LIBDVR : FILE -> System/boot, LINE -> ";
  const std::string wait =
      "LIBDVR : Save environment to flash ,Please wait ......\nLIBDVR : Note!! Don't power off\n";
  const std::string asking = "LIBDVR : Will save xuart = 1\n" + wait;
  const std::string saving = place + "BOOT_ENV_SIZE = 10000\n" + asking;
  const std::string complete = "LIBDVR : Save in flash complete\n\n";
  const std::string notSaved = at + "416: Save environmeent to flash fail\n";
  const std::string notLoaded = "LIBDVR : BootEnvInit failed\n";
  const std::string noPartition = "LIBDVR : Get env mtd failed\n" + notLoaded;
  const std::string notRead = place + at + "153: Read failed\n" + notLoaded;
  const std::string tooLong(kSmall, 'v');
  enum Left { kOld, kNew, kErased };
  const struct {
    Left left;
    std::string printed;
    struct {
      const char *call = "";
      unsigned nth = 1;
      bool repeat = false;
    } fault = {};  // on the device of "boot"
    const char *value = "1";
    test::Product product = test::kProduct2;
    const char *list = nullptr;  // instead of the board's partitions
  } rows[] = {
      {kNew, saving + complete},
      {kNew, place + "LIBDVR : Will save xuart = (null)\n" + wait + complete, {}, nullptr},
      // The first to open the device is the flash module.
      {kNew, saving + complete, {"open", 2}},
      {kOld, place + at + "124: Open /dev/mtd0 falied\n" + notLoaded, {"open", 2, true}},
      {kOld,
       flash + "LIBDVR : FILE -> Flash/flash, LINE -> 201: open /dev/mtd0 failed\n" + noPartition,
       {"open"}},
      {kOld, flash + noPartition, {}, "1", test::kProduct2, "mtd0: 40000 10000 \"config\"\n"},
      {kOld, notRead, {"read"}},
      {kOld, notRead, {}, "1", test::kProduct5},  // its block is longer than what is there
      {kOld,
       place + at + "323: Environment Overflow, \"xuart\" Deleted\n" + at +
           "404: Set environmeent to flash fail\n",
       {},
       tooLong.c_str()},
      {kOld,
       "LIBDVR : Flash sector size : 0x20000\nenvoffset = 10000\nBOOT_ENV_SIZE = 20000\n" + asking +
           at + "215: Address doesn't alias 131072 \n" + notSaved,
       {},
       "1",
       test::kProduct5,
       "mtd0: 30000 20000 \"boot\"\n"},
      {kOld, saving + at + "242: Mem Erase Failed\n" + notSaved, {"ioctl"}},
      {kErased, saving + at + "250: Write Mtd Failed\n" + notSaved, {"write"}},
  };
  for (const auto &[left, printed, fault, value, product, list] : rows) {
    SCOPED_TRACE(printed);
    UseBoard(test::SmallBoard(product, 0));
    if (list != nullptr) vboard::WriteFile(vboard::RootPath("/proc/mtd"), list);
    const std::string before = FlashBytes(0);
    if (fault.call[0] != '\0') {
      vboard::PlanFault(fault.call, "/dev/mtd0", EIO, fault.nth, fault.repeat);
    }
    const test::Child child = test::InChild(
        [value = value] {
          DvrReadBootParameters();
          return BootEnvSet("xuart", value) == 0 ? 0 : 1;
        },
        test::kFlash);
    EXPECT_EQ(printed, child.printed);
    EXPECT_EQ(left == kNew ? 0 : 1, child.exitStatus);
    const std::string after = FlashBytes(0);
    EXPECT_TRUE(before.substr(0, kOffset) == after.substr(0, kOffset));
    EXPECT_EQ(left == kOld, before == after);
    EXPECT_EQ(left == kErased, after.substr(kOffset) == std::string(kSmall, '\xff'));
  }
}

// Another thread, which waits for input; this one has no signal any more.
void LeaveSignalsToAReader(int input) {
  std::thread([input] {
    char byte = 0;
    _exit(read(input, &byte, 1) < 0 ? 98 : 99);
  }).detach();
  usleep(1000);  // until it waits
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, nullptr);
}

#ifdef __SANITIZE_THREAD__
constexpr bool kSignalsCome = false;  // the sanitizer keeps them back from a thread that reads
#else
constexpr bool kSignalsCome = true;
#endif

// The process ends, or its handler runs, only when the new list is whole; with a second thread that
// takes the signal, and goes on with what it waits for, and without.
TEST_F(BootTest, SignalsWaitForTheEndOfASave) {
  static std::atomic<int> handled = 0;
  int silence[2];
  ASSERT_EQ(0, pipe2(silence, O_CLOEXEC));
  for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM}) {
    for (const bool threaded : {false, true}) {
      if (threaded && !kSignalsCome) continue;
      for (const bool hasHandler : {false, true}) {
        SCOPED_TRACE(testing::Message() << strsignal(number) << threaded << hasHandler);
        UseSmallBoard();
        vboard::PlanFault("write", "/dev/mtd0", -number, 1, false);
        const test::Child child = test::InChild(
            [=] {
              if (hasHandler) signal(number, [](int) { handled = 1; });
              if (threaded) LeaveSignalsToAReader(silence[0]);
              const int32_t result = BootEnvSet("xuart", "7");
              for (int i = 0; threaded && handled == 0 && i < 100000; ++i) usleep(1000);
              return result == 0 ? handled.load() : -1;
            },
            test::kFlash);
        EXPECT_EQ(hasHandler ? 0 : number, child.signal);
        EXPECT_EQ(hasHandler ? 1 : -1, child.exitStatus);
        EXPECT_EQ("7", Get("xuart"));
      }
    }
  }
  for (const int end : silence) close(end);
}

// A failure leaves nothing behind: the next call loads the block again.
TEST_F(BootTest, NextCallAfterAFailure) {
  UseSmallBoard();
  for (const char *call : {"read", "ioctl", "write"}) {
    SCOPED_TRACE(call);
    EXPECT_EQ(0, BootEnvInit());
    EXPECT_EQ("", test::Printed([] { EXPECT_EQ(0, BootEnvInit()); }));  // loaded already
    BootEnvRelease();
    vboard::PlanFault(call, "/dev/mtd0", EIO, 1, false);
    EXPECT_EQ(-1, BootEnvSet("xuart", "1"));
    EXPECT_EQ(0, BootEnvSet("xuart", "2"));
    EXPECT_EQ("2", Get("xuart"));
  }
}

TEST_F(BootTest, ReadsWhateverTheBlockHolds) {
  UseSmallBoard();
  std::string random(kSmall, '\0');
  std::minstd_rand generator(1);
  for (char &c : random) c = static_cast<char>(1 + generator() % 255);
  std::string programmed = random;
  std::replace(programmed.begin(), programmed.end(), '\xff', 'z');
  const std::string list = Bytes("a=1\0ab=22\0e=\0q=x=y\0a=second\0=none\0\0tail=tail=1");
  const struct {
    const char *what;
    std::string block;
    const char *name;
    std::optional<std::string> value;
    int setNext = 0;
  } rows[] = {
      {"first of two", Block(list, kSmall), "a", "1"},
      {"longer name", Block(list, kSmall), "ab", "22"},
      {"part of a name", Block("abc=1", kSmall), "ab", {}},
      {"empty value", Block(list, kSmall), "e", ""},
      {"two equal signs", Block(list, kSmall), "q", "x=y"},
      {"empty name", Block(list, kSmall), "", "none"},
      {"behind the end", Block(list, kSmall), "tail", {}},
      {"empty block", Block("", kSmall), "a", {}},
      {"erased", std::string(kSmall, '\xff'), "a", {}},
      {"cut behind the list", Block(list, kSmall, '\xff'), "ab", "22"},
      {"cut inside a value", Block(Bytes("a=1\0ab=2"), kSmall, '\xff'), "a", {}},
      {"cut between entries", Block(Bytes("a=1\0"), kSmall, '\xff'), "a", {}},
      {"one byte missing", Block("a=1", kSmall - 1) + '\xff', "a", "1"},
      {"garbage with erased bytes", random, "a", {}},
      {"garbage without an end", programmed, "a", {}, -1},
      {"to the last byte", Block("last=", kSmall, 'z'), "last", std::string(31, 'z'), -1},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.what);
    PutBlock(row.block);
    EXPECT_EQ(row.value, Get(row.name));
    EXPECT_EQ(row.setNext, BootEnvSet("new", "7"));
    EXPECT_EQ(row.setNext == 0, Get("new") == "7");
    EXPECT_EQ(row.value, Get(row.name));
  }
}

TEST_F(BootTest, ValuesAreCutToTheDestination) {
  UseSmallBoard();
  PutBlock(Block(Bytes("seven=1234567\0eight=12345678\0ten=0123456789\0"), kSmall));
  const std::pair<const char *, std::string> rows[] = {
      {"seven", Bytes("1234567\0")},
      {"eight", "12345678"},
      {"ten", "01234567"},
      {"none", std::string(8, '\0')},
  };
  for (const auto &[name, value] : rows) {
    SCOPED_TRACE(name);
    std::string destination(9, '#');
    EXPECT_EQ(value[0] != '\0' ? 0 : -1, BootEnvGet(name, destination.data(), 8));
    EXPECT_EQ(value + "#", destination);
  }
  char byte = '#';
  EXPECT_EQ(0, BootEnvGet("ten", &byte, 0));
  EXPECT_EQ('#', byte);
  EXPECT_EQ(-1, BootEnvGet(nullptr, &byte, 1));
  EXPECT_EQ("LIBDVR : Invalid parma\n",
            test::Printed([] { EXPECT_EQ(-1, BootEnvGet("ten", nullptr, 8)); }));
  EXPECT_EQ(-1, BootEnvSet(nullptr, "1"));
}

TEST_F(BootTest, SetMovesAddsAndDeletes) {
  UseSmallBoard();
  const struct {
    const char *name, *value;
    std::string list;
  } rows[] = {
      {"xuart", "console", Bytes("xapp=1\0xuart=console\0")},
      {"ip", "", Bytes("xapp=1\0xuart=console\0ip=\0")},
      {"xuart", nullptr, Bytes("xapp=1\0ip=\0")},
      {"none", nullptr, Bytes("xapp=1\0ip=\0")},
      {"ip", nullptr, Bytes("xapp=1\0")},
      {"xapp", nullptr, ""},
      {"first", "1", Bytes("first=1\0")},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.list);
    EXPECT_EQ(0, BootEnvSet(row.name, row.value));
    std::string lines = row.list;
    std::replace(lines.begin(), lines.end(), '\0', '\n');
    EXPECT_EQ(lines, Checked());
    std::string listed;
    const auto add = [](const char *entry, void *text) {
      *static_cast<std::string *>(text) += std::string(entry) + "\n";
    };
    EXPECT_EQ(0, BootEnvForEach(add, &listed));
    EXPECT_EQ(lines, listed);
  }
}

TEST_F(BootTest, FullBlocks) {
  UseSmallBoard();
  // The space counts 4 bytes beyond the block, so the longest value loses its last two bytes.
  for (const size_t beyond : {0, 1, 2, 3}) {
    SCOPED_TRACE(beyond);
    PutBlock(Block("", kSmall));
    const std::string value(kSmall - 4 - 2 + beyond, 'v');
    EXPECT_EQ(beyond < 3 ? 0 : -1, BootEnvSet("f", value.c_str()));
    std::string back(kSmall, '-');
    EXPECT_EQ(beyond < 3 ? 0 : -1, BootEnvGet("f", back.data(), kSmall));
    EXPECT_EQ(beyond < 3 ? value.size() - beyond : 0, strlen(back.c_str()));
    if (beyond == 3) break;
    EXPECT_EQ("f=" + value.substr(beyond) + "\n", Checked());
    EXPECT_EQ(-1, BootEnvSet("g", "1"));
    EXPECT_EQ(0, BootEnvSet("f", "short"));
    EXPECT_EQ("f=short\n", Checked());
  }
}

TEST_F(BootTest, TextIsSplitAtItsFirstEqualSign) {
  UseSmallBoard();
  PutBlock(Block("", kSmall));
  const std::string n(32, 'n'), v(32, 'v');
  EXPECT_EQ(-1, BootEnvSetText(nullptr));
  EXPECT_EQ(-1, BootEnvSetText("text"));
  // The second text replaces the variable of the first.
  for (const std::string &text : {std::string("b=1"), std::string("b=x=y"), n + "=" + v}) {
    EXPECT_EQ(0, BootEnvSetText(text.c_str()));
  }
  EXPECT_EQ("b=x=y\n" + n.substr(1) + "=" + v.substr(1) + "\n", Checked());
}

TEST_F(BootTest, BlockOfAnotherMaker) {
  UseSmallBoard();
  const std::string file = Folder() + "/made";
  EXPECT_EQ("", Script("make " + file + " 0x10000 bootdelay=3 'args=root=/dev/mtd2 ro'"));
  PutBlock(vboard::ReadFile(file));
  EXPECT_EQ("3", Get("bootdelay"));
  EXPECT_EQ("root=/dev/mtd2 ro", Get("args"));
  // Its own check notices a wrong CRC.
  PutBlock(Block("a=1", kSmall));
  EXPECT_THAT(Checked(), HasSubstr("the CRC is wrong"));
}

TEST_F(BootTest, SetsFromSeveralThreadsAreAllKept) {
  UseSmallBoard();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([name = "t" + std::to_string(i)] {
      for (const char *value : {"1", "2", "3"}) {
        EXPECT_EQ(0, BootEnvSet(name.c_str(), value));
        EXPECT_EQ(value, Get(name.c_str()));
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  for (const char *name : {"t0", "t1", "t2", "t3"}) EXPECT_EQ("3", Get(name));
}

}  // namespace
