// These commands send and receive bytes on serial ports.
#include <stdint.h>

#include "boardctl/command.h"
#include "boardctl/output.h"
#include "libsys/uart.h"

namespace boardctl {
namespace {

// Port 0 is the console's, which may be the one that the person types on.
constexpr uint32_t kFirstPort = 1, kLastPort = 3;

// Opens the port that the first two words name, with 8 data bits, no parity and one stop bit.
// Returns false with the status for the command to return.
bool OpenPort(const Arguments &arguments, uint32_t *port, int *status) {
  uint32_t baud = 0;
  *status = kUsage;
  if (!Number(arguments[0], "PORT", kLastPort, port)) return false;
  if (*port < kFirstPort) {
    UsageError("PORT is %u to %u", kFirstPort, kLastPort);
    return false;
  }
  if (!Number(arguments[1], "BAUD", 115'200, &baud)) return false;
  const UartAttribute attribute = {baud, 8, 0, 1};
  if (UartDeviceOpen(*port) == 0 && UartSetAttribute(*port, &attribute) == 0) return true;
  *status = Failure("port %u does not open with %u baud", *port, baud);
  return false;
}

}  // namespace

int UartSend(const Arguments &arguments) {
  uint32_t port = 0;
  size_t count = 0;
  uint8_t bytes[256];
  int status = kDone;
  if (!Bytes(arguments, 2, bytes, &count)) return kUsage;
  if (!OpenPort(arguments, &port, &status)) return status;
  const int32_t sent = UartDeviceWriteOnce(port, bytes, static_cast<uint32_t>(count));
  if (sent != static_cast<int32_t>(count)) return Failure("the port does not take it");
  return UartDeviceClose(port) == 0 ? kDone : Failure("the port does not close");
}

int UartListen(const Arguments &arguments) {
  uint32_t port = 0, count = 0;
  int status = kDone;
  if (!Number(arguments.Or(2, "0"), "COUNT", UINT32_MAX, &count)) return kUsage;
  if (!OpenPort(arguments, &port, &status)) return status;
  output::BeginLines();
  for (uint32_t seen = 0; output::Works() && (count == 0 || seen < count); ++seen) {
    uint8_t byte = 0;
    if (UartDeviceRead(port, &byte, 1) != 1) return Failure("the port cannot be read");
    output::BeginRecord();
    output::Hex("byte", byte, 2);
    output::EndRecord();
  }
  return kDone;
}

}  // namespace boardctl
