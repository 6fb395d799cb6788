// What follows from the product type besides counts: the device's name, the encode number and
// the small tests.
#include <stdio.h>

#include "System/version/boot_parameters.h"
#include "System/version/products.h"
#include "System/version/tool_config.h"
#include "libsys/version.h"

using namespace libsys;

namespace {

using identity::Bits;
using identity::IsOneOf;
using product::Product;

// Whether a board of 8 or 16 channels records all of them in D1.
bool IsD1Board() {
  const int32_t generation = identity::Generation();
  return (generation == 3 && Bits(48, 50) == 1) ||
         (generation == 0 && DvrGetHwidInformation(PRODUCT_TYPE) == 1);
}

const char *FourChannelName() {
  const uint32_t oem = identity::OemCode();
  if ((oem >> 16 & 0xff) == 1) return "DVR_4CIF";
  if ((oem & 0xff) == 7) return "DVR_3CIF1D1";
  return "DVR_4D1";
}

const char *DeviceType() {
  switch (DvrGetHwidInformation(VIDEO_CHANNEL)) {
    case 4:
      return FourChannelName();
    case 8:
      return IsD1Board() ? "DVR_8D1" : "DVR_8CIF";
    case 16:
      return IsD1Board() ? "DVR_16D1" : "DVR_16CIF";
    default:
      return "DVR_4CIF";
  }
}

// Product types 5 and 21. Command 22 is always 0, so without bit 35 the number is 4.
int32_t SmallBoardEncodeNumber() {
  const HwidCommand command =
      DvrGetHwidInformation(HWID_FLAG_35) == 0 ? HWID_RESERVED_22 : HWID_FIELD_42;
  return DvrGetHwidInformation(command) != 0 ? 1 : 4;
}

}  // namespace

int32_t SystemGetDeviceType(char *buffer, int32_t size) {
  if (buffer == nullptr || size <= 15) {
    puts("LIBDVR : SystemGetDeviceType==>size < 16!");
    return -1;
  }
  snprintf(buffer, static_cast<size_t>(size), "%s", DeviceType());
  return 0;
}

int32_t DvrGetMaxEncodeNumber(int32_t *out) {
  if (identity::toolConfig.maxEncode != -1) {
    *out = identity::toolConfig.maxEncode;
    return 0;
  }
  const int32_t number = product::Get(&Product::encode);
  if (number != product::kNone)
    *out = number == product::kFlags ? SmallBoardEncodeNumber() : number;
  return 0;
}

int32_t DvrProductTypeIsNot4(int32_t *out) {
  *out = DvrGetProductType() != 4 ? 1 : 0;
  return 0;
}

int32_t DvrProductTypeDiffersFrom4(int32_t *out) {
  return DvrProductTypeIsNot4(out);
}

int32_t DvrIsNotGenericProduct2Or3(int32_t *out) {
  const bool generic = IsOneOf(DvrGetProductType(), {2, 3}) &&
                       !IsOneOf(DvrGetHwidInformation(OEM_TYPE), {6, 8, 9, 11, 14, 15, 20});
  *out = generic ? 0 : 1;
  return 0;
}
