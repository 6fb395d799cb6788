// The boot parameters with the customer's patch, and what the board answers then.
#include <inttypes.h>
#include <stdio.h>
#include <string.h>

#include "System/version/boot_parameters.h"
#include "fuzz/fuzz.h"
#include "libsys/gpio.h"
#include "libsys/version.h"

namespace fuzz {
namespace {

const BoardFile parameters("/proc/vss/bootpara"), patch("/opt/custom/patch");
const BoardFile pci("/proc/bus/pci/devices");

// What is written is what is read.
void TryIdentity(Input &input) {
  const auto identifier = input.Get<uint64_t>();
  const auto oem = input.Get<uint32_t>(), custom = input.Get<uint32_t>();
  char text[80];
  snprintf(text, sizeof text, "board 1\nproduct=%016" PRIX64 "\noem %" PRIx32 "\n", identifier,
           oem);
  parameters.Put(text);
  snprintf(text, sizeof text, "oem %" PRIx32 "\n", custom);
  patch.Put(text);
  DvrReadBootParameters();
  Expect(libsys::identity::Identifier() == identifier, "the identifier");
  Expect(libsys::identity::OemCode() == oem, "the OEM code");
  Expect(libsys::identity::CustomOemCode() == custom, "the customer's OEM code");
}

void TryTexts(Input &input) {
  const uint32_t before = libsys::identity::OemCode();
  const std::string other = input.Text(200), text = input.Rest();
  parameters.Put(text);
  patch.Put(other);
  DvrReadBootParameters();
  const bool given = text.find("product") != text.npos;
  Expect(given || libsys::identity::Identifier() == 0, "without its line the identifier is 0");
  const bool named = text.find("oem") != text.npos && !text.starts_with("oem\n");
  Expect(named || libsys::identity::OemCode() == before, "the OEM code stays");
  const bool replaced = other.find("oem") != other.npos;
  Expect(replaced || libsys::identity::CustomOemCode() == libsys::identity::OemCode(), "no patch");
}

void CheckAnswers() {
  const uint64_t identifier = libsys::identity::Identifier();
  char text[17], expected[17];
  Expect(DvrGetHwidString(text, 17) == 0, "the identifier fits 17 bytes");
  snprintf(expected, sizeof expected, "%016" PRIX64, identifier);
  Expect(strcmp(text, expected) == 0, "the identifier as a text");
  for (uint32_t command = 0; command <= CUSTOM_OEM_TYPE; ++command) {
    const bool code = command == OEM_TYPE || command == CUSTOM_OEM_TYPE;
    const int32_t answer = DvrGetHwidInformation(command);
    const int32_t highest = command >= HWID_FLAG_32 && command <= HWID_FLAG_36 ? 1 : 255;
    Expect(code || (answer >= 0 && answer <= highest),
           "an answer is a small number, a flag 0 or 1");
  }
}

}  // namespace

void Try(Input &input) {
  uint8_t level = 0;
  GpioRead(0, 0, &level);  // opens what stays open
  if (input.Below(4) == 1) {
    TryIdentity(input);
  } else {
    TryTexts(input);
  }
  CheckAnswers();
}

}  // namespace fuzz
