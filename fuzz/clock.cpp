// The registers of the clock chip: whatever they hold becomes a time.
#include <stdlib.h>
#include <time.h>

#include "fuzz/clock_chip.h"

namespace fuzz {
namespace {

constexpr const char *kLine = "today is weekday";

int FromBcd(size_t index, int tensMask) {
  const int value = chip.registers[index];
  return value % 16 + (value / 16 & tensMask) * 10;
}

// What the C library makes of the registers.
time_t ChipTime() {
  tm fields = {};
  fields.tm_sec = FromBcd(0, 7);
  fields.tm_min = FromBcd(1, 7);
  fields.tm_hour = FromBcd(2, 3);
  fields.tm_mday = FromBcd(4, 3);
  fields.tm_mon = FromBcd(5, 1) - 1;
  fields.tm_year = 100 + FromBcd(6, 15);
  return mktime(&fields);
}

time_t Now() {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  return now.tv_sec;
}

void Synchronise() {
  const time_t expected = ChipTime();
  const size_t printed = Count(Printed(), kLine);
  const int32_t result = SystemSynchroniseTime();
  Expect(result == (chip.answers && expected >= 0 ? 0 : -1), "a chip that answers sets the clock");
  Expect(result != 0 || (Now() >= expected && Now() - expected < 3),
         "the clock has the chip's time");
  Expect(Count(Printed(), kLine) == printed + (chip.answers ? 1 : 0), "a line is printed");
}

// A time that is set, the chip has.
void Set(Input &input) {
  const SystemTime time = {2000 + input.Below(100), 1 + input.Below(12), 1 + input.Below(28), 0,
                           4 + input.Below(20),     input.Below(60),     input.Below(60)};
  if (SystemSetCurrentTime(&time) != 0) return Expect(!chip.answers, "a time can be set");
  const time_t set = Now();
  const int32_t hour = time.hour + (localtime(&set)->tm_isdst > 0 ? 1 : 0);
  Expect(FromBcd(6, 15) == time.year % 100 && FromBcd(5, 1) == time.month, "the chip's year");
  Expect(hour > 23 || (FromBcd(4, 3) == time.day && FromBcd(2, 3) == hour), "the chip's day");
  Expect(FromBcd(1, 7) == time.minute && FromBcd(0, 7) == time.second, "the chip's second");
  Expect(chip.registers[3] >= 1 && chip.registers[3] <= 7, "the chip's weekday");
}

}  // namespace

void Try(Input &input) {
  timespec kept = {};  // the fuzzer goes by the system clock, too
  clock_gettime(CLOCK_REALTIME, &kept);
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  OpenBus();
  const int32_t choice = input.Below(16);
  chip.answers = choice != 1;
  const std::string registers = input.Take(7);
  std::copy(registers.begin(), registers.end(), chip.registers.begin());
  Synchronise();
  SystemTime time = {};
  Expect(SystemGetCurrentTime(&time) == 0 && time.month >= 1 && time.month <= 12 && time.day >= 1 &&
             time.day <= 31 && time.weekday >= 0 && time.weekday <= 6 && time.hour < 24,
         "the time of the system clock");
  if (choice == 2) Set(input);
  Expect(SystemGetTemperature() == 255, "there is no sensor");
  clock_settime(CLOCK_REALTIME, &kept);
}

}  // namespace fuzz
