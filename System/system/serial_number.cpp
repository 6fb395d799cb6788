// The board's serial number and what it can do.
#include <stdio.h>
#include <string.h>

#include <algorithm>

#include "libsys/board_words.h"
#include "libsys/boot.h"
#include "libsys/network.h"
#include "libsys/system.h"
#include "libsys/version.h"

namespace {

constexpr const char *kVariable = "ID";
constexpr int32_t kVariableSize = 32;
constexpr int32_t kMacSerialSize = 20;  // of which 15 are used

// Copies at most length characters and terminates behind them.
void CopyText(char *text, int32_t length, const char *from) {
  const size_t copied = strnlen(from, static_cast<size_t>(length));
  memcpy(text, from, copied);
  text[copied] = '\0';
}

// Boards of OEM type 8 have no number of their own: the network card's address makes one.
int32_t SerialNumberFromMac(char *text, int32_t length) {
  uint8_t mac[6];
  if (NetWorkGetHwAddr("eth0", mac, sizeof mac) != 0) {
    puts("Test : NetGetMACTest faield");
    return -1;
  }
  char serial[kMacSerialSize];
  snprintf(serial, sizeof serial, "%s%02x%02x%02x%02x%02x%02x",
           FrontboardVariantB != 0 ? "MSB" : "MSA", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
  CopyText(text, std::min(length, kMacSerialSize), serial);
  return 0;
}

}  // namespace

int32_t SystemGetSerialNumber(char *text, int32_t length) {
  length = std::max(length, 0);
  if (DvrGetHwidInformation(OEM_TYPE) == 8) return SerialNumberFromMac(text, length);
  char serial[kVariableSize + 1] = {};
  if (BootEnvGet(kVariable, serial, kVariableSize) != 0) {
    puts("LIBDVR : Get SerialNumber failed");
    return -1;
  }
  CopyText(text, length, serial);
  return 0;
}

int32_t SystemSetSerialNumber(char *text, int32_t length) {
  if (text == nullptr || length < 0 ||
      strnlen(text, static_cast<size_t>(length) + 1) > static_cast<size_t>(length)) {
    puts("LIBDVR : Invaid prama");
    return -1;
  }
  text[length] = '\0';
  if (BootEnvSet(kVariable, text) == 0) return 0;
  puts("LIBDVR : SystemSetSerialNumber faield");
  return -1;
}

int32_t SystemGetAbility(SystemAbility *ability) {
  const auto flag = [](uint32_t command) {
    return static_cast<uint8_t>(DvrGetHwidInformation(command));
  };
  // All boards have it but those of chip/board type 2 and OEM type 2 with other than 16 channels.
  const bool bit0 = DvrGetBoardType() != 2 || DvrGetHwidInformation(OEM_TYPE) != 2 ||
                    DvrGetHwidInformation(VIDEO_CHANNEL) == 16;
  *ability = {
      0,
      {static_cast<uint8_t>(flag(HWID_FLAG_53) | flag(HWID_FLAG_38) * 2), flag(AUDIO_CHANNEL),
       flag(HWID_FLAG_34), flag(HWID_FLAG_33), 1, 0, 0, static_cast<uint8_t>(6 | bit0), 0},
      DvrBoardByte};
  return 0;
}
