// Setting an interface's addresses changes several things in turn. A backup holds them all, so that
// they can be put back when a step fails.
#pragma once

#include <net/if.h>
#include <stddef.h>
#include <stdint.h>

#include <array>
#include <optional>
#include <span>

namespace boardctl {

// The kernel's list of routes has one for each line; its addresses are in network order.
struct RouteLine {
  char device[IFNAMSIZ];
  uint32_t destination, gateway, flags, metric, netmask;

  bool operator==(const RouteLine &other) const;
};

class RouteList {
 public:
  // Reads the routes of all interfaces. Returns false when there are more than fit, or one cannot
  // be read.
  bool Read();
  std::span<const RouteLine> Lines() const { return std::span(lines_).first(count_); }

 private:
  std::array<RouteLine, 64> lines_ = {};
  size_t count_ = 0;
};

class NetworkBackup {
 public:
  // Returns false when there is no such interface, or something of it cannot be read.
  bool Take(const char *interfaceName);

  // Puts back the settings file, the clock chip's copy of it, the live interface and the routes of
  // all interfaces. File and chip memory are not touched if they have not changed. Secondary
  // addresses and a broadcast address that is not the network's last are lost. Returns false when
  // not everything could be put back.
  bool PutBack() const;

 private:
  struct File {
    bool exists = false;
    size_t size = 0;
    std::array<char, 4096> content = {};

    bool Read(const char *path);
    bool operator==(const File &other) const;
  };

  static constexpr uint32_t kChipSize = 15;
  using Chip = std::array<uint8_t, kChipSize>;

  bool TakeLive(const char *interfaceName);
  bool PutBackFile() const;
  bool PutBackChip() const;
  bool PutBackLive() const;

  char path_[64] = "";
  File file_;
  // The clock chip's memory holds settings of eth0 only, and none where the chip does not answer.
  std::optional<Chip> chip_;
  ifreq address_ = {}, netmask_ = {}, flags_ = {};
  bool hasAddress_ = false;
  RouteList routes_;
};

}  // namespace boardctl
