// The kernel's list of PCI devices.
#include "fuzz/fuzz.h"
#include "libsys/version.h"

namespace fuzz {

void Try(Input &input) {
  static const BoardFile devices("/proc/bus/pci/devices");
  const bool exists = input.Byte() != 0xff;
  std::string text = exists ? input.Rest() : "";
  if (exists) devices.Put(text);
  text = text.substr(0, std::min(text.find('\0'), size_t{1024}));
  const size_t first = text.find("11910014");
  const bool two = first != text.npos && text.find("11910014", first + 9) != text.npos;
  Expect(DvrGetPciDiskNumber() == (first == text.npos ? 0
                                   : two              ? 8
                                                      : 4),
         "four disks a controller, two at most");
}

}  // namespace fuzz
