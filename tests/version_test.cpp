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
      {"product 1\nproduct=2\noem: 0x123\noem 7\n", "x\nmy oem\noem 5\n",
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
  struct {
    uint32_t command;
    int first, last;
  } const firstGeneration[] = {{0, 0, 4},    {4, 20, 20},  {5, 23, 25},  {6, 26, 28},  {7, 29, 31},
                               {8, 32, 32},  {9, 33, 33},  {10, 34, 34}, {11, 35, 35}, {12, 36, 36},
                               {13, 37, 37}, {14, 38, 38}, {15, 39, 39}, {16, 42, 44}, {17, 45, 45},
                               {19, 48, 48}, {20, 50, 52}, {21, 53, 53}, {22, 99, 99}, {23, 40, 40},
                               {24, 41, 41}, {27, 60, 63}, {28, 21, 22}, {29, 42, 44}};
  for (int bit = 0; bit < 62; ++bit) {
    SCOPED_TRACE(bit);
    const auto value = [bit](int first, int last) {
      return bit >= first && bit <= last ? 1 << (bit - first) : 0;
    };
    ReadIdentity(uint64_t{1} << bit, 0);
    for (const auto &[command, first, last] : firstGeneration) {
      EXPECT_EQ(value(first, last), DvrGetHwidInformation(command)) << command;
    }
    const int power = value(54, 56);
    EXPECT_EQ(power == 0 ? 0 : 1 << power, DvrGetHwidInformation(HWID_FIELD_54));
    for (const uint64_t generation : {1, 2, 3}) {
      ReadIdentity(generation << 62 | uint64_t{1} << bit, 0);
      EXPECT_EQ(value(0, 7), DvrGetHwidInformation(VIDEO_CHIP));
      EXPECT_EQ(value(48, 48), DvrGetHwidInformation(NET_CARD));
      for (const uint32_t command : {4, 6, 7, 8, 15, 17, 23, 24, 29}) {
        EXPECT_EQ(1, DvrGetHwidInformation(command)) << command;
      }
      for (const uint32_t command : {9, 10, 11, 12, 13, 14, 21, 22}) {
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

// First-generation boards by product type, with 25 alarm inputs and 19 outputs. Every field has
// bits set beside it.
constexpr const char *kType4 = "0 16 7 25 0 0 0 0 51";
constexpr const char *kType5 = "0 4 7 25 0 0 0 0 51";
constexpr const char *kType8 = "1 16 2 25 0 0 0 6 51";
constexpr const char *kType14 = "1 16 7 25 2 0 0 6 51";

// What is expected: audio channels/alarm inputs/alarm outputs.
TEST_F(VersionTest, CountsOfTheFirstGeneration) {
  const std::string rows =
      "2 12 7 25 0 0 0 0 51: 0=7/25/19 2=12/25/19 6=1/25/19 106=1/25/19 9=4/25/19 b=4/4/2 e=4/4/1 "
      "f=4/4/1 "
      "10e=7/25/19 14=4/4/1;"
      "3 12 7 25 0 0 0 0 51: 0=7/25/19 6=1/25/19 108=4/25/19 9=8/25/19 b=4/4/2 e=8/4/1 f=8/4/1 "
      "14=8/4/1;"
      "0 16 7 25 0 0 0 0 51: 0=7/0/0 2=16/4/1 3=7/0/0 4=7/25/19 104=7/0/0 6=7/1/1 8=4/0/0 b=4/4/2 "
      "e=7/4/0 f=7/4/0 14=8/4/1;"
      "0 4 7 25 0 0 0 0 51: 0=7/25/19 102=4/4/1 3=4/25/19 106=7/1/1 7=7/25/19 108=4/25/19;"
      "0 4 7 25 0 63 1 0 51: 0=7/25/19 102=4/4/1 3=4/25/19 6=7/1/1;"
      "0 8 7 25 0 0 0 0 51: 0=7/25/19 2=8/4/1 102=7/4/1 3=4/4/1 103=4/4/1;"
      "1 16 2 25 1 0 0 5 51: 0=3/25/19; 1 16 2 25 1 0 0 6 51: 0=2/25/19 2=2/25/19;"
      "1 16 2 25 0 0 0 6 51: 0=2/25/19 103=3/25/19; 1 16 16 25 0 0 0 6 51: 7=16/25/19;"
      "1 16 16 25 1 0 0 6 51: 0=16/25/19 3=16/25/19 7=16/16/4 107=16/16/4;"
      "1 16 7 25 2 0 0 6 51: 0=7/25/19 2=16/25/19 102=7/25/19 3=7/25/19 6=7/25/19 80000008=4/25/19 "
      "9=4/25/19 "
      "b=4/4/2 10b=4/4/2 e=7/4/1 f=7/4/1 14=8/4/1 10e=7/25/19 114=7/25/19;"
      "1 8 2 25 1 0 0 7 51: 0=3/25/19; 1 8 2 25 1 0 0 6 51: 0=2/25/19 102=3/25/19;"
      "1 8 2 25 1 0 1 5 51: 0=3/25/19; 1 8 2 25 1 0 1 6 51: 0=2/25/19 2=3/25/19;";
  ExpectOnBoards(rows, [] {
    printf("%d/%d/%d", DvrGetHwidInformation(AUDIO_CHANNEL), DvrGetHwidInformation(ALARM_IN),
           DvrGetHwidInformation(ALARM_OUT));
  });
}

TEST_F(VersionTest, AlarmLinesOfTheFirstGenerationByAlarmBoard) {
  const auto print = [] {
    const int inputs = DvrGetHwidInformation(ALARM_IN);
    printf("%d %d\n", inputs, DvrGetHwidInformation(ALARM_OUT));
  };
  EXPECT_EQ("0 0\n", OnBoard(First(kType5), 8, print));
  vboard::Act("gpio set 1 5 1");
  EXPECT_EQ("4 1\n", OnBoard(First(kType5), 8, print));
  EXPECT_EQ("0 0\n", OnBoard(First(kType4), 8, print));  // never looks
  vboard::PlanFault("ioctl", "/dev/hi_gpio", EIO, 1, true);
  EXPECT_EQ("LIBDVR : GpioRead failed\nLIBDVR : GpioRead failed\n0 0\n",
            OnBoard(First(kType5), 8, print));
}

TEST_F(VersionTest, DisksOfTheFirstGeneration) {
  const int disks[2][4] = {{8, 4, 1, 2}, {1, 2, 4, 8}};
  for (const uint64_t bit35 : {0, 1}) {
    for (uint64_t code = 0; code < 4; ++code) {
      ReadIdentity(First(kType14) | bit35 << 35 | code << 46, 0);
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
    for (const uint64_t identifier : {First(kType8), Second(5, 32) | uint64_t{3} << 41}) {
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
    for (const uint32_t command : {1, 2, 3, 4, 26}) printf("%d ", DvrGetHwidInformation(command));
    printf("%d", most);
  };
  EXPECT_EQ("7 25 19 1 16 16", OnBoard(First(kType14), 0, print));
  EXPECT_EQ("8 16 4 1 4 8", OnBoard(Second(3, 8), 0, print));
}

}  // namespace
