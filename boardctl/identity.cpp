// Which board this is, and how it does.
#include <stdio.h>
#include <string.h>

#include <array>

#include "boardctl/command.h"
#include "boardctl/output.h"
#include "libsys/network.h"
#include "libsys/system.h"
#include "libsys/version.h"

namespace {

constexpr uint32_t kCommands = 32;
constexpr int32_t kSerialLength = 32;

// By the command's number; the names of libsys/version.h.
constexpr std::array<const char *, kCommands> kNames = {
    "VIDEO_CHANNEL", "AUDIO_CHANNEL",   "ALARM_IN",         "ALARM_OUT",      "HDMI_SUPPORT",
    "VIDEO_CHIP",    "DSP_CHIP",        "CONTROL_CHIP",     "HWID_FLAG_32",   "HWID_FLAG_33",
    "HWID_FLAG_34",  "HWID_FLAG_35",    "HWID_FLAG_36",     "DISK_INTERFACE", "HWID_FLAG_38",
    "CDRW_SUPPORT",  "HWID_FIELD_42",   "ALT_SUPPORT",      "DISK_NUM",       "NET_CARD",
    "DSP_NUM",       "HWID_FLAG_53",    "HWID_RESERVED_22", "HWID_FLAG_40",   "HWID_FLAG_41",
    "HWID_FIELD_54", "PLAYBACK_NUM",    "PRODUCT_TYPE",     "HWID_FIELD_21",  "HWID_FIELD_42B",
    "OEM_TYPE",      "CUSTOM_OEM_TYPE",
};

void ShowCapability(uint32_t command) {
  output::BeginRecord();
  output::Number("command", command);
  output::Number("value", DvrGetHwidInformation(command));
  output::Text("name", kNames[command]);
  output::EndRecord();
}

const char *LinkName() {
  switch (NetGetLinkState("eth0")) {
    case 0:
      return "up";
    case -1:
      return "down";
    default:
      return "unknown";
  }
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
  if (SystemGetSerialNumber(serial, kSerialLength) != 0)
    return Failure("there is no serial number");
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
  char text[64];
  snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", time.year, time.month, time.day,
           time.hour, time.minute, time.second);
  int32_t celsius = 0;
  const bool measured = ReadTemperature(&celsius);
  output::BeginRecord();
  output::Text("time", text);
  output::Number("load-percent", load);
  output::Number("memory-total", static_cast<int64_t>(caps.totalRam));
  output::Number("memory-free", static_cast<int64_t>(caps.freeRam));
  if (measured) output::Number("celsius", celsius);
  output::Text("link", LinkName());
  output::EndRecord();
  return kDone;
}
