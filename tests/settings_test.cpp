// The settings store: its files, the clock chip's memory and the factory's values, and what is
// left of them when one or the other is lost.
#include <errno.h>
#include <string.h>

#include <filesystem>
#include <functional>

#include "libsys/network.h"
#include "libsys/system.h"
#include "tests/support/board_test.h"

namespace {

using namespace std::string_literals;

constexpr const char *kFiles[] = {"/opt/sav/Config/network", "/opt/sav/Config/network1"};

// One setting from each place it can come from.
struct Setting {
  int32_t type;
  const char *key, *inFile, *inChip;
  const char *factory[2];  // eth0, eth1
};

constexpr Setting kSettings[] = {
    {HOSTIP, "HOSTIP", "10.0.0.5", "172.16.254.3", {"192.168.1.88", "192.168.1.89"}},
    {SUBMASK, "SUBMASK", "255.255.0.0", "255.240.0.0", {"255.255.255.0", "255.255.255.0"}},
    {GATEWAYIP, "GATEWAYIP", "10.0.0.1", "172.16.0.1", {"192.168.1.1", "192.168.1.1"}},
    {PRIO, "PRIO", "7", "\xda", {"0", "1"}},
    {WORKMODE, "WORKMODE", "3", "\xda", {"0", "0"}},
};

// The chip's bytes 39 to 55: the settings, with one byte of somebody else's on either side.
const std::string kChip = "\x11\xac\x10\xfe\3\xff\xf0\0\0\xac\x10\0\1\xaa\4\5\x22"s;
const std::string kNotValid = std::string(kChip).replace(13, 1, "\x5b");
const std::string kSaved = "\x11\n\0\0\5\xff\xff\0\0\n\0\0\1\xaa\3\7\x22"s;
const std::string kFactoryChip = "\x11\xc0\xa8\1X\xff\xff\xff\0\xc0\xa8\1\1\xaa\0\0\x22"s;
const std::string kFactoryFile =
    "HOSTIP = 192.168.1.88\nSUBMASK = 255.255.255.0\nGATEWAYIP = 192.168.1.1\nPRIO = 0\n"
    "WORKMODE = 0\n";

const std::string kInvalid = "LIBDVR : Invalid parameter\n";
const std::string kWriteClosed = "LIBDVR : I2cWrite : Invalid parma\n";

std::string At(int line, const std::string &text) {
  return "LIBDVR : FILE -> Network/network.c, LINE -> " + std::to_string(line) + ": " + text;
}

// The result of a call, then what it printed.
std::string Call(const std::function<int32_t()> &function) {
  int32_t result = -99;
  const std::string printed = test::Printed([&] { result = function(); });
  return std::to_string(result) + " " + printed;
}

// The same with the value that was read in front.
std::string Get(const char *interfaceName, int32_t type) {
  char buffer[17];
  memset(buffer, '#', sizeof buffer);
  const std::string outcome =
      Call([&] { return NetWorkGetAttributes(interfaceName, type, buffer, sizeof buffer); });
  EXPECT_EQ('#', buffer[16]) << "more than 16 bytes were written";
  return std::string(buffer, strnlen(buffer, sizeof buffer)) + " " + outcome;
}

class SettingsTest : public test::BoardTest {
 protected:
  void SetUp() override {
    UseBoard(test::SmallBoard(4, 0, "[files.root]\n\"/opt/sav/Config/\" = \"\"\n"));
    SetChip(kChip);
  }
  void TearDown() override { I2cClose(); }

  static void SetFile(int interface, const std::string &text) {
    vboard::WriteFile(vboard::RootPath(kFiles[interface]), text);
  }
  static void LoseFile(int interface) {
    std::filesystem::remove(vboard::RootPath(kFiles[interface]));
  }
  static std::string File(int interface) {
    return vboard::ReadFile(vboard::RootPath(kFiles[interface]));
  }

  // Both leave the bus open.
  static void SetChip(const std::string &bytes) {
    I2cOpen();
    const auto *data = reinterpret_cast<const uint8_t *>(bytes.data());
    ASSERT_EQ(0, NvramWrite(39, data, static_cast<uint32_t>(bytes.size())));
  }
  static std::string Chip() {
    I2cOpen();
    uint8_t bytes[17];
    EXPECT_EQ(0, NvramRead(39, bytes, sizeof bytes));
    return {std::begin(bytes), std::end(bytes)};
  }
};

TEST_F(SettingsTest, FilesAndKeys) {
  char buffer[32];
  EXPECT_EQ(0, NetWorkGetConfigFileName("eth0", buffer, 24));
  EXPECT_STREQ(kFiles[0], buffer);
  EXPECT_EQ(0, NetWorkGetConfigFileName("eth1", buffer, 25));
  EXPECT_STREQ(kFiles[1], buffer);
  for (const Setting &setting : kSettings) {
    const auto size = static_cast<int32_t>(strlen(setting.key) + 1);
    EXPECT_EQ(0, NetWorkGetKeyNameFromType(setting.type, buffer, size));
    EXPECT_STREQ(setting.key, buffer);
    EXPECT_EQ("-1 LIBDVR : Length is too short\n",
              Call([&] { return NetWorkGetKeyNameFromType(setting.type, buffer, size - 1); }));
  }
  for (const char *name : {"eth0", "eth1", "eth2", "lo"}) EXPECT_EQ(0, NetWorkCheckDevice(name));
}

TEST_F(SettingsTest, WrongArgumentsAreReportedAndTouchNothing) {
  const std::string unsupported = At(169, "Unsupport eth2\n");
  const std::string unknown = At(1822, "Not supported device eth3\n");
  const std::string tooShort = At(175, "NameLength too short\n");
  const std::string noFile = unsupported + "LIBDVR : NetWorkGetConfigFileName failed\n";
  const std::string noAddress = At(649, "Get default ip failed\n");
  const std::string noNetmask = At(655, "Get default netmask failed\n");
  const std::string noGateway = At(762, "Get default gateway failed\n");
  const char *missing = "/opt/sav/none/network";
  char a[32], b[32];
  const std::pair<std::function<int32_t()>, std::string> rows[] = {
      {[&] { return NetWorkGetAttributes(nullptr, HOSTIP, a, 16); }, kInvalid},
      {[&] { return NetWorkGetAttributes("eth0", HOSTIP, nullptr, 16); }, kInvalid},
      {[&] { return NetWorkGetAttributes("eth0", 5, a, 16); }, kInvalid},
      {[&] { return NetWorkGetAttributes("eth0", -1, a, 16); }, kInvalid},
      {[&] { return NetWorkGetAttributes("eth0", HOSTIP, a, 15); }, kInvalid},
      {[&] { return NetWorkGetAttributes("eth3", HOSTIP, a, 16); }, unknown + kInvalid},
      {[&] { return NetWorkGetAttributes("eth2", HOSTIP, a, 16); }, noFile},
      {[&] { return NetWorkSaveAttributes(nullptr, HOSTIP, "1"); }, kInvalid},
      {[&] { return NetWorkSaveAttributes("eth0", HOSTIP, nullptr); }, kInvalid},
      {[&] { return NetWorkSaveAttributes("eth0", 5, "1"); }, kInvalid},
      {[&] { return NetWorkSaveAttributes("eth3", HOSTIP, "1"); }, unknown + kInvalid},
      {[&] { return NetWorkSaveAttributes("eth2", HOSTIP, "1"); }, unsupported},
      {[&] { return NetWorkGetConfigFileName("eth2", a, 32); }, unsupported},
      {[&] { return NetWorkGetConfigFileName("eth0", a, 23); }, tooShort},
      {[&] { return NetWorkGetConfigFileName("eth1", a, 24); }, tooShort},
      {[&] { return NetWorkGetConfigFileName("eth0", a, -1); }, tooShort},
      {[&] { return NetWorkGetKeyNameFromType(5, a, 32); }, kInvalid},
      {[&] { return NetWorkCheckDevice("eth3"); }, unknown},
      {[&] { return NetWorkReadKey(missing, "PRIO", a, 16); }, ""},
      {[&] { return NetWorkWriteKey(missing, "PRIO", "1"); },
       At(500, "Open /opt/sav/none/network failed\n")},
      {[&] { return NetWorkGetDefaultAddress("eth2", a, 32, b, 32); }, noFile + noAddress},
      {[&] { return NetWorkGetDefaultAddress("eth1", a, 16, b, 15); }, kInvalid + noNetmask},
      {[&] { return NetWorkGetEth0Address(a, 15, b, 16); }, kInvalid + noAddress},
      {[&] { return NetWorkGetDefaultGateway("eth2", a, 16); }, noFile + noGateway},
  };
  SetFile(1, "HOSTIP = 10.0.0.5\n");
  for (size_t i = 0; i < std::size(rows); ++i) {
    EXPECT_EQ("-1 " + rows[i].second, Call(rows[i].first)) << "row " << i;
  }
  EXPECT_EQ("HOSTIP = 10.0.0.5\n", File(1));
  EXPECT_EQ("", File(0));
  EXPECT_EQ(kChip, Chip());
}

const std::string kFiller(127, 'x');  // as much as is read of a line at once

TEST_F(SettingsTest, AKeyIsReadFromTheFirstLineThatHoldsIt) {
  const std::string tooShort = "# -1 LIBDVR : Buffer length too short, must longer than 8\n";
  const struct {
    std::string file;
    int32_t length;
    std::string expected;  // with the value in front; '#' where none was read
  } rows[] = {
      {"PRIO = 0\nHOSTIP = 10.0.0.5\nHOSTIP = 10.0.0.6\n", 9, "10.0.0.5 0 "},
      {"DHCPHOSTIP = 10.0.0.7\nHOSTIP = 10.0.0.5\n", 32, "10.0.0.7 0 "},
      {"  HOSTIP   =   10.0.0.5 and more", 32, "10.0.0.5 0 "},
      {"HOSTIP\v=10.0.0.5\f7\n", 32, "10.0.0.5 0 "},
      {"my HOSTIP = 10.0.0.5\n", 32, "# -1 "},
      {kFiller + "HOSTIP = 10.0.0.5\n", 32, "10.0.0.5 0 "},
      {"HOSTIP = 10.0.0.5\n", 8, tooShort},
      {"HOSTIP = 10.0.0.5\n", -1, tooShort},
      {"HOSTIP = \nHOSTIP = 10.0.0.5\n", 32, "# -1 "},
      {"HOSTIP=10.0.0.5\n", 32, "# -1 "},
      {"", 32, "# -1 "},
  };
  for (const auto &row : rows) {
    SetFile(0, row.file);
    char buffer[32] = "#";
    const std::string outcome =
        Call([&] { return NetWorkReadKey(kFiles[0], "HOSTIP", buffer, row.length); });
    EXPECT_EQ(row.expected, buffer + (" " + outcome)) << row.file;
  }
}

TEST_F(SettingsTest, AKeyIsWrittenInPlace) {
  const std::string rows[][3] = {
      // Before, value, after.
      {"", "10.0.0.5", "HOSTIP = 10.0.0.5\n"},
      {"PRIO = 0", "10.0.0.5", "PRIO = 0HOSTIP = 10.0.0.5\n"},
      {"A = 1\nHOSTIP = 192.168.1.88\nB = 2\n", "10.0.0.5",
       "A = 1\nHOSTIP = 10.0.0.5\n.88\nB = 2\n"},
      {"HOSTIP = 1.1.1.1\nB = 2\nC = 3\n", "10.0.0.50", "HOSTIP = 10.0.0.50\n= 2\nC = 3\n"},
      {"DHCPHOSTIP = 1\nHOSTIP = 2\n", "3", "HOSTIP = 3\n= 1\nHOSTIP = 2\n"},
      {kFiller + "HOSTIP = 1.1.1.1\n", "2.2.2.2", kFiller + "HOSTIP = 2.2.2.2\n"},
      {"", "10.0.0.5\nUSEDHCP = 1", "HOSTIP = 10.0.0.5\n"},
  };
  for (const auto &[before, value, after] : rows) {
    SetFile(0, before);
    EXPECT_EQ(0, NetWorkWriteKey(kFiles[0], "HOSTIP", value.c_str()));
    EXPECT_EQ(after, File(0));
  }
}

TEST_F(SettingsTest, SavingMirrorsEth0InTheChip) {
  std::string file;
  for (const Setting &setting : kSettings) {
    EXPECT_EQ(0, NetWorkSaveAttributes("eth0", setting.type, setting.inFile));
    EXPECT_EQ(0, NetWorkSaveAttributes("eth1", setting.type, setting.factory[1]));
    file += std::string(setting.key) + " = " + setting.inFile + "\n";
  }
  EXPECT_EQ(file, File(0));
  EXPECT_EQ(kSaved, Chip());
  I2cClose();
  EXPECT_EQ("-1 " + kWriteClosed, Call([] { return NetWorkSaveAttributes("eth0", PRIO, "1"); }));
  EXPECT_EQ("1 0 ", Get("eth0", PRIO));
}

TEST_F(SettingsTest, WhatDhcpGaveComesFirst) {
  const std::string on = "USEDHCP = 1\nDHCPHAVEIP = 1\n";
  const std::string given = "DHCPIP = 10.9.0.2\nDHCPNETMASK = 255.0.0.0\nDHCPGATEWAY = 10.9.0.1\n";
  const std::string own = "HOSTIP = 10.0.0.5\nPRIO = 7\nWORKMODE = 3\n";
  const std::string cannot = "LIBDVR : Cann't get by DHCP\n", odd = At(317, "Unkonw type\n");
  const struct {
    std::string file;
    int32_t type;
    std::string expected;
  } rows[] = {
      {own + on + given, HOSTIP, "10.9.0.2 0 "},
      {own + on + given, SUBMASK, "255.0.0.0 0 "},
      {own + on + given, GATEWAYIP, "10.9.0.1 0 "},
      {own + on + given, PRIO, "\xda 0 " + odd},
      {own + on + given, WORKMODE, "\xda 0 " + odd},
      {own + on, HOSTIP, "172.16.254.3 0 "},
      {own + on + "DHCPIP = \n", HOSTIP, "172.16.254.3 0 "},
      {own + on + "DHCPIP = 1234567890123456789\n", HOSTIP, "123456789012345 0 "},
      {"DHCPHAVEIP = -1\nUSEDHCP = 2\n" + given, HOSTIP, "10.9.0.2 0 "},
      {"USEDHCP = 0\n" + on + "USEDHCP = 0\n" + given + own, HOSTIP, "10.9.0.2 0 "},
      {own + "USEDHCP = 1\nDHCPHAVEIP = 0\n" + given, HOSTIP, "10.0.0.5 0 " + cannot},
      {own + "USEDHCP = 1\n" + given, PRIO, "7 0 " + cannot},
      {own + "USEDHCP = 0\nDHCPHAVEIP = 1\n" + given, HOSTIP, "10.0.0.5 0 "},
      {own + "USEDHCP = -1\nDHCPHAVEIP = 1\n" + given, HOSTIP, "10.0.0.5 0 "},
      {own + "NOUSEDHCP = 1\nDHCPHAVEIP = 1\n" + given, HOSTIP, "10.0.0.5 0 "},
      {own + " USEDHCP = 1\nDHCPHAVEIP = 1\n" + given, HOSTIP, "10.0.0.5 0 "},
      {own + "USEDHCP = 0x1\nDHCPHAVEIP = 1\n" + given, HOSTIP, "10.0.0.5 0 "},
      {own + "USEDHCP = 1\nDHCPHAVEIP = yes\n" + given, HOSTIP, "10.0.0.5 0 " + cannot},
      {"USEDHCP=+1.5\nDHCPHAVEIP\t=\t4294967296\n" + given, HOSTIP, "10.9.0.2 0 "},
  };
  for (const auto &row : rows) {
    SetFile(0, row.file);
    EXPECT_EQ(row.expected, Get("eth0", row.type)) << row.file << row.type;
  }
}

// A way to lose the chip's memory, and what reading a setting then gives without the file.
struct Loss {
  const char *name;
  std::string chip;
  unsigned failingRead;  // 0: none
  bool open, usable;
  std::string outcomes[2];  // eth0, eth1
};

const std::string kFlag = "0 NetWorkGetFromCmos flag = 5b\n";
const std::string kFailed = "0 LIBDVR :  Read from I2c failed\n";
const std::string kClosed = "LIBDVR : I2cRead : Invalid parma\n";
const std::string kThreeWrites = kWriteClosed + kWriteClosed + kWriteClosed;
const Loss kLosses[] = {
    {"none", kChip, 0, true, true, {"0 ", "0 "}},
    {"flag wrong", kNotValid, 0, true, false, {kFlag, kFlag}},
    {"flag unreadable", kChip, 1, true, false, {kFailed, kFailed}},
    {"value unreadable", kChip, 2, true, false, {kFailed, kFailed}},
    {"closed",
     kChip,
     0,
     false,
     false,
     {"-1 " + kClosed + kThreeWrites + kThreeWrites, "0 " + kClosed}},
};

TEST_F(SettingsTest, FileAndChipLostInEveryCombination) {
  const auto check = [](const Loss &loss, bool fileLost, int interface, const Setting &setting) {
    const std::string line = std::string(setting.key) + " = ";
    SetChip(loss.chip);
    SetFile(interface, line + setting.inFile + "\n");
    if (fileLost) LoseFile(interface);
    if (fileLost && loss.failingRead > 0) {
      vboard::PlanFault("ioctl", "/dev/gpioi2c", EIO, loss.failingRead, false);
    }
    if (!loss.open) I2cClose();
    std::string expected = setting.inFile + " 0 "s;
    std::string file = line + setting.inFile + "\n", chip = loss.chip;
    if (fileLost && loss.usable) {
      expected = setting.inChip + (" " + loss.outcomes[interface]);
      file = line + setting.inChip + "\n";
    } else if (fileLost) {
      expected = setting.factory[interface] + (" " + loss.outcomes[interface]);
      file = interface == 0 ? kFactoryFile : "";
      if (interface == 0 && loss.open) chip = kFactoryChip;
    }
    EXPECT_EQ(expected, Get(interface == 0 ? "eth0" : "eth1", setting.type));
    EXPECT_EQ(file, File(interface));
    EXPECT_EQ(chip, Chip());
  };
  for (const Loss &loss : kLosses) {
    for (int i = 0; i < 20; ++i) {
      const bool fileLost = i % 2 != 0;
      const int interface = i / 2 % 2;
      const Setting &setting = kSettings[i / 4];
      SCOPED_TRACE(loss.name + (fileLost ? ", no file, eth"s : ", eth"s) +
                   std::to_string(interface) + " " + setting.key);
      check(loss, fileLost, interface, setting);
    }
  }
}

TEST_F(SettingsTest, WhatCannotBeRepairedIsTold) {
  // The chip takes all but the first address.
  SetChip(kNotValid);
  vboard::PlanFault("ioctl", "/dev/gpioi2c", EIO, 2, false);
  EXPECT_EQ("255.255.255.0 -1 NetWorkGetFromCmos flag = 5b\nLIBDVR : i2c write failed\n",
            Get("eth0", SUBMASK));
  EXPECT_EQ(std::string(kFactoryChip).replace(1, 4, kChip.substr(1, 4)), Chip());
  // A value that does not fit is none.
  SetChip(kChip);
  SetFile(0, "HOSTIP = 255.255.255.2555\n");
  EXPECT_EQ("172.16.254.3 0 LIBDVR : Buffer length too short, must longer than 16\n",
            Get("eth0", HOSTIP));
  EXPECT_EQ("HOSTIP = 172.16.254.3\n555\n", File(0));
  vboard::PlanFault("fopen", kFiles[0], EACCES, 1, true);
  EXPECT_EQ("172.16.0.1 0 " + At(500, "Open /opt/sav/Config/network failed\n"),
            Get("eth0", GATEWAYIP));
}

TEST_F(SettingsTest, TheChipKeepsTheSettingsThroughAPowerCycle) {
  EXPECT_EQ(0, NetWorkSaveAttributes("eth0", HOSTIP, "10.0.0.5"));
  for (const bool flat : {false, true}) {
    if (flat) vboard::Act("clock battery flat");
    LoseFile(0);
    I2cClose();
    vboard::PowerOn();
    test::Printed(I2cOpen);
    char address[16], netmask[16], gateway[16];
    EXPECT_EQ(flat ? "0 NetWorkGetFromCmos flag = ff\n" : "0 ", Call([&] {
                return NetWorkGetEth0Address(address, sizeof address, netmask, sizeof netmask);
              }));
    EXPECT_EQ(0, NetWorkGetDefaultGateway("eth0", gateway, sizeof gateway));
    EXPECT_STREQ(flat ? "192.168.1.88" : "10.0.0.5", address);
    EXPECT_STREQ(flat ? "255.255.255.0" : "255.240.0.0", netmask);
    EXPECT_STREQ(flat ? "192.168.1.1" : "172.16.0.1", gateway);
  }
}

}  // namespace
