// Counts by product type and OEM code. In every list the first rule that applies gives the
// count.
#include <algorithm>
#include <optional>

#include "System/version/boot_parameters.h"
#include "System/version/products.h"
#include "System/version/tool_config.h"
#include "libsys/version.h"

using namespace libsys;

namespace {

using identity::IsOneOf;
using identity::OemType;
using product::Product;

using Count = std::optional<int32_t>;  // empty: the caller's value stands

// The OEM-3 board of product type 2 with one alarm line each way.
bool HasOneAlarmLine(int32_t type, int32_t oem) {
  return oem == 3 && type == 2 && (DvrBoardWord >> 5 & 0x1f) == 0;
}

int32_t AlarmOutOfOem8(int32_t type) {
  const int32_t detected = DvrDetectAlarmBoard();
  if (detected != 0) return detected == 1 ? 1 : 0;
  return type == 4 ? 1 : 0;
}

Count AlarmOutByOem(int32_t type, int32_t oem) {
  switch (oem) {
    case 11:
      return 2;
    case 4:
      return IsOneOf(type, {2, 3}) ? 1 : 2;
    case 9:
      return IsOneOf(type, {2, 3}) ? Count(1) : std::nullopt;
    case 6:
      return type == 32 ? 0 : 1;
    default:
      return std::nullopt;
  }
}

// The product's count, when it is one that holds whatever the OEM type is, or when nothing else
// tells.
Count AlarmLines(int8_t Product::*lines, int32_t type, int32_t oem, bool nothingElse) {
  const int32_t count = product::Get(lines, type, oem);
  if (count == product::kByOem) return std::nullopt;
  if (count < product::kLeastOrOem) return count;
  return nothingElse ? Count(count - product::kLeastOrOem) : std::nullopt;
}

Count AlarmOut(int32_t type, int32_t oem) {
  if (const Count count = AlarmLines(&Product::alarmOut, type, oem, false)) return count;
  if (oem == 20) return 1;
  if (oem == 8) return AlarmOutOfOem8(type);
  if (IsOneOf(oem, {14, 15})) return product::RowOf(type).panel == product::kPanel40 ? 4 : 1;
  if (HasOneAlarmLine(type, oem)) return 1;
  if (const Count count = AlarmLines(&Product::alarmOut, type, oem, true)) return count;
  return AlarmOutByOem(type, oem);
}

Count AlarmInOfOem8(int32_t type) {
  switch (DvrDetectAlarmBoard()) {
    case 1:
      return 4;
    case 0:
      return type == 4 ? 4 : 0;
    default:
      return std::nullopt;
  }
}

Count AlarmInByOem(int32_t type, int32_t oem) {
  switch (oem) {
    case 8:
      return AlarmInOfOem8(type);
    case 9:
    case 11:
    case 14:
    case 15:
    case 20:
      return 4;
    case 4:
      return IsOneOf(type, {2, 3}) ? 4 : 8;
    case 6:
      return type == 32 ? 0 : 1;
    default:
      return AlarmLines(&Product::alarmIn, type, oem, true);
  }
}

Count AlarmIn(int32_t type, int32_t oem) {
  if (const Count count = AlarmLines(&Product::alarmIn, type, oem, false)) return count;
  if (HasOneAlarmLine(type, oem)) return 1;
  return AlarmInByOem(type, oem);
}

// One audio channel for each video channel, 16 at most, where the product's video channels vary.
int32_t AudioByProduct(int32_t type) {
  constexpr int32_t kMostAudioChannels = 16;
  const int32_t channels = product::Get(&Product::audio, type, OemType());
  if (channels != product::kVideo) return channels;
  return std::min(DvrGetHwidInformation(VIDEO_CHANNEL), kMostAudioChannels);
}

int32_t Store(Count count, int32_t *out) {
  if (count) *out = *count;
  return 0;
}

}  // namespace

int32_t DvrGetAlarmOutNumber(int32_t *out) {
  return Store(AlarmOut(DvrGetProductType(), OemType()), out);
}

int32_t DvrGetAlarmInNumber(int32_t *out) {
  return Store(AlarmIn(DvrGetProductType(), OemType()), out);
}

int32_t DvrGetPlaybackNumber(int32_t *out) {
  const int32_t limit = identity::toolConfig.playbackLimitNumber;
  const bool limited = limit >= 1 && limit <= 16;
  return Store(limited ? limit : product::Get(&Product::playback), out);
}

int32_t DvrGetAudioNumber(int32_t *out) {
  return Store(AudioByProduct(DvrGetProductType()), out);
}
