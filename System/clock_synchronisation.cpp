// The system clock follows the clock chip. This runs in the handler of the timer's signal: no
// stdio, no mktime or localtime, no lock, no memory from the heap.
#include <errno.h>
#include <string.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <limits>

#include "System/clock.h"
#include "System/i2c.h"
#include "System/time_zone.h"
#include "libsys/system.h"

namespace {

// Some C libraries keep the plain name for calls with 64-bit time.
#ifdef SYS_gettimeofday
constexpr long kGetTimeOfDay = SYS_gettimeofday;
#else
constexpr long kGetTimeOfDay = SYS_gettimeofday_time32;
#endif

constexpr int64_t kSecondsPerDay = 86'400;
constexpr int32_t kDaysBeforeMonth[12] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
constexpr int32_t kCentury = 2000;  // the clock chip has two digits for the year

// Odd while the time is being set.
std::atomic<uint32_t> chipSettings{0};

bool IsLeap(int32_t year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

// The days from 1970-01-01 to a date of the Gregorian calendar. month counts from 0; a month
// or a day beyond its range carries over.
int64_t DaysSince1970(int32_t year, int32_t month, int32_t day) {
  year += month / 12;
  month %= 12;
  if (month < 0) {
    month += 12;
    --year;
  }
  const auto leapDaysBefore = [](int32_t y) { return (y - 1) / 4 - (y - 1) / 100 + (y - 1) / 400; };
  const int32_t leapDays = leapDaysBefore(year) - leapDaysBefore(1970);
  const int32_t leapDay = month > 1 && IsLeap(year) ? 1 : 0;
  return int64_t{365} * (year - 1970) + leapDays + kDaysBeforeMonth[month] + leapDay + day - 1;
}

// What the handler prints: one line, one write.
class Line {
 public:
  Line &Add(const char *text) {
    while (*text != '\0' && length_ < sizeof text_) text_[length_++] = *text++;
    return *this;
  }
  Line &Add(int32_t number) {
    char digits[12];
    char *at = digits + sizeof digits - 1;
    *at = '\0';
    int64_t rest = number < 0 ? -static_cast<int64_t>(number) : number;
    do {
      *--at = static_cast<char>('0' + rest % 10);
      rest /= 10;
    } while (rest != 0);
    if (number < 0) *--at = '-';
    return Add(at);
  }
  void Print() {
    Add("\n");
    // Nothing can be done here about a console that does not take it.
    [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, text_, length_);
  }

 private:
  char text_[128];
  size_t length_ = 0;
};

// Units in the low four bits. An unset clock has anything there, 0xff for one; it only adds up
// to an odd date.
int32_t FromBcd(uint8_t value, uint8_t tensMask) {
  return (value & 0x0f) + (value >> 4 & tensMask) * 10;
}

// -1 for a local time that there was not.
int64_t ChipTime(const uint8_t (&registers)[7]) {
  const int32_t second = FromBcd(registers[0], 7), minute = FromBcd(registers[1], 7);
  const int32_t hour = FromBcd(registers[2], 3), day = FromBcd(registers[4], 3);
  const int32_t month = FromBcd(registers[5], 1) - 1;
  const int32_t year = kCentury + FromBcd(registers[6], 0xf);
  return time_zone::TimeOf(DaysSince1970(year, month, day) * kSecondsPerDay + int64_t{hour} * 3600 +
                           int64_t{minute} * 60 + second);
}

// glibc's own gettimeofday no longer tells the kernel's time zone.
int32_t KernelMinutesWest() {
  struct timezone kernelZone = {};
  syscall(kGetTimeOfDay, nullptr, &kernelZone);
  return kernelZone.tz_minuteswest;
}

// Prints what SystemShowWeekday does: the system clock, which not everybody may set.
void ShowWeekday() {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  // West of Greenwich the clock may still be in 1969 after a start.
  const int64_t local =
      std::max(int64_t{now.tv_sec} + time_zone::OffsetAt(now.tv_sec), -kSecondsPerDay);
  const int64_t days = (local + kSecondsPerDay) / kSecondsPerDay - 1;
  const auto second = static_cast<int32_t>(local - days * kSecondsPerDay);
  auto year = static_cast<int32_t>(1969 + days / 366);
  while (DaysSince1970(year + 1, 0, 1) <= days) ++year;
  int32_t month = 0;
  while (month < 11 && DaysSince1970(year, month + 1, 1) <= days) ++month;
  const int64_t day = days - DaysSince1970(year, month, 1) + 1;
  Line line;
  line.Add("LIBDVR : ").Add(year).Add("-").Add(month + 1).Add("-").Add(static_cast<int32_t>(day));
  line.Add(", today is weekday ").Add(static_cast<int32_t>((days + 4) % 7));
  line.Add(" time:").Add(second / 3600).Add(":").Add(second / 60 % 60).Add(":").Add(second % 60);
  line.Print();
}

int32_t Synchronise() {
  uint8_t registers[7];
  const uint32_t before = chipSettings;
  const i2c::Result result = i2c::Read(i2c::kClockChip, 0, registers, sizeof registers);
  if (result != i2c::Result::kDone) {
    Line().Add(i2c::ReadMessage(result)).Print();
    Line().Add("LIBDVR : I2cpCallBack : I2cRead failed").Print();
    return -1;
  }
  if (before % 2 != 0 || chipSettings != before) return 0;
  int64_t time = ChipTime(registers);
  // mktime has no such time either.
  if (time > std::numeric_limits<time_t>::max()) time = -1;
  // The kernel refuses a -1, which the minutes would make a time of 1970.
  if (time >= 0) time += int64_t{KernelMinutesWest()} * 60;
  const timespec clock = {static_cast<time_t>(time), 0};
  const int32_t set = clock_settime(CLOCK_REALTIME, &clock);
  ShowWeekday();
  return set == 0 ? 0 : -1;
}

}  // namespace

namespace clock_chip {

BeingSet::BeingSet() {
  ++chipSettings;
}
BeingSet::~BeingSet() {
  ++chipSettings;
}

}  // namespace clock_chip

int32_t SystemSynchroniseTime() {
  const int error = errno;
  const int32_t result = Synchronise();
  errno = error;
  return result;
}

void I2cpCallBack(int) {
  SystemSynchroniseTime();
}
