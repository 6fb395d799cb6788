// The factory tool's settings file: lines of a key and a value.
#include "System/version/tool_config.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <optional>

#include "Base/text_file.h"
#include "libsys/board_words.h"

using namespace libsys;

namespace {

constexpr const char *kFile = "/tool/tool_config.ini";
constexpr size_t kLineSize = 1024;
constexpr int32_t kVgaResolution = 8;
constexpr int32_t kHighestPlaybackLimit = 16;

// What the board itself says, for values that the file leaves to it.
struct Standards {
  int32_t audioInputs = 0;
  int32_t alarmInputs = 0;
  int32_t alarmOutputs = 0;
  int32_t playback = 0;
  int32_t maxEncode = -1;  // stays unset on boards without such a number
  int32_t vgaResolution = kVgaResolution;
};

enum class Rule : uint8_t { kCount, kPlaybackLimit, kNumber, kPicture, kText, kPanel, kVariant };

struct Key {
  const char *text;
  Rule rule;
  int32_t ToolConfig::*slot = nullptr;
  int32_t Standards::*standard = nullptr;
};

// In the order in which a line is searched for them.
constexpr std::array kKeys = {
    Key{"Audio Input Number=", Rule::kCount, &ToolConfig::audioInputNumber,
        &Standards::audioInputs},
    Key{"Alarm Input Number=", Rule::kCount, &ToolConfig::alarmInputNumber,
        &Standards::alarmInputs},
    Key{"Alarm Output Number=", Rule::kCount, &ToolConfig::alarmOutputNumber,
        &Standards::alarmOutputs},
    Key{"Playback Limit Number=", Rule::kPlaybackLimit, &ToolConfig::playbackLimitNumber,
        &Standards::playback},
    Key{"Max Encode=", Rule::kNumber, &ToolConfig::maxEncode, &Standards::maxEncode},
    Key{"Display Type=", Rule::kText},
    Key{"VgaResolution=", Rule::kNumber, &ToolConfig::vgaResolution, &Standards::vgaResolution},
    Key{"VgaHue=", Rule::kPicture, &ToolConfig::vgaHue},
    Key{"VgaBrightness=", Rule::kPicture, &ToolConfig::vgaBrightness},
    Key{"VgaContrast=", Rule::kPicture, &ToolConfig::vgaContrast},
    Key{"VgaSaturation=", Rule::kPicture, &ToolConfig::vgaSaturation},
    Key{"TvTop=", Rule::kPicture, &ToolConfig::tvTop},
    Key{"TvBottom=", Rule::kPicture, &ToolConfig::tvBottom},
    Key{"TvLeft=", Rule::kPicture, &ToolConfig::tvLeft},
    Key{"TvRight=", Rule::kPicture, &ToolConfig::tvRight},
    Key{"TvHue=", Rule::kPicture, &ToolConfig::tvHue},
    Key{"TvBrightness=", Rule::kPicture, &ToolConfig::tvBrightness},
    Key{"TvContrast=", Rule::kPicture, &ToolConfig::tvContrast},
    Key{"TvSaturation=", Rule::kPicture, &ToolConfig::tvSaturation},
    Key{"HDMI=", Rule::kPicture, &ToolConfig::hdmi},
    Key{"FROND_TYPE=", Rule::kPanel, &ToolConfig::frontType},
    Key{"HEHE_FRONT=", Rule::kVariant, &ToolConfig::frontType},
};

using Named = std::array<bool, kKeys.size()>;

constexpr void UnsetAll(ToolConfig &config) {
  for (const Key &key : kKeys) {
    if (key.slot != nullptr) config.*key.slot = -1;
  }
  config.reserved = -1;
}

constexpr ToolConfig NothingSet() {
  ToolConfig config = {};
  UnsetAll(config);
  return config;
}

// The counts leave a board that they do not name at 0.
Standards BoardStandards() {
  Standards standards;
  DvrGetAudioNumber(&standards.audioInputs);
  DvrGetAlarmInNumber(&standards.alarmInputs);
  DvrGetAlarmOutNumber(&standards.alarmOutputs);
  DvrGetPlaybackNumber(&standards.playback);
  DvrGetMaxEncodeNumber(&standards.maxEncode);
  standards.vgaResolution = identity::Override(identity::toolConfig.vgaResolution, kVgaResolution);
  return standards;
}

// The number at the start of a text, held to 32 bits; empty when there is none.
std::optional<int32_t> ReadNumber(const char *text) {
  char *end = nullptr;
  const long long number = strtoll(text, &end, 10);
  if (end == text) return std::nullopt;
  return static_cast<int32_t>(std::clamp<long long>(number, INT32_MIN, INT32_MAX));
}

// What an empty value makes of the slot.
int32_t Adjusted(Rule rule, int32_t slot, int32_t standard) {
  switch (rule) {
    case Rule::kCount:
      return slot == -1 || slot == 0 ? standard : std::min(slot, standard);
    case Rule::kPlaybackLimit:
      if (slot == 0) return -1;
      return slot != -1 && slot <= kHighestPlaybackLimit ? slot : standard;
    case Rule::kNumber:
      if (slot == 0) return -1;
      return slot != -1 ? slot : standard;
    default:
      return slot == 0 ? -1 : slot;
  }
}

void TakeText(const char *value, ToolConfig &config) {
  memset(config.displayType, 0, sizeof config.displayType);
  if (*value == '\r') return;
  memcpy(config.displayType, value, std::min(strlen(value), sizeof config.displayType - 1));
}

int32_t TakeFrontType(const char *value, ToolConfig &config) {
  config.frontType = ReadNumber(value).value_or(config.frontType);
  if (config.frontType == 0) config.frontType = -1;
  return config.frontType;
}

void TakePanel(const char *value, ToolConfig &config) {
  switch (const int32_t type = TakeFrontType(value, config)) {
    case 1:
    case 2:
      FrontboardTypeWord = type;
      FrontboardSubType = type;
      break;
    case 3:
    case 4:
      FrontboardSubType = type;
      break;
    case 92:
    case 78:
    case 62:
    case 99:
      FrontboardPanelModel = type;
      break;
    default:
      break;
  }
}

void TakeVariant(const char *value, ToolConfig &config) {
  const int32_t type = TakeFrontType(value, config);
  if (type == 1 || type == 2) FrontboardVariantC = type;
}

// Only an empty value in a file with CR-LF line ends leaves the slot to the board.
void TakeNumber(const Key &key, const char *value, const Standards &standards, ToolConfig &config) {
  int32_t &slot = config.*key.slot;
  const int32_t standard = key.standard != nullptr ? standards.*key.standard : 0;
  slot = *value == '\r' ? Adjusted(key.rule, slot, standard) : ReadNumber(value).value_or(0);
}

void Take(const Key &key, const char *value, const Standards &standards, ToolConfig &config) {
  switch (key.rule) {
    case Rule::kText:
      return TakeText(value, config);
    case Rule::kPanel:
      return TakePanel(value, config);
    case Rule::kVariant:
      return TakeVariant(value, config);
    default:
      return TakeNumber(key, value, standards, config);
  }
}

// A blank line holds no key, and one with "//" is a comment.
void TakeLine(const char *line, const Standards &standards, ToolConfig &config, Named &named) {
  if (strstr(line, "//") != nullptr) return;
  for (size_t i = 0; i < kKeys.size(); ++i) {
    const char *found = strstr(line, kKeys[i].text);
    if (found == nullptr) continue;
    named[i] = true;
    return Take(kKeys[i], found + strlen(kKeys[i].text), standards, config);
  }
}

// A line with its line end; what is beyond the size is dropped.
bool ReadLine(base::TextFile &file, std::array<char, kLineSize + 1> &line) {
  if (!file.ReadPiece(line)) return false;
  std::array<char, 64> rest = {};
  bool complete = memchr(line.data(), '\n', line.size()) != nullptr;
  while (!complete) {
    if (!file.ReadPiece(rest)) break;
    complete = memchr(rest.data(), '\n', rest.size()) != nullptr;
  }
  return true;
}

// A slot at 0 that no line has named is not set; a line can set a slot to 0.
void UnsetUnnamed(const Named &named, ToolConfig &config) {
  for (size_t i = 0; i < kKeys.size(); ++i) {
    if (kKeys[i].slot == nullptr || named[i]) continue;
    int32_t &slot = config.*kKeys[i].slot;
    if (slot == 0) slot = -1;
  }
}

}  // namespace

constexpr ToolConfig identity::kNothingSet = NothingSet();
constinit ToolConfig identity::toolConfig = kNothingSet;

int32_t DvrReadToolConfig(ToolConfig *out) {
  const Standards standards = BoardStandards();
  base::TextFile file(kFile);
  if (!file) {
    printf("Open  %s failed ! In file %s  Line %d !\n", kFile, "System/version.c", 1291);
    UnsetAll(*out);
    return -1;
  }
  Named named = {};
  std::array<char, kLineSize + 1> line = {};
  while (ReadLine(file, line)) TakeLine(line.data(), standards, *out, named);
  UnsetUnnamed(named, *out);
  return 0;
}
