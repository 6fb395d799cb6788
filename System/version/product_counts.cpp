// Counts by product type and OEM code. In every list the first rule that applies gives the
// count.
#include <algorithm>
#include <optional>

#include "System/version/boot_parameters.h"
#include "System/version/tool_config.h"
#include "libsys/version.h"

using namespace libsys;

namespace {

using identity::IsOneOf;
using identity::OemType;

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

Count AlarmOut(int32_t type, int32_t oem) {
  if (IsOneOf(type, {5, 21, 27, 28, 29})) return 1;
  if (type == 6) return oem == 3 ? 1 : 2;
  if (type == 49) return 2;
  if (oem == 20) return 1;
  if (oem == 8) return AlarmOutOfOem8(type);
  if (IsOneOf(oem, {14, 15})) return IsOneOf(type, {40, 41, 42, 43}) ? 4 : 1;
  if (HasOneAlarmLine(type, oem)) return 1;
  if (type == 16) return oem == 3 ? 2 : 4;
  if (IsOneOf(type, {7, 8, 9, 10, 11, 13, 14, 15, 17, 18, 19, 20, 40, 41, 42, 43, 45, 46, 47})) {
    return 4;
  }
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
      return IsOneOf(type, {45, 47}) ? Count(16) : std::nullopt;
  }
}

Count AlarmIn(int32_t type, int32_t oem) {
  if (IsOneOf(type, {5, 21, 27, 28, 29})) return 4;
  if (type == 6) return oem == 3 ? 4 : 8;
  if (type == 49) return 8;
  if (type == 16) return oem == 3 ? 8 : 16;
  if (HasOneAlarmLine(type, oem)) return 1;
  if (IsOneOf(type, {7, 8, 9, 10, 11, 13, 14, 15, 17, 18, 19, 20, 40, 41, 42, 43, 46})) {
    return 16;
  }
  return AlarmInByOem(type, oem);
}

int32_t PlaybackByProduct(int32_t type) {
  if (IsOneOf(type, {2, 4, 5, 8, 9, 10, 11, 16, 17, 21, 27, 28, 29, 30, 32, 40, 43, 46, 47, 49})) {
    return 4;
  }
  if (IsOneOf(type, {6, 13, 20, 31, 42, 45})) return 8;
  if (type == 3) return IsOneOf(OemType(), {6, 8, 9, 11, 14, 15, 20}) ? 4 : 8;
  if (IsOneOf(type, {7, 14, 15, 19, 41})) return 16;
  return 0;
}

// One audio channel for each video channel, 16 at most. Products whose video channels vary
// follow the identifier; a board that differs gets a row here.
constexpr int32_t kMostAudioChannels = 16;
constexpr struct {
  int32_t channels;
  std::initializer_list<int32_t> types;
} kAudioByProduct[] = {
    {4, {2, 5, 21, 27, 30, 49}},
    {8, {3, 6, 9, 13, 16, 20, 28, 31, 40}},
    {16, {4, 7, 10, 12, 18, 19, 29, 32, 41, 42, 43, 46}},
};

int32_t AudioByProduct(int32_t type) {
  for (const auto &row : kAudioByProduct) {
    if (IsOneOf(type, row.types)) return row.channels;
  }
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
  return Store(limited ? limit : PlaybackByProduct(DvrGetProductType()), out);
}

int32_t DvrGetAudioNumber(int32_t *out) {
  return Store(AudioByProduct(DvrGetProductType()), out);
}
