// The system-information start: reads what the board is, settles what depends on it, and
// prints it.
#include <stdio.h>

#include <array>
#include <span>

#include "System/version/tool_config.h"
#include "libsys/board_words.h"
#include "libsys/system.h"
#include "libsys/version.h"

using namespace libsys;

namespace {

constexpr const char *kUnknown = "Unknow";

struct Name {
  int32_t code;
  const char *text;
};

constexpr std::array kVideoChips = {
    Name{0, "No chip"}, Name{1, "TW2826"}, Name{2, "TW2868"},         Name{3, "TW2835"},
    Name{4, "TW2836"},  Name{5, "TW2864"}, Name{6, "TW2867(TW2866)"},
};
constexpr std::array kDspChips = {
    Name{1, "500M BF561"}, Name{2, "600m BF561"}, Name{3, "DM643"},  Name{4, "PNX1701"},
    Name{5, "HI3511"},     Name{6, "VS2801"},     Name{7, "Hi3515"},
};
constexpr std::array kControlChips = {
    Name{1, "PNX1700 control"},
    Name{2, "S3C2510 control"},
    Name{3, "tw28XX control"},
    Name{4, "HI3515 control"},
};
constexpr std::array kDiskInterfaces = {Name{0, "SATA"}, Name{1, "PATA"}};
constexpr std::array kAlt = {Name{0, "not alt"}, Name{1, "alt"}};

struct NamedFact {
  const char *what;
  HwidCommand command;
  std::span<const Name> names;
};
constexpr std::array kNamedFacts = {
    NamedFact{"video chip", VIDEO_CHIP, kVideoChips},
    NamedFact{"DSP chip", DSP_CHIP, kDspChips},
    NamedFact{"control chip", CONTROL_CHIP, kControlChips},
    NamedFact{"disk interface", DISK_INTERFACE, kDiskInterfaces},
    NamedFact{"alt", ALT_SUPPORT, kAlt},
};

struct CountFact {
  const char *what;
  HwidCommand command;
};
constexpr std::array kCountFacts = {
    CountFact{"video channels", VIDEO_CHANNEL},
    CountFact{"audio channels", AUDIO_CHANNEL},
    CountFact{"playback channels", PLAYBACK_NUM},
    CountFact{"alarm inputs", ALARM_IN},
    CountFact{"alarm outputs", ALARM_OUT},
    CountFact{"HDMI outputs", HDMI_SUPPORT},
    CountFact{"disks", DISK_NUM},
    CountFact{"network cards", NET_CARD},
};

const char *NameOf(const NamedFact &fact) {
  const int32_t code = DvrGetHwidInformation(fact.command);
  for (const Name &name : fact.names) {
    if (name.code == code) return name.text;
  }
  return kUnknown;
}

// The record is filled aside, so that the numbers the file leaves to the board are the board's
// own and not those of an earlier start.
void ReadToolConfig() {
  identity::toolConfig = identity::kNothingSet;
  ToolConfig config = {};
  DvrReadToolConfig(&config);
  identity::toolConfig = config;
}

void SetFrontboardVariants() {
  int32_t first = -1;
  int32_t second = -1;
  DvrReadBoardStraps(&first, &second);
  FrontboardVariantA = first;
  FrontboardVariantD = second;
  FrontboardVariantB = DvrDetectAlarmBoard();
}

void Print() {
  char identifier[17];
  DvrGetHwidString(identifier, sizeof identifier);
  printf("LIBDVR : hardware identifier : %s\n", identifier);
  printf("LIBDVR : OEM type : %d\n", DvrGetHwidInformation(OEM_TYPE));
  printf("LIBDVR : custom OEM type : %d\n", DvrGetHwidInformation(CUSTOM_OEM_TYPE));
  printf("LIBDVR : product type : %d\n", DvrGetProductType());
  printf("LIBDVR : board type : %d\n", DvrGetBoardType());
  for (const CountFact &fact : kCountFacts) {
    printf("LIBDVR : %s : %d\n", fact.what, DvrGetHwidInformation(fact.command));
  }
  for (const NamedFact &fact : kNamedFacts) {
    printf("LIBDVR : %s : %s\n", fact.what, NameOf(fact));
  }
}

}  // namespace

int32_t DvrSystemInformationStart() {
  DvrReadBootParameters();
  ReadToolConfig();
  SetFrontboardVariants();
  Print();
  I2cOpen();
  return 0;
}
