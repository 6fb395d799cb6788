// Live interfaces on the real kernel. Every test has a network of its own, with virtual Ethernet
// pairs eth0-peer0 to eth2-peer2, and an empty /opt; iproute2 tells what the library did.
#include "libsys/network.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <net/ethernet.h>
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/real_kernel.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

using test::EnterNamespaces;
using test::Read;
using test::Shell;
using test::Write;

std::string At(int line, const std::string &text) {
  return "LIBDVR : FILE -> Network/network.c, LINE -> " + std::to_string(line) + ": " + text;
}

class InterfaceTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!EnterNamespaces()) GTEST_SKIP() << "no namespaces: " << strerror(errno);
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/opt", "tmpfs", 0, nullptr) != 0) {
      GTEST_SKIP() << "no mounts: " << strerror(errno);
    }
    std::filesystem::create_directories("/opt/sav/Config");
    setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
    for (const char *number : {"0", "1", "2"}) {
      const std::string name = std::string("eth") + number;
      const std::string peer = std::string("peer") + number;
      const std::string answer = Shell("ip link add " + name + " address 02:00:00:00:00:1" +
                                       number + " type veth peer name " + peer);
      if (!answer.empty()) GTEST_SKIP() << "no virtual Ethernet devices: " << answer;
      ASSERT_EQ(Shell("ip link set " + name + " up && ip link set " + peer + " up"), "");
    }
    // The kernel drops frames until it has noticed that both ends of a pair are up.
    ASSERT_EQ(Shell("for i in $(seq 1000); do [ $(ip -o link | grep -c 'state UP') = 6 ] && exit; "
                    "sleep 0.01; done; ip link"),
              "");
  }
};

// Calls an operation, looks at its result and returns what it printed.
std::string Call(int32_t expected, const std::function<int32_t()> &operation) {
  testing::internal::CaptureStdout();
  const int32_t result = operation();
  fflush(stdout);
  EXPECT_EQ(result, expected);
  return testing::internal::GetCapturedStdout();
}

TEST_F(InterfaceTest, AddressAndNetmaskAreSetAndBringTheInterfaceUp) {
  const struct {
    const char *name, *address, *netmask;
    int32_t result;
    const char *shown, *printed;
  } kRows[] = {
      {"eth0", "10.1.2.3", "255.255.0.0", 0, "inet 10.1.2.3/16 ", "mac : 2-0-0-0-0-10\n"},
      {"eth1", "10.2.0.9", "255.255.255.252", 0, "inet 10.2.0.9/30 ", "mac : 2-0-0-0-0-11\n"},
      {"eth2", "10.3.0.1", "255.0.0.0", -1, "inet 10.3.0.1/8 ", "LIBDVR : Get ip falied\n"},
      {"lo", "127.0.0.2", "255.255.0.0", 0, "inet 127.0.0.2/16 ", "Unsupport lo\n"},
  };
  for (const auto &row : kRows) {
    SCOPED_TRACE(row.name);
    const std::string name = row.name;
    Shell("ip link set " + name + " down");
    const std::string printed =
        Call(row.result, [&] { return NetWorkSetAddress(row.name, row.address, row.netmask, 1); });
    EXPECT_THAT(printed, EndsWith(row.printed));
    EXPECT_THAT(Shell("ip -4 -o address show dev " + name), HasSubstr(row.shown));
    EXPECT_THAT(Shell("ip -o link show dev " + name), HasSubstr(",UP"));
    EXPECT_THAT(Shell("ifconfig " + name), HasSubstr("RUNNING"));
  }
  EXPECT_EQ(Read("/opt/sav/Config/network"), "HOSTIP = 10.1.2.3\nSUBMASK = 255.255.0.0\n");
  EXPECT_EQ(Read("/opt/sav/Config/network1"), "HOSTIP = 10.2.0.9\nSUBMASK = 255.255.255.252\n");
  EXPECT_FALSE(std::filesystem::exists("/opt/sav/Config/network2"));
}

// The next ARP frame that arrives at a socket, in hexadecimal; empty where none does.
std::string NextFrame(int fd, int milliseconds) {
  uint8_t frame[2000];
  pollfd waiting{fd, POLLIN, 0};
  std::string text;
  if (poll(&waiting, 1, milliseconds) != 1) return text;
  for (ssize_t i = 0, length = recv(fd, frame, sizeof frame, 0); i < length; ++i) {
    char digits[3];
    snprintf(digits, sizeof digits, "%02x", frame[i]);
    text += digits;
  }
  return text;
}

TEST_F(InterfaceTest, TheStoredAddressIsAnnouncedOnce) {
  Write("/opt/sav/Config/network1", "HOSTIP = 10.4.5.6\n");
  const int neighbour = socket(AF_PACKET, SOCK_RAW, htons(ETH_P_ARP));
  ASSERT_EQ(setsockopt(neighbour, SOL_SOCKET, SO_BINDTODEVICE, "peer1", sizeof "peer1"), 0);
  for (const int32_t save : {0, 1}) {
    SCOPED_TRACE(save);
    Call(0, [&] { return NetWorkSetAddress("eth1", "10.4.5.7", "255.255.255.0", save); });
    const std::string mac = "020000000011";
    const std::string address = save == 1 ? "0a040507" : "0a040506";
    const std::string frame = "ffffffffffff" + mac + "0806" + "0001080006040002" + mac + address +
                              "000000000000" + address + std::string(36, '0');
    EXPECT_EQ(NextFrame(neighbour, 10000), frame);
    EXPECT_EQ(NextFrame(neighbour, 0), "");
  }
  close(neighbour);
}

TEST_F(InterfaceTest, TheGatewayReplacesEveryDefaultRoute) {
  Shell("ip address add 10.7.0.2/24 dev eth1; ip route add default via 10.7.0.1 dev eth1");
  Call(0, [] { return NetWorkSetAddress("eth0", "10.1.2.3", "255.255.255.0", 1); });
  Call(0, [] { return NetWorkSetGateway("eth0", "10.1.2.1", 1); });
  EXPECT_EQ(Shell("ip -4 route show default"), "default via 10.1.2.1 dev eth0 \n");
  EXPECT_EQ(Shell("ip -4 route show 10.1.2.0/24"), "10.1.2.0/24 dev eth0 scope link \n");
  EXPECT_THAT(Read("/opt/sav/Config/network"), EndsWith("\nGATEWAYIP = 10.1.2.1\n"));

  // A gateway outside the network is refused, which NetWorkSetGateway tells only in print.
  const std::string refused = At(1628, "NetWorkSetGateway SIOCADDRT failed\n");
  EXPECT_EQ(Call(0, [] { return NetWorkSetGateway("eth0", "10.9.9.9", 1); }), refused);
  EXPECT_EQ(Call(-1, [] { return NetWorkSetInterface("eth0", 4, "nonsense"); }), refused);
  EXPECT_THAT(Read("/opt/sav/Config/network"), EndsWith("\nGATEWAYIP = 10.1.2.1\n"));
  EXPECT_EQ(Shell("ip -4 route show default"), "");
  Write("/opt/sav/Config/network", "HOSTIP = 10.1.2.3\nSUBMASK = 255.0.255.0\n");
  EXPECT_EQ(Call(-1, [] { return NetWorkSetInterface("eth0", 3, "10.1.2.1"); }),
            At(1605, "NetWorkSetGateway SIOCADDRT failed\n"));
  EXPECT_THAT(Call(-1, [] { return NetWorkSetInterface("eth2", 2, "10.1.2.1"); }),
              EndsWith(At(1567, "Get ip failed\n")));
  Write("/opt/sav/Config/network", "HOSTIP = 10.1.2.3\n");
  EXPECT_THAT(Call(-1, [] { return NetWorkSetInterface("eth0", 2, "10.1.2.1"); }),
              EndsWith(At(1572, "Get netmask failed\n")));
}

TEST_F(InterfaceTest, ASetThatFailsLeavesEverythingAsItWas) {
  EXPECT_EQ(Shell(BOARDCTL " net set eth0 10.1.2.3 255.255.255.0 10.1.2.1"), "");
  EXPECT_EQ(Shell("ip address add 10.7.0.2/30 brd + dev eth1; ip link set eth2 down;"
                  "ip route add default via 10.7.0.1 dev eth1 metric 7;"
                  "ip route add 10.9.0.0/16 via 10.1.2.9; ip route add 10.8.8.8 dev eth0"),
            "");
  ASSERT_EQ(mount("none", "/opt", "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr), 0);
  // Without the far ends, whose carrier the kernel corrects in its own time.
  const auto state = [] {
    return Shell(
        "sort /proc/net/route; ip -4 -o address; ip -o link | grep -v ': peer';"
        "cat /opt/sav/Config/*");
  };
  const std::string before = state();
  for (const char *words : {"eth0 10.1.3.4 255.255.0.0 10.1.0.1", "eth0 10.1.2.4 255.255.255.128",
                            "eth1 10.5.0.2 255.0.0.0 10.1.0.1"}) {
    EXPECT_THAT(Shell(std::string(BOARDCTL " net set ") + words),
                HasSubstr("; everything is as it was\n"));
    EXPECT_EQ(state(), before) << words;
  }
  EXPECT_EQ(Shell("ip address flush dev eth1; ip link set eth1 down"), "");
  const std::string without = state();
  Shell(BOARDCTL " net set eth1 10.5.0.2 255.0.0.0 10.1.0.1");
  EXPECT_EQ(state(), without);
  Shell("seq -f 'route add 10.8.9.%g dev eth0' 65 | ip -batch -");  // more than it can hold
  EXPECT_THAT(Shell(BOARDCTL " net set eth0 10.1.3.4 255.255.0.0"),
              HasSubstr("settings cannot be read\n"));
}

TEST_F(InterfaceTest, WhatIsWrongIsRefusedBeforeAnythingChanges) {
  const std::string invalid = "LIBDVR : Invalid parameter\n";
  const std::string format = "LIBDVR : Address format error\n";
  const std::string noMac = "LIBDVR : NetWorkGetMACAddress faield\n";
  const std::string notSet = At(1450, "Set ip failed\n\n");
  char text[32];
  uint8_t bytes[6];
  int32_t number;
  NetDeviceEntry entry;
  const struct {
    std::string printed;  // at the end
    std::function<int32_t()> call;
    int32_t result = -1;
  } kRows[] = {
      {format, [] { return NetWorkSetInterface("eth0", 0, "10.0.0.256"); }},
      {format, [] { return NetWorkSetInterface("eth0", 1, "255.255.255.255"); }},
      {format, [] { return NetWorkSetAddress("eth0", "", "255.0.0.0", 1); }},
      {invalid, [] { return NetWorkSetInterface("eth0", 5, "10.0.0.1"); }},
      {invalid, [] { return NetWorkSetInterface(nullptr, 0, "10.0.0.1"); }},
      {notSet, [] { return NetWorkSetInterface("eth9", 0, "10.0.0.1"); }},
      {notSet, [] { return NetWorkSetInterface("eth0567890123456", 0, "10.0.0.1"); }},
      {"", [] { return NetWorkSetAddress("eth0", nullptr, "255.0.0.0", 1); }},
      {"", [] { return NetWorkSetGateway("eth0", nullptr, 1); }, 0},
      {invalid,
       [] { return NetWorkSetMACAddress("eth0", "02:00:00:00:00:77;touch /opt/sav/Config/x"); }},
      {invalid, [] { return NetWorkSetMACAddress("eth0", "$(touch /opt/sav/Config/x)"); }},
      {invalid, [&] { return NetWorkSetMACAddress("HWADDR0", "02:00:00:00:00:77"); }},
      {At(844, "Not found device eth1\n"),
       [&] { return NetWorkSetMACAddress("eth1", "02:00:00:00:00:77"); }},
      {invalid, [&] { return NetWorkGetHwAddr("eth0", bytes, 5); }},
      {invalid, [&] { return NetWorkGetHwAddr("eth9", bytes, 6); }},
      {noMac, [&] { return NetWorkGetMACAddress("eth0", text, 11); }},
      {noMac, [&] { return NetWorkGetMACAddress("eth9", text, sizeof text); }},
      {At(2066, "EthNameLen=9 is too short(least is 10)!\n"),
       [&] { return NetGetEthNameList(text, 9, &number); }},
      {invalid, [] { return NetGetEthName(nullptr, 1); }, 0},
      {"", [&] { return NetGetEthName(&entry, -1); }, 0},
      {At(2249, "NetSetMode : Invalid prama\n"), [] { return NetSetMode(nullptr, 0); }},
      {"LIBDVR : Unknow cmd\n", [] { return NetSetMode("eth0", 5); }},
      {"LIBDVR : Unknow cmd\n", [] { return NetSetMode("eth0", -1); }},
      {"LIBDVR :  NetSetMode: ioctl SIOCETHTOOL failed\n", [] { return NetSetMode("eth9", 0); }},
      {"LIBDVR : NetGetMode: Invalid parameter\n", [&] { return NetGetMode("eth9", &number); }},
  };
  Shell("ip link add eth056789012345 type veth peer name peer9");
  const std::string before = Shell("ip link; ip -4 address; ip -4 route");
  for (const auto &row : kRows) {
    SCOPED_TRACE(&row - kRows);
    EXPECT_THAT(Call(row.result, row.call), EndsWith(row.printed));
  }
  EXPECT_EQ(Shell("ip link; ip -4 address; ip -4 route"), before);
  EXPECT_TRUE(std::filesystem::is_empty("/opt/sav/Config"));
}

TEST_F(InterfaceTest, TheHardwareAddressIsSetThroughTheShell) {
  // There is no flash for the boot variable here, so the result is -1.
  EXPECT_THAT(Call(-1, [] { return NetWorkSetMACAddress("eth0", "02:0A:bc:00:00:77"); }),
              StartsWith("LIBDVR : ifconfig eth0 down Successful\n"
                         "LIBDVR : ifconfig eth0 hw ether 02:0A:bc:00:00:77 Successful\n"
                         "LIBDVR : ifconfig eth0 up Successful\n"));
  EXPECT_THAT(Shell("ip -o link show dev eth0"),
              AllOf(HasSubstr("link/ether 02:0a:bc:00:00:77 "), HasSubstr(",UP")));
  uint8_t bytes[6] = {};
  Call(0, [&] { return NetWorkGetHwAddr("eth0", bytes, sizeof bytes); });
  EXPECT_THAT(bytes, testing::ElementsAre(2, 0x0a, 0xbc, 0, 0, 0x77));
  char text[18];
  Call(0, [&] { return NetWorkGetMACAddress("eth0", text, sizeof text); });
  EXPECT_STREQ(text, "02:0a:bc:00:00:77");
  Call(0, [&] { return NetWorkGetMACAddress("eth0", text, 12); });
  EXPECT_STREQ(text, "02:0a:bc:00");
}

TEST_F(InterfaceTest, TheDevicesAreListed) {
  const std::string order = Shell("grep -o 'eth[0-9]' /proc/net/dev");
  NetDeviceEntry entries[4];
  memset(entries, 0xff, sizeof entries);
  EXPECT_EQ(Call(3, [&] { return NetGetEthName(entries, 4); }), "");
  std::string names;
  for (const NetDeviceEntry &entry : {entries[0], entries[1], entries[2]}) {
    names += std::string(entry.name) + "\n";
    EXPECT_EQ(entry.selectable, std::string(entry.name) != "eth1");
    EXPECT_EQ(entry.wireless, std::string(entry.name) == "eth2");
  }
  EXPECT_EQ(names, order);
  EXPECT_STREQ(entries[3].name, "");
  // Nothing but zeros behind a name.
  for (const NetDeviceEntry &found : entries) {
    const std::string name(found.name);
    EXPECT_EQ(std::string(found.name, sizeof found.name),
              name + std::string(sizeof found.name - name.size(), '\0'));
  }
  Call(2, [&] { return NetGetEthName(entries, 2); });

  char text[13];
  int32_t count = 0;
  const auto list = [&](int32_t length) {
    count = 9;
    return NetGetEthNameList(text, length, &count);
  };
  Call(0, [&] { return list(sizeof text); });
  EXPECT_EQ(text, Shell("grep -o 'eth[02]' /proc/net/dev | sed 's/$/::/' | tr -d '\\n'"));
  EXPECT_EQ(count, 2);
  Call(0, [&] { return list(sizeof text - 1); });  // the second name does not fit
  EXPECT_EQ(strlen(text), 6U);
  EXPECT_EQ(count, 1);

  // The wireless device has no settings file, so its priority cannot be read.
  EXPECT_THAT(Call(-1, [&] { return NetWorkGetPriorityDevice(text); }),
              EndsWith("LIBDVR : get ip error\n"));
  const std::string last = order.substr(order.size() - 5, 4);
  Call(0, [] { return NetWorkSetPriority("eth1"); });
  EXPECT_EQ(Read("/opt/sav/Config/network1"), last == "eth1" ? "PRIO = 0\n" : "PRIO = 1\n");
  Shell("ip link delete eth2; ip link delete eth0");
  Shell("ip link add eth3 type veth peer name peer3");  // does not count
  Call(0, [] { return NetWorkSetPriority("eth1"); });
  EXPECT_EQ(Read("/opt/sav/Config/network1"), "PRIO = 0\n");
  Shell("ip link delete eth3");
  EXPECT_EQ(Call(0, [&] { return NetWorkGetPriorityDevice(text); }), "");
  EXPECT_STREQ(text, "eth0");
  Call(0, [&] { return list(10); });
  EXPECT_STREQ(text, "eth0::");  // although there is none but eth1
  EXPECT_EQ(count, 1);

  ASSERT_EQ(mount("tmpfs", "/proc", "tmpfs", 0, nullptr), 0);
  const std::string gone = At(1667, "Open file /proc/net/dev failed!\n");
  EXPECT_EQ(Call(0, [&] { return list(sizeof text); }),
            At(2072, "ERR: open file /proc/net/dev failed!\n"));
  EXPECT_STREQ(text, "eth0");
  EXPECT_EQ(count, 1);
  EXPECT_EQ(Call(-1, [&] { return NetWorkGetPriorityDevice(text); }),
            gone + "LIBDVR : NetGetEthName\n");
  EXPECT_EQ(Call(-1, [] { return NetWorkSetPriority("eth1"); }), gone + "LIBDVR : NetGetEthName\n");
  EXPECT_EQ(Call(-1, [] { return NetWorkSetInterface("eth1", 2, "10.0.0.1"); }),
            gone + At(1542, "No netword device\n"));
  umount2("/proc", MNT_DETACH);
}

// A virtual pair runs at 10 Gbit/s without negotiation, and supports no mode.
TEST_F(InterfaceTest, LinkAndModeAreTheDrivers) {
  Write("/opt/sav/Config/network", "WORKMODE = 7\n");
  int32_t mode = -1;
  const auto get = [&] { return NetGetMode("eth0", &mode); };
  const std::string heard = "#####from system : m_NetWorkMode = 1$$$$ret = 0, from file = ";
  EXPECT_EQ(Call(0, get), heard + "2\nLIBDVR : Unsupport mode\n");
  EXPECT_EQ(mode, NET_MODE_10_HALF);
  Call(-1, [] { return NetSetMode("eth0", NET_MODE_AUTO); });
  EXPECT_EQ(Read("/opt/sav/Config/network"), "WORKMODE = 7\n");

  Call(0, [] { return NetGetLinkState("eth0"); });
  Shell("ip link set peer0 down");
  Call(-1, [] { return NetGetLinkState("eth0"); });
  Shell("ip link delete eth0");
  Call(-2, [] { return NetGetLinkState("eth0"); });
  Call(-2, [] { return NetGetLinkState("eth2"); });  // no driver tells about wireless here
  Call(0, [] { return NetGetLinkState("eth1"); });
  Call(-1, [] { return NetGetLinkState("eth9"); });
}

}  // namespace
