// The routes of the board's kernel.
#include <errno.h>
#include <linux/sockios.h>
#include <net/route.h>
#include <string.h>

#include <algorithm>
#include <bit>

#include "vboard/board.h"
#include "vboard/devices/network_kernel.h"

namespace vboard::network {
namespace {

int AppendRoute(const Route &route) {
  if (Routes().size() == kMostRoutes) return ENOMEM;
  Kernel().routes[Kernel().routeCount++] = route;
  return 0;
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

}  // namespace

void Reroute(const Interface &interface) {
  const int place = PlaceOf(interface);
  const auto end = std::remove_if(Routes().begin(), Routes().end(),
                                  [&](const Route &route) { return route.interface == place; });
  Kernel().routeCount = static_cast<uint32_t>(end - Routes().begin());
  const in_addr_t network = interface.address & interface.netmask;
  if (!interface.up || network == 0 || interface.netmask == INADDR_BROADCAST) return;
  AppendRoute({network, interface.netmask, 0, place, true});
}

std::string RouteText(const Route &route) {
  const std::string length = "/" + std::to_string(std::popcount(route.netmask));
  std::string text = route.netmask == 0 ? "default" : AddressText(route.destination) + length;
  if (route.gateway != 0) text += " via " + AddressText(route.gateway);
  return text + " dev " + Kernel().interfaces[route.interface].name;
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

int RouteRequest(unsigned long request, const rtentry &entry) {
  Route route;
  const int error = ReadRoute(entry, route);
  if (error != 0) return error;
  if (request == SIOCDELRT) return DeleteRoute(route);
  if ((entry.rt_flags & RTF_GATEWAY) != 0 && route.gateway == 0) return EINVAL;
  return AddRoute(route);
}

}  // namespace vboard::network
