// Telling the neighbours who has an address.
#pragma once

#include <stdint.h>

namespace libsys::network {

// Sends one gratuitous ARP reply with the interface's stored address. 0 or -1.
int32_t AnnounceAddress(const char *interfaceName);

}  // namespace libsys::network
