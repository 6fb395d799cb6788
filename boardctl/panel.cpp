// Serial ports and the front panel: keys, LEDs, buzzer, fan.
#include <pthread.h>
#include <signal.h>
#include <stdio.h>

#include "boardctl/command.h"
#include "boardctl/messages.h"
#include "boardctl/output.h"
#include "boardctl/signals.h"
#include "libsys/frontboard.h"
#include "libsys/system.h"
#include "libsys/uart.h"
#include "libsys/version.h"

namespace {

// Port 0 is the console's, on which the person may be.
constexpr uint32_t kFirstPort = 1, kLastPort = 3;

constexpr uint32_t kStep = 50;  // the library's steps of a beep, milliseconds

volatile sig_atomic_t endedBy = 0;

// The beep is over after one more step, and the buzzer off.
void EndBeep(int number) {
  endedBy = number;
  SystemBeepExtend(0, kStep);
}

// The port, open and set to 8 data bits, no parity, one stop bit.
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

// The thread that reads this board's panel.
bool StartPanel() {
  StartLibrary();
  pthread_t thread;
  void *(*const source)(void *) = DvrGetBoardType() == 0 ? McuProc : FrontScanProc;
  return pthread_create(&thread, nullptr, source, nullptr) == 0 && FrontboardInit() == 0;
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

int Key(const Arguments &arguments) {
  uint32_t count = 0;
  if (!Number(arguments.Or(0, "0"), "COUNT", UINT32_MAX, &count)) return kUsage;
  if (!StartPanel()) return Failure("the front panel does not start");
  output::BeginLines();
  for (uint32_t seen = 0; output::Works() && (count == 0 || seen < count); ++seen) {
    uint8_t event[4] = {};
    const int32_t length = FrontboardRead(event, sizeof event);
    if (length < 0) return Failure("the front panel cannot be read");
    output::BeginRecord();
    output::Hex("group", event[1], 2);
    output::Hex("code", event[2], 2);
    output::Number("pressed", event[3]);
    output::EndRecord();
  }
  return kDone;
}

int Led(const Arguments &arguments) {
  constexpr uint32_t kFirst = 0x09, kLast = 0x0e;
  uint32_t code = 0, on = 0;
  if (!Number(arguments[0], "CODE", kLast, &code) || !Number(arguments[1], "STATE", 1, &on)) {
    return kUsage;
  }
  if (code < kFirst) return UsageError("CODE is 0x%02x to 0x%02x", kFirst, kLast);
  StartLibrary();
  if (FrontboardInit() != 0) return Failure("the front panel does not answer");
  const uint8_t led[4] = {0xff, 0xdd, static_cast<uint8_t>(code), static_cast<uint8_t>(on)};
  const int32_t written = FrontboardWrite(led, sizeof led);
  if (written < 0) return Failure("the front panel does not answer");
  // Some panels answer 0 for the first code with the LED set.
  if (written == 0 && code != kFirst) return Failure("the front panel has no such LED");
  return kDone;
}

int Beep(const Arguments &arguments) {
  constexpr uint32_t kLongest = 60'000;
  uint32_t milliseconds = 0;
  if (!Number(arguments.Or(0, "100"), "MILLISECONDS", kLongest, &milliseconds)) return kUsage;
  // Any other time would never end.
  if (milliseconds % kStep != 0) return UsageError("MILLISECONDS is a multiple of %u", kStep);
  StartLibrary();
  // What the line's write returns, and what the microcontroller's.
  constexpr int32_t kLine = 0, kFrame = 5;
  signals::Catch(EndBeep);
  const int32_t result = SystemBeep(0, milliseconds);
  if (endedBy != 0) signals::EndBy(endedBy);
  return result == kLine || result == kFrame ? kDone : Failure("the buzzer cannot be switched");
}

int Fan(const Arguments &arguments) {
  uint32_t on = 0;
  if (!Number(arguments[0], "STATE", 1, &on)) return kUsage;
  StartLibrary();
  if (DvrGetBoardType() != 0 && DvrGetProductType() != 4) {
    return Failure("this board has no fan to switch");
  }
  // A line that fails is only reported.
  messages::SetAside();
  const bool switched = SystemFanControl(on) == 0 && !messages::Any();
  return switched ? kDone : Failure("the fan cannot be switched");
}
