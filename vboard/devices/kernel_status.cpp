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

constexpr Key kKeys[] = {
    {"memory", key::Number(0, UINT32_MAX).Default(0x8000000), "the board's memory in bytes"},
    {"memory_free", key::Number(0, UINT32_MAX).Default(0x2000000), "what of it is free"},
    {"processor", key::Numbers(INT64_MIN, INT64_MAX),
     "the processor's counters user, nice, system and idle; empty: 1000, 0, 500, 8500"},
    {"stat", key::Text().Optional("made of processor"), "the whole of /proc/stat"},
};

void Make(Section &section) {
  System().memory = section.Number<uint32_t>("memory");
  System().memoryFree = section.Number<uint32_t>("memory_free");
  std::vector<int64_t> counters = section.Numbers("processor");
  if (counters.empty()) counters = {1000, 0, 500, 8500};
  if (counters.size() != 4) section.Fail("processor", "has to hold user, nice, system and idle");
  std::string numbers;
  for (const int64_t counter : counters) numbers += " " + std::to_string(counter);
  const std::string stat =
      "cpu " + numbers + " 0 0 0 0 0 0\ncpu0" + numbers + " 0 0 0 0 0 0\nintr 0\n";
  WriteFile(RootPath("/proc/stat"), section.Text("stat", stat));
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
    .about = "what the kernel tells about processor and memory",
    .keys = kKeys,
    .stateSize = sizeof(SystemState),
    .paths = kPaths,
    .make = Make,
    .information = Information,
};

}  // namespace vboard
