// Board details that only a GPIO level tells: the alarm board and the straps.
#include <stdio.h>

#include <atomic>
#include <optional>

#include "System/version/board_lines.h"
#include "libsys/gpio.h"
#include "libsys/version.h"

using namespace libsys;

namespace {

struct {
  std::atomic<int32_t> alarmBoard{-1};
} state;

enum Register : uint32_t {
  kAlarmPin = 0x200F0028,  // multiplexes GPIO 1.5
  kStrapPin = 0x200F00B4,  // multiplexes GPIO 1.0
  kPanelPin0 = 0x200F0000,
  kPanelPin1 = 0x200F0004,
};

void Write(Register address, uint8_t value) {
  DvrPhysicalMemoryAccess(address, &value, sizeof value, 1);
}

std::optional<int32_t> ReadLevel(const Line &line) {
  uint8_t level = 0;
  if (GpioRead(line.group, line.bit, &level) != 0) {
    puts("LIBDVR : GpioRead failed");
    return std::nullopt;
  }
  return level & 1;
}

}  // namespace

int32_t DvrDetectAlarmBoard() {
  if (state.alarmBoard != -1 || DvrGetHwidInformation(OEM_TYPE) != 8) return state.alarmBoard;
  Write(kAlarmPin, 2);
  const std::optional<int32_t> level = ReadLevel(board_lines::kAlarmBoardDetection);
  if (!level) return -1;
  state.alarmBoard = *level;
  const uint8_t function = *level == 1 ? 1 : 2;
  Write(kPanelPin0, function);
  Write(kPanelPin1, function);
  return *level;
}

int32_t DvrReadBoardStraps(int32_t *out1, int32_t *out2) {
  if (DvrGetHwidInformation(OEM_TYPE) != 6) return 0;
  Write(kStrapPin, 2);
  const std::optional<int32_t> first = ReadLevel(board_lines::kFirstStrap);
  if (!first) return -1;
  *out1 = *first;
  if (*first == 0) {
    Write(kPanelPin0, 1);
    Write(kPanelPin1, 1);
    return 0;
  }
  Write(kStrapPin, 1);
  Write(kPanelPin1, 2);
  const std::optional<int32_t> second = ReadLevel(board_lines::kSecondStrap);
  if (!second) return -1;
  *out2 = *second;
  Write(kPanelPin0, 2);
  Write(kPanelPin1, 2);
  return 0;
}
