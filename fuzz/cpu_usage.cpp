// The kernel's statistics of the processor.
#include <stdio.h>

#include "fuzz/fuzz.h"
#include "libsys/system.h"

namespace fuzz {
namespace {

const BoardFile file("/proc/stat");

// What is written is what is read.
void TryCounters(Input &input) {
  const auto user = input.Get<uint32_t>(), nice = input.Get<uint32_t>();
  const auto system = input.Get<uint32_t>(), idle = input.Get<uint32_t>();
  const bool isWhole = input.Below(16) != 1;
  char text[128];
  snprintf(text, sizeof text, "cpu  1 2 3 4\ncpu0 %u %u %u %s%u 5 6\n", user, nice, system,
           isWhole ? "" : "x", idle);
  file.Put(text);
  const uint64_t total = uint64_t{user} + nice + system + idle;
  const uint64_t share = total == 0 ? 0 : uint64_t{idle} * 100 / total;
  const int32_t load = 100 - static_cast<int32_t>(share);
  Expect(SystemGetCpuUsage() == (isWhole ? load : -3), "the load");
}

}  // namespace

void Try(Input &input) {
  const int32_t way = input.Below(8);
  if (way == 1) return TryCounters(input);
  const bool exists = way != 2, empty = exists && input.IsEmpty();
  if (exists) file.Put(input.Rest());
  const int32_t load = SystemGetCpuUsage();
  Expect((load == -1) == !exists && (load == -2) == empty, "a file that is not there, or empty");
  Expect(load >= -3 && load <= 100, "the load is from 0 to 100");
  Expect((load >= 0) == (Count(Printed(), "CPU states") == 1), "the load is printed");
}

}  // namespace fuzz
