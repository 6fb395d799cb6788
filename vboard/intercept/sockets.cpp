// Sockets: what programs ask of the interfaces stays on the board. Apart from that, a socket is
// the PC's own and works as ever. A planned fault names the address family where others name a
// path, and the interface that is sent through.
#include <errno.h>
#include <linux/netlink.h>
#include <linux/sockios.h>
#include <sys/socket.h>

#include "vboard/board.h"
#include "vboard/faults.h"
#include "vboard/intercept/intercept.h"

using vboard::Attached;
using vboard::CallFails;
using vboard::Device;
using vboard::SpecialFile;

namespace {

constexpr int kTypeFlags = SOCK_CLOEXEC | SOCK_NONBLOCK;

const Device *NetworkDevice() {
  for (const Device *device : vboard::Devices()) {
    if (device->network) return device;
  }
  return nullptr;
}

int Fail(int error) {
  errno = error;
  return -1;
}

bool IsPacketSocket(int fd) {
  return SpecialFile(fd).Own(&Device::network) != nullptr;
}

}  // namespace

namespace vboard {

bool IsInterfaceRequest(int fd, unsigned long request) {
  struct stat status;
  return Attached() && request >= SIOCADDRT && request < SIOCDEVPRIVATE + 16 &&
         fstat(fd, &status) == 0 && S_ISSOCK(status.st_mode);
}

int InterfaceRequest(unsigned long request, void *argument) {
  return NetworkDevice()->network->request(request, argument);
}

}  // namespace vboard

extern "C" {

// A stand-in takes the place of a packet socket. Of those, the board has the kind that is told
// the interface by its name.
int socket(int family, int type, int protocol) noexcept {
  NEXT(socket);
  if (!Attached()) return next(family, type, protocol);
  const bool packet = family == AF_PACKET;
  if (packet || family == AF_INET) {
    if (CallFails("socket", packet ? "AF_PACKET" : "AF_INET")) return -1;
  }
  if (family == AF_NETLINK && protocol == NETLINK_ROUTE) return Fail(EAFNOSUPPORT);
  if ((type & ~kTypeFlags) == SOCK_PACKET && !packet) return Fail(EAFNOSUPPORT);
  if (packet && (type & ~kTypeFlags) != SOCK_PACKET) return Fail(ESOCKTNOSUPPORT);
  const int fd =
      packet ? next(AF_UNIX, SOCK_DGRAM | (type & kTypeFlags), 0) : next(family, type, protocol);
  if ((type & SOCK_CLOEXEC) == 0) vboard::OpenedForChildren("a socket");
  vboard::Assign(fd, {packet ? NetworkDevice() : nullptr, 0});
  return fd;
}

int setsockopt(int fd, int level, int option, const void *value, socklen_t length) noexcept {
  NEXT(setsockopt);
  if (IsPacketSocket(fd) && CallFails("setsockopt", "AF_PACKET")) return -1;
  return next(fd, level, option, value, length);
}

ssize_t sendto(int fd, const void *data, size_t length, int flags, const sockaddr *to,
               socklen_t toLength) {
  NEXT(sendto);
  const auto *network = SpecialFile(fd).Own(&Device::network);
  if (network != nullptr) return network->send(data, length, to, toLength);
  return next(fd, data, length, flags, to, toLength);
}

}  // extern "C"
