// The process's time zone as tables, for a signal handler: the C library's own conversions take
// locks and memory.
#pragma once

#include <stdint.h>

namespace libsys::time_zone {

// Makes the tables, for the years 1970 to 2099, from what localtime_r and mktime say now. Before
// and after these years the first and the last offset count.
void Capture();

// The seconds that local time is ahead of Greenwich. Async-signal-safe, as is TimeOf.
int32_t OffsetAt(int64_t time);

// What mktime with tm_isdst 0 makes of a local time, given as the seconds since 1970 at which
// Greenwich shows it: -1 where mktime fails, at times that the zone's clocks skipped when its
// standard time changed.
int64_t TimeOf(int64_t local);

}  // namespace libsys::time_zone
