#include "System/tool_config.h"

namespace identity {

// Until the factory tool's file has been read nothing is set.
ToolConfig toolConfig = {
    .displayType = {},
    .frontType = -1,
    .audioInputNumber = -1,
    .alarmInputNumber = -1,
    .alarmOutputNumber = -1,
    .playbackLimitNumber = -1,
    .reserved = -1,
    .maxEncode = -1,
    .vgaResolution = -1,
    .vgaHue = -1,
    .vgaBrightness = -1,
    .vgaContrast = -1,
    .vgaSaturation = -1,
    .tvTop = -1,
    .tvBottom = -1,
    .tvLeft = -1,
    .tvRight = -1,
    .tvHue = -1,
    .tvBrightness = -1,
    .tvContrast = -1,
    .tvSaturation = -1,
    .hdmi = -1,
};

}  // namespace identity
