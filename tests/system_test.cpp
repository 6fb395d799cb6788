// System services: time bases, load and memory, fan and buzzer, serial number, abilities.
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "libsys/boot.h"
#include "libsys/frontboard.h"
#include "libsys/system.h"
#include "libsys/timer.h"
#include "libsys/version.h"
#include "libsys/watchdog.h"
#include "tests/support/board_test.h"

namespace {

using test::Printed;

const test::Paths kKept = {"/dev/hi_gpio", "/dev/ttyAMA1", "/dev/ttyAMA2",
                           "/dev/mtd0",    "/dev/mtd1",    "/dev/mtd2"};

class SystemTest : public test::BoardTest {
 protected:
  SystemTest() { Keep(kKept); }

  // A board of chip/board type 2 and product type 2, unless the identifier says otherwise.
  void Start(uint32_t oem, const std::string &more = "", uint64_t identifier = 4) {
    UseBoard(test::SmallBoard(identifier, oem, more));
    vboard::PowerOn();
    DvrReadBootParameters();
    DvrGetProductType();
    Events();
  }
};

TEST_F(SystemTest, LoadOfTheFirstProcessor) {
  const std::string kNoCounters =
      "LIBDVR : FILE -> System/system.c, LINE -> 214: Fscanf Failed On /proc/stat for cpu\n";
  struct {
    std::string stat, printed;
    int32_t load;
  } const rows[] = {
      {"cpu 0\ncpu0 10 0 10 80\n",
       "LIBDVR : CPU states: 10.0% user,10.0% system,  0.0% nice, 80.0% idle\n", 20},
      // The decimals are remainders, and nice counts in the user's percent only.
      {"cpu 1 2 3 4 5 6 7\ncpu0 300 33 334 334 0 0 0\n",
       "LIBDVR : CPU states: 33.9% user,33.3% system,  3.2% nice, 33.3% idle\n", 67},
      {"cpu\ncpu0 0 0 0 0\n",
       "LIBDVR : CPU states:  0.0% user, 0.0% system,  0.0% nice,  0.0% idle\n", 100},
      {"cpu\ncpu0 9000000000 0 0 1000000000\n",
       "LIBDVR : CPU states: 90.0% user, 0.0% system,  0.0% nice, 10.0% idle\n", 90},
      {"", "LIBDVR : FILE -> System/system.c, LINE -> 205: Read /proc/stat Failed\n", -2},
      {"cpu 1 2 3 4\ncpu0 1 2 3\n", kNoCounters, -3},
      {"cpu\ncpu0 23058430092136939 23058430092136939 23058430092136939 23058430092136939\n",
       "LIBDVR : CPU states: 50.0% user,25.0% system, 25.0% nice, 25.0% idle\n", 75},
      {"cpu\ncpu0 -9223372036854775808 9223372036854775807 0 0\n", kNoCounters, -3},
      {"cpu\ncpu0 9223372036854775807 9223372036854775807 1 1\n", kNoCounters, -3},
      {"cpu\ncpu0 18446744073709551616 1 1 1\n", kNoCounters, -3},
      {"cpu\ncpu0 1 1 1 -1\n", kNoCounters, -3},
      {"cpu 1 2 3 4\n", kNoCounters, -3},
  };
  Start(0);
  for (const auto &row : rows) {
    SCOPED_TRACE(row.stat);
    vboard::WriteFile(vboard::RootPath("/proc/stat"), row.stat);
    EXPECT_EQ(row.printed, Printed([&] { EXPECT_EQ(row.load, SystemGetCpuUsage()); }));
  }
  unlink("/proc/stat");
  EXPECT_EQ("LIBDVR : FILE -> System/system.c, LINE -> 200: Open /proc/stat Failed\n",
            Printed([] { EXPECT_EQ(-1, SystemGetCpuUsage()); }));
}

TEST_F(SystemTest, MemoryAndTime) {
  Start(0, "[system]\nmemory = 0x4000000\nmemory_free = 12345");
  SystemCaps caps = {};
  EXPECT_EQ(0, SystemGetCaps(&caps));
  EXPECT_EQ(0x4000000U, caps.totalRam);
  EXPECT_EQ(12345U, caps.freeRam);
  vboard::PlanFault("sysinfo", "", EFAULT, 1, false);
  EXPECT_EQ("LIBDVR : FILE -> System/system.c, LINE -> 258: SystemGetCaps Failed\n",
            Printed([&] { EXPECT_EQ(-1, SystemGetCaps(&caps)); }));
  const uint32_t begin = SystemGetMsec(), microseconds = SystemGetUsec();
  TimerStart(
      nullptr, [](int) {}, nullptr, 10);  // does not shorten the sleep
  SystemSleepMsec(1'500);
  TimerStart(
      nullptr, [](int) {}, nullptr, 0);
  EXPECT_EQ(1'500U, SystemGetMsec() - begin);
  EXPECT_EQ(1'500'000U, SystemGetUsec() - microseconds);
}

TEST_F(SystemTest, FanAndBuzzerOfTheMicrocontroller) {
  Start(0, "", 0x4280000000000000);
  vboard::PlanFault("open", "/dev/ttyAMA1", EIO, 1, false);
  EXPECT_THAT(Printed([] { EXPECT_EQ(-1, SystemFanControl(1)); }),
              testing::EndsWith("LIBDVR : open uart1 failed\n"));
  EXPECT_EQ(0, SystemFanControl(1));
  EXPECT_EQ(0, SystemFanControl(2));  // only bit 0 counts
  EXPECT_EQ(5, SystemBeep(0, 100));
  EXPECT_THAT(Events(), testing::ElementsAre(testing::HasSubstr("fault"),
                                             "uart1: sent ff 5a 05 01 01 (fan on)",
                                             "uart1: sent ff 5a 05 01 00 (fan off)",
                                             "uart1: sent ff 5a 04 01 01 (buzzer on)",
                                             "uart1: sent ff 5a 04 01 00 (buzzer off)"));
  const std::string buzzer = "uart1: sent ff 5a 04 01 0";
  EXPECT_NEAR(Times(buzzer + "0").at(0) - Times(buzzer + "1").at(0), 0.1, 0.001);
  vboard::PlanFault("write", "/dev/ttyAMA1", EIO, 1, true);
  EXPECT_THAT(Printed([] { EXPECT_EQ(-1, SystemFanControl(0)); }),
              testing::EndsWith("LIBDVR : UartDeviceWrite 1 failed\n"));
}

TEST_F(SystemTest, BeepIsExtendedWhileItRuns) {
  Start(2);
  const double begin = vboard::BoardTime();
  // 70 ms would pass zero and never end; the other thread ends it.
  std::thread other([] {
    SystemSleepMsec(200);
    SystemBeepExtend(0, 100);
  });
  EXPECT_EQ(0, SystemBeep(0, 70));
  EXPECT_NEAR(vboard::BoardTime() - begin, 0.3, 0.001);
  other.join();
  EXPECT_THAT(Events(), testing::ElementsAre("gpio: 5,5 output", "gpio: 5,5 = 1", "gpio: 5,5 = 0"));
  EXPECT_EQ(0, SystemBeep(0, 0));
  EXPECT_THAT(Events(), testing::ElementsAre("gpio: 5,5 = 1", "gpio: 5,5 = 0"));
  vboard::PlanFault("ioctl", "/dev/hi_gpio", EIO, 1, false);
  EXPECT_EQ("Test : SystemBeep failed\n", Printed([] { EXPECT_EQ(25, SystemBeep(0, 0)); }));
}

TEST_F(SystemTest, AnExtensionReplacesWhatIsLeft) {
  Start(2);
  SystemBeepExtend(0, 100);
  const double begin = vboard::BoardTime();
  EXPECT_EQ(0, SystemBeep(0, 60'000));
  EXPECT_NEAR(vboard::BoardTime() - begin, 0.15, 0.001);
}

TEST_F(SystemTest, CommandsThatEndTheBoard) {
  constexpr uint64_t kRawProductCode1 = 0x1000000000000004;
  const struct {
    uint64_t identifier;
    uint32_t oem;
    int32_t alarmBoard;
    std::vector<std::string> reboot;
    std::string powerOff;
    int32_t rebooted;
  } rows[] = {
      {4, 0, 0, {"uart2: sent ff 05 00 00"}, "uart2: sent ff 09 00 00", 0},
      {4, 8, 1, {"uart2: sent aa 01 00 00"}, "uart2: sent aa 02 00 00", 0},
      {kRawProductCode1,
       0,
       0,
       {"uart2: sent ff 05 00 00", "register: 0x20040c00 = 0x51", "register: 0x20040c01 = 0xe5",
        "register: 0x20040c02 = 0xcc", "register: 0x20040c03 = 0x1a",
        "register: 0x20040008 = 0x03"},
       "uart2: sent ff 09 00 00",
       1},
  };
  const std::string standby = "disk: sda command e3 0c 00 00";  // 12 times 5 seconds
  for (const auto &row : rows) {
    const test::Child child = test::InChild(
        [&] {
          Start(row.oem,
                "[[scsi.disk]]\nname = \"recordings\"\nhost = 0\nletter = \"a\"\nsize = 1000\n",
                row.identifier);
          FrontboardVariantB = row.alarmBoard;
          FrontboardInit();
          Events();
          std::vector<std::string> reboot = {standby, "disk: sda flushed", "sleep: 2 s"};
          reboot.insert(reboot.end(), row.reboot.begin(), row.reboot.end());
          EXPECT_EQ(row.rebooted, SystemReboot());
          EXPECT_EQ(reboot, Events());
          EXPECT_EQ(4, SystemShutdown());
          EXPECT_THAT(Events(), testing::ElementsAre(standby, "sleep: 2 s", row.powerOff));
          return HasFailure() ? 1 : 0;
        },
        kKept);
    EXPECT_EQ(0, child.exitStatus) << child.printed;
  }
}

TEST_F(SystemTest, SerialNumber) {
  Start(0);
  char text[33] = {};
  EXPECT_THAT(Printed([&] { EXPECT_EQ(-1, SystemGetSerialNumber(text, 32)); }),
              testing::EndsWith("LIBDVR : Get SerialNumber failed\n"));
  char number[33] = "0123456789abcdef";
  EXPECT_EQ(0, SystemSetSerialNumber(number, 16));
  EXPECT_EQ(0, SystemGetSerialNumber(text, 32));
  EXPECT_STREQ("0123456789abcdef", text);
  EXPECT_EQ(0, SystemGetSerialNumber(text, 4));
  EXPECT_STREQ("0123", text);
  EXPECT_EQ("LIBDVR : Invaid prama\n",
            Printed([&] { EXPECT_EQ(-1, SystemSetSerialNumber(number, 15)); }));
  EXPECT_EQ("LIBDVR : Invaid prama\n",
            Printed([] { EXPECT_EQ(-1, SystemSetSerialNumber(nullptr, 15)); }));
  EXPECT_EQ("LIBDVR : Invaid prama\n",
            Printed([&] { EXPECT_EQ(-1, SystemSetSerialNumber(number, -1)); }));
  EXPECT_EQ(0, SystemGetSerialNumber(text, -1));
  EXPECT_STREQ("", text);
  // What is too long is cut when it is read; behind a shorter text the end is marked once more.
  char longer[41] = "0123456789abcdef0123456789abcdef01234567", back[41] = {}, none[] = "\0xyz";
  EXPECT_EQ(0, SystemSetSerialNumber(longer, 40));
  EXPECT_EQ(0, SystemGetSerialNumber(back, 40));
  EXPECT_STREQ("0123456789abcdef0123456789abcdef", back);
  for (const int32_t length : {0, 3}) EXPECT_EQ(0, SystemSetSerialNumber(none, length));
  EXPECT_EQ('\0', none[3]);
  vboard::PlanFault("ioctl", "/dev/mtd0", EIO, 1, true);
  EXPECT_THAT(Printed([&] { EXPECT_EQ(-1, SystemSetSerialNumber(number, 16)); }),
              testing::EndsWith("LIBDVR : SystemSetSerialNumber faield\n"));
}

TEST_F(SystemTest, SerialNumberFromTheNetworkCard) {
  Start(8, "[network.eth0]\nmac = \"00:11:22:33:44:55\"");
  char text[33];
  FrontboardVariantB = 0;
  EXPECT_EQ(0, SystemGetSerialNumber(text, 32));
  EXPECT_STREQ("MSA001122334455", text);
  FrontboardVariantB = 1;
  EXPECT_EQ(0, SystemGetSerialNumber(text, 9));
  EXPECT_STREQ("MSB001122", text);
  vboard::PlanFault("ioctl", "SIOCGIFHWADDR", ENODEV, 1, true);
  EXPECT_THAT(Printed([&] { EXPECT_EQ(-1, SystemGetSerialNumber(text, 32)); }),
              testing::EndsWith("Test : NetGetMACTest faield\n"));
}

TEST_F(SystemTest, Abilities) {
  struct {
    uint32_t oem;
    uint64_t identifier;
    std::vector<int> flags;
  } const rows[] = {
      {0, 4, {0, 0, 0, 0, 1, 0, 0, 7, 0}},
      {2, 4, {0, 0, 0, 0, 1, 0, 0, 6, 0}},
      {2, 16, {0, 0, 0, 0, 1, 0, 0, 7, 0}},
      {2, 16 | 1ULL << 38 | 1ULL << 34, {2, 0, 1, 0, 1, 0, 0, 7, 0}},
      {0, 4 | 1ULL << 53 | 1ULL << 33 | 2ULL << 5, {1, 0, 0, 1, 1, 0, 0, 7, 0}},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.identifier);
    const test::Child child = test::InChild(
        [&] {
          Start(row.oem, "", row.identifier);
          DvrBoardByte = 9;
          SystemAbility ability = {};
          EXPECT_EQ(0, SystemGetAbility(&ability));
          std::vector<int> flags = row.flags;
          flags[1] = DvrGetHwidInformation(AUDIO_CHANNEL);
          EXPECT_EQ(flags, std::vector<int>(ability.flags, ability.flags + 9));
          EXPECT_EQ(0U, ability.reserved);
          EXPECT_EQ(9U, ability.boardByte);
          return HasFailure() ? 1 : 0;
        },
        kKept);
    EXPECT_EQ(0, child.exitStatus) << child.printed;
  }
}

TEST_F(SystemTest, ApplicationFlag) {
  Start(0);
  std::filesystem::create_directories(vboard::RootPath("/opt/sav/Config"));
  const std::string place = vboard::RootPath("/opt/sav/Config/Config3");
  umask(0);
  EXPECT_EQ(0, ApplicationRestartFlag());
  EXPECT_EQ("2", vboard::ReadFile(place));
  EXPECT_EQ(std::filesystem::perms(0644), std::filesystem::status(place).permissions());
  vboard::PlanFault("write", "/opt/sav/Config/Config3", ENOSPC, 1, false);
  EXPECT_EQ("Write failed\n", Printed([] { EXPECT_EQ(-1, ApplicationRestartFlag()); }));
  vboard::PlanFault("open", "/opt/sav/Config/Config3", EACCES, 1, false);
  EXPECT_EQ("open failed\n", Printed([] { EXPECT_EQ(-1, ApplicationRestartFlag()); }));
  const int32_t file = ApplicationFlagOpen();
  const auto read = [&](int32_t flag) {
    return Printed([&] { EXPECT_EQ(flag, ApplicationFlagRead(file)); });
  };
  EXPECT_EQ("", read(APPLICATION_RESTART));
  vboard::PlanFault("read", "/opt/sav/Config/Config3", EIO, 1, false);
  EXPECT_EQ("read failed\n", read(APPLICATION_STARTED));
  EXPECT_EQ(0, ftruncate(file, 0));
  EXPECT_EQ("", read(APPLICATION_STARTED));
  close(file);
}

TEST_F(SystemTest, WatchdogStatesAndFailures) {
  const auto message = [](int line, const char *what) {
    return "LIBDVR : FILE -> Misc/watchdog, LINE -> " + std::to_string(line) + ": " + what + "\n";
  };
  const auto fails = [](const char *call, int32_t (*operation)()) {
    vboard::PlanFault(call, "/dev/watchdog", EIO, 1, false);
    return Printed([&] { EXPECT_EQ(-1, operation()); });
  };
  Start(0);
  EXPECT_EQ(-1, WatchdogKeepAlive());  // not started, and not in use on this board either
  EXPECT_EQ(0, WatchdogStart());
  EXPECT_EQ(0, WatchdogVendorCommand());
  Start(2);
  EXPECT_EQ(-1, WatchdogKeepAlive());
  EXPECT_EQ(0, WatchdogStop());
  EXPECT_EQ(message(106, "Open failed"), fails("open", WatchdogStart));
  EXPECT_EQ(message(113, "ioctl failed"), fails("ioctl", WatchdogStart));
  WatchdogStop();
  Events();
  EXPECT_EQ(0, WatchdogStart());
  EXPECT_EQ(0, WatchdogStart());
  EXPECT_EQ(0, WatchdogKeepAlive());
  EXPECT_EQ(3, WatchdogWrite("abc", 3));
  EXPECT_THAT(Events(), testing::ElementsAre("watchdog: running, 60 s", "watchdog: timeout 180 s",
                                             "watchdog: fed"));
  EXPECT_EQ(message(222, "ioctl failed"), fails("ioctl", WatchdogKeepAlive));
  EXPECT_EQ(message(264, "ioctl failed"), fails("ioctl", WatchdogVendorCommand));
  EXPECT_EQ(message(172, "Write to watchdog failed"), fails("write", WatchdogStop));
  EXPECT_EQ(0, WatchdogStop());
  EXPECT_EQ("watchdog: stopped", Events().back());
  char byte = 0;
  EXPECT_EQ(-1, WatchdogRead(&byte, 1));
  EXPECT_EQ(0, WatchdogVendorCommand());  // starts it
  EXPECT_EQ("watchdog: restart requested", Events().back());
  WatchdogStop();
}

// With the raw product code 1 the watchdog is left alone, but for the vendor's command on OEM 2.
TEST_F(SystemTest, WatchdogOfRawProductCode1) {
  Start(2, "", 4 | 1ULL << 60);
  char byte = 0;
  EXPECT_EQ(0, WatchdogStart());
  EXPECT_EQ(0, WatchdogKeepAlive());
  EXPECT_EQ(0, WatchdogStop());
  EXPECT_EQ(0, WatchdogRead(&byte, 1));
  EXPECT_EQ(0, WatchdogWrite(&byte, 1));
  EXPECT_THAT(Events(), testing::IsEmpty());
  EXPECT_EQ("LIBDVR : FILE -> Misc/watchdog, LINE -> 264: ioctl failed\n",
            Printed([] { EXPECT_EQ(-1, WatchdogVendorCommand()); }));
  Start(4, "", 4 | 1ULL << 60);
  EXPECT_EQ("", Printed([] { EXPECT_EQ(0, WatchdogVendorCommand()); }));
}

}  // namespace
