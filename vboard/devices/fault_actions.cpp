// Not a part that anybody could hold in hand: calls that fail when a person plans it.
#include "vboard/faults.h"

#include "vboard/device.h"

namespace vboard {
namespace {

// The call may name the process: "read@2".
void Plan(std::span<const std::string> words, bool repeat) {
  const std::string call = words[0].substr(0, words[0].find('@'));
  const bool anybody = call.size() == words[0].size();
  const uint32_t process = anybody ? 0 : NumberOf(words[0].substr(call.size() + 1), INT32_MAX);
  PlanFault(call, words[1] == "-" ? "" : words[1], FaultNumber(words[3]), NumberOf(words[2]),
            repeat, static_cast<int>(process));
}

constexpr Action kActions[] = {
    {"fault once", "CALL PATH NTH ERROR",
     "the NTH CALL (open, stat, read, write, ioctl, mount, exec, fork, malloc, ...; read@2: of "
     "process 2) on PATH ('-': on any) fails with ERROR, such as EIO; or gets a signal before it, "
     "such as SIGTERM; or the power goes before it: CUT; or, a read or write, does only a part: "
     "NOTHING, ONE byte or HALF",
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
