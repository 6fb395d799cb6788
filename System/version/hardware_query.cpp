// The hardware query: one answer for every command, by the identifier's generation.
#include "libsys/version.h"

#include <stdio.h>

#include <array>

#include "Base/message.h"
#include "System/version/boot_parameters.h"
#include "System/version/first_generation.h"
#include "System/version/products.h"
#include "System/version/tool_config.h"

using namespace libsys;

namespace {

using identity::Bits;
using identity::OemType;
using identity::Override;
using identity::toolConfig;
using product::Product;

// An answer is a field of the identifier, a constant or what a rule returns.
struct Answer {
  enum Kind : uint8_t { kField, kConstant, kRule } kind;
  uint8_t first = 0;
  uint8_t last = 0;
  int8_t constant = 0;
  int32_t (*rule)() = nullptr;
};

constexpr Answer Field(uint8_t first, uint8_t last) {
  return {Answer::kField, first, last};
}
constexpr Answer Flag(uint8_t bit) {
  return Field(bit, bit);
}
constexpr Answer Always(int8_t value) {
  return {Answer::kConstant, 0, 0, value};
}
constexpr Answer Rule(int32_t (*rule)()) {
  return {Answer::kRule, 0, 0, 0, rule};
}

int32_t Get(const Answer &answer) {
  switch (answer.kind) {
    case Answer::kField:
      return Bits(answer.first, answer.last);
    case Answer::kConstant:
      return answer.constant;
    default:
      return answer.rule();
  }
}

// The counts by product leave a board that they do not name at 0.
int32_t CountByProduct(int32_t (*get)(int32_t *)) {
  int32_t count = 0;
  get(&count);
  return count;
}

int32_t CustomOemType() {
  return static_cast<int32_t>(identity::CustomOemCode() & 0xff);
}

int32_t Playback() {
  return CountByProduct(DvrGetPlaybackNumber);
}

int32_t Audio() {
  return Override(toolConfig.audioInputNumber, CountByProduct(DvrGetAudioNumber));
}

int32_t AlarmIn() {
  return Override(toolConfig.alarmInputNumber, CountByProduct(DvrGetAlarmInNumber));
}

int32_t AlarmOut() {
  return Override(toolConfig.alarmOutputNumber, CountByProduct(DvrGetAlarmOutNumber));
}

int32_t Hdmi() {
  return Override(toolConfig.hdmi, 1);
}

int32_t Field42() {
  const int32_t field = product::Get(&Product::field42);
  return field != product::kNone ? field : Bits(48, 50);
}

int32_t Disks() {
  return product::Get(&Product::hasPciDisks) != 0 ? DvrGetPciDiskNumber() : Bits(41, 44);
}

int32_t Field54() {
  return product::Get(&Product::field54);
}

int32_t DspNumber() {
  return product::Get(&Product::dsps);
}

int32_t ProductCode() {
  return product::Get(&Product::code);
}

struct Item {
  HwidCommand command;
  Answer first;   // on first-generation boards
  Answer second;  // on second-generation boards
};

constexpr std::array kItems = {
    Item{VIDEO_CHANNEL, Field(0, 4), Rule(DvrGetVideoChannelNumber)},
    Item{AUDIO_CHANNEL, Rule(first_generation::AudioChannels), Rule(Audio)},
    Item{ALARM_IN, Rule(first_generation::AlarmInputs), Rule(AlarmIn)},
    Item{ALARM_OUT, Rule(first_generation::AlarmOutputs), Rule(AlarmOut)},
    Item{HDMI_SUPPORT, Flag(20), Rule(Hdmi)},
    Item{VIDEO_CHIP, Field(23, 25), Field(0, 7)},
    Item{DSP_CHIP, Field(26, 28), Always(1)},
    Item{CONTROL_CHIP, Field(29, 31), Always(1)},
    Item{HWID_FLAG_32, Flag(32), Always(1)},
    Item{HWID_FLAG_33, Flag(33), Always(0)},
    Item{HWID_FLAG_34, Flag(34), Always(0)},
    Item{HWID_FLAG_35, Flag(35), Always(0)},
    Item{HWID_FLAG_36, Flag(36), Always(0)},
    Item{DISK_INTERFACE, Flag(37), Always(0)},
    Item{HWID_FLAG_38, Flag(38), Always(0)},
    Item{CDRW_SUPPORT, Flag(39), Always(1)},
    Item{HWID_FIELD_42, Field(42, 44), Rule(Field42)},
    Item{ALT_SUPPORT, Flag(45), Always(1)},
    Item{DISK_NUM, Rule(first_generation::Disks), Rule(Disks)},
    Item{NET_CARD, Flag(48), Flag(48)},
    Item{DSP_NUM, Field(50, 52), Rule(DspNumber)},
    Item{HWID_FLAG_53, Flag(53), Always(0)},
    Item{HWID_RESERVED_22, Always(0), Always(0)},
    Item{HWID_FLAG_40, Flag(40), Always(1)},
    Item{HWID_FLAG_41, Flag(41), Always(1)},
    Item{HWID_FIELD_54, Rule(first_generation::Field54), Rule(Field54)},
    Item{PLAYBACK_NUM, Rule(Playback), Rule(Playback)},
    Item{PRODUCT_TYPE, Field(60, 63), Rule(ProductCode)},
    Item{HWID_FIELD_21, Field(21, 22), Rule(ProductCode)},
    Item{HWID_FIELD_42B, Field(42, 44), Always(1)},
    Item{OEM_TYPE, Rule(OemType), Rule(OemType)},
    Item{CUSTOM_OEM_TYPE, Rule(CustomOemType), Rule(CustomOemType)},
};

constexpr bool InOrder() {
  for (size_t i = 0; i < kItems.size(); ++i) {
    if (kItems[i].command != i) return false;
  }
  return kItems.size() == CUSTOM_OEM_TYPE + 1;
}
static_assert(InOrder());

}  // namespace

int32_t DvrGetHwidInformation(uint32_t command) {
  const int32_t generation = identity::Generation();
  if (command >= kItems.size()) {
    base::PrintAt({"System/version.c", generation == 0 ? 548 : 781}, "Invalid Dvr Info Cmd\n");
    return generation;  // on purpose
  }
  const Item &item = kItems[command];
  return Get(generation == 0 ? item.first : item.second);
}

int32_t DvrGetHwidString(char *buffer, int32_t length) {
  if (buffer == nullptr || length <= 15) {
    puts("LIBDVR : Get hwid failed, length must > 16");
    return -1;
  }
  const uint64_t identifier = identity::Identifier();
  snprintf(buffer, static_cast<size_t>(length), "%08X%08X", static_cast<uint32_t>(identifier >> 32),
           static_cast<uint32_t>(identifier));
  buffer[16] = '\0';  // on purpose for length 16 too: callers give 17 bytes
  return 0;
}

int32_t DvrGetHwidStringByPointer(char *buffer, const int32_t *length) {
  return DvrGetHwidString(buffer, length != nullptr ? *length : 0);
}

int32_t DvrGetOemType(uint32_t *out) {
  *out = identity::OemCode();
  return 0;
}

int32_t DvrGetVideoChannelNumber() {
  switch (const int32_t code = Bits(51, 55)) {
    case 9:
      return 16;
    case 10:
      return 24;
    case 11:
      return 32;
    default:
      return code;
  }
}
