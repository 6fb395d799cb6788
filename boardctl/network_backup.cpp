#include "boardctl/network_backup.h"

#include <errno.h>
#include <net/route.h>
#include <netinet/in.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include "boardctl/text_file.h"
#include "libsys/clock.h"
#include "libsys/network.h"

namespace boardctl {
namespace {

// From this address on the chip has address, netmask, gateway, a flag, work mode and priority.
constexpr uint32_t kChipSettings = 40;

int OpenSocket() {
  return socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
}

sockaddr AddressOf(uint32_t number) {
  sockaddr_in internet{};
  internet.sin_family = AF_INET;
  internet.sin_addr.s_addr = number;
  sockaddr any;
  memcpy(&any, &internet, sizeof any);
  return any;
}

bool Change(int fd, unsigned long request, RouteLine line) {
  rtentry route{};
  route.rt_dst = AddressOf(line.destination);
  route.rt_genmask = AddressOf(line.netmask);
  route.rt_gateway = AddressOf(line.gateway);
  route.rt_flags = static_cast<unsigned short>(line.flags);
  route.rt_metric = static_cast<short>(line.metric + 1);  // the kernel counts from 1 here
  route.rt_dev = line.device;
  return ioctl(fd, request, &route) == 0;
}

bool Holds(const RouteList &list, const RouteLine &line) {
  return std::find(list.Lines().begin(), list.Lines().end(), line) != list.Lines().end();
}

// Adds the routes that are missing. The kernel takes a route through a gateway only when there is
// one to the gateway, so those without a gateway come first.
bool AddMissing(int fd, const RouteList &before, const RouteList &now) {
  bool good = true;
  for (const bool gateways : {false, true}) {
    for (const RouteLine &line : before.Lines()) {
      if ((line.gateway != 0) != gateways || Holds(now, line)) continue;
      good = Change(fd, SIOCADDRT, line) && good;
    }
  }
  return good;
}

bool PutBackRoutes(int fd, const RouteList &before) {
  RouteList now;
  bool good = now.Read();
  for (const RouteLine &line : now.Lines()) {
    if (!Holds(before, line)) good = Change(fd, SIOCDELRT, line) && good;
  }
  return AddMissing(fd, before, now) && good;
}

}  // namespace

bool RouteLine::operator==(const RouteLine &other) const {
  return strcmp(device, other.device) == 0 && destination == other.destination &&
         gateway == other.gateway && flags == other.flags && metric == other.metric &&
         netmask == other.netmask;
}

// A kernel without the list has no routes.
bool RouteList::Read() {
  count_ = 0;
  TextFile file("/proc/net/route");
  char text[256];
  while (file.ReadLine(text)) {
    RouteLine line;
    static_assert(sizeof line.device == 15 + 1);
    if (sscanf(text, "%15s %8x %8x %8x %*d %*d %10u %8x", line.device, &line.destination,
               &line.gateway, &line.flags, &line.metric, &line.netmask) != 6) {
      continue;  // this is the heading
    }
    if (count_ == lines_.size()) return false;
    lines_[count_++] = line;
  }
  return !file.Failed();
}

bool NetworkBackup::File::Read(const char *path) {
  size = 0;
  FILE *file = fopen(path, "re");
  exists = file != nullptr;
  if (!exists) return errno == ENOENT;
  size = fread(content.data(), 1, content.size(), file);
  const bool whole = feof(file) != 0;
  fclose(file);
  return whole;
}

bool NetworkBackup::File::operator==(const File &other) const {
  return exists == other.exists && size == other.size &&
         memcmp(content.data(), other.content.data(), size) == 0;
}

bool NetworkBackup::TakeLive(const char *interfaceName) {
  const int fd = OpenSocket();
  snprintf(address_.ifr_name, sizeof address_.ifr_name, "%s", interfaceName);
  netmask_ = flags_ = address_;
  hasAddress_ = ioctl(fd, SIOCGIFADDR, &address_) == 0;
  if (!hasAddress_) address_.ifr_addr = AddressOf(INADDR_ANY);
  const bool hasNetmask = ioctl(fd, SIOCGIFNETMASK, &netmask_) == 0;
  const bool hasFlags = ioctl(fd, SIOCGIFFLAGS, &flags_) == 0;
  close(fd);
  return hasAddress_ == hasNetmask && hasFlags;
}

bool NetworkBackup::Take(const char *interfaceName) {
  if (NetWorkGetConfigFileName(interfaceName, path_, sizeof path_) != 0) return false;
  Chip chip;
  if (strcmp(interfaceName, "eth0") == 0 && NvramRead(kChipSettings, chip.data(), kChipSize) == 0) {
    chip_ = chip;
  }
  return file_.Read(path_) && TakeLive(interfaceName) && routes_.Read();
}

bool NetworkBackup::PutBackFile() const {
  File now;
  if (now.Read(path_) && now == file_) return true;
  if (!file_.exists) return remove(path_) == 0;
  FILE *file = fopen(path_, "we");
  if (file == nullptr) return false;
  const bool written = fwrite(file_.content.data(), 1, file_.size, file) == file_.size;
  return fclose(file) == 0 && written;
}

bool NetworkBackup::PutBackChip() const {
  if (!chip_) return true;
  Chip now;
  if (NvramRead(kChipSettings, now.data(), kChipSize) == 0 && now == *chip_) return true;
  return NvramWrite(kChipSettings, chip_->data(), kChipSize) == 0;
}

bool NetworkBackup::PutBackLive() const {
  const int fd = OpenSocket();
  ifreq address = address_, netmask = netmask_, flags = flags_;
  bool good = ioctl(fd, SIOCSIFADDR, &address) == 0 &&
              (!hasAddress_ || ioctl(fd, SIOCSIFNETMASK, &netmask) == 0) &&
              ioctl(fd, SIOCSIFFLAGS, &flags) == 0;
  good = PutBackRoutes(fd, routes_) && good;
  close(fd);
  return good;
}

bool NetworkBackup::PutBack() const {
  const bool file = PutBackFile(), chip = PutBackChip(), live = PutBackLive();
  return file && chip && live;
}

}  // namespace boardctl
