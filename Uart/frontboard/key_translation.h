// Key events and commands differ between front panels; callers see one vocabulary.
#pragma once

#include <stdint.h>

namespace libsys::uart {

// 0xFF, group, code, state.
constexpr uint32_t kEventLength = 4;

// Makes an event that this board's front panel has sent one that callers know.
void TranslateEvent(uint8_t *event);

// Makes a command of callers one that this board's front panel knows. True when it is another
// one now.
bool TranslateCommand(uint8_t *command);

}  // namespace libsys::uart
