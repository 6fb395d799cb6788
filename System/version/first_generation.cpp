// Rules of first-generation boards. Some rules compare the low byte of the OEM code (oem),
// others the whole code (oemType): boards in the field depend on the difference.
#include "System/version/first_generation.h"

#include "System/version/boot_parameters.h"
#include "System/version/products.h"
#include "System/version/tool_config.h"
#include "libsys/version.h"

using namespace libsys;

namespace {

using identity::Bits;
using identity::IsOneOf;
using identity::OemType;
using identity::Override;
using identity::toolConfig;

int32_t OemLowByte() {
  return static_cast<int32_t>(identity::OemCode() & 0xff);
}

// The plain 16-channel board has no alarm lines unless the factory tool says so.
bool HasNoAlarmLines() {
  return DvrGetHwidInformation(PRODUCT_TYPE) == 0 && DvrGetHwidInformation(VIDEO_CHANNEL) == 16 &&
         OemType() != 4;
}

// Each later step overwrites an earlier one.
int32_t AudioByBoard(int32_t type, int32_t oem, int32_t oemType) {
  int32_t count = oemType == 2 ? Bits(0, 4) : Bits(5, 9);
  if (IsOneOf(type, {7, 16, 19, 20})) count = DvrGetHwidInformation(VIDEO_CHIP) == 6 ? 2 : 3;
  if (type == 8 && oem == 3) count = 3;
  if (IsOneOf(type, {5, 21}) && oem == 2) count = 4;
  if (IsOneOf(type, {16, 20}) && oem == 2) count = 3;
  if (IsOneOf(type, {5, 6, 21}) && oem == 3) count = 4;
  if (oem == 11) {
    count = 4;
  } else if (oem == 9) {
    count = type == 3 ? 8 : 4;
  }
  if (IsOneOf(type, {2, 3})) {
    if (oem == 6) {
      count = 1;
    } else if (IsOneOf(oemType, {14, 15})) {
      count = type == 2 ? 4 : 8;
    }
  }
  if (oem == 8) count = 4;
  if (oemType == 20) count = type == 2 ? 4 : 8;
  return count;
}

}  // namespace

namespace libsys::first_generation {

int32_t AudioChannels() {
  return Override(toolConfig.audioInputNumber,
                  AudioByBoard(DvrGetProductType(), OemLowByte(), OemType()));
}

int32_t AlarmInputs() {
  const int32_t oem = OemLowByte();
  const int32_t oemType = OemType();
  if (oem == 2 && Bits(60, 63) == 0) return 4;
  if (oem == 6 && Bits(60, 63) == 0) return 1;
  if (IsOneOf(oemType, {14, 15, 20})) return 4;
  if (oem == 11) return 4;
  // On purpose the slot of the outputs, here for the inputs.
  if (HasNoAlarmLines()) return Override(toolConfig.alarmOutputNumber, 0);
  if (oemType == 8) return DvrDetectAlarmBoard() == 1 ? 4 : 0;
  const int32_t type = DvrGetProductType();
  if (type == 6 && oem == 3) return 4;
  if (type == 10 && oem == 7) return 16;
  return Override(toolConfig.alarmInputNumber, Bits(10, 14));
}

int32_t AlarmOutputs() {
  const int32_t oem = OemLowByte();
  const int32_t oemType = OemType();
  if (IsOneOf(oem, {2, 6}) && Bits(60, 63) == 0) return 1;
  if (oem == 11) return 2;
  if (oemType == 20) return 1;
  if (HasNoAlarmLines()) return Override(toolConfig.alarmOutputNumber, 0);
  if (IsOneOf(oemType, {14, 15})) return 1;
  if (oemType == 8) return DvrDetectAlarmBoard() == 1 ? 1 : 0;
  const int32_t type = DvrGetProductType();
  if (type == 6 && oem == 3) return 1;
  if (type == 10 && oem == 7) return 4;
  return Override(toolConfig.alarmOutputNumber, Bits(15, 19));
}

int32_t Disks() {
  constexpr int32_t kDisksByCode[] = {8, 4, 1, 2};
  if (product::Get(&product::Product::hasPciDisks) != 0) return DvrGetPciDiskNumber();
  const int32_t code = Bits(46, 47);
  return Bits(35, 35) == 1 ? 1 << code : kDisksByCode[code];
}

int32_t Field54() {
  const int32_t power = Bits(54, 56);
  return power == 0 ? 0 : 1 << power;
}

}  // namespace libsys::first_generation
