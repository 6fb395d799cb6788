// The kernel's statistics of the processor.
#include <stdio.h>

#include "fuzz/fuzz.h"
#include "libsys/system.h"

namespace fuzz {

const std::vector<const char *> kMessages = {
    "LIBDVR : CPU states: %2d.%-d%% user,%2d.%-d%% system, %2d.%-d%% nice, %2d.%-d%% idle\n",
    "LIBDVR : FILE -> System/system.c, LINE -> 200: Open /proc/stat Failed\n",
    "LIBDVR : FILE -> System/system.c, LINE -> 205: Read /proc/stat Failed\n",
    "LIBDVR : FILE -> System/system.c, LINE -> 214: Fscanf Failed On /proc/stat for cpu\n",
};

namespace {

// What is written is what is read.
void TryCounters(Input &input, const BoardFile &file) {
  const auto user = input.Get<uint32_t>(), nice = input.Get<uint32_t>();
  const auto system = input.Get<uint32_t>(), idle = input.Get<uint32_t>();
  char text[128];
  snprintf(text, sizeof text, "cpu  1 2 3 4\ncpu0 %u %u %u %u 5 6\n", user, nice, system, idle);
  file.Put(text);
  const uint64_t total = uint64_t{user} + nice + system + idle;
  const uint64_t share = total == 0 ? 0 : uint64_t{idle} * 100 / total;
  Expect(SystemGetCpuUsage() == 100 - static_cast<int32_t>(share), "the load");
}

}  // namespace

void Try(Input &input) {
  static const BoardFile file("/proc/stat");
  const uint32_t way = input.Below(8);
  if (way == 1) return TryCounters(input, file);
  const bool exists = way != 2;
  file.Remove();
  if (exists) file.Put(input.Rest());
  const bool empty = exists && file.Content().empty();
  const int32_t load = SystemGetCpuUsage();
  Expect((load == -1) == !exists && (load == -2) == empty, "a file that is not there, or empty");
  Expect(load >= -3 && load <= 100, "the load is from 0 to 100");
  Expect((load >= 0) == (CountPrinted("CPU states") == 1), "the load is printed");
}

}  // namespace fuzz
