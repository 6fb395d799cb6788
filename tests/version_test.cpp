// Boot parameters and the hardware query.
#include "libsys/version.h"

#include <errno.h>
#include <string.h>

#include <filesystem>

#include "tests/support/identity_test.h"

namespace {

using test::First;
using test::Printed;
using test::Second;

class VersionTest : public test::IdentityTest {};

// The identifier and the OEM codes.
void PrintIdentity() {
  char hwid[17];
  DvrGetHwidString(hwid, sizeof hwid);
  uint32_t oem = 0;
  EXPECT_EQ(0, DvrGetOemType(&oem));
  printf("%s %x %x %x", hwid, oem, static_cast<unsigned>(DvrGetHwidInformation(OEM_TYPE)),
         static_cast<unsigned>(DvrGetHwidInformation(CUSTOM_OEM_TYPE)));
}

TEST_F(VersionTest, BootParameters) {
  struct {
    const char *parameters, *patch;  // null: no file
    const char *printed;
  } const rows[] = {
      {"product=0123456789ABCDEF\noem 8\n", nullptr, "0123456789ABCDEF 8 8 8"},
      {"oem 1ff\nthe product=f", "oem\tAb\n", "000000000000000F 1ff 1ff ab"},
      // The first line that has the word counts, whatever else it holds.
      {"product 1\nproduct=2\noem: 0x123\noem 7\n", "x 7\nmy oem\noem 5\n",
       "0000000000000001 123 123 23"},
      {"product=12x4\noem 80000107\n", "oem 305", "0000000000000012 80000107 80000107 5"},
      // No more than 20 digits are read.
      {"product=00000000000000000012345\n", "", "0000000000000012 0 0 0"},
      {"product=\noem\n", "oem 9", "0000000000000000 0 0 9"},
      {nullptr, nullptr, "0000000000000000 0 0 0"},
      // A piece of a line is 31 characters long.
      {"------------------------product=7\nproduct=5", nullptr, "0000000000000000 0 0 0"},
      {"-------------------------product=7\nproduct=5", nullptr, "0000000000000005 0 0 0"}};
  const auto put = [](const char *path, const char *text) {
    std::filesystem::remove(vboard::RootPath(path));
    if (text != nullptr) vboard::WriteFile(vboard::RootPath(path), text);
  };
  const auto run = [] {
    DvrReadBootParameters();
    PrintIdentity();
    return 0;
  };
  EXPECT_EQ("0000000000000000 0 0 0", Printed(PrintIdentity));
  for (const auto &row : rows) {
    put("/proc/vss/bootpara", row.parameters);
    put("/opt/custom/patch", row.patch);
    EXPECT_EQ(row.printed, test::InChild(run).printed);
  }
  ReadIdentity(0x1234, 8);
  put("/proc/vss/bootpara", "oem 9\n");
  EXPECT_EQ("0000000000000000 9 9 9", Printed([&] { run(); }));
}

TEST_F(VersionTest, HwidStringLengths) {
  ReadIdentity(0xFEDCBA9876543210, 0);
  const char *const refusal = "LIBDVR : Get hwid failed, length must > 16\n";
  for (const int32_t length : {64, 17, 16, 15, 0, -1}) {
    for (const bool byPointer : {false, true}) {
      SCOPED_TRACE(length);
      char buffer[64];
      memset(buffer, '#', sizeof buffer);
      const std::string printed = Printed([&] {
        EXPECT_EQ(length >= 16 ? 0 : -1, byPointer ? DvrGetHwidStringByPointer(buffer, &length)
                                                   : DvrGetHwidString(buffer, length));
      });
      EXPECT_EQ(length >= 16 ? "" : refusal, printed);
      // 16 is accepted, for the price of a digit.
      const std::string expected = length > 16    ? "FEDCBA9876543210"
                                   : length == 16 ? "FEDCBA987654321"
                                                  : std::string(17, '#');
      EXPECT_EQ(expected, std::string(buffer, strnlen(buffer, 17)));
      EXPECT_EQ(length >= 16 ? '\0' : '#', buffer[16]);
      EXPECT_EQ('#', buffer[17]);
    }
  }
  EXPECT_EQ(refusal, Printed([] { EXPECT_EQ(-1, DvrGetHwidString(nullptr, 64)); }));
  char buffer[17];
  EXPECT_EQ(refusal, Printed([&] { EXPECT_EQ(-1, DvrGetHwidStringByPointer(buffer, nullptr)); }));
}

// Every command that only reads a field, against identifiers of a single bit.
TEST_F(VersionTest, FieldsOfTheIdentifier) {
  const std::vector<test::Row> fields =
      test::Table("identity.txt", "fields of the first generation");
  for (int bit = 0; bit < 62; ++bit) {
    SCOPED_TRACE(bit);
    const auto value = [bit](int first, int last) {
      return bit >= first && bit <= last ? 1 << (bit - first) : 0;
    };
    ReadIdentity(uint64_t{1} << bit, 0);
    for (const test::Row &field : fields) {
      EXPECT_EQ(value(std::stoi(field.at("first")), std::stoi(field.at("last"))),
                DvrGetHwidInformation(test::Numbers(field.at("number"))[0]))
          << field.at("query");
    }
    const int power = value(54, 56);
    EXPECT_EQ(power == 0 ? 0 : 1 << power, DvrGetHwidInformation(HWID_FIELD_54));
    for (const uint64_t generation : {1, 2, 3}) {
      ReadIdentity(generation << 62 | uint64_t{1} << bit, 0);
      EXPECT_EQ(value(0, 7), DvrGetHwidInformation(VIDEO_CHIP));
      EXPECT_EQ(value(48, 48), DvrGetHwidInformation(NET_CARD));
      for (const HwidCommand command :
           {HDMI_SUPPORT, DSP_CHIP, CONTROL_CHIP, HWID_FLAG_32, CDRW_SUPPORT, ALT_SUPPORT,
            HWID_FLAG_40, HWID_FLAG_41, HWID_FIELD_42B}) {
        EXPECT_EQ(1, DvrGetHwidInformation(command)) << command;
      }
      for (const HwidCommand command :
           {HWID_FLAG_33, HWID_FLAG_34, HWID_FLAG_35, HWID_FLAG_36, DISK_INTERFACE, HWID_FLAG_38,
            HWID_FLAG_53, HWID_RESERVED_22}) {
        EXPECT_EQ(0, DvrGetHwidInformation(command)) << command;
      }
    }
  }
  for (int code = 0; code < 32; ++code) {
    ReadIdentity(uint64_t{2} << 62 | static_cast<uint64_t>(code) << 51, 0);
    const int channels = code == 9 ? 16 : code == 10 ? 24 : code == 11 ? 32 : code;
    EXPECT_EQ(channels, DvrGetVideoChannelNumber());
    EXPECT_EQ(channels, DvrGetHwidInformation(VIDEO_CHANNEL));
  }
}

TEST_F(VersionTest, UnknownCommandsReturnTheGeneration) {
  for (const int32_t generation : {0, 1, 2, 3}) {
    ReadIdentity(static_cast<uint64_t>(generation) << 62, 0);
    const std::string line = generation == 0 ? "548" : "781";
    for (const uint32_t command : {32U, 40U, 0xffffffffU}) {
      EXPECT_EQ("LIBDVR : FILE -> System/version.c, LINE -> " + line + ": Invalid Dvr Info Cmd\n",
                Printed([&] { EXPECT_EQ(generation, DvrGetHwidInformation(command)); }));
    }
  }
}

// First-generation boards by product type.
constexpr uint64_t kType4 = First({.channels = 16});
constexpr uint64_t kType5 = First({.channels = 4, .alarmInputs = 25});
constexpr uint64_t kType8 = First({.code = 1, .channels = 16, .audio = 2});
constexpr uint64_t kType14 = First(
    {.code = 1, .channels = 16, .audio = 7, .alarmInputs = 25, .alarmOutputs = 51, .dsps = 2});

TEST_F(VersionTest, CountsOfTheFirstGeneration) {
  for (test::Row &row : test::Table("identity.txt", "counts of the first generation")) {
    const std::string expected =
        row["AUDIO_CHANNEL"] + " " + row["ALARM_IN"] + " " + row["ALARM_OUT"];
    for (const uint32_t oem : test::Numbers(row["OEM"])) {
      EXPECT_EQ(expected, OnBoard(test::FirstOf(row), oem,
                                  [] {
                                    printf("%d %d %d", DvrGetHwidInformation(AUDIO_CHANNEL),
                                           DvrGetHwidInformation(ALARM_IN),
                                           DvrGetHwidInformation(ALARM_OUT));
                                  }))
          << std::hex << test::FirstOf(row) << " OEM " << oem;
    }
  }
}

TEST_F(VersionTest, AlarmLinesOfTheFirstGenerationByAlarmBoard) {
  const auto print = [] {
    const int inputs = DvrGetHwidInformation(ALARM_IN);
    printf("%d %d\n", inputs, DvrGetHwidInformation(ALARM_OUT));
  };
  EXPECT_EQ("0 0\n", OnBoard(kType5, 8, print));
  vboard::Act("gpio set 1 5 1");
  EXPECT_EQ("4 1\n", OnBoard(kType5, 8, print));
  EXPECT_EQ("0 0\n", OnBoard(kType4, 8, print));  // never looks
  vboard::PlanFault("ioctl", "/dev/hi_gpio", EIO, 1, true);
  EXPECT_EQ("LIBDVR : GpioRead failed\nLIBDVR : GpioRead failed\n0 0\n", OnBoard(kType5, 8, print));
}

TEST_F(VersionTest, DisksOfTheFirstGeneration) {
  const int disks[2][4] = {{8, 4, 1, 2}, {1, 2, 4, 8}};
  for (const uint64_t bit35 : {0, 1}) {
    for (uint64_t code = 0; code < 4; ++code) {
      ReadIdentity(kType14 | bit35 << 35 | code << 46, 0);
      EXPECT_EQ(disks[bit35][code], DvrGetHwidInformation(DISK_NUM)) << bit35 << " " << code;
    }
  }
}

TEST_F(VersionTest, PciDisks) {
  constexpr const char *kDevices = "/proc/bus/pci/devices";
  const std::string hit = "11910014";
  const std::pair<std::string, int32_t> rows[] = {
      {"0000\t11910015\t0\n", 0},
      {"0038\t" + hit + "\t1b\n", 4},
      {hit, 4},
      {"0038\t" + hit + "\t0\n0040\t" + hit, 8},
      {hit + "\t" + hit, 8},
      {hit + hit, 4},  // the second one starts too early
      {std::string(1016, '-') + hit, 4},
      {std::string(1017, '-') + hit, 0},
      {hit + std::string(1009, '-') + hit, 4}};
  for (const auto &[text, disks] : rows) {
    SCOPED_TRACE(text);
    vboard::WriteFile(vboard::RootPath(kDevices), text);
    EXPECT_EQ(disks, DvrGetPciDiskNumber());
    for (const uint64_t identifier : {kType8, Second(5, 32) | uint64_t{3} << 41}) {
      EXPECT_EQ(std::to_string(disks),
                OnBoard(identifier, 0, [] { printf("%d", DvrGetHwidInformation(DISK_NUM)); }));
    }
  }
  const auto none = [] { EXPECT_EQ(0, DvrGetPciDiskNumber()); };
  vboard::PlanFault("read", kDevices, EIO, 1, false);
  EXPECT_EQ("Cant read anything !!\n", Printed(none));
  vboard::WriteFile(vboard::RootPath(kDevices), "");
  EXPECT_EQ("Cant read anything !!\n", Printed(none));
  std::filesystem::remove(vboard::RootPath(kDevices));
  EXPECT_EQ("Open file /proc/bus/pci/devices failed !!! \n", Printed(none));
}

TEST_F(VersionTest, TheFactoryToolsFileCountsOnlyOnceItIsRead) {
  vboard::WriteFile(vboard::RootPath("/tool/tool_config.ini"),
                    "Audio Input Number=13\nAlarm Input Number=13\nAlarm Output Number=13\n"
                    "Playback Limit Number=13\nMax Encode=13\nHDMI=0\n");
  const auto print = [] {
    int32_t most = -1;
    DvrGetMaxEncodeNumber(&most);
    for (const HwidCommand command :
         {AUDIO_CHANNEL, ALARM_IN, ALARM_OUT, HDMI_SUPPORT, PLAYBACK_NUM}) {
      printf("%d ", DvrGetHwidInformation(command));
    }
    printf("%d", most);
  };
  EXPECT_EQ("7 25 19 1 16 16", OnBoard(kType14, 0, print));
  EXPECT_EQ("8 16 4 1 4 8", OnBoard(Second(3, 8), 0, print));
}

}  // namespace
