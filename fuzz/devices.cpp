// The kernel's list of network devices, the choice between them, and the routes of each.
#include <string.h>

#include <vector>

#include "fuzz/fuzz.h"
#include "libsys/network.h"

namespace fuzz {
namespace {

constexpr const char *kSettings = "HOSTIP = 192.168.1.88\nSUBMASK = 255.255.255.0\nPRIO = 0\n";

int32_t answer = 0;  // the kernel's
const BoardFile list("/proc/net/dev");
const BoardFile first("/opt/sav/Config/network"), second("/opt/sav/Config/network1");

void CheckEntries(int32_t capacity) {
  NetDeviceEntry odd;
  memset(&odd, 0xa5, sizeof odd);
  std::vector<NetDeviceEntry> entries(static_cast<size_t>(capacity), odd);
  const int32_t count = NetGetEthName(entries.data(), capacity);
  Expect(count >= 0 && count <= capacity && count <= NET_MAX_DEVICES, "the count of devices");
  for (int32_t i = 0; i < capacity; ++i) {
    const NetDeviceEntry &entry = entries[static_cast<size_t>(i)];
    Expect(IsPadded(entry.name), "a name is terminated");
    Expect((strncmp(entry.name, "eth", 3) == 0) == (i < count), "a device's name");
    const bool wireless = strcmp(entry.name, "eth2") == 0;
    Expect(entry.wireless == wireless, "the wireless device");
    Expect(entry.selectable == (wireless || strcmp(entry.name, "eth0") == 0), "selectable");
  }
}

void CheckNames(int32_t length) {
  std::vector<char> text(static_cast<size_t>(length), 'x');
  int32_t count = -1;
  if (NetGetEthNameList(text.data(), length, &count) != 0) {
    return Expect(length < 10 && count == -1, "a list that is refused");
  }
  Expect(IsTerminated(text), "the list is terminated");
  const std::string names = text.data();
  Expect(Count(names, "::") == static_cast<size_t>(count) || names == "eth0", "the names' count");
  Expect(!names.starts_with("eth1::"), "eth1 is not offered");
}

}  // namespace

void Try(Input &input) {
  const int32_t capacity = input.Below(14);
  const auto length = static_cast<int32_t>(input.Byte());
  const uint8_t choice = input.Byte();
  answer = (choice & 4) != 0 ? 0 : -1;
  const std::string name = input.Line(20), gateway = input.Word(20);
  if (!input.IsEmpty()) list.Put(input.Rest());
  first.Put(kSettings);
  second.Put(kSettings);
  CheckEntries(capacity);
  CheckNames(length);
  std::vector<char> chosen(5, 'x');
  if (NetWorkGetPriorityDevice(chosen.data()) == 0) {
    Expect(strcmp(chosen.data(), "eth0") == 0 || strcmp(chosen.data(), "eth2") == 0, "the choice");
  }
  const char *known[] = {"eth0", "eth1", "eth2", name.c_str()};
  if (choice % 4 == 1) NetWorkSetPriority(known[length % 4]);
  if (choice % 4 == 2)
    Expect(NetWorkSetGateway(known[length % 4], gateway.c_str(), 0) == 0, "a gateway");
}

}  // namespace fuzz

extern "C" int __wrap_ioctl(int, unsigned long, ...) {
  return fuzz::answer;
}
