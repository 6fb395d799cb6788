#include "System/version/products.h"

#include <algorithm>

#include "System/version/boot_parameters.h"
#include "libsys/board_words.h"
#include "libsys/version.h"

namespace libsys::product {
namespace {

constexpr int8_t kAny = -1;

// An OEM type, on boards of a type and all products but one, while one of the board's words has a
// value.
struct OemRow {
  int8_t oem;
  uint8_t facts;
  int8_t boardType = kAny;
  int8_t butProduct = kNone;
  int8_t value = 0;  // of the word
  const int32_t *word = nullptr;
};

// The first row that has the fact and fits the board counts. Their order shows on a board without a
// product, which says so whenever it is asked for its type.
constexpr OemRow kOemRows[] = {
    {2, kUsesWatchdog | kRebootsByWatchdog},
    {4, kUsesWatchdog | kRebootsByWatchdog | kHandsBack},
    {8, kUsesWatchdog},
    {14, kUsesWatchdog | kRebootsByWatchdog | kHandsBack},
    {15, kUsesWatchdog},
    {20, kUsesWatchdog | kRebootsByWatchdog},
    {.oem = 8, .facts = kRebootsByWatchdog, .value = 0, .word = &FrontboardVariantB},
    {.oem = 9, .facts = kHandsBack},
    {.oem = 15, .facts = kHandsBack, .butProduct = 4},
    {.oem = 9, .facts = kUsesWatchdog | kRebootsByWatchdog, .boardType = 2},
    {.oem = 6,
     .facts = kUsesWatchdog | kRebootsByWatchdog | kHandsBack,
     .value = 1,
     .word = &FrontboardVariantA},
    {13, kUsesWatchdog},
};

bool Fits(const OemRow &row) {
  if (row.boardType != kAny && row.boardType != DvrGetBoardType()) return false;
  if (row.oem != identity::OemType()) return false;
  if (row.butProduct != kNone && row.butProduct == DvrGetProductType()) return false;
  return row.word == nullptr || *row.word == row.value;
}

}  // namespace

int32_t Get(int8_t Product::*fact, int32_t type, int32_t oem) {
  for (const Exception &exception : kExceptions) {
    if (exception.product == type && exception.fact == fact &&
        (exception.oem == kAnyOem || exception.oem == oem)) {
      return exception.value;
    }
  }
  return RowOf(type).*fact;
}

int32_t Get(int8_t Product::*fact) {
  return Get(fact, DvrGetProductType(), identity::OemType());
}

bool OemHas(OemFact fact) {
  return std::ranges::any_of(
      kOemRows, [fact](const OemRow &row) { return (row.facts & fact) != 0 && Fits(row); });
}

}  // namespace libsys::product
