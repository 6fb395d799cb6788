// The virtual board's own test. No product code takes part in it.
#include <dirent.h>
#include <elf.h>
#include <errno.h>
#include <mtd/mtd-user.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/select.h>
#include <sys/wait.h>

#include <chrono>
#include <filesystem>
#include <set>
#include <thread>

#include "tests/support/board_test.h"
#include "tests/support/real_kernel.h"
#include "vboard/machine.h"

namespace {

using testing::ElementsAre;
using Strings = std::vector<std::string>;

class VboardTest : public test::BoardTest {};

int OpenBoot(int flags = O_RDWR) {
  return open("/dev/mtd0", flags | O_CLOEXEC);
}

std::string Flash(int unit, size_t offset, size_t length) {
  return vboard::ReadFile(vboard::RootPath("/dev/mtd" + std::to_string(unit)))
      .substr(offset, length);
}

int Erase(int fd, uint32_t start, uint32_t length) {
  erase_info_user sector = {start, length};
  return ioctl(fd, MEMERASE, &sector);
}

TEST_F(VboardTest, BoardPathsNeverReachTheMachine) {
  UseBoard(test::SmallBoard(4, 0));
  struct {
    const char *path;
    bool there;
  } const rows[] = {
      {"/proc/mtd", true},     {"/proc/vss/bootpara", true},
      {"/dev/mtd2", true},     {"/dev/mtd3", false},
      {"/dev/sr0", false},     {"/dev/sda", false},
      {"/opt/nothing", false}, {"/dev/null", true},
      {"/etc/passwd", true},   {"/var/Vantor", false},
      {"/tool", true},
  };
  for (const auto &[path, there] : rows) {
    SCOPED_TRACE(path);
    struct stat status;
    EXPECT_EQ(there, access(path, F_OK) == 0);
    EXPECT_EQ(there, stat(path, &status) == 0);
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(there, fd >= 0);
    close(fd);
    FILE *file = fopen(path, "re");
    EXPECT_EQ(there, file != nullptr);
    if (file != nullptr) fclose(file);
  }
  const Strings events = Events();
  EXPECT_EQ(10U, events.size());  // each of the five that are missing, opened twice
  EXPECT_EQ("missing: /dev/mtd3", events.at(0));
}

TEST_F(VboardTest, APathOfTheBoardMayBeWrittenInManyWays) {
  UseBoard(test::SmallBoard(4, 0));
  const std::string folder = Folder();
  ASSERT_EQ(0, symlink("/proc", (folder + "/system").c_str()));
  ASSERT_EQ(0, symlink("system/mtd", (folder + "/table").c_str()));
  ASSERT_EQ(0, symlink("/opt/sav", "/opt/app/link"));
  ASSERT_EQ(0, mount("/dev/mtdblock1", "/opt/sav", "jffs2", 0, nullptr));
  ASSERT_EQ(0, chdir("/opt/sav"));
  const int root = open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  struct {
    int folder;
    std::string path;
    std::string place;
  } const rows[] = {
      {AT_FDCWD, "//proc/mtd", "/root/proc/mtd"},
      {AT_FDCWD, "/proc/../proc/./mtd", "/root/proc/mtd"},
      {AT_FDCWD, folder + "/system/mtd", "/root/proc/mtd"},
      {AT_FDCWD, folder + "/table", "/root/proc/mtd"},
      {root, "proc/mtd", "/root/proc/mtd"},
      {AT_FDCWD, "../../proc/mtd", "/root/proc/mtd"},
      {AT_FDCWD, "Config", "/disks/mtd1/Config"},
      {AT_FDCWD, "/opt/app/link/Config", "/disks/mtd1/Config"},
      {AT_FDCWD, "../../etc/passwd", "/etc/passwd"},
      {AT_FDCWD, "/optional", ""},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.path);
    const int fd = openat(row.folder, row.path.c_str(), O_RDONLY | O_CLOEXEC);
    std::error_code error;
    std::string place =
        std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd), error).string();
    if (place.starts_with(vboard::Folder())) place.erase(0, vboard::Folder().size());
    EXPECT_EQ(row.place, place);
    close(fd);
  }
  close(root);
  char resolved[PATH_MAX];
  EXPECT_STREQ("/opt/sav/Config", realpath("Config", resolved));
  EXPECT_EQ(0, chdir("/"));
  EXPECT_THAT(Events(),
              ElementsAre("mount: /dev/mtdblock1 on /opt/sav, jffs2, flags 0x0, no data"));
  EXPECT_FALSE(vboard::BelongsToBoard("/toolchain"));
}

TEST_F(VboardTest, FlashOnlyClearsBitsAndErasesWholeSectors) {
  UseBoard(test::SmallBoard(4, 0));
  const int fd = OpenBoot();
  EXPECT_EQ(2, pwrite(fd, "\x0f\xf0", 2, 0x100));
  EXPECT_EQ(2, pwrite(fd, "\x3c\x3c", 2, 0x100));
  EXPECT_EQ("\x0c\x30", Flash(0, 0x100, 2));
  EXPECT_EQ(0x100, lseek(fd, 0x100, SEEK_SET));
  EXPECT_EQ(1, write(fd, "\x08", 1));
  EXPECT_EQ(0x101, lseek(fd, 0, SEEK_CUR));
  EXPECT_EQ("\x08\x30", Flash(0, 0x100, 2));
  const std::string neighbour = Flash(0, 0x10000, 0x10000);
  EXPECT_EQ(0, Erase(fd, 0, 0x10000));
  EXPECT_EQ(std::string(0x10000, '\xff'), Flash(0, 0, 0x10000));
  EXPECT_EQ(neighbour, Flash(0, 0x10000, 0x10000));
  for (const auto &[start, length] : {std::pair<uint32_t, uint32_t>{0x100, 0x10000},
                                      {0, 0x100},
                                      {0x40000, 0x10000},
                                      {0x30000, 0x20000},
                                      {0, 0}}) {
    EXPECT_EQ(-1, Erase(fd, start, length)) << start << " " << length;
    EXPECT_EQ(EINVAL, errno);
  }
  // At the end of the device only what fits is written.
  EXPECT_EQ(1, pwrite(fd, "ab", 2, 0x3ffff));
  EXPECT_EQ(-1, pwrite(fd, "ab", 2, 0x40000));
  EXPECT_EQ(ENOSPC, errno);
  EXPECT_THAT(Events(),
              ElementsAre("flash: write mtd0 0x100 +0x2", "flash: write mtd0 0x100 +0x2",
                          "flash: write mtd0 0x100 +0x1", "flash: erase mtd0 0x0 +0x10000",
                          "flash: write mtd0 0x3ffff +0x1"));
  const int readOnly = OpenBoot(O_RDONLY);
  EXPECT_EQ(-1, Erase(readOnly, 0, 0x10000));
  EXPECT_EQ(-1, write(readOnly, "a", 1));
  close(readOnly);
  const int writeOnly = OpenBoot(O_WRONLY);
  EXPECT_EQ(1, pwrite(writeOnly, "\x18", 1, 0x3ffff));
  EXPECT_EQ(std::string(1, 'a' & 0x18), Flash(0, 0x3ffff, 1));
  close(writeOnly);
  close(fd);
}

TEST_F(VboardTest, PowerGoesBeforeInsideAndAfterAnOperation) {
  struct {
    unsigned operation;
    vboard::Moment moment;
    unsigned bytes;
    std::string left;
  } const rows[] = {
      {1, vboard::Moment::kBefore, 0, "XXXX"},
      {1, vboard::Moment::kInside, 2, "\xff\xffXX"},
      {1, vboard::Moment::kAfter, 0, "\xff\xff\xff\xff"},
      {2, vboard::Moment::kBefore, 0, "\xff\xff\xff\xff"},
      {2, vboard::Moment::kInside, 0, "\xff\xff\xff\xff"},
      {2, vboard::Moment::kInside, 3, "new\xff"},
      {2, vboard::Moment::kAfter, 0, "newX"},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.operation);
    SCOPED_TRACE(static_cast<int>(row.moment));
    UseBoard(test::SmallBoard(4, 0));
    const int fd = OpenBoot();
    EXPECT_EQ(4, pwrite(fd, "XXXX", 4, 0));
    vboard::PlanPowerCut(row.operation, row.moment, row.bytes);
    const test::Child child = test::InChild([fd] {
      Erase(fd, 0, 0x10000);
      pwrite(fd, "newX", 4, 0);
      return 0;
    });
    EXPECT_EQ(SIGKILL, child.signal);
    EXPECT_EQ(row.left, Flash(0, 0, 4));
    EXPECT_EQ(vboard::Power::kCut, vboard::State().power);
    EXPECT_EQ("power cut", Events().back());
    // The lock that died with the child is free again, and the plan is used up.
    EXPECT_EQ(0, Erase(fd, 0, 0x10000));
    close(fd);
  }
}

TEST_F(VboardTest, DescriptorsKeepTheirDeviceThroughCopies) {
  UseBoard(test::SmallBoard(4, 0, "[gpio]\ninputs = [[1, 5, 1]]\n"));
  const int fd = open("/dev/hi_gpio", O_RDWR | O_CLOEXEC);
  const int copies[] = {fd, dup(fd), fcntl(fd, F_DUPFD_CLOEXEC, 100), dup2(fd, 200)};
  for (const int copy : copies) {
    uint32_t record[3] = {1, 5, 7};
    EXPECT_EQ(0, ioctl(copy, 3, record));
    EXPECT_EQ(1U, record[2]);
  }
  for (const int copy : copies) close(copy);
  const int plain = open("/dev/null", O_RDWR | O_CLOEXEC);
  EXPECT_EQ(fd, plain);
  uint32_t record[3] = {};
  EXPECT_EQ(-1, ioctl(plain, 3, record));
  EXPECT_EQ(ENOTTY, errno);
  close(plain);
}

TEST_F(VboardTest, GpioLines) {
  UseBoard(test::SmallBoard(4, 0));
  const int fd = open("/dev/hi_gpio", O_RDWR | O_CLOEXEC);
  const auto request = [fd](unsigned long number, uint32_t group, uint32_t bit, uint32_t value) {
    uint32_t record[3] = {group, bit, value};
    const int result = ioctl(fd, number, record);
    return result != 0 ? -1 : static_cast<int>(record[2]);
  };
  vboard::Act("gpio set 2 3 1");
  EXPECT_EQ(1, request(3, 2, 3, 0));
  EXPECT_EQ(1, request(1, 2, 3, 1));
  EXPECT_EQ(0, request(3, 2, 3, 9));  // an output reads as what it drives
  EXPECT_EQ(1, request(4, 2, 3, 1));
  EXPECT_EQ(1, request(3, 2, 3, 0));
  EXPECT_EQ(-1, request(3, 8, 0, 0));
  EXPECT_EQ(-1, request(9, 0, 0, 0));
  EXPECT_THAT(Events(), ElementsAre("gpio: 2,3 driven high from outside", "gpio: 2,3 output",
                                    "gpio: 2,3 = 1"));
  EXPECT_THROW(vboard::Act("gpio set 9 3 1"), std::invalid_argument);
  EXPECT_THROW(vboard::Act("gpio set 1"), std::invalid_argument);
  EXPECT_THROW(vboard::Act("gpio blow up"), std::invalid_argument);
  close(fd);
}

TEST_F(VboardTest, MappedRegistersAreSeen) {
  UseBoard(test::SmallBoard(4, 0, "[memory]\nregisters = [[0x200F0028, 0x11]]\n"));
  const int fd = open("/dev/mem", O_RDWR | O_CLOEXEC);
  void *page = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0x200F0000);
  close(fd);
  ASSERT_NE(MAP_FAILED, page);
  auto *registers = static_cast<volatile uint8_t *>(page);
  EXPECT_EQ(0x11, registers[0x28]);
  registers[0x28] = 2;
  sync();
  registers[4] = 1;
  munmap(page, 4096);
  EXPECT_THAT(Events(),
              ElementsAre("register: 0x200f0028 = 0x02", "sync", "register: 0x200f0004 = 0x01"));
}

TEST_F(VboardTest, ThreadsMapMemoryAtTheSameTime) {
  UseBoard(test::SmallBoard(4, 0));
  const auto store = [] {
    const int fd = open("/dev/mem", O_RDWR | O_CLOEXEC);
    for (uint8_t i = 1; i <= 50; ++i) {
      void *page = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, fd, gettid() * 4096L);
      *static_cast<volatile uint8_t *>(page) = i;
      munmap(page, 4096);
    }
    close(fd);
  };
  std::thread threads[] = {std::thread(store), std::thread(store), std::thread(store)};
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(150U, Events().size());
}

TEST_F(VboardTest, FileSystemsMountByWhatTheFlashHolds) {
  struct {
    const char *content;
    const char *type;
    int error;
    bool filesKept;
  } const rows[] = {{"jffs2", "jffs2", 0, true},
                    {"erased", "jffs2", 0, false},
                    {"garbage", "jffs2", EIO, false},
                    {"zero", "jffs2", EIO, false},
                    {"jffs2", "vfat", EINVAL, false}};
  for (const auto &row : rows) {
    SCOPED_TRACE(row.content);
    std::string description = test::SmallBoard(4, 0);
    description.replace(description.find("\"jffs2\""), 7, std::string("\"") + row.content + "\"");
    UseBoard(description);
    EXPECT_EQ(row.error == 0 ? 0 : -1, mount("/dev/mtdblock1", "/opt/sav", row.type, 0, "sync"));
    if (row.error != 0) {
      EXPECT_EQ(row.error, errno);
    }
    EXPECT_EQ(row.filesKept, access("/opt/sav/Config", F_OK) == 0);
    const std::string mounts = vboard::RootPath("/proc/mounts"),
                      line = "/dev/mtdblock1 /opt/sav jffs2";
    EXPECT_EQ(row.error == 0, vboard::ReadFile(mounts).find(line) != std::string::npos);
    EXPECT_EQ(row.error == 0, umount2("/opt/sav", MNT_DETACH) == 0);
    EXPECT_EQ(std::string::npos, vboard::ReadFile(mounts).find(line));
    EXPECT_NE(0, access("/opt/sav/Config", F_OK));
    EXPECT_NE(0, umount("/opt/sav"));
  }
  EXPECT_NE(0, mount("/dev/mtdblock9", "/opt/sav", "jffs2", 0, nullptr));
  EXPECT_EQ(ENOENT, errno);
}

TEST_F(VboardTest, PowerMayGoWhileAPartitionIsMountedForTheFirstTime) {
  std::string description = test::SmallBoard(4, 0);
  UseBoard(description.replace(description.find("\"jffs2\""), 7, "\"erased\""));
  vboard::PlanPowerCut(2, vboard::Moment::kInside, 2);
  const test::Child child =
      test::InChild([] { return mount("/dev/mtdblock1", "/opt/sav", "jffs2", 0, nullptr); });
  EXPECT_EQ(SIGKILL, child.signal);
  EXPECT_EQ("\x85\x19\x03", Flash(1, 0, 3));
  EXPECT_EQ("\x85\x19\xff", Flash(1, 0x10000, 3));
  EXPECT_EQ(std::string(0x20000, '\xff'), Flash(1, 0x20000, 0x20000));
  EXPECT_EQ(0, mount("/dev/mtdblock1", "/opt/sav", "jffs2", 0, nullptr));
}

TEST_F(VboardTest, ErasingTheFirstSectorLosesTheFiles) {
  UseBoard(test::SmallBoard(4, 0));
  const int fd = open("/dev/mtd1", O_RDWR | O_CLOEXEC);
  EXPECT_EQ(0, Erase(fd, 0x10000, 0x10000));
  EXPECT_EQ(0, mount("/dev/mtdblock1", "/opt/sav", "jffs2", 0, nullptr));
  EXPECT_EQ(0, access("/opt/sav/Config", F_OK));
  EXPECT_EQ(0, umount("/opt/sav"));
  EXPECT_EQ(0, Erase(fd, 0, 0x10000));
  EXPECT_EQ(0, mount("/dev/mtdblock1", "/opt/sav", "jffs2", 0, nullptr));
  EXPECT_NE(0, access("/opt/sav/Config", F_OK));
  close(fd);
}

TEST_F(VboardTest, PlannedFaultsHitTheirCall) {
  UseBoard(test::SmallBoard(4, 0));
  vboard::Act("fault once open /proc/mtd 2 EACCES");
  vboard::Act("fault always read /dev/mtd0 1 EIO");
  vboard::Act("fault once system reboot 1 EAGAIN");
  int fds[3];
  for (int &fd : fds) fd = open("/proc/mtd", O_RDONLY | O_CLOEXEC);
  EXPECT_GE(fds[0], 0);
  EXPECT_EQ(-1, fds[1]);
  EXPECT_GE(fds[2], 0);
  const int boot = OpenBoot();
  char byte = 0;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(-1, read(boot, &byte, 1));
    EXPECT_EQ(EIO, errno);
  }
  EXPECT_EQ(1, read(fds[0], &byte, 1));
  // What the board itself reads is no program's call.
  vboard::Act("fault always read /dev/mtd1 1 EIO");
  EXPECT_EQ(0, mount("/dev/mtdblock1", "/opt/sav", "jffs2", 0, nullptr));
  EXPECT_EQ(-1, system("reboot"));
  EXPECT_EQ(vboard::Power::kOn, vboard::State().power);
  EXPECT_EQ(0, system("reboot"));
  EXPECT_EQ(127, WEXITSTATUS(system("rm -rf /")));
  EXPECT_EQ(vboard::Power::kRestart, vboard::State().power);
  EXPECT_THROW(vboard::Act("fault once open /proc/mtd 1 ENOSUCH"), std::invalid_argument);
  EXPECT_THROW(vboard::Act("fault once opne /proc/mtd 1 EIO"), std::invalid_argument);
  for (const int fd : {fds[0], fds[2], boot}) close(fd);
}

TEST_F(VboardTest, CallsOnPathsFailWhenPlannedAndOnceTheDiskHasGone) {
  UseBoard(test::SmallBoard(4, 0));
  EXPECT_EQ(0, mount("/dev/mtdblock1", "/opt/sav", "jffs2", 0, nullptr));
  const char *path = "/opt/sav/Config";
  struct stat status;
  char text[PATH_MAX];
  struct {
    const char *name;
    std::function<int()> run;
  } const calls[] = {
      {"stat", [&] { return stat(path, &status); }},
      {"stat", [&] { return lstat(path, &status); }},
      {"access", [&] { return access(path, F_OK); }},
      {"unlink", [&] { return unlink(path); }},
      {"mkdir", [&] { return mkdir(path, 0700); }},
      {"rename", [&] { return rename("/opt/sav", path); }},
      {"realpath", [&] { return realpath(path, text) == nullptr ? -1 : 0; }},
      {"exec", [&] { return execl(path, path, nullptr); }},
  };
  for (const bool gone : {false, true}) {
    if (gone) vboard::LoseMounts("mtd1");
    for (const auto &call : calls) {
      SCOPED_TRACE(call.name);
      if (!gone) vboard::PlanFault(call.name, path, EDQUOT, 1, false);
      EXPECT_EQ(-1, call.run());
      EXPECT_EQ(gone ? EIO : EDQUOT, errno);
    }
  }
}

TEST_F(VboardTest, CommandsArePipedToTheirDevice) {
  UseBoard(test::SmallBoard(4, 0, "[network.eth0]\nmac = \"02:00:00:00:00:01\"\n"));
  const auto piped = [](const char *line, const char *mode) {
    FILE *file = popen(line, mode);
    if (file == nullptr) return std::string(strerrorname_np(errno));
    char text[400] = {};
    if (*mode == 'r' && fread(text, 1, sizeof text - 1, file) == 0) strcpy(text, "nothing");
    return std::to_string(WEXITSTATUS(pclose(file))) + " " + text;
  };
  EXPECT_EQ(0U, piped("ifconfig eth0 | grep eth0", "re").find("0 eth0 "));
  EXPECT_EQ("1 nothing", piped("ifconfig eth0 | grep nowhere", "r"));
  EXPECT_EQ("127 nothing", piped("cat /etc/passwd", "r"));
  EXPECT_EQ("127 ", piped("cat", "w"));
  EXPECT_EQ("EINVAL", piped("ifconfig", "rw"));
  vboard::Act("fault once popen - 1 EMFILE");
  EXPECT_EQ("EMFILE", piped("ifconfig", "r"));
}

TEST_F(VboardTest, WaitsAreAsMuchShorterAsTheBoardIsFaster) {
  UseBoard(test::SmallBoard(4, 0));
  vboard::SetSpeed(1000);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(0U, sleep(100));
  EXPECT_EQ(0, usleep(900'000));
  timeval timeout = {50, 0};
  EXPECT_EQ(0, select(0, nullptr, nullptr, nullptr, &timeout));
  const auto real = std::chrono::steady_clock::now() - start;
  EXPECT_GE(real, std::chrono::milliseconds(150));
  EXPECT_LT(real, std::chrono::seconds(150));
  EXPECT_GE(vboard::BoardTime(), 150.0);
  EXPECT_THAT(Events(), ElementsAre("sleep: 100 s"));
}

TEST_F(VboardTest, DescriptionsNameFileLineAndKey) {
  struct {
    const char *text;
    const char *error;
  } const rows[] = {
      {"speed = 1\n", ":1: 'summary' is missing"},
      {"summary = 7\n", ":1: 'summary' has to be a text"},
      {"summary = \"s\"\n\nsped = 1\n", ":3: unknown key 'sped'"},
      {"summary = \"s\"\nspeed = 0\n", ":2: 'speed' has to be from 1 to 100000"},
      {"summary = \"s\"\n[flash]\nsector_size = 0x10000\n[[flash.partition]]\nname = \"a\"\n"
       "size = 0x10001\n",
       ":6: 'size' has to be whole sectors"},
      {"summary = \"s\"\n[flash]\nsize = 0x20000\n[[flash.partition]]\nname = \"a\"\n"
       "size = 0x20000\n[[flash.partition]]\nname = \"b\"\nsize = 0x20000\n",
       ":9: 'size' does not fit the flash"},
      {"summary = \"s\"\n[[flash.partition]]\nname = \"a\"\nsize = 0x20000\ncolour = 1\n",
       ":5: unknown key 'colour'"},
      {"summary = \"s\"\n[gpio]\ninputs = [[1, 2]]\n",
       ":3: 'inputs' has to be a list of rows of 3"},
      {"summary = \"s\"\n[gpio]\nnames = { \"1,8\" = \"LED\" }\n", ":3: 'names' has to hold lines"},
      {"summary = \"s\"\n[panel]\nscan = [[1, 2]]\n", ":3: 'scan' has to hold 5 rows"},
      {"base = \"board.toml\"\n", ":1: 'base' leads round in a circle"},
      {"base = \"nowhere.toml\"\n", "/board.toml:1: 'base' needs "},
      {"base = \".\"\n", ":1: 'base' needs "},
      {"summary = \"s\"\nstart = [\"/sbin/../../x\"]\n", ":2: 'start' has '/sbin/../../x'"},
      {"summary = \"s\"\n[programs]\n\"/var/Vantor\" = \"nix\"\n", ":3: 'programs' has "},
      {"summary = \"s\"\n[programs]\n\"/var/Vantor\" = \"../bin\"\n", ":3: 'programs' has "},
      {"summary = \"s\"\n[programs]\n\"/var/Vantor/../x\" = \"vboard\"\n", ":3: 'programs' has "},
      {"summary = \"s\"\n[programs]\n\"/opt/a\" = \"vboard\"\n\"/opt/a/b\" = \"vboard\"\n",
       ":4: 'programs' has '/opt/a/b': "},
      {"summary = \"s\"\n[files.root]\n\"/opt/../../../x\" = \"\"\n", ":3: 'root' has "},
      {"summary = \"s\"\n[files.root]\n\"/dev/ttyAMA0\" = \"\"\n", ":3: 'root' has "},
      {"summary = \"s\"\n[[flash.partition]]\nname = \"a\"\nsize = 0x20000\nfiles.\"../../../x\" = "
       "\"\"\n",
       ":5: 'files' has "},
      {"summary = \"s\"\n[[scsi.disk]]\nname = \"a\"\nletter = \"a\"\nhost = "
       "1\nfiles.\"b/../../../../x\""
       " = \"\"\n",
       ":6: 'files' has "},
      {"summary = \"s\"\n[[scsi.disk]]\nletter = \"a\"\nname = \"/../../../x\"\n",
       ":4: 'name' has to be"},
      {"summary = \"s\"\n[[scsi.disk]]\nname = \"a\"\nletter = \"/\"\n", ":4: 'letter' has to"},
      // Such a program's file, which is the PC's, is not written through the link.
      {"summary = \"s\"\nprepare = [\"stick plug a\"]\n[[scsi.disk]]\nname = \"a\"\nletter = "
       "\"a\"\n"
       "host = 1\nplugged = false\n[programs]\n\"/dev/sda\" = \"vboard\"\n",
       ":2: 'prepare' has 'stick plug a'"},
      {"summary = \"s\"\n# \u043a\nkey = '\u043a'\n\u043a = 1\n", ":4: outside of quotes"},
      {"summary = \"s\"\n[ = 1\n", ":2: "},
      {"summary = \"s\"\nprepare = [\"dance\"]\n", ":2: 'prepare' has 'dance': no device"},
      {"summary = \"s\n", ":1: "},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.text);
    try {
      UseBoard(row.text);
      ADD_FAILURE() << "accepted";
    } catch (const vboard::DescriptionError &error) {
      EXPECT_NE(std::string::npos, std::string(error.what()).find(row.error)) << error.what();
    }
  }
  EXPECT_THROW(vboard::ReadDescription("/nowhere.toml"), vboard::DescriptionError);
  for (const auto &entry : std::filesystem::directory_iterator(Folder())) {
    EXPECT_THAT(entry.path().filename(), testing::AnyOf("board.toml", "board"));
  }
}

TEST_F(VboardTest, DescriptionsCompleteEachOther) {
  vboard::WriteFile(Folder() + "/far/first.toml",
                    "summary = \"first\"\nspeed = 7\n[identity]\nproduct = \"1\"\noem = 1\n");
  vboard::WriteFile(Folder() + "/second.toml",
                    "base = \"far/first.toml\"\n[identity]\noem = 2\n\n[gpio]\nwrong = 1\n");
  vboard::Section both = vboard::ReadDescription(Folder() + "/second.toml");
  EXPECT_EQ("first", both.Text("summary"));
  EXPECT_EQ(7, both.Number("speed", 0, 100));
  EXPECT_EQ("1", both.Table("identity").Text("product"));
  EXPECT_EQ(2, both.Table("identity").Number("oem", 0, 100));
  try {
    UseBoard("base = \"second.toml\"\n");
    ADD_FAILURE() << "accepted";
  } catch (const vboard::DescriptionError &error) {
    EXPECT_EQ(Folder() + "/second.toml:6: unknown key 'wrong'", error.what());
  }
}

TEST_F(VboardTest, KeysConnectTheirLines) {
  UseBoard(test::SmallBoard(4, 0,
                            "[panel]\nscan = [[1, 0], [1, 1], [1, 2], [1, 3], [1, 4]]\n"
                            "sense = [[2, 0], [2, 1], [2, 2], [2, 3], [2, 4]]\n"
                            "[gpio]\nnames = { \"3,0\" = \"lamp\" }\n"));
  const int fd = open("/dev/hi_gpio", O_RDWR | O_CLOEXEC);
  const auto request = [fd](unsigned long number, uint32_t group, uint32_t bit, uint32_t value) {
    uint32_t record[3] = {group, bit, value};
    EXPECT_EQ(0, ioctl(fd, number, record));
    return record[2];
  };
  vboard::Act("key press 7");  // scan line 1, sense line 2
  EXPECT_EQ(1U, request(3, 2, 2, 0));
  request(1, 1, 1, 1);
  EXPECT_EQ(0U, request(3, 2, 2, 0));
  EXPECT_EQ(1U, request(3, 2, 1, 0));
  request(4, 1, 1, 1);
  EXPECT_EQ(1U, request(3, 2, 2, 0));
  request(4, 1, 1, 0);
  request(1, 1, 1, 0);  // an input drives nothing
  EXPECT_EQ(1U, request(3, 2, 2, 0));
  request(1, 1, 1, 1);
  vboard::Act("key release 7");
  EXPECT_EQ(1U, request(3, 2, 2, 0));
  request(1, 3, 0, 1);
  request(4, 3, 0, 1);
  EXPECT_THAT(Events(), ElementsAre("panel: key 7 pressed", "panel: key 7 released",
                                    "gpio: 3,0 lamp output", "gpio: 3,0 lamp = 1"));
  EXPECT_THROW(vboard::Act("key press 25"), std::invalid_argument);
  EXPECT_THROW(vboard::Act("ir send 1 1"), std::invalid_argument);
  close(fd);
}

// A board that runs a program of the PC's.
vboard::Plan StartingPlan(std::string program, std::vector<std::string> arguments) {
  vboard::Plan plan;
  plan.start = std::move(arguments);
  plan.start.insert(plan.start.begin(), "/sbin/program");
  std::filesystem::create_directories(vboard::RootPath("/sbin"));
  std::filesystem::create_symlink(program, vboard::RootPath("/sbin/program"));
  return plan;
}

TEST_F(VboardTest, AMachineRunsUnmodifiedProgramsAndTheirChildren) {
  UseBoard(test::SmallBoard(4, 0));
  const vboard::Plan plan =
      StartingPlan("/bin/sh", {"-c",
                               "read line < /proc/mtd; echo $line; printf half; sleep 0; "
                               "printf '\\0360.0 [1] sync\\n\\037\\036'; "
                               "echo x > /dev/mtd9; (exit 3); exit 4"});
  vboard::Open(vboard::Folder());  // the test itself is no program on the board
  vboard::Machine machine(plan);
  machine.Start();
  EXPECT_TRUE(machine.WaitFor("exit: status 4", 30));
  machine.Run(30);
  EXPECT_EQ(4, machine.ExitStatus());
  std::string console;
  for (const vboard::Line &line : machine.Lines()) {
    if (!line.event) console += line.text + "|";
  }
  EXPECT_EQ("dev: size erasesize name|half|\0360.0 [1] sync|\037\036|", console);
  EXPECT_FALSE(machine.WaitFor("nothing more comes", 30));
}

// Each is started by name, through the search path, with an environment that has been emptied.
TEST_F(VboardTest, ProgramsStayOnTheBoardWhateverTheirEnvironment) {
  UseBoard(test::SmallBoard(4, 0));
  const vboard::Plan plan = StartingPlan(
      "/usr/bin/env", {"-i", "PATH=/bin", "sh", "-c", "read line < /proc/mtd; echo $line"});
  const char *const arguments[] = {"program", "true", nullptr};
  pid_t id = -1;
  EXPECT_EQ(0, setenv("PATH", "/nowhere:/sbin:/bin", 1));
  EXPECT_EQ(0, posix_spawnp(&id, "program", nullptr, nullptr, const_cast<char *const *>(arguments),
                            environ));
  EXPECT_EQ(id, waitpid(id, nullptr, 0));
  EXPECT_THAT(Events(), ElementsAre("start: /sbin/program: program true"));
  vboard::Open(vboard::Folder());
  vboard::Machine machine(plan);
  machine.Start();
  EXPECT_TRUE(machine.WaitFor("erasesize name", 30));
  machine.Run(30);
}

TEST_F(VboardTest, ProgramsFindTheirBoardFromWhereverTheyGo) {
  vboard::WriteFile(Folder() + "/board.toml", test::SmallBoard(4, 0));
  ASSERT_EQ(0, chdir(Folder().c_str()));
  vboard::MakeBoard("board.toml", "board", PROGRAMS_FOLDER);
  vboard::Machine machine(
      StartingPlan("/bin/sh", {"-c", "cd /; exec sh -c 'read line < /proc/mtd; echo $line'"}));
  machine.Start();
  EXPECT_TRUE(machine.WaitFor("erasesize name", 30));
  for (const char *name : {"a blank/board", "a:colon"}) {
    EXPECT_THROW(vboard::MakeBoard("board.toml", name, PROGRAMS_FOLDER), std::runtime_error);
    EXPECT_FALSE(std::filesystem::exists(Folder() + "/" + name));
  }
}

TEST_F(VboardTest, ProgramsThatWouldRunOnThePcAreNotOnTheBoard) {
  UseBoard(test::SmallBoard(4, 0));
  const std::string true_ = vboard::ReadFile("/bin/true");
  std::string foreign = true_;
  foreign[EI_CLASS] = foreign[EI_CLASS] == ELFCLASS32 ? ELFCLASS64 : ELFCLASS32;
  // The loader is a program, too, and no other loads it.
  const std::string loader = true_.c_str() + true_.find("/lib");
  struct {
    std::string content;
    unsigned mode;
    const char *refusal;
    int error;
  } const rows[] = {
      {true_, 0755, "", 0},
      {"#!/opt/app/true\n", 0644, "", EACCES},
      {"#!/opt/app/true -x\n", 0755, "", 0},
      {vboard::ReadFile(loader), 0755, "is statically linked", ENOENT},
      {"#! " + loader + " --help\n", 0755, "is statically linked", ENOENT},
      {foreign, 0755, "is for another kind of processor than the board's library", ENOENT},
      {true_, 04755, "runs with other rights than its caller's", ENOENT},
      {"#!/opt/app/program\n", 0755, "has too many interpreters", ENOENT},
  };
  const std::string place = vboard::RootPath("/opt/app/program");
  vboard::WriteFile(vboard::RootPath("/opt/app/true"), true_);
  ASSERT_EQ(0, chmod("/opt/app/true", 0755));
  for (const auto &row : rows) {
    SCOPED_TRACE(row.content.substr(0, 20));
    vboard::WriteFile(place, row.content);
    // An administrator's program is of another user here.
    if ((row.mode & 04000) != 0 && chown(place.c_str(), 1, 1) != 0) continue;
    ASSERT_EQ(0, chmod(place.c_str(), row.mode));
    Events();
    const auto run = [] {
      execl("/opt/app/program", "program", nullptr);
      return errno;
    };
    EXPECT_EQ(row.error, test::InChild(run).exitStatus);
    const std::string event =
        "start: /opt/app/program: it is not on the board: it " + std::string(row.refusal);
    EXPECT_EQ(row.error == ENOENT, testing::Value(Events(), testing::Contains(event)));
    vboard::Plan plan;
    plan.start = {"/opt/app/program"};
    vboard::Machine machine(plan);
    if (row.error == 0) {
      EXPECT_NO_THROW(machine.Start());
    } else {
      EXPECT_THROW(machine.Start(), std::runtime_error);
    }
  }
}

TEST_F(VboardTest, EveryProcessHasANumberOfItsOwn) {
  UseBoard(test::SmallBoard(4, 0));
  const vboard::Plan plan = StartingPlan(
      "/bin/sh", {"-c", "i=0; while [ $i -lt 100 ]; do (exit 7); i=$((i + 1)); done; exit 8"});
  vboard::Open(vboard::Folder());
  vboard::Machine machine(plan);
  machine.Start();
  ASSERT_TRUE(machine.WaitFor("exit: status 8", 60));
  std::set<int> numbers;
  for (const vboard::Line &line : machine.Lines()) {
    if (line.event && line.process > 0) numbers.insert(line.process);
  }
  EXPECT_EQ(101U, numbers.size());
}

// A number that a program on the board had is another program's by now.
TEST_F(VboardTest, SwitchingOffKillsNobodyElse) {
  UseBoard(test::SmallBoard(4, 0));
  int ends[2];
  ASSERT_EQ(0, pipe(ends));
  // The child of a child that has ended: no descendant of this process any more.
  prctl(PR_SET_CHILD_SUBREAPER, 0);
  test::InChild([&ends] {
    close(ends[0]);
    if (fork() == 0) {
      close(STDOUT_FILENO);
      const pid_t id = getpid();
      while (write(ends[1], &id, sizeof id) > 0) pause();
    }
    return 0;
  });
  close(ends[1]);
  pid_t stranger = 0;
  ASSERT_EQ(static_cast<ssize_t>(sizeof stranger), read(ends[0], &stranger, sizeof stranger));
  const vboard::Plan plan = StartingPlan("/bin/true", {});
  {
    vboard::Machine machine(plan);
    machine.Start();
    vboard::State().processes[9].process.number = stranger;
    vboard::State().processGroup = stranger;
    machine.Stop();
  }
  EXPECT_EQ(0, kill(stranger, 0));
  char byte = 0;
  pollfd end = {ends[0], POLLIN, 0};
  EXPECT_EQ(0, poll(&end, 1, 0)) << "the stranger has ended";
  EXPECT_EQ(0, kill(stranger, SIGKILL));
  EXPECT_EQ(0, read(ends[0], &byte, 1));
  close(ends[0]);
}

TEST_F(VboardTest, ATranscriptKeepsTheLastPartOfVeryMuch) {
  UseBoard(test::SmallBoard(4, 0));
  vboard::Open(vboard::Folder());
  vboard::Transcript transcript({});
  // Without a line feed, and nothing else.
  for (const auto &[piece, length] : {std::pair('x', 20'000'000), {'\n', 500'000}}) {
    transcript.TakeConsole(std::string(static_cast<size_t>(length), piece));
    size_t size = 0;
    for (const vboard::Line &line : transcript.Lines()) size += sizeof line + line.text.size();
    EXPECT_LE(size, 17U << 20);
  }
  transcript.TakeConsole("the end\n");
  EXPECT_TRUE(transcript.Find("the end"));
  EXPECT_EQ("the end", transcript.Lines().at(transcript.Found() - 1).text);
}

// The command, on folders where there is no board.
TEST_F(VboardTest, TheCommandRefusesWhatItCannotDo) {
  vboard::WriteFile(Folder() + "/board.toml", "summary = \"s\"\n");
  vboard::WriteFile(Folder() + "/foreign/file", "");
  vboard::WriteFile(Folder() + "/empty/state", "");
  const auto run = [this](std::string arguments) {
    for (size_t at; (at = arguments.find('@')) != std::string::npos;) {
      arguments.replace(at, 1, Folder());
    }
    return test::Shell("{ " PROGRAMS_FOLDER "/vboard " + arguments + "; echo $?; }");
  };
  struct {
    const char *arguments;
    const char *answer;
  } const rows[] = {
      {"--folder '@/a b' make @/board.toml", "no blank"},
      {"--folder '@/a b' run @/board.toml", "no blank"},
      {"--folder @/foreign make @/board.toml", "holds something"},
      {"--folder @/empty state", "made by another version"},
      {"--folder @/new run @/board.toml --speed 0", "--speed"},
      {"--folder @/new run @/board.toml --speed 100001", "--speed"},
      {"--folder @/new run @/board.toml --patience 0", "--patience"},
      {"--folder @/new run @/board.toml --patience nan", "--patience"},
  };
  for (const auto &[arguments, answer] : rows) {
    const std::string output = run(arguments);
    EXPECT_NE(std::string::npos, output.find(answer)) << output;
    EXPECT_THAT(output, testing::AnyOf(testing::EndsWith("\n1\n"), testing::EndsWith("\n2\n")));
  }
  EXPECT_FALSE(std::filesystem::exists(Folder() + "/a b"));
  EXPECT_FALSE(std::filesystem::exists(Folder() + "/foreign/lock"));
  if (!test::EnterNamespaces()) GTEST_SKIP() << "no full disk for the rest";
  std::filesystem::create_directory(Folder() + "/full");
  ASSERT_EQ(0, mount("none", (Folder() + "/full").c_str(), "tmpfs", 0, "size=8k"));
  EXPECT_THAT(run("--folder @/full make @/board.toml"), testing::HasSubstr("No space left"));
  EXPECT_EQ(0, umount((Folder() + "/full").c_str()));
}

}  // namespace
