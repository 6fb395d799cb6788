// These commands tell which board this is and how it fares.
#include <stdio.h>
#include <string.h>

#include "boardctl/command.h"
#include "boardctl/output.h"
#include "libsys/system.h"
#include "libsys/version.h"

namespace boardctl {
namespace {

constexpr uint32_t kCommands = CUSTOM_OEM_TYPE + 1;
constexpr int32_t kSerialLength = 32;

// A command's name is its enumerator's. The compiler refuses an enumerator that is missing here,
// and one beyond the last command.
constexpr const char *NameOf(HwidCommand command) {
  switch (command) {
#define NAME(enumerator)                     \
  case enumerator:                           \
    static_assert((enumerator) < kCommands); \
    return #enumerator
    NAME(VIDEO_CHANNEL);
    NAME(AUDIO_CHANNEL);
    NAME(ALARM_IN);
    NAME(ALARM_OUT);
    NAME(HDMI_SUPPORT);
    NAME(VIDEO_CHIP);
    NAME(DSP_CHIP);
    NAME(CONTROL_CHIP);
    NAME(HWID_FLAG_32);
    NAME(HWID_FLAG_33);
    NAME(HWID_FLAG_34);
    NAME(HWID_FLAG_35);
    NAME(HWID_FLAG_36);
    NAME(DISK_INTERFACE);
    NAME(HWID_FLAG_38);
    NAME(CDRW_SUPPORT);
    NAME(HWID_FIELD_42);
    NAME(ALT_SUPPORT);
    NAME(DISK_NUM);
    NAME(NET_CARD);
    NAME(DSP_NUM);
    NAME(HWID_FLAG_53);
    NAME(HWID_RESERVED_22);
    NAME(HWID_FLAG_40);
    NAME(HWID_FLAG_41);
    NAME(HWID_FIELD_54);
    NAME(PLAYBACK_NUM);
    NAME(PRODUCT_TYPE);
    NAME(HWID_FIELD_21);
    NAME(HWID_FIELD_42B);
    NAME(OEM_TYPE);
    NAME(CUSTOM_OEM_TYPE);
#undef NAME
  }
  return nullptr;
}

// Returns whether every number below kCommands is a command's.
constexpr bool AllAreNamed() {
  for (uint32_t command = 0; command < kCommands; ++command) {
    if (NameOf(static_cast<HwidCommand>(command)) == nullptr) return false;
  }
  return true;
}
static_assert(AllAreNamed());

void ShowCapability(uint32_t command) {
  output::BeginRecord();
  output::Number("command", command);
  output::Number("value", DvrGetHwidInformation(command));
  output::Text("name", NameOf(static_cast<HwidCommand>(command)));
  output::EndRecord();
}

}  // namespace

int Hwid(const Arguments &arguments) {
  uint32_t wanted = 0;
  if (!Number(arguments.Or(0, "0"), "COMMAND", kCommands - 1, &wanted)) return kUsage;
  StartLibrary();
  if (arguments.size() > 0) {
    ShowCapability(wanted);
    return kDone;
  }
  output::BeginList();
  for (uint32_t command = 0; command < kCommands; ++command) ShowCapability(command);
  output::EndList();
  return kDone;
}

int Product(const Arguments &) {
  StartLibrary();
  char identifier[17] = {}, device[17] = {};
  DvrGetHwidString(identifier, sizeof identifier);
  SystemGetDeviceType(device, 16);
  output::BeginRecord();
  output::Text("identifier", identifier);
  output::Text("device", device);
  output::Number("product", DvrGetProductType());
  output::Number("board", DvrGetBoardType());
  output::Number("oem", DvrGetHwidInformation(OEM_TYPE));
  output::Number("custom-oem", DvrGetHwidInformation(CUSTOM_OEM_TYPE));
  output::EndRecord();
  return kDone;
}

int SerialGet(const Arguments &) {
  StartLibrary();
  char serial[kSerialLength + 1];
  if (SystemGetSerialNumber(serial, kSerialLength) != 0) {
    return Failure("there is no serial number");
  }
  output::Single("serial", serial);
  return kDone;
}

int SerialSet(const Arguments &arguments) {
  char serial[kSerialLength + 1] = {};
  if (*arguments[0] == '\0' || strlen(arguments[0]) > static_cast<size_t>(kSerialLength)) {
    return UsageError("NUMBER has 1 to %d characters", static_cast<int>(kSerialLength));
  }
  StartLibrary();
  if (DvrGetHwidInformation(OEM_TYPE) == 8) {
    return Failure("this board's serial number is made from its network address");
  }
  snprintf(serial, sizeof serial, "%s", arguments[0]);
  if (SystemSetSerialNumber(serial, kSerialLength) == 0) return kDone;
  return Failure("the serial number cannot be saved");
}

int ShowStatus(const Arguments &) {
  StartLibrary();
  SystemCaps caps = {};
  SystemTime time = {};
  const int32_t load = SystemGetCpuUsage();
  if (load < 0 || SystemGetCaps(&caps) != 0 || SystemGetCurrentTime(&time) != 0) {
    return Failure("the kernel does not tell");
  }
  int32_t celsius = 0;
  const bool measured = ReadTemperature(&celsius);
  output::BeginRecord();
  ShowTime(time);
  output::Number("load-percent", load);
  output::Number("memory-total", static_cast<int64_t>(caps.totalRam));
  output::Number("memory-free", static_cast<int64_t>(caps.freeRam));
  if (measured) output::Number("celsius", celsius);
  output::Text("link", LinkState("eth0"));
  output::EndRecord();
  return kDone;
}

}  // namespace boardctl
