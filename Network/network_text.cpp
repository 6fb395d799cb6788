#include "Network/network_text.h"

#include <ctype.h>

namespace libsys::network {
namespace {

// The digits are looked at one by one: any other character, a line feed too, ends the number.
const char *SkipOctet(const char *text) {
  const bool zero = *text == '0';
  int value = 0, digits = 0;
  for (; digits < 3 && *text >= '0' && *text <= '9'; ++digits) value = value * 10 + (*text++ - '0');
  return digits > 0 && value <= 255 && !(zero && digits > 1) ? text : nullptr;
}

}  // namespace

bool IsIpv4Text(const char *text) {
  for (int octet = 0; octet < 4; ++octet) {
    if (octet > 0 && *text++ != '.') return false;
    text = SkipOctet(text);
    if (text == nullptr) return false;
  }
  return *text == '\0';
}

bool IsMacText(const char *text) {
  for (int byte = 0; byte < 6; ++byte) {
    if (byte > 0 && *text++ != ':') return false;
    for (int digit = 0; digit < 2; ++digit) {
      if (isxdigit(static_cast<unsigned char>(*text++)) == 0) return false;
    }
  }
  return *text == '\0';
}

int LineLength(const char *text, size_t size) {
  size_t length = 0;
  while (length < size && static_cast<unsigned char>(text[length]) >= ' ' && text[length] != 0x7f) {
    ++length;
  }
  return static_cast<int>(length);
}

}  // namespace libsys::network
