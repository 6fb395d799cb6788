// The front panel as its users see it: events out, commands in.
#include "libsys/frontboard.h"

#include <stdio.h>
#include <unistd.h>

#include <algorithm>

#include "System/version/boot_parameters.h"
#include "System/version/products.h"
#include "Uart/frontboard/infrared.h"
#include "Uart/frontboard/key_queue.h"
#include "Uart/frontboard/keys.h"
#include "Uart/frontboard/leds.h"
#include "Uart/frontboard/panel.h"
#include "Uart/port/port.h"
#include "libsys/uart.h"
#include "libsys/version.h"

using namespace libsys;

namespace {

using identity::IsOneOf;
using panel::Board;

constexpr int32_t kEventLength = 4;

struct Pair {
  uint8_t group;
  uint8_t code;
  bool operator==(const Pair &) const = default;
};

Pair PairOf(const uint8_t *event) {
  return {event[1], event[2]};
}
void SetPair(uint8_t *event, Pair pair) {
  event[1] = pair.group;
  event[2] = pair.code;
}

// A key that switches something on the front board itself.
void SendBack(uint8_t *event) {
  SetPair(event, {0x09, 0x00});
  FrontboardWrite(event, kEventLength);
}

void FixOem3(int32_t product, uint8_t *event) {
  if (IsOneOf(product, {2, 3, 4, 5, 6, 21})) {
    if (event[2] == 0x92) event[2] = 0x71;
    if (event[2] == 0x01) SendBack(event);
  } else if (IsOneOf(product, {7, 16, 19})) {
    if (PairOf(event) == Pair{0x01, 0x00}) SendBack(event);
  }
}

void FixOem8(uint8_t *event) {
  struct Rule {
    Pair from, to;
  };
  static constexpr Rule kPairs[] = {
      {{0x2b, 0xbf}, {0x1e, 0xbf}},
      {{0x2e, 0xdf}, {0x1b, 0x7f}},
      {{0x2e, 0xfb}, {0x1b, 0xbf}},
  };
  event[0] = 0xff;
  for (const auto &[from, to] : kPairs) {
    if (PairOf(event) == from) return SetPair(event, to);
  }
  if (IsOneOf(event[1], {0x2c, 0x2a, 0x2b, 0x24, 0x29})) {
    event[1] = static_cast<uint8_t>(event[1] - 0x10);
  } else if (event[1] == 0x1a) {
    event[1] = 0x01;
  }
}

// What a front board sends otherwise than callers know it. The first case that fits decides.
void FixEvent(const Board &board, uint8_t *event) {
  if (board.variant == 3) return FixOem3(board.product, event);
  if (board.type == 2 && board.variant == 6 && FrontboardVariantA == 0) return;
  if ((DvrBoardByte & 7) == 1 && board.type == 0) {
    const bool isExempt = board.variant == 9 && board.panel == product::kPanel40;
    if (!isExempt && PairOf(event) == Pair{0x11, 0xef}) SetPair(event, {0x1e, 0xbf});
    return;
  }
  if (board.variant == 8 && FrontboardVariantB == 1) FixOem8(event);
}

uint32_t Bounded(int32_t length) {
  return static_cast<uint32_t>(std::clamp(length, 0, kEventLength));
}

int32_t ReadFrontboard(const Board &board, uint8_t *event, int32_t length) {
  const int32_t result = UartDeviceRead(UartFrontboardIndex, event, Bounded(length));
  if (result == kEventLength) FixEvent(board, event);
  return result;
}

}  // namespace

int32_t FrontKeyQueueGet(uint8_t *event, int32_t length) {
  if (event == nullptr || length < kEventLength) return 0;
  const panel::QueueEntry entry = panel::WaitForKey();
  const Board board = panel::ThisBoard();
  if (entry.source == panel::kInfraredSource) {
    panel::InfraredEvent(board, entry.code, event);
  } else {
    panel::KeyEvent(board, entry.source, event);
  }
  event[3] = entry.state;
  panel::DropKey();
  return kEventLength;
}

int32_t FrontboardRead(uint8_t *event, int32_t length) {
  const Board board = panel::ThisBoard();
  if (!panel::HasKeyQueue(board)) return ReadFrontboard(board, event, length);
  return length == kEventLength ? FrontKeyQueueGet(event, length) : 0;
}

int32_t FrontboardWrite(const uint8_t *event, int32_t length) {
  const panel::LedWiring *leds = panel::LedsOf(panel::ThisBoard());
  if (leds != nullptr) return panel::DriveLed(*leds, event, length);
  return UartDeviceWrite(UartFrontboardIndex, event, Bounded(length));
}

int32_t FrontboardInit() {
  const Board board = panel::ThisBoard();
  if (panel::ChooseInfraredTable(board)) return 0;
  if (board.panel == product::kPanel27) return 0;
  if (board.type == 2 && board.variant == 6 && FrontboardVariantA != 0) {
    printf("LIBDVR : Frontboard use ttyAMA%d %s%d\n", static_cast<int>(UartFrontboardIndex),
           "Uart/frontboard.c", 1774);
  }
  return UartDeviceCreate(UartFrontboardIndex);
}

int32_t FrontboardSetAttribute(const struct UartAttribute *attribute) {
  sleep(1);
  if (UartFrontboardOnUart != 0) {
    if (UartXappSetting == 2) return 0;
    puts("200000000000000");
    return UartSetAttribute(UartConsolePortIndex, attribute);
  }
  if (uart::HasDualPort()) {
    puts("300000000000000");
    UartSetAttribute(2, attribute);
  }
  puts("800000000000000");
  return UartSetAttribute(UartConsoleIndex, attribute);
}

int32_t FrontboardExit() {
  const auto [type, variant, product, panel] = panel::ThisBoard();
  if (type == 2 && IsOneOf(variant, {2, 4, 8, 9})) return 0;
  if (variant == 20) return 0;
  if (type == 2 && variant == 6 && FrontboardVariantA == 1) return 0;
  return UartDeviceDestroy(UartFrontboardIndex);
}
