// The Gregorian calendar in plain numbers, for a signal handler.
#pragma once

#include <stdint.h>

namespace libsys::calendar {

inline constexpr int64_t kSecondsPerDay = 86'400;

// The days from 1970-01-01 to a date. month counts from 0; a month or a day beyond its range
// carries over.
int64_t DaysSince1970(int32_t year, int32_t month, int32_t day);

struct Date {
  int32_t year;
  int32_t month;  // 1 to 12
  int32_t day;
  int32_t weekday;  // 0 (Sunday) to 6
};

// The date of a day counted from 1970-01-01, from the day before that on.
Date DateOf(int64_t day);

}  // namespace libsys::calendar
