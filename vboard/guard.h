// No program on the board outlives the command vboard, whichever of its processes somebody kills.
#pragma once

#include <functional>

namespace vboard {

// Divides this process into three and returns in the last one; the first ends as that one does,
// by the same signal, too. Each of the other two waits for the next one, hands signals on to it,
// and kills whatever is left of its descendants. The middle one, the keeper, has a process group
// and a name of its own: what is sent to "vboard", or to the group of the first and the last,
// leaves it alone.
//
// Signals that end a process wait from here until ReleaseSignals, so that none is lost before the
// caller has its handlers. The keeper calls `everyTurn` many times a second; once that returns
// false, it ends everything, too.
void GoUnderGuard(const std::function<bool()> &everyTurn = {});
void ReleaseSignals();

}  // namespace vboard
