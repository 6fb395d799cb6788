// The words that say how this board's front panel is wired.
#include "libsys/frontboard.h"

int32_t FrontboardVariantA = -1;
int32_t FrontboardVariantB = -1;
int32_t FrontboardVariantC = 0;
int32_t FrontboardVariantD = -1;
int32_t FrontboardSubType = 0;
int32_t FrontboardTypeWord = 0;
int32_t FrontboardPanelModel = 0;
