// The factory tool's settings.
#include <algorithm>
#include <utility>

#include "fuzz/fuzz.h"
#include "libsys/version.h"

namespace fuzz {
namespace {

using Slot = int32_t ToolConfig::*;
constexpr std::pair<const char *, Slot> kSlots[] = {
    {"Audio Input Number", &ToolConfig::audioInputNumber},
    {"Playback Limit Number", &ToolConfig::playbackLimitNumber},
    {"Max Encode", &ToolConfig::maxEncode},
    {"VgaResolution", &ToolConfig::vgaResolution},
    {"VgaHue", &ToolConfig::vgaHue},
    {"TvRight", &ToolConfig::tvRight},
    {"HDMI", &ToolConfig::hdmi},
    {"FROND_TYPE", &ToolConfig::frontType},
    {"HEHE_FRONT", &ToolConfig::frontType},
};

bool IsOneOf(int32_t word, std::initializer_list<int32_t> words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

}  // namespace

void Try(Input &input) {
  static const BoardFile file("/tool/tool_config.ini");
  FrontboardSubType = FrontboardTypeWord = FrontboardPanelModel = FrontboardVariantC = 0;
  const int32_t way = input.Below(16);
  const bool exists = way != 1, counts = way != 2;
  const auto &[key, slot] = kSlots[input.Below(std::size(kSlots))];
  const auto number = input.Get<int32_t>();
  // The last line is what counts, of one that is longer its first 1024 bytes.
  const std::string before = counts ? input.Rest() + "\n" : std::string(1024U + input.Byte(), '.');
  if (exists) file.Put(before + key + "=" + std::to_string(number) + "\n");
  ToolConfig config = {};
  Expect(DvrReadToolConfig(&config) == (exists ? 0 : -1), "the file is read");
  const bool isFront = slot == &ToolConfig::frontType;
  const int32_t kept = !exists || !counts || (isFront && number == 0) ? -1 : number;
  Expect(config.*slot == kept, "a number that is written is read");
  Expect(IsPadded(config.displayType) && config.reserved == (exists ? 0 : -1), "the other fields");
  Expect(IsOneOf(FrontboardTypeWord, {0, 1, 2}) && IsOneOf(FrontboardSubType, {0, 1, 2, 3, 4}) &&
             IsOneOf(FrontboardPanelModel, {0, 62, 78, 92, 99}) &&
             IsOneOf(FrontboardVariantC, {0, 1, 2}),
         "the front panel's words");
}

}  // namespace fuzz
