// Sockets: what programs ask of the interfaces stays on the board. Apart from that, a socket is
// the PC's own and works as ever. A planned fault names the address family where others name a
// path, and the interface that is sent through.
#include <errno.h>
#include <linux/netlink.h>
#include <linux/sockios.h>
#include <sys/socket.h>

#include "vboard/board.h"
#include "vboard/faults.h"
#include "vboard/intercept/blocking.h"
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

bool LeadsOutside(int family) {
  return family == AF_INET || family == AF_INET6;
}

int SocketOption(int fd, int option) {
  NEXT(getsockopt);
  int value = -1;
  socklen_t length = sizeof value;
  return next(fd, SOL_SOCKET, option, &value, &length) == 0 ? value : -1;
}

// Whether a connect waits for who answers.
bool WaitsForAnswer(int fd) {
  return vboard::IsOutside(fd) && SocketOption(fd, SO_TYPE) == SOCK_STREAM &&
         (fcntl(fd, F_GETFL) & O_NONBLOCK) == 0;
}

bool Waits(int flags) {
  return (flags & MSG_DONTWAIT) == 0;
}

// A connection leads where the socket does that listened for it.
int Accepted(int fd, int connection) {
  if (connection >= 0) {
    vboard::Assign(connection, {nullptr, 0, false, vboard::IsOutside(fd)});
  }
  return connection;
}

}  // namespace

namespace vboard {

bool IsInterfaceRequest(int fd, unsigned long request) {
  struct stat status;
  return Attached() && request >= SIOCADDRT && request < SIOCDEVPRIVATE + 16 &&
         fstat(fd, &status) == 0 && S_ISSOCK(status.st_mode);
}

bool IsSocketToOutside(int fd) {
  return LeadsOutside(SocketOption(fd, SO_DOMAIN));
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
  vboard::Assign(fd, {packet ? NetworkDevice() : nullptr, 0, false, LeadsOutside(family)});
  return fd;
}

// Who answers is not on the board.
int connect(int fd, const sockaddr *to, socklen_t length) {
  NEXT(connect);
  if (!WaitsForAnswer(fd)) return next(fd, to, length);
  vboard::CallWait wait(vboard::kNever, true);
  int result = -1;
  wait.Ends(&result, [&] { return next(fd, to, length); });
  return result;
}

int accept(int fd, sockaddr *from, socklen_t *length) {
  NEXT(accept);
  return Accepted(fd, vboard::WhenReadable(fd, [&] { return next(fd, from, length); }));
}

int accept4(int fd, sockaddr *from, socklen_t *length, int flags) {
  NEXT(accept4);
  return Accepted(fd, vboard::WhenReadable(fd, [&] { return next(fd, from, length, flags); }));
}

ssize_t recv(int fd, void *data, size_t length, int flags) {
  NEXT(recv);
  return vboard::WhenReadable(
      fd, [&] { return next(fd, data, length, flags); }, Waits(flags));
}

ssize_t recvfrom(int fd, void *data, size_t length, int flags, sockaddr *from,
                 socklen_t *fromLength) {
  NEXT(recvfrom);
  return vboard::WhenReadable(
      fd, [&] { return next(fd, data, length, flags, from, fromLength); }, Waits(flags));
}

ssize_t recvmsg(int fd, msghdr *message, int flags) {
  NEXT(recvmsg);
  return vboard::WhenReadable(
      fd, [&] { return next(fd, message, flags); }, Waits(flags));
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
