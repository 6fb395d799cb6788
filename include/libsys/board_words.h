/* What a board's own wiring says beyond its hardware identity. The panel, the watchdog and the
 * system services go by these words. */
#ifndef LIBSYS_BOARD_WORDS_H
#define LIBSYS_BOARD_WORDS_H

#include <stdint.h>

#include "libsys/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Board words that the application sets at start-up, before it starts other threads; 0 until
 * then. While bits 5 to 9 of the word are 0, an OEM-3 board of product type 2 has one alarm
 * input and one alarm output. The byte holds the board revision in its low three bits and the
 * front panel's wiring in its low five. */
LIBSYS_API extern uint16_t DvrBoardWord;
LIBSYS_API extern uint8_t DvrBoardByte;

/* Words that say how a panel is wired; 1 selects the alternative wiring. They are set at
 * start-up, before other threads run: A, B and D from levels on the board (-1 until then),
 * C, the sub-type (1 to 4), the type word and the panel model (62, 78, 92, 99) by the factory
 * tool's file (0 until then). */
LIBSYS_API extern int32_t FrontboardVariantA;
LIBSYS_API extern int32_t FrontboardVariantB;
LIBSYS_API extern int32_t FrontboardVariantC;
LIBSYS_API extern int32_t FrontboardVariantD;
LIBSYS_API extern int32_t FrontboardSubType;
LIBSYS_API extern int32_t FrontboardTypeWord;
LIBSYS_API extern int32_t FrontboardPanelModel;

#ifdef __cplusplus
}
#endif

#endif
