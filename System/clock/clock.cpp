// Date and time: the system clock, and setting it together with the clock chip.
#include <stdio.h>
#include <time.h>

#include "Base/message.h"
#include "System/clock/i2c.h"
#include "System/clock/synchronisation.h"
#include "libsys/clock.h"

using namespace libsys;

namespace {

constexpr const char *kModule = "System/system.c";

uint8_t Bcd(int tens, int tensMask, int units) {
  return static_cast<uint8_t>((tens & tensMask) << 4 | units);
}

uint8_t Bcd(int value, int tensMask) {
  return Bcd(value / 10, tensMask, value % 10);
}

int32_t SetChip(const tm &time) {
  const uint8_t registers[7] = {
      Bcd(time.tm_sec, 7),
      Bcd(time.tm_min, 7),
      Bcd(time.tm_hour, 3),
      static_cast<uint8_t>((time.tm_wday + 1) & 7),
      Bcd(time.tm_mday, 3),
      Bcd(time.tm_mon + 1, 1),
      Bcd(time.tm_year / 10 % 10, 0xf, time.tm_year % 10),
  };
  return I2cWrite(i2c::kClockChip, 0, registers, sizeof registers);
}

}  // namespace

int32_t SystemGetCurrentTime(SystemTime *time) {
  const time_t now = ::time(nullptr);
  tm local = {};
  if (localtime_r(&now, &local) == nullptr) {
    base::PrintAt({kModule, 50}, "SystemGetCurrentTime failed\n");
    return -1;
  }
  *time = {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_wday,
           local.tm_hour,        local.tm_min,     local.tm_sec};
  return 0;
}

int32_t SystemSetCurrentTime(const SystemTime *time) {
  tm local = {};
  local.tm_year = static_cast<int>(static_cast<uint32_t>(time->year) - 1900U);
  local.tm_mon = static_cast<int>(static_cast<uint32_t>(time->month) - 1U);
  local.tm_mday = time->day;
  local.tm_hour = time->hour;
  local.tm_min = time->minute;
  local.tm_sec = time->second;
  const timespec clock = {mktime(&local), 0};
  if (clock.tv_sec < 0) {
    base::PrintAt({kModule, 98}, "Format error\n");
    return -1;
  }
  const clock_chip::BeingSet beingSet;
  if (clock_settime(CLOCK_REALTIME, &clock) != 0) {
    base::PrintAt({kModule, 106}, "Cannot set date");
    return -1;
  }
  if (SetChip(local) != 0) return -1;
  printf("LISYS:---main_curtime year  %d month %d day %d hour %d min %d sec %d \n", local.tm_year,
         local.tm_mon, local.tm_wday, local.tm_hour, local.tm_min, local.tm_sec);
  return 0;
}

int32_t SystemShowWeekday() {
  SystemTime now = {};
  SystemGetCurrentTime(&now);
  printf("LIBDVR : %d-%d-%d, today is weekday %d time:%d:%d:%d\n", now.year, now.month, now.day,
         now.weekday, now.hour, now.minute, now.second);
  return 0;
}
