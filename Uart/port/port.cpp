// The ports of the board: opening and closing them, and the kernel's console beside them.
#include "libsys/uart.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <atomic>

#include "Base/message.h"
#include "Base/standard_descriptors.h"
#include "System/version/products.h"
#include "Uart/port/port.h"

using namespace libsys;

uint32_t UartConsolePortIndex = 3;
uint32_t UartFrontboardIndex = 2;
uint32_t UartMcuIndex = 1;
uint32_t UartConsoleIndex = 0;
int32_t UartFrontboardOnUart = 1;
uint8_t UartXuartSetting = 0;
uint8_t UartXappSetting = 0;
termios uart::consoleTerminal = {};

namespace {

using Descriptor = std::atomic<int>;

constinit struct {
  std::array<Descriptor, uart::kPorts> ports = {-1, -1, -1, -1};
  Descriptor consoleDevice = -1;
} state;

constexpr const char *kSource = "Uart/uart.c";
constexpr const char *kConsoleDevice = "/dev/consoledev";

enum Request : unsigned { kSuspend = 0, kResume = 1 };

constexpr UartAttribute kDefaults = {.baudRate = 9600, .dataBits = 8, .parity = 0, .stopBits = 0};

struct Path {
  explicit Path(uint32_t index) {
    snprintf(text, sizeof text, "%s%d", "/dev/ttyAMA", static_cast<int>(index));
  }
  char text[24];
};

// Another thread may have opened the device meanwhile; its descriptor then stands.
bool Open(Descriptor &descriptor, const char *path, int flags) {
  int closed = descriptor;
  if (closed > 0) return true;
  const int opened = base::Open(path, flags | O_NOCTTY);
  if (opened < 0) return false;
  if (!descriptor.compare_exchange_strong(closed, opened)) close(opened);
  return true;
}

bool OpenFails(uint32_t index, int line) {
  base::PrintAt({kSource, line}, "Open %s failed\n", Path(index).text);
  return false;
}

bool OpenPort(uint32_t index) {
  const int sync = index == UartMcuIndex ? O_SYNC : 0;
  if (Open(state.ports[index], Path(index).text, O_RDWR | sync)) return true;
  return OpenFails(index, 145);
}

// While the routed console's port is open the kernel prints nothing on it.
bool SendToConsole(uint32_t index, Request request) {
  return index != UartConsoleIndex || ioctl(state.consoleDevice, request, nullptr) >= 0;
}

int32_t IndexFails(int line) {
  base::PrintAt({kSource, line}, "Index out of range\n");
  return -1;
}

int32_t CreatePort(uint32_t index) {
  if (UartDeviceOpen(index) < 0) return -1;
  return UartSetAttribute(index, &kDefaults);
}

int32_t CreateRoutedConsole() {
  if (state.consoleDevice > 0) return 0;
  if (!Open(state.consoleDevice, kConsoleDevice, O_RDWR)) return -1;
  return uart::HasDualPort() ? CreatePort(uart::kSecondPort) : 0;
}

}  // namespace

int uart::DescriptorOf(uint32_t index) {
  return index < kPorts ? state.ports[index].load() : -1;
}

bool uart::HasDualPort() {
  return product::Get(&product::Product::hasDualConsole) != 0;
}

bool uart::IsDualPort(uint32_t index) {
  return index == UartConsoleIndex && HasDualPort();
}

int32_t UartDeviceOpen(uint32_t index) {
  if (index >= uart::kPorts) {
    OpenFails(index, 130);
    return -1;
  }
  if (state.ports[index] > 0) return 0;
  if (!OpenPort(index)) return -1;
  if (SendToConsole(index, kSuspend)) return 0;
  puts("LIBDVR : 2CONSOLE_SUSPEND failed");
  return -1;
}

int32_t UartDeviceClose(uint32_t index) {
  if (index >= uart::kPorts) return IndexFails(177);
  if (!SendToConsole(index, kResume)) {
    puts("LIBDVR : 1CONSOLE_RESUME failed");
    return -1;
  }
  if (state.ports[index] < 1) return 0;
  const int open = state.ports[index].exchange(-1);
  if (open > 0 && open != uart::SavedOutput()) close(open);
  return 0;
}

int32_t UartDeviceDestroy(uint32_t index) {
  if (index >= uart::kPorts) return IndexFails(166);
  return UartDeviceClose(index);
}

int32_t UartDeviceCreate(uint32_t index) {
  if (index == UartConsoleIndex) return CreateRoutedConsole();
  if (index == UartFrontboardIndex || index == UartMcuIndex) return CreatePort(index);
  if (index == UartConsolePortIndex) return 0;
  base::PrintAt({kSource, 112}, "UartDeviceCreate failed\n");
  return -1;
}

void UartDeviceSetFd(uint32_t index, int32_t descriptor) {
  if (index < uart::kPorts) state.ports[index] = descriptor;
}
