// What the command shows as JSON: the events and the state of the open board.
#pragma once

#include <string>

#include "vboard/transcript.h"

namespace vboard {

// A line without its end: time, process, device, event, text, and the fields that the text tells.
std::string EventJson(const Line &event);

std::string StateJson();

}  // namespace vboard
