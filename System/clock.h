// The clock chip's calendar, without the C library's time zone, whose lock a signal handler
// may not take.
#pragma once

#include <stdint.h>

namespace clock_chip {

// Notes the offsets of the time zone, for I2cpCallBack.
void CaptureTimeZone();

// The days from 1970-01-01 to a date of the Gregorian calendar. month counts from 0; a month
// or a day beyond its range carries over.
int64_t DaysSince1970(int32_t year, int32_t month, int32_t day);

}  // namespace clock_chip
