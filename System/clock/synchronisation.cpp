#include "System/clock/synchronisation.h"

// The system clock follows the clock chip. This runs in the handler of the timer's signal: no
// stdio, no mktime or localtime, no lock, no memory from the heap.
#include <errno.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <limits>

#include "System/clock/calendar.h"
#include "System/clock/i2c.h"
#include "System/clock/signal_line.h"
#include "System/clock/time_zone.h"
#include "libsys/clock.h"

using namespace libsys;

namespace {

// Some C libraries keep the plain name for calls with 64-bit time.
#ifdef SYS_gettimeofday
constexpr long kGetTimeOfDay = SYS_gettimeofday;
#else
constexpr long kGetTimeOfDay = SYS_gettimeofday_time32;
#endif

constexpr int32_t kCentury = 2000;  // the clock chip has two digits for the year

struct {
  // How often somebody has begun or ended to set the time: an odd number while it is being set.
  std::atomic<uint32_t> chipSettings{0};
} state;

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
  return time_zone::TimeOf(calendar::DaysSince1970(year, month, day) * calendar::kSecondsPerDay +
                           int64_t{hour} * 3600 + int64_t{minute} * 60 + second);
}

// glibc's own gettimeofday no longer tells the kernel's time zone.
int32_t KernelMinutesWest() {
  struct timezone kernelZone = {};
  syscall(kGetTimeOfDay, nullptr, &kernelZone);
  return kernelZone.tz_minuteswest;
}

// Prints what SystemShowWeekday does: the system clock, which not everybody may set.
void ShowWeekday() {
  constexpr int64_t kDay = calendar::kSecondsPerDay;
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  // West of Greenwich the clock may still be in 1969 after a start.
  const int64_t local = std::max(int64_t{now.tv_sec} + time_zone::OffsetAt(now.tv_sec), -kDay);
  const int64_t days = (local + kDay) / kDay - 1;
  const auto second = static_cast<int32_t>(local - days * kDay);
  const auto [year, month, day, weekday] = calendar::DateOf(days);
  SignalLine line;
  line.Add("LIBDVR : ").Add(year).Add("-").Add(month).Add("-").Add(day);
  line.Add(", today is weekday ").Add(weekday);
  line.Add(" time:").Add(second / 3600).Add(":").Add(second / 60 % 60).Add(":").Add(second % 60);
  line.Print();
}

int32_t Synchronise() {
  uint8_t registers[7];
  const uint32_t before = state.chipSettings;
  const i2c::Result result = i2c::Read(i2c::kClockChip, 0, registers, sizeof registers);
  if (result != i2c::Result::kDone) {
    SignalLine().Add(i2c::ReadMessage(result)).Print();
    SignalLine().Add("LIBDVR : I2cpCallBack : I2cRead failed").Print();
    return -1;
  }
  if (before % 2 != 0 || state.chipSettings != before) return 0;
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

namespace libsys::clock_chip {

BeingSet::BeingSet() {
  ++state.chipSettings;
}
BeingSet::~BeingSet() {
  ++state.chipSettings;
}

}  // namespace libsys::clock_chip

int32_t SystemSynchroniseTime() {
  const int error = errno;
  const int32_t result = Synchronise();
  errno = error;
  return result;
}

void I2cpCallBack(int) {
  SystemSynchroniseTime();
}
