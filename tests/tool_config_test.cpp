// The factory tool's settings file, and what the system-information start makes of it.
#include <string.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "libsys/frontboard.h"
#include "libsys/version.h"
#include "tests/support/board_test.h"
#include "tests/support/table.h"

namespace {

using testing::HasSubstr;

constexpr const char *kFile = "/tool/tool_config.ini";

struct Slot {
  std::string key;
  int32_t ToolConfig::*slot;
};
const Slot kSlots[] = {
    {"Audio Input Number=", &ToolConfig::audioInputNumber},
    {"Alarm Input Number=", &ToolConfig::alarmInputNumber},
    {"Alarm Output Number=", &ToolConfig::alarmOutputNumber},
    {"Playback Limit Number=", &ToolConfig::playbackLimitNumber},
    {"Max Encode=", &ToolConfig::maxEncode},
    {"VgaResolution=", &ToolConfig::vgaResolution},
    {"VgaHue=", &ToolConfig::vgaHue},
    {"VgaBrightness=", &ToolConfig::vgaBrightness},
    {"VgaContrast=", &ToolConfig::vgaContrast},
    {"VgaSaturation=", &ToolConfig::vgaSaturation},
    {"TvTop=", &ToolConfig::tvTop},
    {"TvBottom=", &ToolConfig::tvBottom},
    {"TvLeft=", &ToolConfig::tvLeft},
    {"TvRight=", &ToolConfig::tvRight},
    {"TvHue=", &ToolConfig::tvHue},
    {"TvBrightness=", &ToolConfig::tvBrightness},
    {"TvContrast=", &ToolConfig::tvContrast},
    {"TvSaturation=", &ToolConfig::tvSaturation},
    {"HDMI=", &ToolConfig::hdmi},
    {"FROND_TYPE=", &ToolConfig::frontType},
};

// Every slot that is set, in the table's order, the text, and the panel words that changed.
std::string Text(const ToolConfig &config) {
  std::ostringstream text;
  for (const Slot &slot : kSlots) {
    if (config.*slot.slot != -1) text << slot.key << config.*slot.slot << ' ';
  }
  if (config.reserved != 0) text << "reserved=" << config.reserved << ' ';
  if (config.displayType[0] != '\0') text << "display=" << config.displayType << ' ';
  if (FrontboardSubType != 0) text << "sub=" << FrontboardSubType << ' ';
  if (FrontboardTypeWord != 0) text << "type=" << FrontboardTypeWord << ' ';
  if (FrontboardPanelModel != 0) text << "model=" << FrontboardPanelModel << ' ';
  if (FrontboardVariantC != 0) text << "variantC=" << FrontboardVariantC << ' ';
  return text.str();
}

class ToolConfigTest : public test::BoardTest {
 protected:
  // 4 audio inputs, 4 alarm inputs, 1 alarm output, 4 playback channels, encode number 4
  void UseProduct5() {
    UseBoard(test::SmallBoard(0x404, 0));
    DvrReadBootParameters();
    ASSERT_EQ(5, DvrGetProductType());
  }

  // What the file makes of a record, read with the panel words as at the process's start.
  std::string Read(const std::string &file, ToolConfig config = {}) {
    vboard::WriteFile(vboard::RootPath(kFile), file);
    FrontboardSubType = FrontboardTypeWord = FrontboardPanelModel = FrontboardVariantC = 0;
    EXPECT_EQ(0, DvrReadToolConfig(&config));
    return Text(config);
  }
};

TEST_F(ToolConfigTest, EveryKeySetsItsOwnSlot) {
  UseProduct5();
  std::string file;
  std::string all;
  for (const Slot &slot : kSlots) {
    const std::string line = slot.key + "5";
    EXPECT_EQ(line + " ", Read(line + "\n"));
    EXPECT_EQ(line + " ", Read("x " + line));
    file += line + "\r\n";
    all += line + " ";
  }
  EXPECT_EQ(all, Read(file));
}

TEST_F(ToolConfigTest, EmptyValuesInAFileWithCarriageReturns) {
  UseProduct5();
  for (test::Row &row : test::Table("tool_config.txt", "empty values")) {
    SCOPED_TRACE(row["key"] + " " + row["before"]);
    std::string key = row["key"] + "=";
    std::replace(key.begin(), key.end(), '_', ' ');
    const Slot *slot = std::find_if(std::begin(kSlots), std::end(kSlots),
                                    [&](auto &one) { return one.key == key; });
    ASSERT_NE(std::end(kSlots), slot);
    ToolConfig config = {};
    config.*slot->slot = std::stoi(row["before"]);
    EXPECT_EQ(row["after"] == "-1" ? "" : key + row["after"] + " ", Read(key + "\r\n", config));
  }
}

TEST_F(ToolConfigTest, Lines) {
  UseProduct5();
  const std::string filler(1024 - strlen("HDMI=5"), 'x');
  struct {
    std::string file;
    const char *expected;
  } const rows[] = {
      {"", ""},
      {"\n \t\r\n\n", ""},
      {"Audio Input Number=16\n", "Audio Input Number=16 "},
      {"HDMI=\n", "HDMI=0 "},
      {"HDMI=no\nTvTop=0\r\n", "TvTop=0 HDMI=0 "},
      {"HDMI=7\nHDMI=8", "HDMI=8 "},
      {"TvHue=12px\n", "TvHue=12 "},
      {"TvHue=99999999999999999999\n", "TvHue=2147483647 "},
      {"TvHue=-99999999999\n", "TvHue=-2147483648 "},
      {"// Max Encode=3\nMax Encode=4 // three\n", ""},
      {"HDMI=1 Max Encode=2\n", "Max Encode=2 "},
      {"hdmi=1\nHDMI =1\nUnknown=3\n", ""},
      {"Display Type=VGA 7\n", "display=VGA 7\n "},
      {"Display Type=VGA", "display=VGA "},
      {"Display Type=VGA\r\nDisplay Type=\r\n", ""},
      {"Display Type=0123456789012345678901234567890123456789\n",
       "display=0123456789012345678901234567890 "},
      {"FROND_TYPE=1\n", "FROND_TYPE=1 sub=1 type=1 "},
      {"FROND_TYPE=2\n", "FROND_TYPE=2 sub=2 type=2 "},
      {"FROND_TYPE=3\n", "FROND_TYPE=3 sub=3 "},
      {"FROND_TYPE=4\r\n", "FROND_TYPE=4 sub=4 "},
      {"FROND_TYPE=5\n", "FROND_TYPE=5 "},
      {"FROND_TYPE=62\n", "FROND_TYPE=62 model=62 "},
      {"FROND_TYPE=78\n", "FROND_TYPE=78 model=78 "},
      {"FROND_TYPE=92\n", "FROND_TYPE=92 model=92 "},
      {"FROND_TYPE=99\n", "FROND_TYPE=99 model=99 "},
      {"FROND_TYPE=0\nHEHE_FRONT=0\n", ""},
      {"FROND_TYPE=2\nFROND_TYPE=\r\n", "FROND_TYPE=2 sub=2 type=2 "},
      {"HEHE_FRONT=1\n", "FROND_TYPE=1 variantC=1 "},
      {"FROND_TYPE=3\nHEHE_FRONT=2\n", "FROND_TYPE=2 sub=3 variantC=2 "},
      {"HEHE_FRONT=3\n", "FROND_TYPE=3 "},
      {"FROND_TYPE=2\nHEHE_FRONT=?\n", "FROND_TYPE=2 sub=2 type=2 variantC=2 "},
      // What is beyond 1024 bytes of a line is dropped, and the next line is whole.
      {filler + "HDMI=5678\nTvTop=1\n", "TvTop=1 HDMI=5 "},
      {filler + "xHDMI=5\nTvTop=1\n", "TvTop=1 HDMI=0 "},
      {filler + "xxxxxxHDMI=5\nTvTop=1\n", "TvTop=1 "},
      {std::string(5000, 'x') + "\nTvTop=1\n", "TvTop=1 "},
      {std::string("HDMI=1\0 \nTvTop=1\n\0TvLeft=1\n", 27), "TvTop=1 HDMI=1 "},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.file);
    EXPECT_EQ(row.expected, Read(row.file));
  }
}

TEST_F(ToolConfigTest, MissingFileUnsetsEveryNumber) {
  UseProduct5();
  ToolConfig config = {};
  EXPECT_EQ("Open  /tool/tool_config.ini failed ! In file System/version.c  Line 1291 !\n",
            test::Printed([&] { EXPECT_EQ(-1, DvrReadToolConfig(&config)); }));
  EXPECT_EQ("reserved=-1 ", Text(config));
}

// The start on a board: a description's further sections, the tool's file or none, and what
// the board answers afterwards.
struct Start {
  uint64_t identifier;
  uint32_t oem;
  const char *sections;
  const char *file;
  const char *facts;  // counts 1 to 4 and 26, encode number, words A B C D
};

constexpr uint64_t kSecond = 0x4120000000000000;  // 4 channels, product type 2
constexpr Start kStarts[] = {
    {0x404, 0, "", nullptr, "0 1 0 0 4 4, -1 -1 0 -1"},
    {0x404, 0, "", "FROND_TYPE=1\n", "0 1 0 0 4 4, -1 -1 0 -1"},
    {0x404, 0, "",
     "Audio Input Number=2\nAlarm Input Number=9\nAlarm Output Number=3\nHDMI=1\nMax Encode=0\n",
     "2 9 3 0 4 0, -1 -1 0 -1"},
    // Without alarm lines of its own the outputs' number counts for both.
    {0x10, 0, "", "Alarm Input Number=9\nAlarm Output Number=3\n", "0 3 3 0 4 0, -1 -1 0 -1"},
    {kSecond, 4, "", "FROND_TYPE=1\n", "4 4 1 1 4 4, -1 -1 0 -1"},
    {kSecond, 4, "", "HDMI=0\nHEHE_FRONT=2\n", "4 4 1 0 4 4, -1 -1 2 -1"},
    {kSecond, 4, "",
     "HDMI=\r\nPlayback Limit Number=3\nAudio Input Number=2\nAlarm Input Number=9\nAlarm Output "
     "Number=5\n",
     "2 9 5 1 3 4, -1 -1 0 -1"},
    // A limit counts from 1 to 16.
    {kSecond, 4, "", "Playback Limit Number=0\n", "4 4 1 1 4 4, -1 -1 0 -1"},
    {kSecond, 4, "", "Playback Limit Number=1\n", "4 4 1 1 1 4, -1 -1 0 -1"},
    {kSecond, 4, "", "Playback Limit Number=16\n", "4 4 1 1 16 4, -1 -1 0 -1"},
    {kSecond, 4, "", "Playback Limit Number=17\n", "4 4 1 1 4 4, -1 -1 0 -1"},
    // A number that the file leaves to the board twice is the board's own.
    {kSecond, 4, "", "Max Encode=\r\nMax Encode=\r\n", "4 4 1 1 4 4, -1 -1 0 -1"},
    {kSecond, 6, "[gpio]\ninputs = [[1, 0, 0], [1, 4, 1]]\n", "", "4 1 1 1 4 4, 0 -1 0 -1"},
    {kSecond, 6, "[gpio]\ninputs = [[1, 0, 1], [1, 4, 0]]\n", "", "4 1 1 1 4 4, 1 -1 0 0"},
    {kSecond, 6, "[gpio]\ninputs = [[1, 0, 1], [1, 4, 1]]\n", "", "4 1 1 1 4 4, 1 -1 0 1"},
    {kSecond, 8, "[gpio]\ninputs = [[1, 5, 1]]\n", "", "4 4 1 1 4 4, -1 1 0 -1"},
    {kSecond, 8, "", "", "4 0 0 1 4 4, -1 0 0 -1"},
};

void PrintFacts() {
  for (const HwidCommand command :
       {AUDIO_CHANNEL, ALARM_IN, ALARM_OUT, HDMI_SUPPORT, PLAYBACK_NUM}) {
    printf("%d ", DvrGetHwidInformation(command));
  }
  int32_t encode = -1;
  DvrGetMaxEncodeNumber(&encode);
  printf("%d, %d %d %d %d", encode, FrontboardVariantA, FrontboardVariantB, FrontboardVariantC,
         FrontboardVariantD);
}

TEST_F(ToolConfigTest, SystemInformationStartPutsItInForce) {
  for (const Start &start : kStarts) {
    SCOPED_TRACE(std::to_string(start.oem) + " " + (start.file ? start.file : "none"));
    UseBoard(test::SmallBoard(start.identifier, start.oem, start.sections));
    const test::Child child = test::InChild(
        [&] {
          // Nothing of an earlier start is left in the numbers.
          const std::string file = vboard::RootPath(kFile);
          vboard::WriteFile(file, "Max Encode=9\nPlayback Limit Number=3\nVgaResolution=3\n");
          int32_t failed = DvrSystemInformationStart();
          vboard::WriteFile(file, "VgaResolution=\r\n");
          ToolConfig config = {};
          config.vgaResolution = -1;
          failed |= DvrReadToolConfig(&config) | static_cast<int32_t>(config.vgaResolution != 3);
          std::filesystem::remove(file);
          if (start.file != nullptr) vboard::WriteFile(file, start.file);
          failed |= DvrSystemInformationStart();
          printf("facts: ");
          PrintFacts();
          putchar('\n');
          return failed;
        },
        {"/dev/hi_gpio", "/dev/gpioi2c"});
    EXPECT_EQ(0, child.exitStatus);
    // A leak check at its end may take it to the next synchronisation of its clock.
    EXPECT_THAT(child.printed, testing::HasSubstr(std::string("facts: ") + start.facts + "\n"));
  }
}

TEST_F(ToolConfigTest, SystemInformationStartNamesTheChips) {
  Keep({"/dev/gpioi2c"});
  const char *const videoChips[] = {"No chip", "TW2826", "TW2868",         "TW2835",
                                    "TW2836",  "TW2864", "TW2867(TW2866)", "Unknow"};
  const char *const dspChips[] = {"Unknow",  "500M BF561", "600m BF561", "DM643",
                                  "PNX1701", "HI3511",     "VS2801",     "Hi3515"};
  const char *const controlChips[] = {"Unknow",         "PNX1700 control", "S3C2510 control",
                                      "tw28XX control", "HI3515 control",  "Unknow",
                                      "Unknow",         "Unknow"};
  for (uint64_t code = 0; code < 8; ++code) {
    SCOPED_TRACE(code);
    const bool bit = code % 2 != 0;
    const uint64_t flags = uint64_t{bit} << 37 | uint64_t{bit} << 45;
    UseBoard(test::SmallBoard(4 | code << 23 | code << 26 | code << 29 | flags, 0));
    const std::string printed = test::Printed([] { DvrSystemInformationStart(); });
    EXPECT_THAT(printed,
                HasSubstr(std::string("\nLIBDVR : video chip : ") + videoChips[code] + "\n"));
    EXPECT_THAT(printed, HasSubstr(std::string("\nLIBDVR : DSP chip : ") + dspChips[code] + "\n"));
    EXPECT_THAT(printed,
                HasSubstr(std::string("\nLIBDVR : control chip : ") + controlChips[code] + "\n"));
    EXPECT_THAT(printed, HasSubstr(std::string("\nLIBDVR : disk interface : ") +
                                   (bit ? "PATA\n" : "SATA\n")));
    EXPECT_THAT(printed, HasSubstr(bit ? "\nLIBDVR : alt : alt\n" : "\nLIBDVR : alt : not alt\n"));
  }
}

}  // namespace
