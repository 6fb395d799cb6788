// Remote-control codes.
#pragma once

#include <stdint.h>

#include "Uart/frontboard/panel.h"

namespace libsys::panel {

// Chooses the code table of this board's remote control, or an empty one where the panel takes
// codes as they are. False where a front board does all that.
bool ChooseInfraredTable(const Board &board);

// Stores the event of a raw code in the first three bytes of an event.
void InfraredEvent(const Board &board, uint8_t rawCode, uint8_t *event);

}  // namespace libsys::panel
