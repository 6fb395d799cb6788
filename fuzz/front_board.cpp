// Key events of front boards, and commands to them, in each board's translation.
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "Uart/frontboard/leds.h"
#include "Uart/frontboard/panel.h"
#include "fuzz/panel_board.h"
#include "libsys/gpio.h"
#include "libsys/uart.h"

namespace fuzz {

const std::vector<const char *> kMessages = {
    "LIBDVR : FILE -> Uart/uart.c, LINE -> 218: UartDeviceRead : Input params invailed\n",
    "LIBDVR : FILE -> Uart/uart.c, LINE -> 733: UartDeviceWrite : Input params invailed\n",
    "LIBDVR : FILE -> Uart/uart.c, LINE -> 284: UartDeviceRead : readlength < 0, index = 2\n",
};

namespace {

constexpr uint32_t kEvent = 4;

int port = -1;
std::string sent;  // to the front board

void ReadEvent(const BoardFile &received, Input &input) {
  const auto length = static_cast<int32_t>(input.Below(7)) - 1;
  const auto asked = static_cast<size_t>(std::clamp(length, 0, 4));
  uint8_t event[8];
  memset(event, 0xa5, sizeof event);
  const Bytes bytes = input.Take(asked);
  received.Put(bytes);
  const int32_t result = FrontboardRead(event, length);
  const bool whole = asked > 0 && bytes.size() == asked;
  Expect(result == (whole ? static_cast<int32_t>(asked) : -1), "what came is what is read");
  Expect(std::count(event + asked, event + sizeof event, 0xa5) == 8 - static_cast<ptrdiff_t>(asked),
         "nothing behind the buffer is written");
  if (!whole) return;
  if (asked < kEvent) {
    Expect(std::equal(bytes.begin(), bytes.end(), event), "a piece stays as it is");
    return;
  }
  const bool isService = event[1] == 0x1a && event[2] == 0xfe && event[3] == 0x01;
  Expect(event[3] == bytes[3] || isService, "the state stays, but for the service key");
  Expect(event[0] == bytes[0] || (board.oem == 8 && event[0] == 0xff), "the first byte stays");
  Expect(sent.size() % kEvent == 0, "an event that goes back is whole");
}

void WriteCommand(Input &input) {
  const auto length = static_cast<int32_t>(input.Below(6));
  uint8_t command[kEvent] = {0xff, 0xdd};
  command[1] = input.Below(2) == 0 ? command[1] : input.Byte();
  command[2] = input.Byte();
  command[3] = input.Byte();
  const uint8_t before[] = {command[0], command[1], command[2], command[3]};
  const int32_t result = FrontboardWrite(command, length);
  const auto most = static_cast<size_t>(std::min(length, 4));
  Expect(memcmp(command, before, sizeof command) == 0, "the caller's command stays");
  if (libsys::panel::LedsOf(libsys::panel::ThisBoard()) != nullptr) {
    Expect(sent.empty() && (result == 0 || (result == 4 && length == 4)), "a LED's command");
  } else {
    Expect(result == (most > 0 ? static_cast<int32_t>(most) : -1), "a command is sent");
    Expect(sent.size() == most && (most == 0 || sent[0] == '\xff'), "it is sent whole");
  }
}

}  // namespace

void Try(Input &input) {
  static const BoardFile received("/dev/ttyAMA2");
  static const int32_t opened = [] {
    uint8_t level = 0;
    return GpioRead(0, 0, &level);
  }();
  Expect(opened == 0, "the lines of the main board");
  port = received.Descriptor();
  UartDeviceSetFd(UartFrontboardIndex, port);
  ChooseBoard(input);
  const bool hasQueue = libsys::panel::HasKeyQueue(libsys::panel::ThisBoard());
  while (!input.IsEmpty()) {
    sent.clear();
    if (input.Below(4) == 3) {
      WriteCommand(input);
    } else if (!hasQueue) {
      ReadEvent(received, input);
    }
  }
}

}  // namespace fuzz

extern "C" {

ssize_t __real_write(int fd, const void *data, size_t length);
ssize_t __wrap_write(int fd, const void *data, size_t length) {
  if (fd != fuzz::port) return __real_write(fd, data, length);
  fuzz::sent.append(static_cast<const char *>(data), length);
  return static_cast<ssize_t>(length);
}

}  // extern "C"
