// What happened on the open board as a value change dump: power, GPIO lines, what LEDs, buzzer and
// fan are set to, keys, the bytes of serial ports and remote control, and which processes live.
#pragma once

#include <string>

namespace vboard {

// The whole of it, by the event log.
std::string Waveform();

}  // namespace vboard
