// The routes of an interface.
#pragma once

#include <stdint.h>

namespace libsys::network {

// Routes through the interface: its own network, from its stored address and netmask, and the
// default route to the gateway, which replaces those of all Ethernet devices. 0 or -1.
int32_t SetGateway(const char *interfaceName, const char *gateway);

}  // namespace libsys::network
