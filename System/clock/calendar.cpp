#include "System/clock/calendar.h"

namespace libsys::calendar {
namespace {

constexpr int32_t kDaysBeforeMonth[12] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};

bool IsLeap(int32_t year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

int32_t LeapDaysBefore(int32_t year) {
  return (year - 1) / 4 - (year - 1) / 100 + (year - 1) / 400;
}

}  // namespace

int64_t DaysSince1970(int32_t year, int32_t month, int32_t day) {
  year += month / 12;
  month %= 12;
  if (month < 0) {
    month += 12;
    --year;
  }
  const int32_t leapDays = LeapDaysBefore(year) - LeapDaysBefore(1970);
  const int32_t leapDay = month > 1 && IsLeap(year) ? 1 : 0;
  return int64_t{365} * (year - 1970) + leapDays + kDaysBeforeMonth[month] + leapDay + day - 1;
}

Date DateOf(int64_t day) {
  auto year = static_cast<int32_t>(1969 + day / 366);
  while (DaysSince1970(year + 1, 0, 1) <= day) ++year;
  int32_t month = 0;
  while (month < 11 && DaysSince1970(year, month + 1, 1) <= day) ++month;
  const auto dayOfMonth = static_cast<int32_t>(day - DaysSince1970(year, month, 1) + 1);
  return {year, month + 1, dayOfMonth, static_cast<int32_t>((day + 4) % 7)};
}

}  // namespace libsys::calendar
