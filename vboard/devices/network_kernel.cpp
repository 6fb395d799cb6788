#include "vboard/devices/network_kernel.h"

#include <arpa/inet.h>
#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <iterator>

#include "vboard/board.h"

namespace vboard::network {

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

std::string AddressText(in_addr_t address) {
  char text[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, &address, text, sizeof text);
  return text;
}

in_addr_t AddressIn(const sockaddr &socketAddress) {
  sockaddr_in internet;
  memcpy(&internet, &socketAddress, sizeof internet);
  return internet.sin_addr.s_addr;
}

bool IsMask(in_addr_t mask) {
  const uint32_t rest = ~ntohl(mask);
  return (rest & (rest + 1)) == 0;
}

in_addr_t ClassMask(in_addr_t address) {
  const in_addr_t number = ntohl(address);
  if (number == 0 || number == INADDR_BROADCAST) return 0;
  if (IN_CLASSA(number)) return htonl(IN_CLASSA_NET);
  if (IN_CLASSB(number)) return htonl(IN_CLASSB_NET);
  return IN_CLASSC(number) ? htonl(IN_CLASSC_NET) : INADDR_BROADCAST;
}

int PlaceOf(const Interface &interface) {
  return static_cast<int>(&interface - Kernel().interfaces);
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

int Flags(const Interface &interface) {
  const int running = interface.up && interface.link ? IFF_RUNNING : 0;
  const int kind = interface.loop ? IFF_LOOPBACK : IFF_BROADCAST | IFF_MULTICAST;
  return kind | running | (interface.up ? IFF_UP : 0);
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

}  // namespace vboard::network
