// The network interfaces: the loop and the Ethernet interfaces of the description, the files in
// which the kernel lists them, the shell commands ifconfig and route, and what leaves through a
// packet socket. Nothing reaches the PC's own interfaces. Addresses, routes and modes are lost
// with the power; the cable and the radio link are not.
#include <arpa/inet.h>
#include <errno.h>
#include <net/route.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "vboard/board.h"
#include "vboard/description.h"
#include "vboard/device.h"
#include "vboard/devices/network_kernel.h"
#include "vboard/faults.h"
#include "vboard/files.h"
#include "vboard/values.h"

namespace vboard {
namespace {

using namespace network;

constexpr const char *kEthernet[] = {"eth0", "eth1", "eth2"};

int SendError(const std::string &name, size_t length) {
  const Interface *interface = Find(name);
  if (interface == nullptr) return ENODEV;
  if (!interface->up) return ENETDOWN;
  if (length < ETH_HLEN) return EINVAL;
  return length > ETH_FRAME_LEN ? EMSGSIZE : 0;
}

// A packet socket of the kind that is told the interface by its name.
ssize_t Send(const void *data, size_t length, const sockaddr *to, socklen_t toLength) {
  if (to == nullptr || toLength < sizeof *to) {
    errno = to == nullptr ? ENOTCONN : EINVAL;
    return -1;
  }
  const std::string name(to->sa_data, strnlen(to->sa_data, sizeof to->sa_data));
  if (CallFails("sendto", name.c_str())) return -1;
  if (const int error = SendError(name, length)) {
    errno = error;
    return -1;
  }
  std::string frame;
  for (const uint8_t byte : std::span(static_cast<const uint8_t *>(data), length)) {
    char hex[3];
    snprintf(hex, sizeof hex, "%02x", byte);
    frame += hex;
  }
  Event("%s %s %s", frame.substr(24, 4) == "0806" ? "arp" : "frame", name.c_str(), frame.c_str());
  return static_cast<ssize_t>(length);
}

// 0 or an errno value.
int Ifconfig(std::span<const std::string> words, std::string *output) {
  Interface *interface = words.size() > 1 ? Find(words[1]) : nullptr;
  if (interface == nullptr) return ENODEV;
  if (words.size() == 2) {
    *output += StatusText(*interface);
    return 0;
  }
  if (words.size() == 5 && words[2] == "hw" && words[3] == "ether") {
    return SetMac(*interface, words[4]);
  }
  if (words.size() != 3 || (words[2] != "up" && words[2] != "down")) return EINVAL;
  SetUp(*interface, words[2] == "up");
  return 0;
}

// "route add default gw ADDRESS"; 0 or an errno value.
int RouteCommand(std::span<const std::string> words) {
  Route route = {0, 0, 0, -1, false};
  const bool known = words.size() == 5 && words[1] == "add" && words[2] == "default" &&
                     words[3] == "gw" && inet_pton(AF_INET, words[4].c_str(), &route.gateway) == 1;
  return known && route.gateway != 0 ? AddRoute(route) : EINVAL;
}

std::string LinesWith(const std::string &word, const std::string &text) {
  std::istringstream stream(text);
  std::string found;
  for (std::string line; std::getline(stream, line);) {
    if (line.find(word) != std::string::npos) found += line + "\n";
  }
  return found;
}

// Numbers as they lie in memory. A host's route is not told apart.
std::string RouteListText() {
  const Lock lock;
  std::string text =
      "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n";
  for (const Route &route : Routes()) {
    char line[160];
    snprintf(line, sizeof line, "%s\t%08X\t%08X\t%04X\t0\t0\t0\t%08X\t0\t0\t0\n",
             Kernel().interfaces[route.interface].name, route.destination, route.gateway,
             route.gateway != 0 ? RTF_UP | RTF_GATEWAY : RTF_UP, route.netmask);
    text += line;
  }
  return text;
}

// Under the lock, so that no older list replaces a newer one.
void WriteRouteList() {
  const Lock lock;
  WriteFile(RootPath("/proc/net/route"), RouteListText());
}

int Run(std::span<const std::string> words, std::string *printed) {
  const Lock lock;
  const int error = words[0] == "route" ? RouteCommand(words) : Ifconfig(words, printed);
  if (error != 0) Event("%s: %s", words[0].c_str(), strerrordesc_np(error));
  return error;
}

// One command, or one whose output goes through grep with a plain word.
int Command(std::string_view line, std::string *output) {
  std::istringstream stream{std::string(line)};
  const std::vector<std::string> all{std::istream_iterator<std::string>(stream), {}};
  const auto pipe = std::find(all.begin(), all.end(), "|");
  const std::span words(all.begin(), pipe);
  if (words.empty() || (words[0] != "ifconfig" && words[0] != "route")) return -1;
  const bool filtered = pipe != all.end();
  if (filtered && (all.end() - pipe != 3 || pipe[1] != "grep")) return -1;
  std::string printed;
  const int error = Run(words, &printed);
  WriteRouteList();
  if (filtered) printed = LinesWith(pipe[2], printed);
  *output += printed;
  return filtered ? printed.empty() : error != 0;
}

// ---- The board's making and what a person does.

Interface &NewInterface(const char *name) {
  Interface &interface = Kernel().interfaces[Kernel().interfaceCount++];
  Store(interface.name, name);
  return interface;
}

void MakeLoop() {
  Interface &loop = NewInterface("lo");
  loop.loop = loop.link = true;
}

constexpr Key kEthernetKeys[] = {
    {"mac", key::Text(), "its MAC address, as in 00:00:5e:00:53:01"},
    {"link", key::Flag(true), "the cable is plugged in"},
    {"supported", key::Number(0, UINT32_MAX).Default(0x4f),
     "the modes it has, in the bits of the Ethernet tool interface; 0: it tells of none"},
    {"speed", key::Number(0, 1000).Default(100), "Mbit/s at power-on"},
    {"full_duplex", key::Flag(true), "full duplex at power-on"},
    {"autoneg", key::Flag(true), "negotiates its mode at power-on"},
};
constexpr Value kEthernetTable = key::Table(kEthernetKeys).Optional("no such interface");
constexpr Key kKeys[] = {
    {"wireless", key::Flag(false).Optional("no wireless interface"), "the radio link is connected"},
    {"eth0", kEthernetTable, "an Ethernet interface"},
    {"eth1", kEthernetTable, "an Ethernet interface"},
    {"eth2", kEthernetTable, "an Ethernet interface"},
};

void MakeEthernet(const char *name, Section section) {
  Interface &interface = NewInterface(name);
  interface.link = section.Flag("link");
  if (!ReadMac(section.Text("mac"), interface.builtInMac)) section.Fail("mac", "is no MAC address");
  interface.supported = section.Number<uint32_t>("supported");
  interface.builtInMode = {section.Number<uint32_t>("speed"), section.Flag("full_duplex"),
                           section.Flag("autoneg")};
}

// The counters stay at 0.
void WriteDeviceList() {
  std::string text =
      "Inter-|   Receive                                                |  Transmit\n"
      " face |bytes    packets errs drop fifo frame compressed multicast"
      "|bytes    packets errs drop fifo colls carrier compressed\n";
  for (const Interface &interface : Interfaces()) {
    char line[160];
    snprintf(line, sizeof line,
             "%6s:%8d %7d %4d %4d %4d %5d %10d %9d %8d %7d %4d %4d %4d %5d %7d %10d\n",
             interface.name, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    text += line;
  }
  WriteFile(RootPath("/proc/net/dev"), text);
}

void WriteWireless(bool connected) {
  Kernel().connected = connected;
  WriteFile(RootPath("/proc/net/wlan/info"),
            connected ? "State=\"Connected\"\n" : "State=\"Disconnected\"\n");
}

void Make(Section &section) {
  MakeLoop();
  for (const char *name : kEthernet) {
    if (section.Has(name)) MakeEthernet(name, section.Table(name));
  }
  WriteDeviceList();
  Kernel().wireless = section.Has("wireless");
  if (Kernel().wireless) WriteWireless(section.Flag("wireless"));
}

void ResetAll() {
  for (Interface &interface : Interfaces()) Reset(interface);
  if (!Interfaces().empty()) WriteRouteList();
}

int RequestOfProgram(unsigned long request, void *argument) {
  const int result = Request(request, argument);
  if (result == 0) WriteRouteList();
  return result;
}

void ChangeLink(std::span<const std::string> words) {
  Interface *interface = Find(words[0]);
  if (interface == nullptr || interface->loop) {
    throw std::invalid_argument("'" + words[0] + "' is no Ethernet interface of this board");
  }
  if (words[1] != "up" && words[1] != "down") throw std::invalid_argument("STATE is up or down");
  interface->link = words[1] == "up";
  Event("%s link %s", interface->name, words[1].c_str());
}

void ChangeWireless(std::span<const std::string> words) {
  if (!Kernel().wireless) throw std::invalid_argument("this board has no wireless interface");
  const bool connected = words[0] == "connected";
  if (!connected && words[0] != "disconnected") {
    throw std::invalid_argument("STATE is connected or disconnected");
  }
  WriteWireless(connected);
  Event("wireless %s", words[0].c_str());
}

void Show(std::span<const std::string>) {
  for (const Interface &interface : Interfaces()) fputs(StatusText(interface).c_str(), stdout);
  for (const Route &route : Routes()) puts(RouteText(route).c_str());
}

void ShowInterface(Values &values, const Interface &interface) {
  values.Text("name", interface.name);
  values.Flag("link", interface.link);
  values.Flag("up", interface.up);
  values.Text("address", AddressText(interface.address));
  values.Text("netmask", AddressText(interface.netmask));
  if (interface.loop) return;
  values.Text("mac", MacText(interface.mac));
  values.Number("speed", interface.mode.speed);
  values.Flag("full_duplex", interface.mode.duplex != 0);
  values.Flag("automatic", interface.mode.automatic);
}

void ShowValues(Values &values) {
  const Lock lock;
  values.Object("network", [&] {
    values.List("interfaces", [&] {
      for (const Interface &interface : Interfaces()) {
        values.Object("", [&] { ShowInterface(values, interface); });
      }
    });
    values.List("routes", [&] {
      for (const Route &route : Routes()) values.Text("", RouteText(route));
    });
    if (Kernel().wireless) values.Flag("wireless", Kernel().connected);
  });
}

constexpr const char *kPaths[] = {"/proc/net"};
constexpr Action kActions[] = {
    {"network link", "NAME STATE", "plug an interface's cable in (up) or out (down)", ChangeLink},
    {"network wireless", "STATE", "let the radio link be connected or disconnected",
     ChangeWireless},
    {"network show", "", "show the interfaces and the routes", Show},
};

}  // namespace

const Device kNetwork = {
    .name = "network",
    .about = "the network interfaces besides the loop",
    .keys = kKeys,
    .stateSize = sizeof(network::State),
    .paths = kPaths,
    .make = Make,
    .powerOn = ResetAll,
    .network = NetworkCalls{.request = RequestOfProgram, .send = Send},
    .command = Command,
    .values = ShowValues,
    .help = "cables, the radio link, and what the interfaces are set to",
    .actions = kActions,
};

}  // namespace vboard
