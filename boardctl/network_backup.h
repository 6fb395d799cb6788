// What setting an interface's addresses changes, so that it can be put back when a step fails.
#pragma once

#include <net/if.h>
#include <stddef.h>
#include <stdint.h>

#include <array>
#include <optional>
#include <span>

// One line of the kernel's list, with its numbers as they are there: addresses in network order.
struct RouteLine {
  char device[IFNAMSIZ];
  uint32_t destination, gateway, flags, metric, netmask;

  bool operator==(const RouteLine &other) const;
};

class RouteList {
 public:
  // False when there are more than fit.
  bool Read();
  std::span<const RouteLine> Lines() const { return std::span(lines_).first(count_); }

 private:
  std::array<RouteLine, 64> lines_ = {};
  size_t count_ = 0;
};

class NetworkBackup {
 public:
  // False when there is no such interface, or something of it cannot be read.
  bool Take(const char *interfaceName);

  // The settings file, the clock chip's copy, the live interface and the routes of all interfaces.
  // Files and chip memory that have not changed are not touched. Secondary addresses, and a
  // broadcast address of one's own, are not put back. False when not everything could be put back.
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
  // What the clock chip's memory holds of the interface; nothing where it does not answer.
  std::optional<Chip> chip_;
  ifreq address_ = {}, netmask_ = {}, flags_ = {};
  bool hasAddress_ = false;
  RouteList routes_;
};
