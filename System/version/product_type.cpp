// The product type and the chip/board type. The tables are walked from the top; the first row
// that fits the identifier gives the product type.
#include <stdio.h>

#include <algorithm>
#include <atomic>
#include <initializer_list>
#include <span>

#include "Base/message.h"
#include "System/version/boot_parameters.h"
#include "System/version/products.h"
#include "libsys/version.h"

using namespace libsys;

namespace {

using identity::Bits;

struct {
  std::atomic<int32_t> productType{-1};
  std::atomic<int32_t> boardType{-1};
} state;

constexpr int8_t kUnknown = 99;     // reported, and kept like any other type
constexpr int8_t kNotStored = -1;   // the cache is the answer and stays as it is
constexpr int8_t kNonProduct = -2;  // the same, reported

// What a row asks of one value.
struct Test {
  enum Kind : uint8_t { kAny, kIs, kNot, kAbove, kIn } kind = kAny;
  int32_t value = 0;  // for kIn a set of numbers below 31, one bit each

  constexpr bool operator()(int32_t x) const {
    switch (kind) {
      case kIs:
        return x == value;
      case kNot:
        return x != value;
      case kAbove:
        return x > value;
      case kIn:
        return x >= 0 && x < 31 && (value >> x & 1) != 0;
      default:
        return true;
    }
  }
};

constexpr Test any;
constexpr Test Is(int32_t value) {
  return {Test::kIs, value};
}
constexpr Test Not(int32_t value) {
  return {Test::kNot, value};
}
constexpr Test Above(int32_t value) {
  return {Test::kAbove, value};
}
constexpr Test In(std::initializer_list<int32_t> numbers) {
  int32_t set = 0;
  for (const int32_t number : numbers) set |= 1 << number;
  return {Test::kIn, set};
}

struct FirstRow {
  Test code;
  Test channels;
  Test oem;
  Test alarms;
  Test audio;
  Test dsps;
  Test count;
  int8_t type;
  int8_t typeWithBit40;
};

struct SecondRow {
  Test product;
  Test channels;
  Test subType;
  int8_t type;
  int8_t typeWithBit40;
};

// clang-format off

// The code has two bits here: a row that asks for more of it fits no board of this generation.
constexpr FirstRow kFirstGeneration[] = {
    // code  channels oem            alarms  audio   dsps      count   type, with bit 40
    {Is(0),  Is(4),   any,           Is(0),  any,    any,      any,     2,  2},
    {Is(2),  any,     any,           any,    any,    any,      any,     2,  2},
    {Is(0),  Is(4),   In({4, 9, 11}), any,   any,    any,      any,     2,  2},
    {Is(0),  Is(4),   Is(8),         any,    any,    any,      any,     2,  2},
    {Is(0),  Is(4),   Is(3),         Is(1),  any,    any,      any,     2,  2},
    {Is(0),  Is(8),   In({4, 9, 11}), any,   any,    any,      any,     3,  3},
    {Is(0),  Is(8),   Is(8),         any,    any,    any,      any,     3,  3},
    {Is(0),  Is(8),   any,           Is(0),  any,    any,      any,     3,  3},
    {Is(3),  any,     any,           any,    any,    any,      any,     3,  3},
    {Is(0),  Is(16),  any,           any,    any,    any,      any,     4,  4},
    {Is(4),  any,     any,           any,    any,    any,      any,     4,  4},
    {Is(0),  Is(4),   any,           Not(0), any,    any,      any,     5, 21},
    {Is(5),  any,     any,           any,    any,    any,      any,     5, 21},
    {Is(0),  Is(8),   any,           Not(0), any,    any,      any,     6,  6},
    {Is(6),  any,     any,           any,    any,    any,      any,     6,  6},
    {Is(1),  Is(16),  any,           any,    Is(2),  Is(1),    any,     7,  7},
    {Is(7),  any,     any,           any,    any,    any,      any,     7,  7},
    {Is(19), any,     any,           any,    any,    any,      any,    19, 19},
    {Is(1),  Is(32),  any,           any,    any,    any,      any,    12, 12},
    {Is(1),  Is(24),  any,           any,    any,    any,      any,    18, 18},
    {Is(1),  Is(16),  any,           any,    Is(2),  Is(0),    any,     8,  8},
    {Is(8),  any,     any,           any,    any,    any,      any,     8,  8},
    {Is(1),  Is(16),  any,           any,    Is(16), Is(0),    any,    17, 17},
    {Is(1),  Is(8),   any,           any,    Is(8),  Is(1),    any,     9,  9},
    {Is(9),  any,     any,           any,    any,    any,      any,     9,  9},
    {Is(1),  Is(8),   any,           any,    Is(2),  any,      any,    16, 20},
    {Is(1),  Is(16),  any,           any,    Is(16), Is(1),    any,    10, 10},
    {Is(10), any,     any,           any,    any,    any,      any,    10, 10},
    {Is(1),  Is(8),   any,           any,    Is(8),  Is(0),    any,    13, 13},
    {Is(13), any,     any,           any,    any,    any,      any,    13, 13},
    {Is(1),  Is(16),  any,           any,    any,    Above(1), Is(0),  14, 14},
    {Is(14), any,     any,           any,    any,    any,      any,    14, 14},
    {Is(1),  Is(16),  any,           any,    any,    Above(1), Not(0), 15, 15},
    {any,    any,     any,           any,    any,    any,      any,    kUnknown, kUnknown},
};

// product: bits 56-61; sub-type: bits 48-50.
constexpr SecondRow kSecondGeneration[] = {
    // product channels sub-type type, with bit 40
    {Is(1),  Is(4),  Is(1), 30, 30},
    {Is(1),  Is(4),  any,    2,  2},
    {Is(1),  Is(8),  Is(1), 31, 31},
    {Is(1),  Is(8),  any,    3,  3},
    {Is(1),  Is(16), Is(1), 32, 32},
    {Is(1),  Is(16), any,    4,  4},
    {Is(1),  any,    any,   kNonProduct, kNonProduct},
    {Is(2),  Is(4),  any,    5, 21},
    {Is(2),  Is(8),  any,    6,  6},
    {Is(2),  Is(32), Is(0), 12, 12},
    {Is(2),  Is(32), Is(1), 43, 43},
    {Is(2),  Is(24), any,   18, 18},
    {Is(2),  Is(16), any,    7, 19},
    {Is(2),  any,    any,    0,  0},
    {Is(3),  Is(8),  Is(1), 40, 40},
    {Is(3),  Is(8),  any,    9,  9},
    {Is(3),  Is(16), Is(1), 41, 41},
    {Is(3),  Is(16), any,   10, 10},
    {Is(3),  Is(24), Is(1), 42, 42},
    {Is(3),  Is(32), Is(1), 43, 43},
    {Is(3),  any,    any,   kNotStored, kNotStored},
    {Is(4),  Is(8),  any,   13, 13},
    {Is(4),  any,    any,   14, 14},
    {Is(5),  Is(8),  any,   16, 20},
    {Is(5),  Is(4),  any,   49, 49},
    {Is(5),  any,    any,    8,  8},
    {Is(6),  Is(16), Is(1), 46, 46},
    {Is(6),  any,    any,   17, 17},
    {Is(9),  any,    any,   15, 15},
    {Is(10), Is(4),  any,   27, 27},
    {Is(10), Is(8),  any,   28, 28},
    {Is(10), Is(16), any,   29, 29},
    {Is(10), any,    any,   kNotStored, kNotStored},
    {any,    any,    any,   kUnknown, kUnknown},
};

// clang-format on

constexpr bool IsKnown(int8_t type) {
  return type <= 0 || type == kUnknown || product::RowOf(type).type == type;
}
constexpr bool KnowsTypes(const auto &row) {
  return IsKnown(row.type) && IsKnown(row.typeWithBit40);
}
static_assert(std::ranges::all_of(kFirstGeneration, KnowsTypes<FirstRow>));
static_assert(std::ranges::all_of(kSecondGeneration, KnowsTypes<SecondRow>));

bool Fits(const FirstRow &row) {
  return row.code(DvrGetHwidInformation(PRODUCT_TYPE)) &&
         row.channels(DvrGetHwidInformation(VIDEO_CHANNEL)) &&
         row.oem(DvrGetHwidInformation(OEM_TYPE)) && row.alarms(Bits(10, 14)) &&
         row.audio(Bits(5, 9)) && row.dsps(DvrGetHwidInformation(DSP_NUM)) &&
         row.count(DvrGetHwidInformation(HWID_FIELD_54));
}

bool Fits(const SecondRow &row) {
  return row.product(Bits(56, 61)) && row.channels(DvrGetHwidInformation(VIDEO_CHANNEL)) &&
         row.subType(Bits(48, 50));
}

// The last row of either table fits every board.
template <typename Row>
int32_t Find(std::span<const Row> rows) {
  const Row *row = rows.data();
  while (!Fits(*row)) ++row;
  return Bits(40, 40) == 1 ? row->typeWithBit40 : row->type;
}

}  // namespace

int32_t DvrGetProductType() {
  if (state.productType > 0) return state.productType;
  const int32_t type = identity::Generation() == 0
                           ? Find(std::span<const FirstRow>(kFirstGeneration))
                           : Find(std::span<const SecondRow>(kSecondGeneration));
  if (type == kNonProduct) {
    base::PrintAt({"System/version.c", 2619}, "Non this Prodtype !! Please check your Cyp!!\n");
  }
  if (type == kNotStored || type == kNonProduct) return state.productType;
  if (type == kUnknown) puts("LIBDVR : Unknow product type");
  state.productType = type;
  return type;
}

int32_t DvrGetBoardType() {
  const int32_t type = DvrGetProductType();
  if (state.boardType > 0) return state.boardType;
  const int32_t code = DvrGetHwidInformation(PRODUCT_TYPE);
  const int8_t boardType = product::RowOf(type).boardType;
  if (boardType == 0 || code == 1) {
    state.boardType = 0;
  } else if (boardType == 2 || code == 0) {
    state.boardType = 2;
  }
  return state.boardType;
}
