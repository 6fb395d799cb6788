#include "libsys/board_words.h"

uint16_t DvrBoardWord = 0;
uint8_t DvrBoardByte = 0;

int32_t FrontboardVariantA = -1;
int32_t FrontboardVariantB = -1;
int32_t FrontboardVariantC = 0;
int32_t FrontboardVariantD = -1;
int32_t FrontboardSubType = 0;
int32_t FrontboardTypeWord = 0;
int32_t FrontboardPanelModel = 0;
