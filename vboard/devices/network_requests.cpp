// The ioctl requests on interfaces and routes.
#include <errno.h>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if_arp.h>
#include <string.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <iterator>

#include "vboard/board.h"
#include "vboard/devices/network_kernel.h"
#include "vboard/faults.h"

namespace vboard::network {
namespace {

// The best one first, which auto-negotiation takes.
constexpr struct {
  uint32_t bit;
  uint32_t speed;
  uint8_t duplex;
} kModes[] = {
    {SUPPORTED_100baseT_Full, SPEED_100, DUPLEX_FULL},
    {SUPPORTED_100baseT_Half, SPEED_100, DUPLEX_HALF},
    {SUPPORTED_10baseT_Full, SPEED_10, DUPLEX_FULL},
    {SUPPORTED_10baseT_Half, SPEED_10, DUPLEX_HALF},
};

int GetMac(Interface &interface, ifreq &request) {
  request.ifr_hwaddr.sa_family = interface.loop ? ARPHRD_LOOPBACK : ARPHRD_ETHER;
  memcpy(request.ifr_hwaddr.sa_data, interface.mac, sizeof interface.mac);
  return 0;
}

int Answer(in_addr_t address, ifreq &request) {
  sockaddr_in internet = {};
  internet.sin_family = AF_INET;
  internet.sin_addr.s_addr = address;
  memcpy(&request.ifr_addr, &internet, sizeof internet);
  return 0;
}

int GetAddress(Interface &interface, ifreq &request) {
  return interface.address == 0 ? EADDRNOTAVAIL : Answer(interface.address, request);
}

int GetNetmask(Interface &interface, ifreq &request) {
  return interface.address == 0 ? EADDRNOTAVAIL : Answer(interface.netmask, request);
}

int SetAddress(Interface &interface, ifreq &request) {
  const in_addr_t address = AddressIn(request.ifr_addr);
  if (request.ifr_addr.sa_family != AF_INET || IN_MULTICAST(ntohl(address))) return EINVAL;
  if (interface.address == address) return 0;
  interface.address = address;
  interface.netmask = ClassMask(address);
  Reroute(interface);
  Event("%s address %s", interface.name, AddressText(address).c_str());
  return 0;
}

int SetNetmask(Interface &interface, ifreq &request) {
  const in_addr_t netmask = AddressIn(request.ifr_netmask);
  if (request.ifr_netmask.sa_family != AF_INET) return EINVAL;
  if (interface.address == 0) return EADDRNOTAVAIL;
  if (!IsMask(netmask)) return EINVAL;
  if (interface.netmask == netmask) return 0;
  interface.netmask = netmask;
  Reroute(interface);
  Event("%s netmask %s", interface.name, AddressText(netmask).c_str());
  return 0;
}

int GetFlags(Interface &interface, ifreq &request) {
  request.ifr_flags = static_cast<short>(Flags(interface));
  return 0;
}

int SetFlags(Interface &interface, ifreq &request) {
  SetUp(interface, (request.ifr_flags & IFF_UP) != 0);
  return 0;
}

int SetMode(Interface &interface, const ethtool_cmd &wanted) {
  const bool automatic = wanted.autoneg == AUTONEG_ENABLE;
  const uint32_t offered = interface.supported & (automatic ? wanted.advertising : UINT32_MAX);
  if (automatic && (offered & SUPPORTED_Autoneg) == 0) return EINVAL;
  for (const auto &[bit, speed, duplex] : kModes) {
    const bool fits = automatic || (speed == ethtool_cmd_speed(&wanted) && duplex == wanted.duplex);
    if ((offered & bit) == 0 || !fits) continue;
    interface.mode = {speed, duplex, automatic};
    Event("%s mode %u %s%s", interface.name, speed, duplex == DUPLEX_FULL ? "full" : "half",
          automatic ? " automatic" : "");
    return 0;
  }
  return EINVAL;
}

void GetMode(const Interface &interface, ethtool_cmd &answer) {
  answer = {};
  answer.cmd = ETHTOOL_GSET;
  answer.supported = answer.advertising = interface.supported;
  ethtool_cmd_speed_set(&answer, interface.mode.speed);
  answer.duplex = interface.mode.duplex;
  answer.autoneg = interface.mode.automatic ? AUTONEG_ENABLE : AUTONEG_DISABLE;
}

int UseEthernetTool(Interface &interface, ifreq &request) {
  void *data = request.ifr_data;
  const uint32_t command = *static_cast<const uint32_t *>(data);
  if (command == ETHTOOL_GLINK) {
    static_cast<ethtool_value *>(data)->data = interface.up && interface.link;
    return 0;
  }
  if (interface.supported == 0) return EOPNOTSUPP;
  if (command == ETHTOOL_SSET) return SetMode(interface, *static_cast<const ethtool_cmd *>(data));
  if (command != ETHTOOL_GSET) return EOPNOTSUPP;
  GetMode(interface, *static_cast<ethtool_cmd *>(data));
  return 0;
}

constexpr struct {
  unsigned long request;
  const char *name;
  int (*run)(Interface &interface, ifreq &request);  // null: takes a route
} kRequests[] = {
    {SIOCGIFHWADDR, "SIOCGIFHWADDR", GetMac},
    {SIOCGIFADDR, "SIOCGIFADDR", GetAddress},
    {SIOCSIFADDR, "SIOCSIFADDR", SetAddress},
    {SIOCGIFNETMASK, "SIOCGIFNETMASK", GetNetmask},
    {SIOCSIFNETMASK, "SIOCSIFNETMASK", SetNetmask},
    {SIOCGIFFLAGS, "SIOCGIFFLAGS", GetFlags},
    {SIOCSIFFLAGS, "SIOCSIFFLAGS", SetFlags},
    {SIOCETHTOOL, "SIOCETHTOOL", UseEthernetTool},
    {SIOCADDRT, "SIOCADDRT", nullptr},
    {SIOCDELRT, "SIOCDELRT", nullptr},
};

// A planned fault of the call ioctl names the request where others name a path.
int RequestError(unsigned long request, void *argument) {
  const auto *known = std::find_if(std::begin(kRequests), std::end(kRequests),
                                   [&](const auto &row) { return row.request == request; });
  if (known == std::end(kRequests)) return ENOTTY;
  if (CallFails("ioctl", known->name)) return errno;
  const Lock lock;
  if (known->run == nullptr) return RouteRequest(request, *static_cast<const rtentry *>(argument));
  auto &wanted = *static_cast<ifreq *>(argument);
  Interface *interface = Find({wanted.ifr_name, strnlen(wanted.ifr_name, IFNAMSIZ - 1)});
  return interface != nullptr ? known->run(*interface, wanted) : ENODEV;
}

}  // namespace

int Request(unsigned long request, void *argument) {
  const int error = argument != nullptr ? RequestError(request, argument) : EFAULT;
  if (error == 0) return 0;
  errno = error;
  return -1;
}

}  // namespace vboard::network
