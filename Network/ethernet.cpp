// The link of an Ethernet interface: whether it is there, and its speed and duplex mode.
#include <errno.h>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>

#include "Base/message.h"
#include "Base/text_file.h"
#include "Network/kernel_request.h"
#include "Network/message.h"
#include "libsys/network.h"
#include "libsys/version.h"

using namespace libsys;

namespace {

constexpr const char *kWirelessInformation = "/proc/net/wlan/info";
constexpr int32_t kLinkUnknown = -2;

struct ModeRow {
  NetMode mode;
  uint32_t supported;
  uint16_t speed;  // Mbit/s; automatic leaves speed and duplex as they are
  uint8_t duplex;
};

constexpr std::array kModes = {
    ModeRow{NET_MODE_AUTO, SUPPORTED_Autoneg, 0, 0},
    ModeRow{NET_MODE_10_HALF, SUPPORTED_10baseT_Half, SPEED_10, DUPLEX_HALF},
    ModeRow{NET_MODE_10_FULL, SUPPORTED_10baseT_Full, SPEED_10, DUPLEX_FULL},
    ModeRow{NET_MODE_100_HALF, SUPPORTED_100baseT_Half, SPEED_100, DUPLEX_HALF},
    ModeRow{NET_MODE_100_FULL, SUPPORTED_100baseT_Full, SPEED_100, DUPLEX_FULL},
};
constexpr int32_t kModeCount = std::size(kModes);

// The Ethernet tool interface: the argument begins with its command and takes the answer.
template <typename Argument>
bool AskDriver(int fd, const char *interfaceName, Argument &argument) {
  ifreq request = network::RequestFor(interfaceName);
  request.ifr_data = reinterpret_cast<char *>(&argument);
  return ioctl(fd, SIOCETHTOOL, &request) == 0;
}

int32_t WiredLink(const char *interfaceName) {
  const base::Descriptor socket = network::OpenSocket();
  if (!socket) {
    perror("socket");
    exit(-1);  // on purpose
  }
  ethtool_value link{ETHTOOL_GLINK, 0};
  if (!AskDriver(socket.get(), interfaceName, link)) return kLinkUnknown;
  return link.data != 0 ? 0 : -1;
}

bool BeginsWith(const char *line, const char *beginning) {
  return strncmp(line, beginning, strlen(beginning)) == 0;
}

int32_t WirelessLink() {
  base::TextFile file(kWirelessInformation);
  if (!file) return kLinkUnknown;
  int32_t atEnd = 0;  // on purpose: an empty file counts as connected
  for (std::array<char, 256> line; file.ReadLine(line); atEnd = kLinkUnknown) {
    if (BeginsWith(line.data(), "State=\"Connected\"")) return 0;
    if (BeginsWith(line.data(), "State=\"Disconnected\"")) return -1;
  }
  return atEnd;
}

int32_t LinkByShell() {
  fflush(stdout);
  FILE *pipe = popen("ifconfig eth0 | grep RUNNING", "re");
  if (pipe == nullptr) return -1;
  char output[32];
  const bool running = fgets(output, sizeof output, pipe) != nullptr;
  pclose(pipe);
  return running ? 0 : -1;
}

bool Failed(const char *message, const char *call) {
  const int error = errno;
  puts(message);
  errno = error;
  perror(call);
  return false;
}

bool ReadSettings(const base::Descriptor &socket, const char *interfaceName,
                  ethtool_cmd &settings) {
  if (!socket) return Failed("LIBDVR : NetSetMode socket failed", "Cannot get control socket");
  settings = {};
  settings.cmd = ETHTOOL_GSET;
  return AskDriver(socket.get(), interfaceName, settings) ||
         Failed("LIBDVR :  NetSetMode: ioctl SIOCETHTOOL failed", "ioctl");
}

bool WriteSettings(const base::Descriptor &socket, const char *interfaceName,
                   ethtool_cmd &settings) {
  settings.cmd = ETHTOOL_SSET;
  return AskDriver(socket.get(), interfaceName, settings) ||
         Failed("LIBDVR : NetSetMode : ioctl SIOCETHTOOL failed", "ioctl");
}

void Apply(const ModeRow &row, ethtool_cmd &settings) {
  settings.autoneg = row.mode == NET_MODE_AUTO ? AUTONEG_ENABLE : AUTONEG_DISABLE;
  if (row.mode == NET_MODE_AUTO) return;
  ethtool_cmd_speed_set(&settings, row.speed);
  settings.duplex = row.duplex;
}

int32_t ModeOf(const ethtool_cmd &settings) {
  if (settings.autoneg == AUTONEG_ENABLE) return NET_MODE_AUTO;
  const auto row = std::find_if(kModes.begin() + 1, kModes.end(), [&](const ModeRow &mode) {
    return mode.speed == ethtool_cmd_speed(&settings) && mode.duplex == settings.duplex;
  });
  return row != kModes.end() ? row->mode : NET_MODE_10_HALF;
}

}  // namespace

int32_t NetGetLinkState(const char *interfaceName) {
  if (DvrGetBoardType() == 0) return LinkByShell();
  if (const int32_t known = NetWorkCheckDevice(interfaceName); known < 0) return known;
  if (strcmp(interfaceName, "eth0") == 0) return WiredLink(interfaceName);
  if (strcmp(interfaceName, "eth2") == 0) return WirelessLink();
  return 0;
}

int32_t NetSetMode(const char *interfaceName, int32_t mode) {
  if (interfaceName == nullptr) {
    base::PrintAt({network::kSource, 2249}, "NetSetMode : Invalid prama\n");
    return -1;
  }
  const base::Descriptor socket = network::OpenSocket();
  ethtool_cmd settings;
  if (!ReadSettings(socket, interfaceName, settings)) return -1;
  if (mode < 0 || mode >= kModeCount) {
    puts("LIBDVR : Unknow cmd");
    return -1;
  }
  const ModeRow &row = kModes[static_cast<size_t>(mode)];
  if ((settings.supported & row.supported) == 0) {
    puts("LIBDVR : Unsupport mode");
    return -1;
  }
  Apply(row, settings);
  if (!WriteSettings(socket, interfaceName, settings)) return -1;
  const char digit[] = {static_cast<char>('0' + mode), '\0'};
  return NetWorkSaveAttributes(interfaceName, WORKMODE, digit);
}

int32_t NetGetMode(const char *interfaceName, int32_t *mode) {
  if (interfaceName == nullptr || mode == nullptr || NetWorkCheckDevice(interfaceName) != 0) {
    puts("LIBDVR : NetGetMode: Invalid parameter");
    return -1;
  }
  char text[16] = "";
  const int32_t result = NetWorkGetAttributes(interfaceName, WORKMODE, text, sizeof text);
  ethtool_cmd settings;
  if (!ReadSettings(network::OpenSocket(), interfaceName, settings)) return -1;
  const int32_t systemMode = ModeOf(settings);
  const int32_t fileMode = (static_cast<unsigned char>(text[0]) - '0') % kModeCount;
  printf("#####from system : m_NetWorkMode = %d$$$$ret = %d, from file = %d\n", systemMode, result,
         fileMode);
  *mode = systemMode;
  if (result != 0 || fileMode == systemMode) return 0;
  if (NetSetMode(interfaceName, fileMode) == 0) *mode = fileMode;
  return 0;
}
