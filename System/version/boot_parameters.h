// The hardware identifier and OEM codes as the boot parameters gave them.
#pragma once

#include <stdint.h>

#include <algorithm>
#include <initializer_list>

namespace libsys::identity {

uint64_t Identifier();
uint32_t OemCode();
uint32_t CustomOemCode();

// A field of the identifier, first being its least significant bit; at most 31 bits.
int32_t Bits(unsigned first, unsigned last);

// 0 for the first layout of the identifier's fields, 1 to 3 for the second.
inline int32_t Generation() {
  return Bits(62, 63);
}

// The answer to OEM_TYPE.
inline int32_t OemType() {
  return static_cast<int32_t>(OemCode());
}

constexpr bool IsOneOf(int32_t value, std::initializer_list<int32_t> values) {
  return std::find(values.begin(), values.end(), value) != values.end();
}

}  // namespace libsys::identity
