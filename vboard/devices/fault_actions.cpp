// Not a part that anybody could hold in hand: calls that fail when a person plans it.
#include "vboard/faults.h"

#include "vboard/device.h"

namespace vboard {
namespace {

void Plan(std::span<const std::string> words, bool repeat) {
  PlanFault(words[0].c_str(), words[1] == "-" ? "" : words[1], FaultNumber(words[3]),
            NumberOf(words[2]), repeat);
}

constexpr Action kActions[] = {
    {"fault once", "CALL PATH NTH ERROR",
     "the NTH CALL (open, stat, read, write, ioctl, mount, exec, ...) on PATH ('-': on any) fails "
     "with ERROR, such as EIO, or gets a signal before it, such as SIGTERM",
     [](std::span<const std::string> words) { Plan(words, false); }},
    {"fault always", "CALL PATH NTH ERROR", "the same for the NTH call and every later one",
     [](std::span<const std::string> words) { Plan(words, true); }},
};

}  // namespace

extern const Device kFaults;
const Device kFaults = {
    .name = "faults",
    .help = "let calls of programs on the board fail",
    .actions = kActions,
};

}  // namespace vboard
