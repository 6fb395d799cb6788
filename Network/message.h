// The messages that the module's files have in common.
#pragma once

#include <stdint.h>
#include <stdio.h>

namespace libsys::network {

// The file that the module's messages name.
inline constexpr const char *kSource = "Network/network.c";

// Prints the message, and gives -1 for the caller to return.
inline int32_t InvalidParameter() {
  puts("LIBDVR : Invalid parameter");
  return -1;
}

}  // namespace libsys::network
