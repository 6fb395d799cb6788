// These commands use the front panel: its keys, LEDs and buzzer, and the fan.
#include <pthread.h>
#include <signal.h>

#include "boardctl/command.h"
#include "boardctl/messages.h"
#include "boardctl/output.h"
#include "boardctl/signals.h"
#include "libsys/frontboard.h"
#include "libsys/system.h"
#include "libsys/version.h"

namespace boardctl {
namespace {

constexpr uint32_t kStep = 50;  // milliseconds: the library's steps of a beep

volatile sig_atomic_t endedBy = 0;

// The beep ends after one more step, and the buzzer is off when the command ends.
void EndBeep(int number) {
  endedBy = number;
  SystemBeepExtend(0, kStep);
}

// Starts the thread that reads this board's panel.
bool StartPanel() {
  StartLibrary();
  pthread_t thread;
  void *(*const source)(void *) = DvrGetBoardType() == 0 ? McuProc : FrontScanProc;
  return pthread_create(&thread, nullptr, source, nullptr) == 0 && FrontboardInit() == 0;
}

}  // namespace

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
  // Some panels return 0 for the first code although the LED is set.
  if (written == 0 && code != kFirst) return Failure("the front panel has no such LED");
  return kDone;
}

int Beep(const Arguments &arguments) {
  constexpr uint32_t kLongest = 60'000;
  uint32_t milliseconds = 0;
  if (!Number(arguments.Or(0, "100"), "MILLISECONDS", kLongest, &milliseconds)) return kUsage;
  // The library never ends a beep of any other length.
  if (milliseconds % kStep != 0) return UsageError("MILLISECONDS is a multiple of %u", kStep);
  StartLibrary();
  // SystemBeep returns the first for a buzzer on a line, the second for one on the microcontroller.
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
  if (SystemHasFan() == 0) return Failure("this board has no fan to switch");
  // Nothing but a message of the library tells that a line has failed.
  messages::SetAside();
  const bool switched = SystemFanControl(on) == 0 && !messages::Any();
  return switched ? kDone : Failure("the fan cannot be switched");
}

}  // namespace boardctl
