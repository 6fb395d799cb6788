// The CRC-32 of zlib and Ethernet: reflected polynomial 0xEDB88320, all ones at the start,
// complemented at the end.
#pragma once

#include <span>

#include <stdint.h>

namespace libsys::boot {

// Continues `running`, the CRC of the bytes before these; 0 when there are none.
uint32_t Crc32(uint32_t running, std::span<const uint8_t> bytes);

}  // namespace libsys::boot
