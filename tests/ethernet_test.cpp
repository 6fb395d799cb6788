// Interfaces on the virtual board: link and mode by board and driver, what a failing call prints,
// and the board's own network.
#include <errno.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <net/route.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <bit>

#include "libsys/boot.h"
#include "libsys/network.h"
#include "libsys/version.h"
#include "tests/support/board_test.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr uint64_t kType2 = 4;
constexpr uint64_t kType0 = 0x4280000000000000;
constexpr const char *kSettings = "/opt/sav/Config/network1";

std::string At(int line, const std::string &text) {
  return "LIBDVR : FILE -> Network/network.c, LINE -> " + std::to_string(line) + ": " + text;
}

class EthernetTest : public test::BoardTest {
 protected:
  EthernetTest() { Keep(test::kFlash); }

  // A board with these interfaces, each with these keys, and settings files.
  void Use(const std::vector<std::string> &names, const std::string &keys = "",
           uint64_t identifier = kType2) {
    std::string more = "[network]\nwireless = true\n";
    for (const std::string &name : names) {
      more +=
          "[network." + name + "]\nmac = \"00:00:5e:00:53:0" + name.back() + "\"\n" + keys + "\n";
    }
    UseBoard(test::SmallBoard(identifier, 0, more));
    WriteSettings("");
  }
  static std::string Settings() { return vboard::ReadFile(vboard::RootPath(kSettings)); }
  static void WriteSettings(const std::string &text) {
    vboard::WriteFile(vboard::RootPath(kSettings), text);
  }
};

TEST_F(EthernetTest, TheLinkByBoardTypeAndInterface) {
  const struct {
    uint64_t board;
    const char *name, *before;  // a shell command, an action or the wireless file's text
    int32_t result;
  } kRows[] = {
      {kType0, "eth0", "", 0},
      {kType0, "eth0", "ifconfig eth0 down", -1},
      {kType0, "eth0", "fault once popen - 1 EMFILE", -1},
      {kType0, "eth2", "network link eth0 down", -1},  // always asks about eth0
      {kType0, "eth9", "", 0},
      {kType2, "eth0", "", 0},
      {kType2, "eth0", "network link eth0 down", -1},
      {kType2, "eth0", "ifconfig eth0 down", -1},
      {kType2, "eth0", "fault once ioctl SIOCETHTOOL 1 EIO", -2},
      {kType2, "eth0", "fault once socket AF_INET 1 EMFILE", 255},  // the process ends
      {kType2, "eth1", "network link eth1 down", 0},
      {kType2, "lo", "", 0},
      {kType2, "eth9", "", -1},
      {kType2, "eth2", "network wireless connected", 0},
      {kType2, "eth2", "network wireless disconnected", -1},
      {kType2, "eth2", "=Mode=\"b\"\nState=\"Disconnected\"\n", -1},
      {kType2, "eth2", "=Mode=\"b\"\n State=\"Connected\"\nState=Connected\n", -2},
      {kType2, "eth2", "=", 0},
      {kType2, "eth2", "fault once fopen /proc/net/wlan/info 1 ENOENT", -2},
  };
  for (const auto &row : kRows) {
    SCOPED_TRACE(std::string(row.name) + " " + row.before);
    Use({"eth0", "eth1", "eth2"}, "", row.board);
    const std::string before = row.before;
    if (before.starts_with("=")) {
      vboard::WriteFile(vboard::RootPath("/proc/net/wlan/info"), before.substr(1));
    } else if (!before.empty() && !before.starts_with("ifconfig")) {
      vboard::Act(before);
    }
    const auto ask = [&] {
      DvrReadBootParameters();
      system("ifconfig eth0 up");
      if (before.starts_with("ifconfig")) system(row.before);
      fputs("asking", stdout);
      return NetGetLinkState(row.name);
    };
    EXPECT_EQ(test::InChild(ask).exitStatus, row.result & 0xff);
  }
}

// Even where the message in front of it cannot be printed.
TEST_F(EthernetTest, TheReasonOfAFailureIsTold) {
  Use({"eth1"});
  const auto fail = [] {
    setvbuf(stdout, nullptr, _IONBF, 0);
    dup2(STDOUT_FILENO, STDERR_FILENO);
    close(STDOUT_FILENO);
    return NetSetMode("eth1", 0);
  };
  const std::tuple<const char *, const char *, unsigned, std::string> kRows[] = {
      {"socket", "AF_INET", 1, "Cannot get control socket"},
      {"ioctl", "SIOCETHTOOL", 1, "ioctl"},
      {"ioctl", "SIOCETHTOOL", 2, "ioctl"}};
  for (const auto &[call, path, nth, told] : kRows) {
    vboard::PlanFault(call, path, EMFILE, nth, false);
    EXPECT_EQ(test::InChild(fail).printed, told + ": Too many open files\n");
  }
  vboard::PlanFault("ioctl", "SIOCGIFHWADDR", EPERM, 1, false);
  const auto ask = [] {
    dup2(STDOUT_FILENO, STDERR_FILENO);
    uint8_t bytes[6];
    return NetWorkGetHwAddr("eth1", bytes, sizeof bytes);
  };
  EXPECT_EQ(test::InChild(ask).printed, "SIOCGIFHWADDR Failed\n: Operation not permitted\n");
}

TEST_F(EthernetTest, AModeIsSetWhereTheInterfaceSupportsIt) {
  const struct {
    uint32_t supported;
    const char *event;
  } kModes[] = {{0x40, ""},
                {0x01, "eth1 mode 10 half"},
                {0x02, "eth1 mode 10 full"},
                {0x04, "eth1 mode 100 half"},
                {0x08, "eth1 mode 100 full"}};
  for (const uint32_t supported : {0x4fU, 0x48U, 0x4bU, 0x0fU, 0x05U, 0x02U}) {
    Use({"eth1"}, "supported = " + std::to_string(supported));
    for (int32_t mode = 0; mode < 5; ++mode) {
      SCOPED_TRACE(testing::Message() << supported << ": " << mode);
      Events();
      WriteSettings("WORKMODE = 9\n");
      const bool can = (supported & kModes[mode].supported) != 0;
      const bool fast = (supported & 0x08) != 0;
      const std::string automatic = fast ? "eth1 mode 100 full automatic" : "";
      EXPECT_EQ(test::Printed([&] { EXPECT_EQ(NetSetMode("eth1", mode), can ? 0 : -1); }),
                can ? "" : "LIBDVR : Unsupport mode\n");
      EXPECT_EQ(Settings(), "WORKMODE = " + std::to_string(can ? mode : 9) + "\n");
      const std::string event = mode == 0 ? automatic : kModes[mode].event;
      EXPECT_EQ(Events(), can ? std::vector{event} : std::vector<std::string>{});
    }
  }
}

TEST_F(EthernetTest, TheModeIsThatOfTheSystemUnlessTheFileHoldsOneThatCanBeSet) {
  const char *const kAutomatic = "speed = 100";
  const struct {
    const char *keys, *file;  // nothing in the file: the default is 0
    int32_t system, fromFile, mode;
    const char *after;  // what follows the report
  } kRows[] = {
      {kAutomatic, "0", 0, 0, 0, ""},
      {"autoneg = false\nspeed = 10\nfull_duplex = false", "1", 1, 1, 1, ""},
      {"autoneg = false\nspeed = 10", "2", 2, 2, 2, ""},
      {"autoneg = false\nspeed = 100\nfull_duplex = false", "3", 3, 3, 3, ""},
      {"autoneg = false\nspeed = 100", "4", 4, 4, 4, ""},
      {"autoneg = false\nspeed = 0\nfull_duplex = false", "6", 1, 1, 1, ""},
      {"autoneg = false\nspeed = 10", "", 2, 0, 0, ""},
      {kAutomatic, "7", 0, 2, 2, ""},
      {"autoneg = false\nspeed = 10", "\xda", 2, 0, 0, ""},  // as the clock chip gives it
      {kAutomatic, "9", 0, 4, 4, ""},
      {"supported = 0x43", "3", 0, 3, 0, "LIBDVR : Unsupport mode\n"},
  };
  for (const auto &row : kRows) {
    SCOPED_TRACE(testing::Message() << row.keys << " file " << row.fromFile);
    Use({"eth1"}, row.keys);
    WriteSettings(std::string("WORKMODE = ") + row.file + "\n");
    int32_t mode = -1;
    const std::string report = "#####from system : m_NetWorkMode = " + std::to_string(row.system) +
                               "$$$$ret = 0, from file = " + std::to_string(row.fromFile) + "\n";
    EXPECT_THAT(test::Printed([&] { EXPECT_EQ(NetGetMode("eth1", &mode), 0); }),
                EndsWith(report + row.after));
    EXPECT_EQ(mode, row.mode);
    if (row.system == row.fromFile || row.mode != row.fromFile) continue;
    EXPECT_EQ(Settings(), "WORKMODE = " + std::to_string(row.mode) + "\n");
    EXPECT_THAT(Events(), Contains(StartsWith("eth1 mode ")));
  }
  // No settings: the system's mode, whatever the text would have been.
  Use({"eth2"}, "autoneg = false");
  int32_t mode = -1;
  EXPECT_THAT(test::Printed([&] { EXPECT_EQ(NetGetMode("eth2", &mode), 0); }),
              HasSubstr("m_NetWorkMode = 4$$$$ret = -1, from file = "));
  EXPECT_EQ(mode, 4);
}

TEST_F(EthernetTest, TheHardwareAddressIsSetByShellAndKeptForTheBootLoader) {
  const char *const kMac = "02:00:5e:00:53:aa";
  const std::string kCommands[] = {
      "ifconfig eth0 down", std::string("ifconfig eth0 hw ether ") + kMac, "ifconfig eth0 up"};
  for (const unsigned failing : {1U, 2U, 3U, 0U}) {
    SCOPED_TRACE(failing);  // which of the shells does not start
    Use({"eth0"});
    DvrReadBootParameters();
    if (failing != 0) vboard::PlanFault("system", "", EAGAIN, failing, false);
    std::string printed;
    for (unsigned i = 1; i <= 3 && (failing == 0 || i <= failing); ++i) {
      printed += "LIBDVR : " + kCommands[i - 1] + (i == failing ? " faield\n" : " Successful\n");
    }
    const auto set = [&] { EXPECT_EQ(NetWorkSetMACAddress("eth0", kMac), failing == 0 ? 0 : -1); };
    EXPECT_THAT(test::Printed(set), StartsWith(printed));
    // The interface does not stay down.
    EXPECT_THAT(Events(), Contains("command: " + kCommands[failing == 1 ? 0 : 2]));
  }
  BootEnvRelease();
  char variable[32];
  EXPECT_EQ(BootEnvGet("ethaddr", variable, sizeof variable), 0);
  EXPECT_STREQ(variable, kMac);
  char text[18];
  EXPECT_EQ(NetWorkGetMACAddress("eth0", text, sizeof text), 0);
  EXPECT_STREQ(text, kMac);
  Events();
  for (const char *refused : {"", "02:00:5e:00:53:aa;reboot", "$(reboot)"}) {
    EXPECT_EQ(test::Printed([&] { EXPECT_EQ(NetWorkSetMACAddress("eth0", refused), -1); }),
              "LIBDVR : Invalid parameter\n");
  }
  EXPECT_THAT(Events(), testing::IsEmpty());
}

int32_t SetAddress() {
  return NetWorkSetAddress("eth1", "10.1.2.3", "255.255.0.0", 1);
}
int32_t SetGateway() {
  return NetWorkSetInterface("eth1", 2, "10.1.0.1");
}
int32_t SetMode() {
  return NetSetMode("eth1", 4);
}
int32_t GetMode() {
  int32_t mode = 0;
  return NetGetMode("eth1", &mode);
}
int32_t GetMac() {
  char text[18];
  return NetWorkGetMACAddress("eth1", text, sizeof text);
}

TEST_F(EthernetTest, EveryCallThatFailsIsReportedAndEndsTheOperation) {
  const std::string noMac = "LIBDVR : NetWorkGetMACAddress faield\n";
  const std::string noRoute = "NetWorkSetGateway SIOCADDRT failed\n";
  const struct {
    const char *call, *path;
    unsigned nth;
    int32_t (*operation)();
    std::string printed;
  } kRows[] = {
      {"socket", "AF_INET", 1, GetMac, At(417, "Socket failed\n") + noMac},
      {"ioctl", "SIOCGIFHWADDR", 1, GetMac, noMac},
      {"socket", "AF_INET", 1, SetAddress, At(1421, "Socket failed\n")},
      {"ioctl", "SIOCSIFADDR", 1, SetAddress, At(1450, "Set ip failed\n\n")},
      {"ioctl", "SIOCGIFFLAGS", 1, SetAddress, At(1456, "SIOCGIFFLAGS failed\n")},
      {"ioctl", "SIOCSIFFLAGS", 1, SetAddress, At(1463, "SIOCSIFFLAGS failed\n")},
      {"ioctl", "SIOCSIFNETMASK", 1, SetAddress, At(1450, "Set netmask failed\n\n")},
      {"ioctl", "SIOCGIFHWADDR", 1, SetAddress, At(1844, "Get mac failed\n")},
      {"socket", "AF_PACKET", 1, SetAddress, At(1858, "Socket failed\n")},
      {"setsockopt", "AF_PACKET", 1, SetAddress, At(1863, "Socket set option failed\n")},
      {"sendto", "eth1", 1, SetAddress, At(1874, "sendto arp wrong")},
      {"fopen", "/proc/net/dev", 1, SetGateway, At(1542, "No netword device\n")},
      {"socket", "AF_INET", 1, SetGateway, At(1548, "Socket failed\n")},
      {"ioctl", "SIOCADDRT", 1, SetGateway, At(1605, noRoute)},
      {"ioctl", "SIOCADDRT", 2, SetGateway, At(1628, noRoute)},
      {"socket", "AF_INET", 1, SetMode, "LIBDVR : NetSetMode socket failed\n"},
      {"ioctl", "SIOCETHTOOL", 1, SetMode, "LIBDVR :  NetSetMode: ioctl SIOCETHTOOL failed\n"},
      {"ioctl", "SIOCETHTOOL", 1, GetMode, "LIBDVR :  NetSetMode: ioctl SIOCETHTOOL failed\n"},
      {"ioctl", "SIOCETHTOOL", 2, SetMode, "LIBDVR : NetSetMode : ioctl SIOCETHTOOL failed\n"},
  };
  for (const auto &row : kRows) {
    SCOPED_TRACE(row.printed + row.path);
    Use({"eth0", "eth1"});
    if (row.operation != SetAddress) test::Printed([] { SetAddress(); });
    Events();
    vboard::PlanFault(row.call, row.path, EPERM, row.nth, false);
    EXPECT_THAT(test::Printed([&] { EXPECT_EQ(row.operation(), -1); }), EndsWith(row.printed));
    EXPECT_THAT(Events().back(), StartsWith(std::string("fault: ") + row.call));
  }
}

TEST_F(EthernetTest, TheLastDeviceListedDecidesOnThePriority) {
  const struct {
    std::vector<std::string> names;
    const char *list, *priority;  // of eth1, once it has been preferred
    const char *preferred;        // null: the priority of eth2 cannot be read
  } kRows[] = {
      {{"eth0", "eth1", "eth2"}, "eth0::eth2::", "PRIO = 1\n", nullptr},
      {{"eth0", "eth1"}, "eth0::", "PRIO = 0\n", "eth0"},
      {{"eth0"}, "eth0::", "PRIO = 1\n", "eth0"},
  };
  for (const auto &row : kRows) {
    SCOPED_TRACE(row.list);
    Use(row.names);
    char text[32] = "";
    int32_t count = 0;
    EXPECT_EQ(NetGetEthNameList(text, sizeof text, &count), 0);
    EXPECT_STREQ(text, row.list);
    EXPECT_EQ(NetWorkSetPriority("eth1"), 0);
    EXPECT_EQ(Settings(), row.priority);
    EXPECT_EQ(NetWorkGetPriorityDevice(text), row.preferred != nullptr ? 0 : -1);
    EXPECT_STREQ(text, row.preferred != nullptr ? row.preferred : row.list);
    EXPECT_THAT(test::Printed([] { EXPECT_EQ(NetWorkSetPriority("eth2"), 0); }),
                EndsWith("LIBDVR : NetWorkSaveAttributes eth2 failed\n"));
  }
}

sockaddr Internet(in_addr_t number) {
  return std::bit_cast<sockaddr>(sockaddr_in{AF_INET, 0, {htonl(number)}, {}});
}

TEST_F(EthernetTest, TheBoardHasANetworkOfItsOwn) {
  Use({"eth0", "eth1"});
  Events();
  EXPECT_EQ(SetAddress(), 0);
  EXPECT_EQ(SetGateway(), 0);
  const std::string frame =
      "ffffffffffff00005e0053010806000108000604000200005e0053010a010203"
      "0000000000000a010203" +
      std::string(36, '0');
  EXPECT_THAT(Events(), ElementsAre("eth1 address 10.1.2.3", "eth1 up", "eth1 netmask 255.255.0.0",
                                    "arp eth1 " + frame, "route del 10.1.0.0/16 dev eth1",
                                    "route add 10.1.0.0/16 dev eth1",
                                    "route add default via 10.1.0.1 dev eth1"));
  EXPECT_EQ(SetGateway(), 0);  // what is there is deleted first
  EXPECT_THAT(Events(), Contains("route del default via 10.1.0.1 dev eth1"));
  EXPECT_EQ(NetWorkSetInterface("eth1", 2, "10.2.0.1"), -1);

  // An application's own sockets are not the board's affair.
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr self = Internet(INADDR_LOOPBACK);
  socklen_t length = sizeof self;
  ASSERT_EQ(bind(fd, &self, length), 0);
  ASSERT_EQ(getsockname(fd, &self, &length), 0);
  char text[8] = "";
  EXPECT_EQ(sendto(fd, "hello", 5, 0, &self, length), 5);
  EXPECT_EQ(recv(fd, text, sizeof text, 0), 5);

  const auto error = [&](unsigned long request, const char *name, in_addr_t number) {
    ifreq interface = {};
    strcpy(interface.ifr_name, name);
    interface.ifr_addr = Internet(number);
    rtentry route = {};
    route.rt_dst = Internet(number);
    route.rt_genmask = Internet(0xffff0000);
    route.rt_dev = interface.ifr_name;
    const bool isRoute = request == SIOCADDRT || request == SIOCDELRT;
    void *argument = isRoute ? static_cast<void *>(&route) : &interface;
    return ioctl(fd, request, argument) == 0 ? 0 : errno;
  };
  EXPECT_EQ(error(SIOCGIFADDR, "eth9", 0), ENODEV);
  EXPECT_EQ(error(SIOCGIFADDR, "eth0", 0), EADDRNOTAVAIL);
  EXPECT_EQ(error(SIOCSIFNETMASK, "eth0", 0xffffff00), EADDRNOTAVAIL);
  EXPECT_EQ(error(SIOCSIFNETMASK, "eth1", 0xff00ff00), EINVAL);
  EXPECT_EQ(error(SIOCSIFHWADDR, "eth1", 0), ENOTTY);  // the board's kernel has no such request
  EXPECT_EQ(error(SIOCADDRT, "eth0", 0x0a050000), ENETDOWN);
  EXPECT_EQ(error(SIOCADDRT, "eth1", 0x0a050001), EINVAL);
  EXPECT_EQ(error(SIOCADDRT, "eth1", 0x0a050000), 0);
  EXPECT_EQ(error(SIOCADDRT, "eth1", 0x0a050000), EEXIST);
  EXPECT_EQ(error(SIOCDELRT, "eth1", 0x0a050000), 0);
  EXPECT_EQ(error(SIOCDELRT, "eth1", 0x0a050000), ESRCH);
  vboard::PowerOn();
  EXPECT_EQ(error(SIOCGIFADDR, "eth1", 0), EADDRNOTAVAIL);
  close(fd);
}

}  // namespace
