#include "Network/announcement.h"

// A gratuitous ARP reply (RFC 826), so that neighbours forget who had the address before.
#include <arpa/inet.h>
#include <netinet/if_ether.h>
#include <netinet/in.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>

#include "Base/message.h"
#include "Network/kernel_request.h"
#include "Network/message.h"
#include "libsys/network.h"

namespace libsys::network {
namespace {

// Numbers of several bytes have their high byte first.
struct Frame {
  uint8_t destination[6] = {0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
  uint8_t source[6] = {};
  uint8_t frameType[2] = {0x08, 0x06};     // ARP
  uint8_t hardwareType[2] = {0x00, 0x01};  // Ethernet
  uint8_t protocolType[2] = {0x08, 0x00};  // IPv4
  uint8_t hardwareLength = 6;
  uint8_t protocolLength = 4;
  uint8_t operation[2] = {0x00, 0x02};  // reply
  uint8_t senderMac[6] = {};
  uint8_t senderAddress[4] = {};
  uint8_t targetMac[6] = {};
  uint8_t targetAddress[4] = {};
  uint8_t padding[18] = {};
};
static_assert(sizeof(Frame) == ETH_ZLEN);

int32_t Send(const char *interfaceName, const Frame &frame) {
  const base::Descriptor socket(::socket(AF_PACKET, SOCK_PACKET | SOCK_CLOEXEC, htons(ETH_P_ARP)));
  if (!socket) {
    base::PrintAt({kSource, 1858}, "Socket failed\n");
    return -1;
  }
  const int on = 1;
  if (setsockopt(socket.get(), SOL_SOCKET, SO_BROADCAST, &on, sizeof on) != 0) {
    base::PrintAt({kSource, 1863}, "Socket set option failed\n");
    return -1;
  }
  // Sockets of this kind are told the device by name, with no address family.
  sockaddr device{};
  memcpy(device.sa_data, interfaceName, strnlen(interfaceName, sizeof device.sa_data));
  if (sendto(socket.get(), &frame, sizeof frame, 0, &device, sizeof device) < 0) {
    base::PrintAt({kSource, 1874}, "sendto arp wrong");
    return -1;
  }
  return 0;
}

}  // namespace

int32_t AnnounceAddress(const char *interfaceName) {
  char text[16];
  in_addr_t address = INADDR_NONE;
  if (NetWorkGetAttributes(interfaceName, HOSTIP, text, sizeof text) == 0)
    address = inet_addr(text);
  if (address == INADDR_NONE) {
    puts("LIBDVR : Get ip falied");
    return -1;
  }
  uint8_t mac[ETH_ALEN];
  if (NetWorkGetHwAddr(interfaceName, mac, sizeof mac) != 0) {
    base::PrintAt({kSource, 1844}, "Get mac failed\n");
    return -1;
  }
  printf("mac : %x-%x-%x-%x-%x-%x\n", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
  Frame frame;
  memcpy(frame.source, mac, sizeof mac);
  memcpy(frame.senderMac, mac, sizeof mac);
  memcpy(frame.senderAddress, &address, sizeof address);
  memcpy(frame.targetAddress, &address, sizeof address);
  return Send(interfaceName, frame);
}

}  // namespace libsys::network
