#include "Uart/frontboard/panel.h"

#include "libsys/frontboard.h"
#include "libsys/version.h"

namespace libsys::panel {

Board ThisBoard() {
  const int32_t boardType = DvrGetBoardType();
  const int32_t oem = DvrGetHwidInformation(OEM_TYPE), type = DvrGetProductType();
  return {boardType, oem, type, product::Get(&product::Product::panel, type, oem)};
}

bool HasKeyQueue(const Board &board) {
  const int32_t variant = board.variant;
  if (board.type == 2) {
    if (variant == 2 || variant == 4) return true;
    if (variant == 8 && FrontboardVariantB == 0) return true;
    if (variant == 9) return true;
    if ((variant == 14 || variant == 15) && board.product != 4) return true;
    if (variant == 6 && FrontboardVariantA == 1) return true;
  }
  if (variant == 20 && FrontboardVariantC == 1) return true;
  return variant == 13 || HasProductPanel(board);
}

}  // namespace libsys::panel
