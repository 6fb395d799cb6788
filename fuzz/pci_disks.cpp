// The kernel's list of PCI devices.
#include "fuzz/fuzz.h"
#include "libsys/version.h"

namespace fuzz {

const std::vector<const char *> kMessages = {
    "Open file /proc/bus/pci/devices failed !!! \n",
    "Cant read anything !!\n",
};

void Try(Input &input) {
  static const BoardFile devices("/proc/bus/pci/devices");
  const bool exists = input.Byte() != 0xff;
  std::string_view text = exists ? TextOf(input.Rest()) : "";
  devices.Remove();
  if (exists) devices.Put(text);
  text = text.substr(0, 1024);
  text = text.substr(0, text.find('\0'));
  const int32_t disks = DvrGetPciDiskNumber();
  const size_t first = text.find("11910014");
  const bool two = first != text.npos && text.find("11910014", first + 9) != text.npos;
  Expect(disks == (first == text.npos ? 0 : two ? 8 : 4), "four disks a controller, two at most");
}

}  // namespace fuzz
