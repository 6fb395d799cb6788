// The virtual board's own test. No product code takes part in it.
#include <dirent.h>
#include <errno.h>
#include <limits.h>
#include <mtd/mtd-user.h>
#include <sched.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/wait.h>

#include <chrono>
#include <filesystem>
#include <latch>
#include <thread>

#include "tests/support/board_test.h"

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

// A process group that is outside of the program's own process table has the number 0 there.
TEST_F(VboardTest, PowerGoesForNobodyBesideTheBoard) {
  UseBoard(test::SmallBoard(4, 0));
  const test::Child child = test::InChild([] {
    setpgid(0, 0);
    if (unshare(CLONE_NEWUSER | CLONE_NEWPID) != 0) return 1;
    if (fork() == 0) vboard::CutPower();
    // With its first child this process table has ended, and the check for leaks starts another.
    _exit(wait(nullptr) > 0 ? 0 : 2);
  });
  if (child.exitStatus == 1) GTEST_SKIP() << "no process table of one's own";
  EXPECT_EQ(0, child.exitStatus);
}

TEST_F(VboardTest, TheBoardOutlivesAProgramWithoutDescriptors) {
  UseBoard(test::SmallBoard(4, 0));
  const int number = vboard::ProcessNumber();
  const test::Child child = test::InChild([number] {
    const int own = vboard::ProcessNumber();
    const rlimit none = {3, 3};
    if (setrlimit(RLIMIT_NOFILE, &none) != 0 || own <= number) return 1;
    vboard::Event("lost");
    // Its number is still its own, and the other's is not free.
    return vboard::ProcessNumber() == own && vboard::Lives(vboard::State().processes[0].process)
               ? 0
               : 2;
  });
  EXPECT_EQ(0, child.exitStatus);
  EXPECT_FALSE(vboard::State().logFailed);
  EXPECT_EQ(number, vboard::ProcessNumber());
}

TEST_F(VboardTest, WhoHasEndedLeavesItsPlaceToTheNext) {
  UseBoard(test::SmallBoard(4, 0));
  vboard::State().lastNumber = 0;
  for (vboard::Known &known : vboard::State().processes) {
    known.process.start = 1;
    known.process.number = INT_MAX;
  }
  EXPECT_EQ(1, vboard::ProcessNumber());
  EXPECT_EQ(1, vboard::ProcessNumber());
}

TEST_F(VboardTest, ThreadsWhoseFirstEventsComeTogetherAreOneProcess) {
  UseBoard(test::SmallBoard(4, 0));
  for (int round = 0; round < 100; ++round) {
    for (vboard::Known &known : vboard::State().processes) known.process.number = 0;
    vboard::State().lastNumber = 0;
    std::latch start(3);
    const auto number = [&start] {
      start.arrive_and_wait();
      EXPECT_EQ(1, vboard::ProcessNumber());
    };
    std::thread threads[] = {std::thread(number), std::thread(number), std::thread(number)};
    for (std::thread &thread : threads) thread.join();
    ASSERT_EQ(1, vboard::State().lastNumber);
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
  int mounts = 0;
  while (mount("/dev/mtdblock1", "/opt/sav", "jffs2", 0, nullptr) == 0) ++mounts;
  EXPECT_EQ(16, mounts);
  EXPECT_THAT(Events(), testing::Contains("mount: the board has room for 16 mounts"));
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
  const auto planAll = [] {
    while (true) vboard::Act("fault once open /nowhere 1 EIO");
  };
  EXPECT_THAT(planAll,
              testing::ThrowsMessage<std::invalid_argument>(testing::HasSubstr("16 planned")));
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
  EXPECT_EQ("1 nothing", piped("ifconfig eth0 | grep nowhere", "re"));
  EXPECT_EQ("127 nothing", piped("cat /etc/passwd", "re"));
  EXPECT_EQ("127 ", piped("cat", "we"));
  EXPECT_EQ("EINVAL", piped("ifconfig", "rw"));
  vboard::Act("fault once popen - 1 EMFILE");
  EXPECT_EQ("EMFILE", piped("ifconfig", "re"));
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

}  // namespace
