// The kernel's list of network devices, the choice between them, and the routes of each.
#include <string.h>

#include <vector>

#include "fuzz/fuzz.h"
#include "libsys/network.h"

namespace fuzz {

const std::vector<const char *> kMessages = {
    "LIBDVR : FILE -> Network/network.c, LINE -> 1667: Open file /proc/net/dev failed!\n",
    "LIBDVR : FILE -> Network/network.c, LINE -> 2066: EthNameLen=%d is too short(least is 10)!\n",
    "LIBDVR : FILE -> Network/network.c, LINE -> 2072: ERR: open file /proc/net/dev failed!\n",
    "LIBDVR : FILE -> Network/network.c, LINE -> 1822: Not supported device %s\n",
    "LIBDVR : FILE -> Network/network.c, LINE -> 169: Unsupport %s\n",
    "LIBDVR : FILE -> Network/network.c, LINE -> 1542: No netword device\n",
    "LIBDVR : FILE -> Network/network.c, LINE -> 1605: NetWorkSetGateway SIOCADDRT failed\n",
    "LIBDVR : FILE -> Network/network.c, LINE -> 1628: NetWorkSetGateway SIOCADDRT failed\n",
    "LIBDVR : FILE -> Network/network.c, LINE -> 1567: Get ip failed\n",
    "LIBDVR : FILE -> Network/network.c, LINE -> 1572: Get netmask failed\n",
    "LIBDVR : NetGetEthName\n",
    "LIBDVR : NetWorkGetConfigFileName failed\n",
    "LIBDVR : NetWorkSaveAttributes %s failed\n",
    "LIBDVR : get ip error\n",
    "LIBDVR : Invalid parameter\n",
    "LIBDVR : I2cRead : Invalid parma\n",
    "LIBDVR : I2cWrite : Invalid parma\n",
};

namespace {

constexpr const char *kSettings = "HOSTIP = 192.168.1.88\nSUBMASK = 255.255.255.0\nPRIO = 0\n";

struct Files {
  BoardFile list{"/proc/net/dev"}, first{"/opt/sav/Config/network"};
  BoardFile second{"/opt/sav/Config/network1"};
};

void CheckEntries(int32_t capacity) {
  std::vector<NetDeviceEntry> entries(static_cast<size_t>(capacity) + 1);
  memset(entries.data(), 0xa5, entries.size() * sizeof entries[0]);
  const int32_t count = NetGetEthName(entries.data(), capacity);
  Expect(count >= 0 && count <= capacity && count <= NET_MAX_DEVICES, "the count of devices");
  Expect(entries.back().selectable == 0xa5, "nothing behind the entries is written");
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
  std::vector<char> text(static_cast<size_t>(length) + 1, 'x');
  int32_t count = -1;
  if (NetGetEthNameList(text.data(), length, &count) != 0) {
    return Expect(length < 10 && count == -1 && text[0] == 'x', "a list that is refused");
  }
  Expect(text.back() == 'x' && IsTerminated(text), "the list is terminated");
  const std::string list = text.data();
  size_t names = 0;
  for (size_t at = 0; (at = list.find("::", at)) != list.npos; at += 2) ++names;
  Expect(names == static_cast<size_t>(count) || list == "eth0", "the count is that of the names");
  Expect(list.find("eth1::") != 0, "eth1 is not offered");
}

}  // namespace

void Try(Input &input) {
  static const Files files;
  const auto capacity = static_cast<int32_t>(input.Below(14));
  const auto length = static_cast<int32_t>(input.Byte());
  const uint32_t choice = input.Below(4);
  const std::string name = input.Line(20), gateway = input.Word(20);
  files.list.Remove();
  if (!input.IsEmpty()) files.list.Put(input.Rest());
  files.first.Put(std::string_view(kSettings));
  files.second.Put(std::string_view(kSettings));
  CheckEntries(capacity);
  CheckNames(length);
  std::vector<char> chosen(5, 'x');
  if (NetWorkGetPriorityDevice(chosen.data()) == 0) {
    Expect(strcmp(chosen.data(), "eth0") == 0 || strcmp(chosen.data(), "eth2") == 0, "the choice");
  }
  const char *known[] = {"eth0", "eth1", "eth2", name.c_str()};
  if (choice == 1) NetWorkSetPriority(known[length % 4]);
  if (choice == 2)
    Expect(NetWorkSetGateway(known[length % 4], gateway.c_str(), 0) == 0, "a gateway");
}

}  // namespace fuzz
