// The disks behind PCI disk controllers.
#include <stdio.h>
#include <string.h>

#include "Base/descriptor.h"
#include "libsys/version.h"

using namespace libsys;

namespace {

constexpr const char *kDevices = "/proc/bus/pci/devices";
constexpr const char *kController = "11910014";  // vendor and device as the file prints them
constexpr int32_t kDisksPerController = 4;

// The next controller is looked for behind the separator that follows this one.
int32_t CountControllers(const char *text) {
  constexpr size_t kStep = 9;
  const char *hit = strstr(text, kController);
  if (hit == nullptr) return 0;
  if (strlen(hit) < kStep) return 1;
  return strstr(hit + kStep, kController) == nullptr ? 1 : 2;
}

}  // namespace

int32_t DvrGetPciDiskNumber() {
  const base::Descriptor file(kDevices, O_RDONLY);
  if (!file) {
    printf("Open file %s failed !!! \n", kDevices);
    return 0;
  }
  char text[1024 + 1];
  const ssize_t length = read(file.get(), text, sizeof text - 1);
  if (length <= 0) {
    puts("Cant read anything !!");
    return 0;
  }
  text[length] = '\0';
  return CountControllers(text) * kDisksPerController;
}
