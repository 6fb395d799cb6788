// The frames of the front panel's microcontroller.
#include <setjmp.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "fuzz/fuzz.h"
#include "libsys/frontboard.h"
#include "libsys/uart.h"

namespace fuzz {
namespace {

struct {
  size_t left = 0;  // of the input
  jmp_buf end;      // leads out of the receiver, which runs for good
} port;

// The last frame that comes whole, reversed where it is data; empty where there is none. One
// without a payload asks the port for nothing, which is a failed read.
std::vector<uint8_t> LastFrame(Input input) {
  std::vector<uint8_t> last;
  while (!input.IsEmpty()) {
    if (input.Byte() != 0xff || input.Byte() != 0x5a) continue;
    const uint8_t type = input.Byte(), length = input.Byte();
    if (type != 1 && type != 2) continue;
    std::string payload = input.Take(length);
    if (payload.size() < length || length == 0) continue;
    if (type == 2) std::reverse(payload.begin(), payload.end());
    last = {type, length};
    last.insert(last.end(), payload.begin(), payload.end());
  }
  return last;
}

// Apart from everything that a jump could spoil.
[[gnu::noinline]] void Receive() {
  if (setjmp(port.end) == 0) McuProc(nullptr);
}

}  // namespace

void Try(Input &input) {
  static const BoardFile received("/dev/ttyAMA1");
  const std::vector<uint8_t> frame = LastFrame(input);
  const std::string bytes = input.Rest();
  received.Put(bytes);
  UartDeviceSetFd(UartMcuIndex, received.Descriptor());
  port.left = bytes.size();
  memset(FrontMcuFrame, 0, sizeof FrontMcuFrame);
  Receive();
  Expect(pthread_mutex_trylock(&FrontMcuMutex) == 0, "the frame is not locked");
  Expect(std::equal(frame.begin(), frame.end(), FrontMcuFrame), "the last frame is received");
  pthread_mutex_unlock(&FrontMcuMutex);
}

}  // namespace fuzz

// The line, which the receiver waits for.
extern "C" {

int32_t __wrap_UartDeviceCreate(uint32_t) {
  return 0;
}

int32_t __real_UartDeviceRead(uint32_t index, void *buffer, uint32_t length);
int32_t __wrap_UartDeviceRead(uint32_t index, void *buffer, uint32_t length) {
  if (fuzz::port.left < std::max(length, 1U)) longjmp(fuzz::port.end, 1);
  fuzz::port.left -= length;
  return __real_UartDeviceRead(index, buffer, length);
}

int __wrap_usleep(useconds_t) {
  return 0;
}

}  // extern "C"
