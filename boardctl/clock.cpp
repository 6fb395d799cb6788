// These commands use the clock chip, and the temperature sensor on the same bus.
#include <stdio.h>
#include <string.h>
#include <time.h>

#include <array>

#include "boardctl/command.h"
#include "boardctl/output.h"
#include "libsys/clock.h"

namespace boardctl {
namespace {

constexpr uint32_t kClockChip = 0xd0;
constexpr uint32_t kTemperatureSensor = 0x90;

// Times are compared as the seconds since 1970 at which clocks in Greenwich show them.
int64_t Seconds(const SystemTime &time) {
  tm fields = {};
  fields.tm_year = time.year - 1900;
  fields.tm_mon = time.month - 1;
  fields.tm_mday = time.day;
  fields.tm_hour = time.hour;
  fields.tm_min = time.minute;
  fields.tm_sec = time.second;
  return timegm(&fields);
}

tm Fields(int64_t seconds) {
  const auto time = static_cast<time_t>(seconds);
  tm fields = {};
  gmtime_r(&time, &fields);
  return fields;
}

// A time is taken only as it would be shown: that refuses dates which no calendar has.
bool ParseTime(const char *date, const char *hour, int64_t *seconds) {
  SystemTime time = {};
  if (sscanf(date, "%4d-%2d-%2d", &time.year, &time.month, &time.day) != 3 ||
      sscanf(hour, "%2d:%2d:%2d", &time.hour, &time.minute, &time.second) != 3) {
    UsageError("a time is written as 2026-11-16 06:48:14");
    return false;
  }
  *seconds = Seconds(time);
  const tm fields = Fields(*seconds);
  char normal[2][16];
  strftime(normal[0], sizeof normal[0], "%Y-%m-%d", &fields);
  strftime(normal[1], sizeof normal[1], "%H:%M:%S", &fields);
  if (strcmp(normal[0], date) != 0 || strcmp(normal[1], hour) != 0) {
    UsageError("there is no %s %s", date, hour);
    return false;
  }
  return true;
}

// Finds the moment at which local clocks show the time. Returns false where the time zone skips it;
// the moment is then what mktime makes of it.
bool LocalTime(int64_t local, int daylightSaving, time_t *time) {
  tm fields = Fields(local);
  fields.tm_isdst = daylightSaving;
  *time = mktime(&fields);
  tm shown = {};
  return localtime_r(time, &shown) != nullptr && timegm(&shown) == local;
}

// The chip holds standard time, also in summer. Finds what it has to hold so that local clocks show
// the time.
bool ChipTime(int64_t shown, int64_t *chip) {
  time_t time = 0, standard = 0;
  if (!LocalTime(shown, -1, &time)) {
    UsageError("the clocks of this time zone skip that time");
    return false;
  }
  LocalTime(shown, 0, &standard);  // during daylight saving this is no time that is shown
  if (standard == -1) {
    UsageError("this time zone has no standard time for that time");
    return false;
  }
  *chip = shown - (standard - time);
  const int year = Fields(*chip).tm_year;
  if (year >= 100 && year < 200) return true;
  UsageError("the clock chip counts the years 2000 to 2099");
  return false;
}

bool SetChip(int64_t time) {
  const tm fields = Fields(time);
  const int values[] = {fields.tm_sec,  fields.tm_min,     fields.tm_hour,      fields.tm_wday + 1,
                        fields.tm_mday, fields.tm_mon + 1, fields.tm_year % 100};
  uint8_t registers[std::size(values)];
  for (size_t i = 0; i < std::size(values); ++i) {
    registers[i] = static_cast<uint8_t>(values[i] / 10 << 4 | values[i] % 10);
  }
  return I2cWrite(kClockChip, 0, registers, sizeof registers) == 0;
}

}  // namespace

// From the library 255 means -1 degree or no answer; reading the byte from the bus tells which.
bool ReadTemperature(int32_t *celsius) {
  auto byte = static_cast<uint8_t>(SystemGetTemperature());
  if (byte == 255 && I2cRead(kTemperatureSensor, 0, &byte, 1) != 0) return false;
  *celsius = byte < 128 ? byte : byte - 256;
  return true;
}

void ShowTime(const SystemTime &time) {
  char text[64];
  snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", time.year, time.month, time.day,
           time.hour, time.minute, time.second);
  output::Text("time", text);
}

int Temperature(const Arguments &) {
  if (!OpenBus()) return Failure("the bus of the sensor does not open");
  int32_t celsius = 0;
  if (!ReadTemperature(&celsius)) return Failure("the temperature sensor does not answer");
  output::Single("celsius", celsius);
  return kDone;
}

int ClockGet(const Arguments &) {
  SystemTime time = {};
  uint8_t second = 0;
  if (!OpenBus() || I2cRead(kClockChip, 0, &second, 1) != 0) {
    return Failure("the clock chip does not answer");
  }
  if (SystemSynchroniseTime() != 0 || SystemGetCurrentTime(&time) != 0) {
    return Failure("the system clock cannot be set");
  }
  output::BeginRecord();
  ShowTime(time);
  output::Number("weekday", time.weekday);
  output::EndRecord();
  return kDone;
}

// SystemSetCurrentTime gives the chip a wrong time while daylight saving is in force, and cannot
// set the first hour of it: so the chip is set here, and the system clock from the chip. A kernel
// with a time zone of its own then shows another time; the second attempt makes up for the
// difference.
int ClockSet(const Arguments &arguments) {
  int64_t wanted = 0, chip = 0;
  if (!ParseTime(arguments[0], arguments[1], &wanted) || !ChipTime(wanted, &chip)) return kUsage;
  for (int attempt = 0; attempt < 2; ++attempt) {
    SystemTime shown = {};
    if (!OpenBus() || !SetChip(chip)) return Failure("the clock chip does not answer");
    if (SystemSynchroniseTime() != 0 || SystemGetCurrentTime(&shown) != 0) {
      return Failure("the clock chip is set, the system clock cannot be set");
    }
    const int64_t ahead = Seconds(shown) - wanted;
    if (ahead >= 0 && ahead < 60) return kDone;
    chip -= ahead;
  }
  return Failure("the clock cannot be made to show this time");
}

}  // namespace boardctl
