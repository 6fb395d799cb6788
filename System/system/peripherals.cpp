// Fan and buzzer: GPIO lines, or on chip/board type 0 commands to the front panel's
// microcontroller.
#include <stdio.h>

#include <algorithm>
#include <atomic>
#include <optional>

#include "System/version/board_lines.h"
#include "libsys/gpio.h"
#include "libsys/system.h"
#include "libsys/uart.h"
#include "libsys/version.h"

using namespace libsys;

namespace {

struct {
  std::atomic<uint32_t> pendingBeep{0};  // milliseconds; 0: none
} state;

constexpr uint32_t kMcuPort = 1;
constexpr uint32_t kBeepStep = 50;  // milliseconds

enum McuCommand : uint8_t { kMcuBuzzer = 4, kMcuFan = 5 };

// The first four bytes of these frames mean no key, so that they pass the port unchanged.
int32_t SendToMcu(McuCommand command, bool on) {
  const uint8_t frame[] = {0xff, 0x5a, command, 1, on};
  const int32_t result = UartDeviceWrite(kMcuPort, frame, sizeof frame);
  if (result < 0) printf("LIBDVR : UartDeviceWrite %d failed\n", static_cast<int>(kMcuPort));
  return result;
}

bool OpenMcuPort() {
  if (UartDeviceOpen(kMcuPort) >= 0) return true;
  printf("LIBDVR : open uart%d failed\n", static_cast<int>(kMcuPort));
  return false;
}

constexpr int32_t kFixedBeepProduct = 49;
constexpr uint32_t kFixedBeep = 1000;  // milliseconds

bool Fits(int32_t row, int32_t value) {
  return row == board_lines::kAny || row == value;
}

// The buzzer's line; none where the microcontroller has the buzzer.
std::optional<Line> FindBuzzer(int32_t type) {
  const Line line = product::RowOf(type).buzzer;
  if (line != kNoLine) return line;
  const int32_t boardType = DvrGetBoardType();
  if (boardType == 0) return std::nullopt;
  const int32_t oem = DvrGetHwidInformation(OEM_TYPE);
  const auto *row = std::ranges::find_if(board_lines::kBuzzers, [&](const auto &buzzer) {
    return Fits(buzzer.oem, oem) && Fits(buzzer.boardType, boardType) &&
           Fits(buzzer.product, type) &&
           (buzzer.field42 == board_lines::kAny ||
            buzzer.field42 == DvrGetHwidInformation(HWID_FIELD_42));
  });
  return row->line;
}

// A time that is no multiple of the step passes zero and beeps on until SystemBeepExtend sets
// a new one, on purpose.
void WaitForBeep(uint32_t milliseconds) {
  for (uint32_t left = milliseconds; left != 0;) {
    SystemSleepMsec(kBeepStep);
    left -= kBeepStep;
    if (const uint32_t pending = state.pendingBeep.exchange(0); pending != 0) left = pending;
  }
}

int32_t BeepOnMcu(uint32_t milliseconds) {
  OpenMcuPort();  // without the port the writes fail, and say so
  SendToMcu(kMcuBuzzer, true);
  WaitForBeep(milliseconds);
  return SendToMcu(kMcuBuzzer, false);
}

int32_t Switch(Line line, bool on) {
  const int32_t result = GpioWrite(line.group, line.bit, on);
  // What the print returned is the result, on purpose; what puts returns is the C library's choice.
  return result != 0 ? printf("Test : SystemBeep failed\n") : 0;
}

}  // namespace

int32_t SystemHasFan() {
  return DvrGetBoardType() == 0 || DvrGetProductType() == 4 ? 1 : 0;
}

int32_t SystemFanControl(uint32_t on) {
  const bool level = (on & 1) != 0;
  if (DvrGetBoardType() == 0) return OpenMcuPort() && SendToMcu(kMcuFan, level) >= 0 ? 0 : -1;
  if (DvrGetProductType() == 4 &&
      GpioWrite(board_lines::kFan.group, board_lines::kFan.bit, level) != 0)
    puts("Test : Fan control failed");
  return 0;
}

int32_t SystemBeep(uint32_t, uint32_t milliseconds) {
  const int32_t product = DvrGetProductType();
  const std::optional<Line> line = FindBuzzer(product);
  if (!line) return BeepOnMcu(milliseconds);
  const int32_t on = Switch(*line, true);
  if (product == kFixedBeepProduct) {
    SystemSleepMsec(kFixedBeep);
  } else {
    WaitForBeep(milliseconds);
  }
  const int32_t off = Switch(*line, false);
  return off != 0 ? off : on;
}

void SystemBeepExtend(uint32_t, uint32_t milliseconds) {
  state.pendingBeep = milliseconds;
}
