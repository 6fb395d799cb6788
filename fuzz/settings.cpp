// The settings of the network interfaces: their files, and the clock chip's memory.
#include <algorithm>
#include <vector>

#include "fuzz/clock_chip.h"
#include "libsys/network.h"

namespace fuzz {
namespace {

constexpr const char *kInterfaces[] = {"eth0", "eth1", "eth2"};
constexpr const char *kKeys[] = {"HOSTIP", "SUBMASK", "GATEWAYIP", "PRIO", "WORKMODE"};
constexpr const char *kPaths[] = {"/opt/sav/Config/network", "/opt/sav/Config/network1"};
constexpr size_t kMemory = 8;  // of the chip, its first register

struct Settings {
  std::string name;
  const char *path;
  int32_t type;
};

void Get(const Settings &asked) {
  std::vector<char> value(16, 'x');
  const int32_t result = NetWorkGetAttributes(asked.name.c_str(), asked.type, value.data(), 16);
  Expect(result != 0 || IsTerminated(value), "a value is terminated");
  Expect(result == 0 || asked.name == "eth2" || !chip.answers, "a value is had from somewhere");
}

void GetAddresses(const Settings &asked) {
  const char *name = asked.name.c_str();
  std::vector<char> address(16, 'x'), netmask(16, 'x');
  const bool found = NetWorkGetDefaultAddress(name, address.data(), 16, netmask.data(), 16) == 0;
  Expect(!found || (IsTerminated(address) && IsTerminated(netmask)), "addresses are terminated");
  Expect(NetWorkGetDefaultGateway(name, address.data(), 15) == -1, "a buffer that is too short");
  Expect(NetWorkReadKey(asked.path, "", nullptr, 1) == -1, "no buffer");
}

// What is written is what is read, whatever the lines of the file were before.
void Write(const Settings &asked, const std::string &value) {
  const char *key = kKeys[asked.type];
  Expect(NetWorkWriteKey(asked.path, key, value.c_str()) == 0, "a value is written");
  if (value.empty()) return;
  const auto length = static_cast<int32_t>(value.size());
  std::vector<char> read(value.size() + 1), small(value.size());
  const int32_t result = NetWorkReadKey(asked.path, key, read.data(), length + 1);
  Expect(result == 0 && read.data() == value, "a value that is written is read");
  Expect(NetWorkReadKey(asked.path, key, small.data(), length) == -1, "it has to fit");
}

void Save(const Settings &asked, const std::string &value) {
  const int32_t result = NetWorkSaveAttributes(asked.name.c_str(), asked.type, value.c_str());
  const bool stores = asked.name != "eth0" || chip.answers;
  Expect(result == (asked.name != "eth2" && stores ? 0 : -1), "a value is stored");
}

}  // namespace

void Try(Input &input) {
  static const BoardFile files[] = {BoardFile(kPaths[0]), BoardFile(kPaths[1])};
  OpenBus();
  const uint8_t choice = input.Byte();
  chip.answers = choice % 16 != 0;
  const uint32_t interface = choice >> 4 & 1;
  const Settings asked = {(choice & 0x20) != 0 ? kInterfaces[2] : kInterfaces[interface],
                          kPaths[interface], input.Below(5)};
  const int32_t change = input.Below(4);
  const std::string value = input.Word(60);
  const std::string memory = input.Take(56);
  std::copy(memory.begin(), memory.end(), chip.registers.begin() + kMemory);
  if (!input.IsEmpty()) files[interface].Put(input.Rest() + "\n");
  Get(asked);
  if (change == 1) Write(asked, value);
  if (change == 2) Save(asked, value);
  if (change == 3) GetAddresses(asked);
  Get(asked);
}

}  // namespace fuzz
