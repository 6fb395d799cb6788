// The synchronisation of the system clock in its signal handler. This program is on no board: a
// clock chip of its own stands in front of the C library, because the handler may interrupt
// anything, and so may touch nothing that allocates or locks.
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <random>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "libsys/system.h"
#include "libsys/timer.h"

namespace {

constexpr int kBus = 900;  // a descriptor that nobody else has

std::atomic<uint8_t> registers[256];
std::atomic<int64_t> clockAsked{0};   // what the last call asked for
std::atomic<int64_t> clockSetTo{-1};  // and what was granted
std::atomic<int> clockSettings{0};
std::atomic<bool> clockRefuses{false};  // and is in 1970
std::atomic<int32_t> meanwhile{1};      // what a synchronisation between two bytes returned

}  // namespace

// In front of the C library.
extern "C" {

int open(const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (strcmp(path, "/dev/gpioi2c") == 0) return kBus;
  return openat(AT_FDCWD, path, flags, mode);
}

int ioctl(int fd, unsigned long request, ...) noexcept {
  va_list arguments;
  va_start(arguments, request);
  auto *word = va_arg(arguments, uint32_t *);
  va_end(arguments);
  if (fd != kBus || request < 1 || request > 2) {
    errno = ENOTTY;
    return -1;
  }
  std::atomic<uint8_t> &chipRegister = registers[*word >> 16 & 0xff];
  if (request == 1) {
    *word |= chipRegister;
  } else {
    chipRegister = static_cast<uint8_t>(*word);
    meanwhile = SystemSynchroniseTime();  // the timer expires after each byte written
  }
  return 0;
}

int clock_settime(clockid_t, const timespec *time) noexcept {
  clockAsked = time->tv_sec;
  ++clockSettings;
  if (clockRefuses || time->tv_sec < 0) return -1;
  clockSetTo = time->tv_sec;
  return 0;
}

int clock_gettime(clockid_t clock, timespec *time) noexcept {
  if (clock == CLOCK_REALTIME && clockSetTo >= 0) {
    *time = {clockRefuses ? 5 : clockSetTo.load(), 0};
    return 0;
  }
  return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
}

}  // extern "C"

namespace {

uint8_t Bcd(int value) {
  return static_cast<uint8_t>(value / 10 << 4 | value % 10);
}

void SetChip(const tm &time) {
  const uint8_t bytes[7] = {Bcd(time.tm_sec),       Bcd(time.tm_min),
                            Bcd(time.tm_hour),      static_cast<uint8_t>(time.tm_wday + 1),
                            Bcd(time.tm_mday),      Bcd(time.tm_mon + 1),
                            Bcd(time.tm_year % 100)};
  for (size_t i = 0; i < sizeof bytes; ++i) registers[i] = bytes[i];
}

// What mktime makes of the registers, whatever they hold.
int64_t ExpectedTime() {
  const auto units = [](int i) { return registers[i] & 0xf; };
  const auto tens = [](int i, int mask) { return (registers[i] >> 4 & mask) * 10; };
  tm time = {};
  time.tm_sec = units(0) + tens(0, 7);
  time.tm_min = units(1) + tens(1, 7);
  time.tm_hour = units(2) + tens(2, 3);
  time.tm_mday = units(4) + tens(4, 3);
  time.tm_mon = units(5) + tens(5, 1) - 1;
  time.tm_year = units(6) + tens(6, 0xf) + 100;
  return mktime(&time);
}

std::string ExpectedLine(time_t time) {
  tm local = {};
  localtime_r(&time, &local);
  char line[128];
  snprintf(line, sizeof line, "LIBDVR : %d-%d-%d, today is weekday %d time:%d:%d:%d",
           local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_wday, local.tm_hour,
           local.tm_min, local.tm_sec);
  return line;
}

// Standard output, in a file meanwhile.
class Output {
 public:
  Output() {
    fflush(stdout);
    kept_ = dup(STDOUT_FILENO);
    const int file = mkostemp(name_, O_APPEND);
    dup2(file, STDOUT_FILENO);
    close(file);
  }
  std::vector<std::string> End() {
    fflush(stdout);
    dup2(kept_, STDOUT_FILENO);
    close(kept_);
    std::ifstream file(name_);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    unlink(name_);
    return lines;
  }

 private:
  char name_[32] = "/tmp/clock_signal_XXXXXX";
  int kept_ = -1;
};

void UseZone(const char *zone) {
  setenv("TZ", zone, 1);
  tzset();
  I2cClose();
  I2cOpen();
}

constexpr const char *kZones[] = {
    "UTC0",
    "<+1245>-12:45<+1345>,M9.5.0/2:45,M4.1.0/3:45",
    ":Australia/Lord_Howe",    // half an hour of daylight saving
    ":Europe/London",          // was an hour ahead in 1970, where a board's clock starts
    ":Europe/Dublin",          // saves daylight in winter, by an hour back
    ":Africa/Casablanca",      // the same for a month a year; has had another standard time
    ":Asia/Gaza",              // four changes a year, some of them a week apart
    ":Asia/Almaty",            // standard time went back in 2024,
    ":Asia/Pyongyang",         // to and fro,
    ":Europe/Moscow",          // to and fro where daylight saving had been,
    ":America/Scoresbysund",   // back when daylight saving began,
    ":Europe/Istanbul",        // ahead while it was in force,
    ":America/Cambridge_Bay",  // for a week,
    ":Pacific/Apia",           // and over a whole day.
};

int64_t OffsetAt(time_t time) {
  tm local = {};
  localtime_r(&time, &local);
  return local.tm_gmtoff;
}

class ZoneTest : public testing::TestWithParam<const char *> {};

// Rising, because what mktime says of an hour that comes twice depends on what it said before.
TEST_P(ZoneTest, IsConvertedAsTheCLibraryDoesForACentury) {
  constexpr time_t kHour = 3600;
  const std::string zone = GetParam(), file = "/usr/share/zoneinfo/" + zone.substr(1);
  ASSERT_TRUE(zone[0] != ':' || access(file.c_str(), R_OK) == 0);
  Output output;
  UseZone(zone.c_str());
  std::vector<std::string> expected = {ExpectedLine(clockSetTo)};
  const auto compare = [&](time_t local) {
    tm date = {};
    gmtime_r(&local, &date);
    SetChip(date);
    I2cpCallBack(SIGALRM);
    ASSERT_EQ(ExpectedTime(), clockAsked) << local;
    expected.push_back(ExpectedLine(clockSetTo));
  };
  // Every 25 hours, and each hour about a change with the second before it.
  for (time_t local = 946'684'800; local < 4'102'444'800 && !HasFatalFailure();) {
    const bool change = OffsetAt(local - 16 * kHour) != OffsetAt(local + 41 * kHour);
    if (change) compare(local - 1);
    compare(local);
    local += change ? kHour : 25 * kHour;
  }
  clockRefuses = true;
  EXPECT_EQ(-1, SystemSynchroniseTime());
  expected.push_back(ExpectedLine(5));
  clockRefuses = false;
  EXPECT_EQ(expected, output.End());
}

INSTANTIATE_TEST_SUITE_P(Zones, ZoneTest, testing::ValuesIn(kZones));

TEST(ClockSignalTest, AnythingInTheRegistersIsSomeDate) {
  std::mt19937 random(7);
  std::vector<std::string> expected;
  Output output;
  UseZone("CET-1CEST,M3.5.0,M10.5.0/3");
  expected.push_back(ExpectedLine(clockSetTo));
  for (int round = 0; round < 20'000; ++round) {
    for (int i = 0; i < 7; ++i) registers[i] = round == 0 ? 0xff : static_cast<uint8_t>(random());
    I2cpCallBack(SIGALRM);
    ASSERT_EQ(ExpectedTime(), clockSetTo) << round;
    expected.push_back(ExpectedLine(clockSetTo));
  }
  const std::vector<std::string> lines = output.End();
  ASSERT_EQ(expected.size(), lines.size());
  for (size_t i = 0; i < lines.size(); ++i) {
    // From 2100 on no daylight saving is counted.
    if (expected[i] >= "LIBDVR : 21") continue;
    EXPECT_EQ(expected[i], lines[i]);
  }
}

TEST(ClockSignalTest, LeavesAClockAloneThatIsBeingSet) {
  Output output;
  UseZone("UTC0");
  clockSettings = 0;
  const SystemTime time = {2031, 1, 1, 0, 0, 0, 0};
  EXPECT_EQ(0, SystemSetCurrentTime(&time));
  EXPECT_EQ(1, clockSettings);
  I2cpCallBack(SIGALRM);
  EXPECT_EQ("LIBDVR : 2031-1-1, today is weekday 3 time:0:0:0", output.End().back());
  EXPECT_EQ(2, clockSettings);
  EXPECT_EQ(0, meanwhile);
}

// Prints, allocates and converts times as an application would.
int WorkFor(std::chrono::seconds duration) {
  const auto end = std::chrono::steady_clock::now() + duration;
  std::vector<std::string> kept(64);
  int lines = 0;
  for (unsigned round = 0; std::chrono::steady_clock::now() < end; ++round) {
    kept[round % kept.size()] = std::string(size_t{round} * 37 % 5000, 'x');
    const time_t now = time(nullptr) + time_t{round} * 3600;
    tm local = {};
    localtime_r(&now, &local);
    mktime(&local);
    SystemShowWeekday();
    printf("main %u %s end\n", round, std::string(round % 90, 'm').c_str());
    lines += 2;
  }
  return lines;
}

TEST(ClockSignalTest, InterruptsAnythingWithoutDeadlockOrTornLine) {
  constexpr int kLeastSettings = 5000;
  Output output;
  UseZone("CET-1CEST,M3.5.0,M10.5.0/3");
  clockSettings = 0;
  ASSERT_EQ(0, TimerStart(nullptr, I2cpCallBack, nullptr, 1));
  std::atomic<bool> ended{false};
  const pthread_t worker = pthread_self();
  std::thread storm([&] {
    // The timer's own signals come to any thread; these all come to the working one.
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &alarm, nullptr);
    while (!ended) {
      pthread_kill(worker, SIGALRM);
      usleep(50);
    }
  });
  int printed = 0;
  while (clockSettings < kLeastSettings) printed += WorkFor(std::chrono::seconds(1));
  ended = true;
  storm.join();
  ASSERT_EQ(0, TimerStart(nullptr, I2cpCallBack, nullptr, 0));
  const int settings = clockSettings;
  const std::regex whole(
      "main [0-9]+ m* end|LIBDVR : [0-9]+-[0-9]+-[0-9]+, today is weekday [0-6] "
      "time:[0-9]+:[0-9]+:[0-9]+");
  const std::vector<std::string> lines = output.End();
  EXPECT_EQ(static_cast<size_t>(printed + settings) + 1, lines.size());
  for (const std::string &line : lines) ASSERT_TRUE(std::regex_match(line, whole)) << line;
}

}  // namespace
