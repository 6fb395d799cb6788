// Start and stop of the serial ports.
#include "libsys/serial.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>

#include "Base/message.h"
#include "Base/standard_descriptors.h"
#include "Uart/port/port.h"
#include "libsys/boot.h"
#include "libsys/uart.h"

using namespace libsys;

namespace {

constinit struct {
  std::array<int, 3> saved = {-1, -1, -1};  // standard input, output and error
  int null = -1;
} state;

constexpr size_t kOutput = STDOUT_FILENO;

// The first byte of a boot variable, held to these bits; 0 when there is no such variable.
uint8_t ReadSetting(const char *name, uint8_t mask) {
  uint8_t value[8] = {};
  if (BootEnvGet(name, value, sizeof value) != 0) return 0;
  return value[0] & mask;
}

// The application that replaces this program keeps 0, 1 and 2 and none of the copies.
void SaveStandardDescriptors() {
  for (size_t i = 0; i < state.saved.size(); ++i) {
    state.saved[i] = fcntl(static_cast<int>(i), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  }
}

void Close(int &fd) {
  if (fd > 0) close(fd);
  fd = -1;
}

}  // namespace

int uart::SavedOutput() {
  return state.saved[kOutput];
}

int32_t SerialInit() {
  if (state.null > 0) return 0;
  state.null = base::Open("/dev/null", O_RDWR);
  if (state.null < 0) {
    base::PrintAt({"Uart/serial.c", 71}, "Open /dev/null failed\n");
    return -1;
  }
  UartXuartSetting = ReadSetting("xuart", 1);
  UartXappSetting = ReadSetting("xapp", 3);
  SaveStandardDescriptors();
  if (!uart::HasDualPort()) UartDeviceSetFd(UartConsolePortIndex, state.saved[kOutput]);
  tcgetattr(state.saved[kOutput], &uart::consoleTerminal);
  return 1;
}

int32_t SerialExit() {
  const int console = uart::SavedOutput();
  if (console > 0 && uart::DescriptorOf(UartConsolePortIndex) == console) {
    UartDeviceSetFd(UartConsolePortIndex, -1);
  }
  for (int &fd : state.saved) Close(fd);
  Close(state.null);
  return UartDeviceDestroy(UartConsoleIndex);
}
