// The timer, the bus, the clock chip with its memory, the temperature.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <vector>

#include "libsys/system.h"
#include "libsys/timer.h"
#include "tests/support/board_test.h"

namespace {

using test::Printed;

class ClockTest : public test::BoardTest {
 protected:
  void Start(const std::string &clock = "", const std::string &time = "") {
    setenv("TZ", "UTC0", 1);
    UseBoard("summary = \"a clock\"\n[clock]\n" + clock);
    vboard::PowerOn();
    Keep({"/dev/gpioi2c"});
    if (!time.empty()) vboard::Act("clock set " + time);
    Events();
  }
};

std::vector<uint8_t> Registers(uint32_t device, uint32_t first, uint32_t count) {
  std::vector<uint8_t> bytes(count);
  EXPECT_EQ(0, I2cRead(device, first, bytes.data(), count));
  return bytes;
}

constexpr const char *kClosedRead = "LIBDVR : I2cRead : Invalid parma\n";

TEST_F(ClockTest, TimerIsArmedAndStopped) {
  Start();
  struct {
    uint32_t milliseconds;
    timeval period;
  } const rows[] = {{60'000, {60, 0}}, {1'500, {1, 500'000}}, {0, {0, 0}}};
  for (const auto &row : rows) {
    SCOPED_TRACE(row.milliseconds);
    EXPECT_EQ(0, TimerStart(
                     nullptr, [](int) {}, nullptr, row.milliseconds));
    itimerval timer = {};
    getitimer(ITIMER_REAL, &timer);
    EXPECT_EQ(row.period.tv_sec, timer.it_interval.tv_sec);
    EXPECT_EQ(row.period.tv_usec, timer.it_interval.tv_usec);
    struct sigaction action = {};
    sigaction(SIGALRM, nullptr, &action);
    EXPECT_NE(SIG_DFL, action.sa_handler);
    EXPECT_NE(0, action.sa_flags & SA_RESTART);
  }
  EXPECT_EQ(0, TimerStop());
  struct sigaction action = {};
  sigaction(SIGALRM, nullptr, &action);
  EXPECT_EQ(SIG_DFL, action.sa_handler);
}

TEST_F(ClockTest, TimerRunsItsHandlerAgainAndAgain) {
  static std::atomic<int> runs{0};
  Start();
  EXPECT_EQ(0, TimerStart(
                   nullptr, [](int) { ++runs; }, nullptr, 1));
  while (runs < 20) pause();
  EXPECT_EQ(0, TimerStop());
  // Stopped just when it expires: the signal's default action would end the process.
  for (int round = 0; round < 2000; ++round) {
    TimerStart(
        nullptr, [](int) {}, nullptr, 1);
    const auto expiry =
        std::chrono::steady_clock::now() + std::chrono::microseconds(900 + round % 200);
    while (std::chrono::steady_clock::now() < expiry) continue;
    EXPECT_EQ(0, TimerStop());
  }
}

TEST_F(ClockTest, TimerFailuresNameTheirPlace) {
  const auto printed = [](const char *call, int32_t (*start)()) {
    vboard::PlanFault(call, "", EINVAL, 1, false);
    return Printed([&] { EXPECT_EQ(-1, start()); });
  };
  const auto start = [] {
    return TimerStart(
        nullptr, [](int) {}, nullptr, 1000);
  };
  Start();
  EXPECT_EQ("LIBDVR : FILE -> System/timer.c, LINE -> 55: Setitimer failed\n",
            printed("setitimer", start));
  EXPECT_EQ("LIBDVR : FILE -> System/timer.c, LINE -> 98: Setitimer failed\n",
            printed("setitimer", [] { return TimerStop(); }));
  struct sigaction action = {};
  sigaction(SIGALRM, nullptr, &action);
  EXPECT_EQ(SIG_DFL, action.sa_handler);
}

TEST_F(ClockTest, ClosedBus) {
  Start();
  uint8_t byte = 7;
  EXPECT_EQ(kClosedRead, Printed([&] { EXPECT_EQ(-1, NvramRead(0, &byte, 1)); }));
  EXPECT_EQ("LIBDVR : I2cWrite : Invalid parma\n",
            Printed([&] { EXPECT_EQ(-1, NvramWrite(0, &byte, 1)); }));
  EXPECT_EQ(std::string(kClosedRead) + "Utils : TMP75 read failed\n",
            Printed([] { EXPECT_EQ(255, SystemGetTemperature()); }));
  EXPECT_EQ(std::string(kClosedRead) + "LIBDVR : I2cpCallBack : I2cRead failed\n",
            Printed([] { I2cpCallBack(0); }));
  vboard::PlanFault("open", "/dev/gpioi2c", ENOENT, 1, false);
  EXPECT_EQ("LIBDVR : open /dev/gpioi2c failed!!!!\n", Printed([] { EXPECT_EQ(-1, I2cOpen()); }));
}

TEST_F(ClockTest, OpeningSetsTheSystemClockOnceAndStartsTheTimer) {
  Start("", "2026-11-16 06:48:14");
  EXPECT_EQ("begin: LIBDVR : 2026-11-16, today is weekday 1 time:6:48:14\n", Printed([] {
              fputs("begin: ", stdout);
              EXPECT_EQ(0, I2cOpen());
            }));
  EXPECT_EQ("", Printed([] { EXPECT_EQ(0, I2cOpen()); }));
  EXPECT_EQ("LIBDVR : 2026-11-16, today is weekday 1 time:6:48:14\n",
            Printed([] { EXPECT_EQ(0, SystemShowWeekday()); }));
  EXPECT_EQ(1'794'811'694, time(nullptr));
  itimerval timer = {};
  getitimer(ITIMER_REAL, &timer);
  EXPECT_EQ(60, timer.it_interval.tv_sec);
  SystemTime now = {};
  EXPECT_EQ(0, SystemGetCurrentTime(&now));
  EXPECT_EQ(2026, now.year);
  EXPECT_EQ(1, now.weekday);
  EXPECT_EQ(48, now.minute);
  I2cClose();
  EXPECT_EQ(kClosedRead, Printed([] {
              uint8_t byte = 0;
              EXPECT_EQ(-1, I2cRead(0xd0, 0, &byte, 1));
            }));
}

TEST_F(ClockTest, TheKernelsTimeZoneIsAdded) {
  Start("minutes_west = -60", "2026-11-16 06:48:14");
  EXPECT_EQ("LIBDVR : 2026-11-16, today is weekday 1 time:5:48:14\n", Printed([] { I2cOpen(); }));
}

// The board's chip itself: every second, on its own.
TEST_F(ClockTest, TheChipCounts) {
  struct {
    const char *time;
    int64_t seconds;
    std::vector<uint8_t> registers;
  } const rows[] = {
      {"2026-11-16 06:48:14", 1, {0x15, 0x48, 0x06, 0x02, 0x16, 0x11, 0x26}},
      {"2028-02-28 23:59:58", 2, {0x00, 0x00, 0x00, 0x03, 0x29, 0x02, 0x28}},
      {"2027-02-28 23:59:58", 2, {0x00, 0x00, 0x00, 0x02, 0x01, 0x03, 0x27}},
      {"2026-11-21 12:00:00", 86'400, {0x00, 0x00, 0x12, 0x01, 0x22, 0x11, 0x26}},
      {"2099-12-31 23:00:00", 3'600, {0x00, 0x00, 0x00, 0x06, 0x01, 0x01, 0x00}},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.time);
    Start("", row.time);
    Printed([] { I2cOpen(); });
    vboard::Drift(row.seconds * vboard::kSecond);
    EXPECT_EQ(row.registers, Registers(0xd0, 0, 7));
    I2cClose();
  }
}

TEST_F(ClockTest, ATimerThatDoesNotStartIsReportedOnly) {
  Start();
  vboard::PlanFault("setitimer", "", EINVAL, 1, false);
  const std::string printed = Printed([] { EXPECT_EQ(0, I2cOpen()); });
  EXPECT_THAT(printed, testing::EndsWith("LIBDVR : Create timer(sync rtc time) failed : \n"));
}

TEST_F(ClockTest, SettingTheTime) {
  Start();
  Printed([] { I2cOpen(); });
  struct {
    SystemTime time;
    std::vector<uint8_t> registers;
    std::string printed;
  } const rows[] = {
      // A Monday, whatever the record says.
      {{2026, 11, 16, 5, 6, 48, 14},
       {0x14, 0x48, 0x06, 0x02, 0x16, 0x11, 0x26},
       "LISYS:---main_curtime year  126 month 10 day 1 hour 6 min 48 sec 14 \n"},
      {{2026, 13, 1, 0, 0, 0, 0},
       {0x00, 0x00, 0x00, 0x06, 0x01, 0x01, 0x27},
       "LISYS:---main_curtime year  127 month 0 day 5 hour 0 min 0 sec 0 \n"},
      {{1999, 12, 31, 0, 23, 59, 59},
       {0x59, 0x59, 0x23, 0x06, 0x31, 0x12, 0x99},
       "LISYS:---main_curtime year  99 month 11 day 5 hour 23 min 59 sec 59 \n"},
      {{1970, 1, 1, 0, 0, 0, 0},
       {0x00, 0x00, 0x00, 0x05, 0x01, 0x01, 0x70},
       "LISYS:---main_curtime year  70 month 0 day 4 hour 0 min 0 sec 0 \n"},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.time.year);
    EXPECT_EQ(row.printed, Printed([&] { EXPECT_EQ(0, SystemSetCurrentTime(&row.time)); }));
    EXPECT_EQ(row.registers, Registers(0xd0, 0, 7));
  }
}

TEST_F(ClockTest, TimesThatCannotBeSet) {
  Start();
  Printed([] { I2cOpen(); });
  const SystemTime early = {1969, 1, 1, 0, 0, 0, 0}, good = {2026, 1, 1, 0, 0, 0, 0};
  EXPECT_EQ("LIBDVR : FILE -> System/system.c, LINE -> 98: Format error\n",
            Printed([&] { EXPECT_EQ(-1, SystemSetCurrentTime(&early)); }));
  vboard::PlanFault("clock_settime", "", EPERM, 1, false);
  EXPECT_EQ("LIBDVR : FILE -> System/system.c, LINE -> 106: Cannot set date",
            Printed([&] { EXPECT_EQ(-1, SystemSetCurrentTime(&good)); }));
  vboard::PlanFault("ioctl", "/dev/gpioi2c", EIO, 1, false);
  EXPECT_EQ("LIBDVR : i2c write failed\n",
            Printed([&] { EXPECT_EQ(-1, SystemSetCurrentTime(&good)); }));
}

TEST_F(ClockTest, MemoryAndTemperature) {
  Start("temperature = 61\nnvram = [[247, 9]]");
  Printed([] { I2cOpen(); });
  const uint8_t written[4] = {1, 2, 3, 4};
  EXPECT_EQ(0, NvramWrite(40, written, sizeof written));
  EXPECT_EQ(std::vector<uint8_t>({1, 2, 3, 4}), Registers(0xd0, 48, 4));
  // Behind register 255 comes register 0.
  EXPECT_EQ(9, Registers(0xd0, 255, 2)[0]);
  EXPECT_EQ(61, SystemGetTemperature());
  // The third byte fails: the two before it have come.
  uint8_t read[4] = {};
  vboard::PlanFault("ioctl", "/dev/gpioi2c", EIO, 3, false);
  EXPECT_EQ("LIBDVR :  Read from I2c failed\n",
            Printed([&] { EXPECT_EQ(-1, NvramRead(40, read, sizeof read)); }));
  EXPECT_EQ(2, read[1]);
  EXPECT_EQ(0, read[2]);
  // The signal's handler leaves no trace of its failures.
  vboard::PlanFault("ioctl", "/dev/gpioi2c", EIO, 1, false);
  errno = ENOTTY;
  EXPECT_EQ(-1, SystemSynchroniseTime());
  EXPECT_EQ(ENOTTY, errno);
}

TEST_F(ClockTest, TheBatteryKeepsTimeAndMemoryOverAPowerCycle) {
  // Fields that are no digits only add up to an odd date. Where the C library's count is too short
  // for it there is no such time, and the clock stays as it is.
  const char *const odd = sizeof(time_t) > 4 ? "LIBDVR : 2167-2-15," : "LIBDVR : 1970-1-1,";
  for (const bool flat : {false, true}) {
    SCOPED_TRACE(flat);
    Start("time = \"2030-12-31 23:59:59\"");
    Printed([] { I2cOpen(); });
    const uint8_t mark = 0x5a;
    EXPECT_EQ(0, NvramWrite(52, &mark, 1));
    if (flat) vboard::Act("clock battery flat");
    vboard::PowerOn();
    EXPECT_EQ(flat ? 0xff : 0x5a, Registers(0xd0, 60, 1)[0]);
    const std::string line = Printed([] { I2cpCallBack(0); });
    EXPECT_THAT(line, testing::StartsWith(flat ? odd : "LIBDVR : 203"));
    I2cClose();
  }
}

}  // namespace
