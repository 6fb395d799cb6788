// Requests to the kernel about a live interface.
#pragma once

#include <net/if.h>
#include <stdint.h>
#include <string.h>
#include <sys/socket.h>

#include <array>

#include "Base/descriptor.h"

namespace libsys::network {

inline base::Descriptor OpenSocket() {
  return base::Descriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
}

// The name as the kernel holds it. One that is too long gives the empty name, which no
// interface has, so that the kernel refuses the request.
using KernelName = std::array<char, IFNAMSIZ>;

inline KernelName NameForKernel(const char *interfaceName) {
  KernelName name{};
  const size_t length = strlen(interfaceName);
  if (length < name.size()) memcpy(name.data(), interfaceName, length);
  return name;
}

// A request about the interface, zero but for the name.
inline ifreq RequestFor(const char *interfaceName) {
  ifreq request{};
  const KernelName name = NameForKernel(interfaceName);
  memcpy(request.ifr_name, name.data(), name.size());
  return request;
}

}  // namespace libsys::network
