// Addresses of a live interface: its hardware address, its address and its netmask.
#include <arpa/inet.h>
#include <netinet/if_ether.h>
#include <netinet/in.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>

#include <array>

#include "Base/message.h"
#include "Network/announcement.h"
#include "Network/gateway.h"
#include "Network/kernel_request.h"
#include "Network/message.h"
#include "Network/network_text.h"
#include "libsys/boot.h"
#include "libsys/network.h"

using namespace libsys;

namespace {

constexpr int32_t kLastGatewayType = 4;

using Command = std::array<char, 64>;

// What the command answers is not looked at: only a shell that does not start is a failure.
bool RunShell(const Command &command) {
  fflush(stdout);
  return system(command.data()) != -1;
}

bool RunReported(const Command &command) {
  if (!RunShell(command)) return false;
  printf("LIBDVR : %s Successful\n", command.data());
  return true;
}

int32_t Failed(const Command &command) {
  printf("LIBDVR : %s faield\n", command.data());
  return -1;
}

int32_t SetUpAndRunning(int fd, const char *interfaceName) {
  ifreq request = network::RequestFor(interfaceName);
  if (ioctl(fd, SIOCGIFFLAGS, &request) != 0) {
    base::PrintAt({network::kSource, 1456}, "SIOCGIFFLAGS failed\n");
    return -1;
  }
  request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP | IFF_RUNNING);
  if (ioctl(fd, SIOCSIFFLAGS, &request) != 0) {
    base::PrintAt({network::kSource, 1463}, "SIOCSIFFLAGS failed\n");
    return -1;
  }
  return 0;
}

int32_t SetAddressOrNetmask(const char *interfaceName, int32_t type, const char *value) {
  const base::Descriptor socket = network::OpenSocket();
  if (!socket) {
    base::PrintAt({network::kSource, 1421}, "Socket failed\n");
    return -1;
  }
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = inet_addr(value);
  if (address.sin_addr.s_addr == INADDR_NONE) {
    puts("LIBDVR : Address format error");
    return -1;
  }
  ifreq request = network::RequestFor(interfaceName);
  memcpy(&request.ifr_addr, &address, sizeof address);
  if (ioctl(socket.get(), type == HOSTIP ? SIOCSIFADDR : SIOCSIFNETMASK, &request) != 0) {
    base::PrintAt({network::kSource, 1450}, "%s\n",
                  type == HOSTIP ? "Set ip failed\n" : "Set netmask failed\n");
    return -1;
  }
  return SetUpAndRunning(socket.get(), interfaceName);
}

int32_t SetAndSave(const char *interfaceName, int32_t type, const char *value, int32_t save) {
  if (value == nullptr || NetWorkSetInterface(interfaceName, type, value) != 0) return -1;
  if (save != 0) NetWorkSaveAttributes(interfaceName, type, value);
  return 0;
}

}  // namespace

int32_t NetWorkGetHwAddr(const char *interfaceName, uint8_t *bytes, int32_t length) {
  if (interfaceName == nullptr || bytes == nullptr || NetWorkCheckDevice(interfaceName) != 0 ||
      length < ETH_ALEN) {
    return network::InvalidParameter();
  }
  const base::Descriptor socket = network::OpenSocket();
  if (!socket) {
    base::PrintAt({network::kSource, 417}, "Socket failed\n");
    return -1;
  }
  ifreq request = network::RequestFor(interfaceName);
  if (ioctl(socket.get(), SIOCGIFHWADDR, &request) != 0) {
    perror("SIOCGIFHWADDR Failed\n");
    return -1;
  }
  memcpy(bytes, request.ifr_hwaddr.sa_data, ETH_ALEN);
  return 0;
}

int32_t NetWorkGetMACAddress(const char *interfaceName, char *text, int32_t length) {
  constexpr int32_t kLeastLength = 12;
  uint8_t mac[ETH_ALEN];
  if (text == nullptr || length < kLeastLength ||
      NetWorkGetHwAddr(interfaceName, mac, sizeof mac) != 0) {
    puts("LIBDVR : NetWorkGetMACAddress faield");
    return -1;
  }
  snprintf(text, static_cast<size_t>(length), "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1],
           mac[2], mac[3], mac[4], mac[5]);
  return 0;
}

int32_t NetWorkSetMACAddress(const char *interfaceName, const char *text) {
  if (interfaceName == nullptr || text == nullptr || NetWorkCheckDevice(interfaceName) != 0 ||
      !network::IsMacText(text)) {
    return network::InvalidParameter();
  }
  if (strcmp(interfaceName, "eth0") != 0) {
    base::PrintAt({network::kSource, 844}, "Not found device %s\n", interfaceName);
    return -1;
  }
  const Command down = {"ifconfig eth0 down"};
  const Command up = {"ifconfig eth0 up"};
  Command set;
  snprintf(set.data(), set.size(), "ifconfig eth0 hw ether %s", text);
  if (!RunReported(down)) return Failed(down);
  if (!RunReported(set)) {
    RunShell(up);  // so that the interface does not stay down
    return Failed(set);
  }
  if (!RunReported(up)) return Failed(up);
  return BootEnvSet("ethaddr", text);
}

int32_t NetWorkSetInterface(const char *interfaceName, int32_t type, const char *value) {
  if (interfaceName == nullptr || value == nullptr || type < HOSTIP || type > kLastGatewayType) {
    return network::InvalidParameter();
  }
  return type >= GATEWAYIP ? network::SetGateway(interfaceName, value)
                           : SetAddressOrNetmask(interfaceName, type, value);
}

int32_t NetWorkSetGateway(const char *interfaceName, const char *gateway, int32_t save) {
  SetAndSave(interfaceName, GATEWAYIP, gateway, save);
  return 0;  // on purpose, whatever happened
}

int32_t NetWorkSetAddress(const char *interfaceName, const char *address, const char *netmask,
                          int32_t save) {
  if (SetAndSave(interfaceName, HOSTIP, address, save) != 0 ||
      SetAndSave(interfaceName, SUBMASK, netmask, save) != 0) {
    return -1;
  }
  if (strcmp(interfaceName, "lo") == 0 || NetWorkCheckDevice(interfaceName) != 0) return 0;
  return network::AnnounceAddress(interfaceName);
}
