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

/* How the front panel is wired. They are set before other threads run, by
 * DvrSystemInformationStart. A: OEM type 6, the first strap; 1: key matrix. B: OEM type 8; 1: alarm
 * board, 0: key matrix. D: OEM type 6, the second strap. A, B and D are -1 until then and on all
 * other boards. The factory tool's file sets C (OEM type 20; 1: key matrix), the sub-type (OEM type
 * 9; 1 to 4), the type word, which nothing here reads, and the panel model (OEM type 14; 62, 78, 92
 * or 99); they are 0 until then. The launcher sets none of them. */
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
