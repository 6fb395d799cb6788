// Key events of front boards, and commands to them, in each board's translation.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <vector>

#include "Uart/frontboard/leds.h"
#include "Uart/frontboard/panel.h"
#include "fuzz/panel_board.h"
#include "libsys/gpio.h"
#include "libsys/uart.h"

namespace fuzz {
namespace {

constexpr uint32_t kEvent = 4;

const BoardFile received("/dev/ttyAMA2");
std::string sent;  // to the front board

void ReadEvent(Input &input) {
  const int32_t length = input.Below(7) - 1;
  const auto asked = static_cast<size_t>(std::clamp(length, 0, 4));
  std::vector<uint8_t> event(asked);
  const std::string taken = input.Take(asked);
  const std::vector<uint8_t> bytes(taken.begin(), taken.end());
  received.Put(taken);
  const int32_t result = FrontboardRead(event.data(), length);
  const bool whole = asked > 0 && bytes.size() == asked;
  Expect(result == (whole ? static_cast<int32_t>(asked) : -1), "what came is what is read");
  if (!whole) return;
  if (asked < kEvent) return Expect(event == bytes, "a piece stays as it is");
  const bool isService = event[1] == 0x1a && event[2] == 0xfe && event[3] == 0x01;
  Expect(event[3] == bytes[3] || isService, "the state stays, but for the service key");
  Expect(event[0] == bytes[0] || (board.oem == 8 && event[0] == 0xff), "the first byte stays");
  Expect(sent.size() % kEvent == 0, "an event that goes back is whole");
}

void WriteCommand(Input &input) {
  const int32_t length = input.Below(6);
  const uint8_t group = input.Below(2) == 0 ? 0xdd : input.Byte();
  uint8_t command[kEvent] = {0xff, group, input.Byte(), input.Byte()};
  const auto before = std::to_array(command);
  const int32_t result = FrontboardWrite(command, length);
  const auto most = static_cast<size_t>(std::min(length, 4));
  Expect(before == std::to_array(command), "the caller's command stays");
  if (libsys::panel::LedsOf(libsys::panel::ThisBoard()) != nullptr) {
    Expect(sent.empty() && (result == 0 || (result == 4 && length == 4)), "a LED's command");
  } else {
    Expect(result == (most > 0 ? static_cast<int32_t>(most) : -1), "a command is sent");
    Expect(sent.size() == most && (most == 0 || sent[0] == '\xff'), "it is sent whole");
  }
}

}  // namespace

void Try(Input &input) {
  uint8_t level = 0;
  Expect(GpioRead(0, 0, &level) == 0, "the lines of the main board");  // they stay open
  UartDeviceSetFd(UartFrontboardIndex, received.Descriptor());
  ChooseBoard(input);
  const bool hasQueue = libsys::panel::HasKeyQueue(libsys::panel::ThisBoard());
  while (!input.IsEmpty()) {
    sent.clear();
    if (input.Below(4) == 3) {
      WriteCommand(input);
    } else if (!hasQueue) {
      ReadEvent(input);
    }
  }
}

}  // namespace fuzz

extern "C" {

ssize_t __real_write(int fd, const void *data, size_t length);
ssize_t __wrap_write(int fd, const void *data, size_t length) {
  if (fd != fuzz::received.Descriptor()) return __real_write(fd, data, length);
  fuzz::sent.append(static_cast<const char *>(data), length);
  return static_cast<ssize_t>(length);
}

}  // extern "C"
