#include "System/boot/crc32.h"

#include <array>

namespace libsys::boot {
namespace {

constexpr uint32_t kPolynomial = 0xEDB88320;

constexpr std::array<uint32_t, 256> MakeTable() {
  std::array<uint32_t, 256> table{};
  for (uint32_t i = 0; i < table.size(); ++i) {
    uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1) != 0 ? kPolynomial : 0);
    table[i] = value;
  }
  return table;
}
constexpr std::array<uint32_t, 256> kTable = MakeTable();

inline uint32_t Step(uint32_t crc, uint8_t byte) {
  return kTable[(crc ^ byte) & 0xFF] ^ (crc >> 8);
}

}  // namespace

uint32_t Crc32(uint32_t running, std::span<const uint8_t> bytes) {
  uint32_t crc = ~running;
  const uint8_t *p = bytes.data();
  size_t left = bytes.size();
  for (; left >= 8; left -= 8, p += 8) {
    crc = Step(crc, p[0]);
    crc = Step(crc, p[1]);
    crc = Step(crc, p[2]);
    crc = Step(crc, p[3]);
    crc = Step(crc, p[4]);
    crc = Step(crc, p[5]);
    crc = Step(crc, p[6]);
    crc = Step(crc, p[7]);
  }
  for (; left > 0; --left, ++p) crc = Step(crc, *p);
  return ~crc;
}

}  // namespace libsys::boot
