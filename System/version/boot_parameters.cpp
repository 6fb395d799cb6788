// The boot parameters: hardware identifier and OEM codes.
#include <stdlib.h>
#include <string.h>

#include "Base/text_file.h"
#include "System/version/boot_parameters.h"
#include "libsys/version.h"

using namespace libsys;

namespace {

struct {
  uint64_t identifier = 0;
  uint32_t oemCode = 0;
  uint32_t customOemCode = 0;
} state;

constexpr size_t kPieceSize = 32;
constexpr size_t kProductDigits = 20;
constexpr size_t kProductOffset = 8;  // "product" and one separator

// A line is a word and a hexadecimal number; a line without a number changes nothing.
void ReadCode(const char *line, uint32_t *code) {
  constexpr const char *kSpaces = " \t\n\v\f\r";
  const char *word = line + strspn(line, kSpaces);
  const char *number = word + strcspn(word, kSpaces);
  char *end = nullptr;
  const unsigned long long value = strtoull(number, &end, 16);
  if (end != number) *code = static_cast<uint32_t>(value);
}

uint64_t ReadProduct(const char *product) {
  char digits[kProductDigits + 1] = {};
  if (strlen(product) > kProductOffset) {
    strncpy(digits, product + kProductOffset, kProductDigits);
  }
  return strtoull(digits, nullptr, 16);
}

void ReadBootFile() {
  base::TextFile file("/proc/vss/bootpara");
  char line[kPieceSize];
  bool productFound = false;
  bool oemFound = false;
  while (file.ReadPiece(line)) {
    const char *product = strstr(line, "product");
    if (!productFound && product != nullptr) {
      productFound = true;
      state.identifier = ReadProduct(product);
    }
    if (!oemFound && strstr(line, "oem") != nullptr) {
      oemFound = true;
      ReadCode(line, &state.oemCode);
    }
  }
}

void ReadPatchFile() {
  base::TextFile file("/opt/custom/patch");
  char line[kPieceSize];
  while (file.ReadPiece(line)) {
    if (strstr(line, "oem") == nullptr) continue;
    ReadCode(line, &state.customOemCode);
    return;
  }
}

}  // namespace

namespace libsys::identity {

uint64_t Identifier() {
  return state.identifier;
}
uint32_t OemCode() {
  return state.oemCode;
}
uint32_t CustomOemCode() {
  return state.customOemCode;
}

int32_t Bits(unsigned first, unsigned last) {
  const uint64_t mask = (uint64_t{1} << (last - first + 1)) - 1;
  return static_cast<int32_t>(state.identifier >> first & mask);
}

}  // namespace libsys::identity

void DvrReadBootParameters() {
  state.identifier = 0;
  ReadBootFile();
  state.customOemCode = state.oemCode;
  ReadPatchFile();
}
