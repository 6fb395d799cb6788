#include "vboard/devices/network_kernel.h"

#include <arpa/inet.h>
#include <errno.h>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if_arp.h>
#include <net/route.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <bit>
#include <iterator>

#include "vboard/board.h"
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

std::string AddressText(in_addr_t address) {
  char text[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, &address, text, sizeof text);
  return text;
}

int PlaceOf(const Interface &interface) {
  return static_cast<int>(&interface - Kernel().interfaces);
}

bool IsMask(in_addr_t mask) {
  const uint32_t rest = ~ntohl(mask);
  return (rest & (rest + 1)) == 0;
}

int AppendRoute(const Route &route) {
  if (Routes().size() == kMostRoutes) return ENOMEM;
  Kernel().routes[Kernel().routeCount++] = route;
  return 0;
}

// An interface that changes loses its routes; with an address, it has the one to its network.
void Reroute(const Interface &interface) {
  const int place = PlaceOf(interface);
  const auto end = std::remove_if(Routes().begin(), Routes().end(),
                                  [&](const Route &route) { return route.interface == place; });
  Kernel().routeCount = static_cast<uint32_t>(end - Routes().begin());
  const in_addr_t network = interface.address & interface.netmask;
  if (!interface.up || network == 0 || interface.netmask == INADDR_BROADCAST) return;
  AppendRoute({network, interface.netmask, 0, place, true});
}

// The interface on whose own network an address lies, or -1.
int InterfaceTo(in_addr_t address, int interface) {
  const Route *best = nullptr;
  for (const Route &route : Routes()) {
    const bool leads = route.gateway == 0 && (address & route.netmask) == route.destination &&
                       (interface < 0 || interface == route.interface);
    if (leads && (best == nullptr || ntohl(route.netmask) >= ntohl(best->netmask))) best = &route;
  }
  return best != nullptr ? best->interface : -1;
}

// What the request leaves out fits every route.
int DeleteRoute(const Route &request) {
  for (auto i = static_cast<ptrdiff_t>(Routes().size()); i-- > 0;) {
    const Route route = Kernel().routes[i];
    const bool fits = route.destination == request.destination &&
                      route.netmask == request.netmask &&
                      (request.gateway == 0 || route.gateway == request.gateway) &&
                      (request.interface < 0 || route.interface == request.interface);
    if (!fits) continue;
    std::move(Routes().begin() + i + 1, Routes().end(), Routes().begin() + i);
    --Kernel().routeCount;
    Event("route del %s", RouteText(route).c_str());
    return 0;
  }
  return ESRCH;
}

in_addr_t AddressIn(const sockaddr &socketAddress) {
  sockaddr_in internet;
  memcpy(&internet, &socketAddress, sizeof internet);
  return internet.sin_addr.s_addr;
}

int ReadRoute(const rtentry &entry, Route &route) {
  if (entry.rt_dst.sa_family != AF_INET) return EAFNOSUPPORT;
  const bool host = (entry.rt_flags & RTF_HOST) != 0;
  route = {AddressIn(entry.rt_dst), host ? INADDR_BROADCAST : AddressIn(entry.rt_genmask), 0, -1,
           false};
  if (!IsMask(route.netmask) || (route.destination & ~route.netmask) != 0) return EINVAL;
  if (entry.rt_dev != nullptr) {
    const Interface *interface = Find(entry.rt_dev);
    if (interface == nullptr) return ENODEV;
    route.interface = PlaceOf(*interface);
  }
  if (entry.rt_gateway.sa_family == AF_INET) route.gateway = AddressIn(entry.rt_gateway);
  return 0;
}

int RouteRequest(unsigned long request, const rtentry &entry) {
  Route route;
  const int error = ReadRoute(entry, route);
  if (error != 0) return error;
  if (request == SIOCDELRT) return DeleteRoute(route);
  if ((entry.rt_flags & RTF_GATEWAY) != 0 && route.gateway == 0) return EINVAL;
  return AddRoute(route);
}

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

in_addr_t ClassMask(in_addr_t address) {
  const in_addr_t number = ntohl(address);
  if (number == 0 || number == INADDR_BROADCAST) return 0;
  if (IN_CLASSA(number)) return htonl(IN_CLASSA_NET);
  if (IN_CLASSB(number)) return htonl(IN_CLASSB_NET);
  return IN_CLASSC(number) ? htonl(IN_CLASSC_NET) : INADDR_BROADCAST;
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

int Flags(const Interface &interface) {
  const int running = interface.up && interface.link ? IFF_RUNNING : 0;
  const int kind = interface.loop ? IFF_LOOPBACK : IFF_BROADCAST | IFF_MULTICAST;
  return kind | running | (interface.up ? IFF_UP : 0);
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

State &Kernel() {
  return StateOf<State>(kNetwork);
}

std::span<Interface> Interfaces() {
  return {Kernel().interfaces, Kernel().interfaceCount};
}

std::span<Route> Routes() {
  return {Kernel().routes, Kernel().routeCount};
}

Interface *Find(const std::string &name) {
  for (Interface &interface : Interfaces()) {
    if (name == interface.name) return &interface;
  }
  return nullptr;
}

std::string MacText(const uint8_t (&mac)[ETH_ALEN]) {
  char text[18];
  snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3],
           mac[4], mac[5]);
  return text;
}

bool ReadMac(const std::string &text, uint8_t (&mac)[ETH_ALEN]) {
  int end = -1;
  sscanf(text.c_str(), "%2hhx:%2hhx:%2hhx:%2hhx:%2hhx:%2hhx%n", &mac[0], &mac[1], &mac[2], &mac[3],
         &mac[4], &mac[5], &end);
  return end == static_cast<int>(text.size());
}

std::string RouteText(const Route &route) {
  const std::string length = "/" + std::to_string(std::popcount(route.netmask));
  std::string text = route.netmask == 0 ? "default" : AddressText(route.destination) + length;
  if (route.gateway != 0) text += " via " + AddressText(route.gateway);
  return text + " dev " + Kernel().interfaces[route.interface].name;
}

std::string StatusText(const Interface &interface) {
  const int flags = Flags(interface);
  std::string text = interface.name;
  text.resize(10, ' ');
  text += interface.loop ? "Link encap:Local Loopback"
                         : "Link encap:Ethernet  HWaddr " + MacText(interface.mac);
  if (interface.address != 0) {
    text += "\n          inet addr:" + AddressText(interface.address);
    text += "  Mask:" + AddressText(interface.netmask);
  }
  text += "\n         ";
  if ((flags & IFF_UP) != 0) text += " UP";
  if ((flags & IFF_RUNNING) != 0) text += " RUNNING";
  return text + "  MTU:1500  Metric:1\n\n";
}

int AddRoute(Route route) {
  if (route.gateway != 0) {
    route.interface = InterfaceTo(route.gateway, route.interface);
    if (route.interface < 0) return ENETUNREACH;
  }
  if (route.interface < 0) return ENODEV;
  if (!Kernel().interfaces[route.interface].up) return ENETDOWN;
  for (const Route &other : Routes()) {
    const bool same = other.destination == route.destination && other.netmask == route.netmask &&
                      other.gateway == route.gateway && other.interface == route.interface &&
                      !other.connected;
    if (same) return EEXIST;
  }
  const int error = AppendRoute(route);
  if (error == 0) Event("route add %s", RouteText(route).c_str());
  return error;
}

void Reset(Interface &interface) {
  std::copy(std::begin(interface.builtInMac), std::end(interface.builtInMac), interface.mac);
  interface.mode = interface.builtInMode;
  interface.up = interface.loop;
  interface.address = interface.loop ? htonl(INADDR_LOOPBACK) : 0;
  interface.netmask = ClassMask(interface.address);
  Reroute(interface);
}

void SetUp(Interface &interface, bool up) {
  if (interface.up == up) return;
  interface.up = up;
  Reroute(interface);
  Event("%s %s", interface.name, up ? "up" : "down");
}

int SetMac(Interface &interface, const std::string &text) {
  uint8_t mac[ETH_ALEN];
  if (!ReadMac(text, mac)) return EINVAL;
  if (interface.up) return EBUSY;
  if ((mac[0] & 1) != 0) return EADDRNOTAVAIL;  // an address for many
  memcpy(interface.mac, mac, sizeof mac);
  Event("%s mac %s", interface.name, MacText(mac).c_str());
  return 0;
}

int Request(unsigned long request, void *argument) {
  const int error = argument != nullptr ? RequestError(request, argument) : EFAULT;
  if (error == 0) return 0;
  errno = error;
  return -1;
}

}  // namespace vboard::network
