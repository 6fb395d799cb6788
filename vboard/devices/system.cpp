// What the kernel tells about processor and memory: /proc/stat and sysinfo().
#include <sys/sysinfo.h>

#include "vboard/board.h"
#include "vboard/description.h"
#include "vboard/device.h"
#include "vboard/files.h"

namespace vboard {
extern const Device kSystem;
namespace {

struct SystemState {
  uint32_t memory;      // bytes
  uint32_t memoryFree;  // bytes
};

SystemState &System() {
  return StateOf<SystemState>(kSystem);
}

// The counters of the one processor: user, nice, system, idle.
void Make(Section &section) {
  System().memory = static_cast<uint32_t>(section.Number("memory", 0x8000000, 0, UINT32_MAX));
  System().memoryFree =
      static_cast<uint32_t>(section.Number("memory_free", 0x2000000, 0, UINT32_MAX));
  std::vector<int64_t> counters = section.Numbers("processor");
  if (counters.empty()) counters = {1000, 0, 500, 8500};
  if (counters.size() != 4) section.Fail("processor", "has to hold user, nice, system and idle");
  std::string numbers;
  for (const int64_t counter : counters) numbers += " " + std::to_string(counter);
  WriteFile(
      RootPath("/proc/stat"),
      section.Text(
          "stat",
          ("cpu " + numbers + " 0 0 0 0 0 0\ncpu0" + numbers + " 0 0 0 0 0 0\nintr 0\n").c_str()));
}

int Information(struct sysinfo *information) {
  *information = {};
  information->uptime = static_cast<long>(BoardTime());
  information->totalram = System().memory;
  information->freeram = System().memoryFree;
  information->mem_unit = 1;
  return 0;
}

constexpr const char *kPaths[] = {"/proc/stat"};

}  // namespace

const Device kSystem = {
    .name = "system",
    .stateSize = sizeof(SystemState),
    .paths = kPaths,
    .make = Make,
    .information = Information,
};

}  // namespace vboard
