// The clock chip's calendar, without the C library's time zone, whose lock a signal handler
// may not take.
#pragma once

#include <stdint.h>

namespace clock_chip {

// Notes the offsets of the time zone, for I2cpCallBack.
void CaptureTimeZone();

// While one is alive the time is being set, the system clock first and then the chip's registers
// one after the other: I2cpCallBack leaves alone what it reads meanwhile.
class BeingSet {
 public:
  BeingSet();
  ~BeingSet();
  BeingSet(const BeingSet &) = delete;
  BeingSet &operator=(const BeingSet &) = delete;
};

// The days from 1970-01-01 to a date of the Gregorian calendar. month counts from 0; a month
// or a day beyond its range carries over.
int64_t DaysSince1970(int32_t year, int32_t month, int32_t day);

}  // namespace clock_chip
