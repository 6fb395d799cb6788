// Time bases, the processor's load, memory.
#include <errno.h>
#include <inttypes.h>
#include <stdio.h>
#include <sys/sysinfo.h>
#include <sys/time.h>
#include <sys/times.h>
#include <time.h>

#include "Base/message.h"
#include "Base/standard_descriptors.h"
#include "Base/text_file.h"
#include "libsys/system.h"

using namespace libsys;

namespace {

constexpr const char *kModule = "System/system.c";
constexpr uint32_t kMillisecondsPerTick = 10;  // 100 ticks a second

// A counter's share of the total in percent, with the decimal that is printed behind it.
struct Share {
  int percent;
  int decimal;
};

// The decimal is the remainder divided by 100, on purpose: it is no tenth of a percent.
Share ShareOf(int64_t counter, int64_t total) {
  if (total == 0) return {0, 0};
  return {static_cast<int>(counter * 100 / total), static_cast<int>(counter * 100 % total / 100)};
}

// The first processor's counters.
struct Counters {
  int64_t user, nice, system, idle;
};

// Within this range sums and percentages do not overflow. A counter beyond it is none: that
// many ticks are millions of years.
constexpr int64_t kMostTicks = INT64_MAX / 400;

bool ReadCounters(const char *line, Counters &counters) {
  auto &[user, nice, system, idle] = counters;
  if (sscanf(line, "cpu%*d %" SCNd64 " %" SCNd64 " %" SCNd64 " %" SCNd64, &user, &nice, &system,
             &idle) < 4) {
    return false;
  }
  for (const int64_t counter : {user, nice, system, idle}) {
    if (counter < 0 || counter > kMostTicks) return false;
  }
  return true;
}

}  // namespace

uint32_t SystemOpenStandardDescriptors() {
  return base::OpenStandardDescriptors();
}

uint32_t SystemGetMsec() {
  tms unused = {};
  return static_cast<uint32_t>(times(&unused)) * kMillisecondsPerTick;
}

uint32_t SystemGetUsec() {
  timeval now = {};
  gettimeofday(&now, nullptr);
  return static_cast<uint32_t>(now.tv_sec) * 1'000'000U + static_cast<uint32_t>(now.tv_usec);
}

// The clock's signal does not shorten it.
void SystemSleepMsec(uint32_t milliseconds) {
  timespec left = {static_cast<time_t>(milliseconds / 1000),
                   static_cast<long>(milliseconds % 1000) * 1'000'000};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

int32_t SystemGetCpuUsage() {
  base::TextFile file("/proc/stat");
  if (!file) {
    base::PrintAt({kModule, 200}, "Open /proc/stat Failed\n");
    return -1;
  }
  char line[128];
  if (!file.ReadLine(line)) {
    base::PrintAt({kModule, 205}, "Read /proc/stat Failed\n");
    return -2;
  }
  // The first line sums up all processors, the second is the first processor's.
  Counters counters = {};
  if (!file.ReadLine(line) || !ReadCounters(line, counters)) {
    base::PrintAt({kModule, 214}, "Fscanf Failed On /proc/stat for cpu\n");
    return -3;
  }
  const auto &[user, nice, system, idle] = counters;
  const int64_t total = user + system + idle + nice;
  const Share systemShare = ShareOf(system, total), niceShare = ShareOf(nice, total);
  const Share idleShare = ShareOf(idle, total);
  // The user's percent include nice, their decimal does not, on purpose.
  printf("LIBDVR : CPU states: %2d.%-d%% user,%2d.%-d%% system, %2d.%-d%% nice, %2d.%-d%% idle\n",
         ShareOf(user + nice, total).percent, ShareOf(user, total).decimal, systemShare.percent,
         systemShare.decimal, niceShare.percent, niceShare.decimal, idleShare.percent,
         idleShare.decimal);
  return 100 - idleShare.percent;
}

int32_t SystemGetCaps(SystemCaps *caps) {
  struct sysinfo information = {};
  if (caps == nullptr || sysinfo(&information) != 0) {
    base::PrintAt({kModule, 258}, "SystemGetCaps Failed\n");
    return -1;
  }
  *caps = {information.totalram, information.freeram};
  return 0;
}
