// The network as the board's kernel keeps it: interfaces with their addresses, and routes. All in
// the shared state. Where nothing else is said, results are 0 or an errno value.
#pragma once

#include <net/ethernet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <stddef.h>
#include <stdint.h>

#include <span>
#include <string>

struct rtentry;

namespace vboard {

struct Device;
extern const Device kNetwork;

namespace network {

constexpr size_t kMostInterfaces = 4;
constexpr size_t kMostRoutes = 32;

struct Mode {
  uint32_t speed;
  uint8_t duplex;
  bool automatic;
};

// IPv4 addresses are in network order; 0 is none.
struct Interface {
  char name[IFNAMSIZ];
  uint8_t builtInMac[ETH_ALEN];
  Mode builtInMode;
  uint32_t supported;  // as the Ethernet tool interface has it; 0: no modes to ask for
  bool loop;
  bool link;
  uint8_t mac[ETH_ALEN];
  Mode mode;
  bool up;
  in_addr_t address;
  in_addr_t netmask;
};

struct Route {
  in_addr_t destination;
  in_addr_t netmask;
  in_addr_t gateway;
  int interface;   // its place in the list; -1: any
  bool connected;  // came with the interface's address
};

struct State {
  bool wireless;   // the kernel has the wireless information file
  bool connected;  // what it says
  uint32_t interfaceCount;
  Interface interfaces[kMostInterfaces];
  uint32_t routeCount;
  Route routes[kMostRoutes];  // the latest last
};

State &Kernel();
std::span<Interface> Interfaces();
std::span<Route> Routes();
Interface *Find(const std::string &name);

std::string AddressText(in_addr_t address);
in_addr_t AddressIn(const sockaddr &socketAddress);
bool IsMask(in_addr_t mask);
// The mask that belongs to an address by its class.
in_addr_t ClassMask(in_addr_t address);
std::string MacText(const uint8_t (&mac)[ETH_ALEN]);
bool ReadMac(const std::string &text, uint8_t (&mac)[ETH_ALEN]);
std::string RouteText(const Route &route);
// IFF_UP and the like.
int Flags(const Interface &interface);
// What ifconfig prints.
std::string StatusText(const Interface &interface);

// The interface's place in the list.
int PlaceOf(const Interface &interface);
// The state after power-on.
void Reset(Interface &interface);
void SetUp(Interface &interface, bool up);
int SetMac(Interface &interface, const std::string &text);
// An interface that changes loses its routes; with an address, it has the one to its network.
void Reroute(const Interface &interface);
int AddRoute(Route route);
// The ioctl requests on routes and interfaces; result and errno of the second one as ioctl has
// them.
int RouteRequest(unsigned long request, const rtentry &entry);
int Request(unsigned long request, void *argument);

}  // namespace network
}  // namespace vboard
