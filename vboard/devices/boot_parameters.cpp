// The boot parameters that the kernel shows at /proc/vss/bootpara: the hardware identifier and
// the OEM code. The OEM code can be replaced by a file of the customer's.
#include <inttypes.h>
#include <stdio.h>

#include <algorithm>
#include <fstream>

#include "vboard/description.h"
#include "vboard/device.h"
#include "vboard/files.h"
#include "vboard/values.h"

namespace vboard {
namespace {

constexpr Key kKeys[] = {
    {"product", key::Text().Default(""), "the hardware identifier: up to 16 hexadecimal digits"},
    {"oem", key::Number(0, UINT32_MAX).Default(-1), "the OEM code"},
    {"custom_oem", key::Number(0, UINT32_MAX).Default(-1),
     "the OEM code in the customer's file, which replaces the other one"},
};

void Make(Section &section) {
  const std::string product = section.Text("product");
  const int64_t oem = section.Number("oem");
  const int64_t patch = section.Number("custom_oem");
  char line[32];
  std::string text;
  if (!product.empty()) text += "product=" + product + "\n";
  if (oem >= 0) {
    snprintf(line, sizeof line, "oem %" PRIx64 "\n", oem);
    text += line;
  }
  WriteFile(RootPath("/proc/vss/bootpara"), text);
  if (patch >= 0) {
    snprintf(line, sizeof line, "oem %" PRIx64 "\n", patch);
    WriteFile(RootPath("/opt/custom/patch"), line);
  }
}

// The parameters as the programs find them, a line each: "product=..." and "oem ...".
void ShowLines(Values &values, const char *path) {
  std::ifstream file(RootPath(path));
  for (std::string line; std::getline(file, line);) {
    const size_t end = std::min(line.find_first_of("= "), line.size());
    const size_t value = std::min(end + 1, line.size());
    values.Text(line.substr(0, end).c_str(), std::string_view(line).substr(value));
  }
}

void Show(Values &values) {
  values.Object("identity", [&] {
    ShowLines(values, "/proc/vss/bootpara");
    values.Object("custom", [&] { ShowLines(values, "/opt/custom/patch"); });
  });
}

constexpr const char *kPaths[] = {"/proc/vss"};

}  // namespace

extern const Device kBootParameters;
const Device kBootParameters = {
    .name = "identity",
    .about = "the boot parameters in /proc/vss/bootpara: which board this is",
    .keys = kKeys,
    .paths = kPaths,
    .make = Make,
    .values = Show,
};

}  // namespace vboard
