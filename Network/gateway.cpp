#include "Network/gateway.h"

// Routes, with the requests of the kernel's older routing interface.
#include <arpa/inet.h>
#include <net/route.h>
#include <netinet/in.h>
#include <string.h>
#include <sys/ioctl.h>

#include "Base/message.h"
#include "Network/kernel_request.h"
#include "Network/message.h"
#include "libsys/network.h"

namespace libsys::network {
namespace {

constexpr unsigned short kNetworkRoute = RTF_UP | RTF_MODIFIED;
constexpr unsigned short kDefaultRoute = RTF_UP | RTF_GATEWAY | RTF_MODIFIED;

sockaddr SocketAddress(in_addr_t address) {
  sockaddr_in internet{};
  internet.sin_family = AF_INET;
  internet.sin_addr.s_addr = address;
  sockaddr any;
  memcpy(&any, &internet, sizeof any);
  return any;
}

// The destination is 0.0.0.0 unless the caller sets another one. The route keeps the pointer.
rtentry Route(KernelName &device, unsigned short flags) {
  rtentry route{};
  route.rt_dst = SocketAddress(INADDR_ANY);
  route.rt_flags = flags;
  route.rt_dev = device.data();
  return route;
}

int32_t AddRoute(int fd, rtentry route, int line) {
  if (ioctl(fd, SIOCADDRT, &route) == 0) return 0;
  base::PrintAt({kSource, line}, "NetWorkSetGateway SIOCADDRT failed\n");
  return -1;
}

void DeleteDefaultRoute(int fd, const char *interfaceName) {
  KernelName device = NameForKernel(interfaceName);
  rtentry route = Route(device, kDefaultRoute);
  ioctl(fd, SIOCDELRT, &route);
}

int32_t ReplaceNetworkRoute(int fd, KernelName &device, in_addr_t address, in_addr_t netmask) {
  rtentry route = Route(device, kNetworkRoute);
  route.rt_dst = SocketAddress(address & netmask);
  route.rt_genmask = SocketAddress(netmask);
  ioctl(fd, SIOCDELRT, &route);
  return AddRoute(fd, route, 1605);
}

int32_t AddDefaultRoute(int fd, KernelName &device, in_addr_t gateway) {
  rtentry route = Route(device, kDefaultRoute);
  route.rt_gateway = SocketAddress(gateway);
  return AddRoute(fd, route, 1628);
}

}  // namespace

int32_t SetGateway(const char *interfaceName, const char *gateway) {
  NetDeviceEntry devices[NET_MAX_DEVICES];
  const int32_t count = NetGetEthName(devices, NET_MAX_DEVICES);
  if (count == 0) {
    base::PrintAt({kSource, 1542}, "No netword device\n");
    return -1;
  }
  const base::Descriptor socket = OpenSocket();
  if (!socket) {
    base::PrintAt({kSource, 1548}, "Socket failed\n");
    return -1;
  }
  for (int32_t i = 0; i < count; ++i) DeleteDefaultRoute(socket.get(), devices[i].name);
  char address[16];
  if (NetWorkGetAttributes(interfaceName, HOSTIP, address, sizeof address) != 0) {
    base::PrintAt({kSource, 1567}, "Get ip failed\n");
    return -1;
  }
  char netmask[16];
  if (NetWorkGetAttributes(interfaceName, SUBMASK, netmask, sizeof netmask) != 0) {
    base::PrintAt({kSource, 1572}, "Get netmask failed\n");
    return -1;
  }
  KernelName device = NameForKernel(interfaceName);
  if (ReplaceNetworkRoute(socket.get(), device, inet_addr(address), inet_addr(netmask)) != 0) {
    return -1;
  }
  return AddDefaultRoute(socket.get(), device, inet_addr(gateway));
}

}  // namespace libsys::network
