// The settings of the Ethernet interfaces: a file each, and for eth0 the clock chip's memory.
#include <arpa/inet.h>
#include <stdio.h>
#include <string.h>

#include <array>
#include <initializer_list>
#include <span>

#include "Base/message.h"
#include "Base/standard_descriptors.h"
#include "Base/text_file.h"
#include "Base/text_scanner.h"
#include "Network/message.h"
#include "Network/network_text.h"
#include "libsys/clock.h"
#include "libsys/network.h"

using namespace libsys;

namespace {

constexpr const char *kConfigFile = "/opt/sav/Config/network";
constexpr int32_t kValueSize = 16;  // with its zero byte
constexpr size_t kLineSize = 128;

struct Setting {
  const char *key;
  const char *dhcpKey;  // null: DHCP does not give it
  uint32_t nvramAddress;
  uint32_t nvramWidth;   // bytes
  char defaults[2][16];  // eth0, eth1
};

// In the order of NetWorkType. Priority and work mode are crossed in the clock chip's memory.
constexpr std::array<Setting, 5> kSettings = {{
    {"HOSTIP", "DHCPIP", 40, 4, {"192.168.1.88", "192.168.1.89"}},
    {"SUBMASK", "DHCPNETMASK", 44, 4, {"255.255.255.0", "255.255.255.0"}},
    {"GATEWAYIP", "DHCPGATEWAY", 48, 4, {"192.168.1.1", "192.168.1.1"}},
    {"PRIO", nullptr, 54, 1, {"0", "1"}},
    {"WORKMODE", nullptr, 53, 1, {"0", "0"}},
}};

// The byte of the clock chip's memory that says whether the settings there are valid.
constexpr uint32_t kFlagAddress = 52;
constexpr uint8_t kFlagValid = 0xaa;

const Setting *Find(int32_t type) {
  const bool valid = type >= 0 && type < static_cast<int32_t>(kSettings.size());
  return valid ? &kSettings[static_cast<size_t>(type)] : nullptr;
}

bool IsEth0(const char *interfaceName) {
  return strcmp(interfaceName, "eth0") == 0;
}

// The value of a line "KEY = value", cut to the buffer.
bool TakeValue(const char *line, std::span<char> value) {
  base::TextScanner words(line);
  return words.SkipWord() && words.Match(" = ") && words.Word(value);
}

// Leaves the number as it is when the line is none of this key.
void TakeNumber(const char *line, const char *keyAndSign, int *number) {
  base::TextScanner words(line);
  if (words.Match(keyAndSign)) words.Number(number);
}

// Reads on to the next line that holds the key's text anywhere. A longer line counts as several.
bool FindLine(base::TextFile &file, const char *key, std::span<char> line) {
  while (file.ReadPiece(line)) {
    if (strstr(line.data(), key) != nullptr) return true;
  }
  return false;
}

// What DHCP gives, as the application writes it into the settings file.
enum class Dhcp { kNotUsed, kNoAddress, kHasAddress };

Dhcp ReadDhcpState(const char *path) {
  base::TextFile file(path);
  int used = 0, hasAddress = 0;
  char line[kLineSize];
  while ((used == 0 || hasAddress == 0) && file.ReadPiece(line)) {
    TakeNumber(line, "USEDHCP = ", &used);
    TakeNumber(line, "DHCPHAVEIP = ", &hasAddress);
  }
  if (used <= 0) return Dhcp::kNotUsed;
  return hasAddress != 0 ? Dhcp::kHasAddress : Dhcp::kNoAddress;
}

bool GetFromDhcp(const char *path, const Setting &setting, char *buffer) {
  if (setting.dhcpKey == nullptr) {
    base::PrintAt({network::kSource, 317}, "Unkonw type\n");
    return false;
  }
  base::TextFile file(path);
  char line[kLineSize];
  if (!FindLine(file, setting.dhcpKey, line)) return false;
  return TakeValue(line, {buffer, kValueSize});
}

bool NetWorkGetFromCmos(const char *path, const Setting &setting, char *buffer) {
  uint8_t flag = 0, bytes[4] = {};
  if (NvramRead(kFlagAddress, &flag, 1) != 0) return false;
  if (flag != kFlagValid) {
    printf("NetWorkGetFromCmos flag = %x\n", flag);
    return false;
  }
  if (NvramRead(setting.nvramAddress, bytes, setting.nvramWidth) != 0) return false;
  if (setting.nvramWidth == 4) {
    snprintf(buffer, kValueSize, "%d.%d.%d.%d", bytes[0], bytes[1], bytes[2], bytes[3]);
  } else {
    // The flag and not the byte that was read, on purpose.
    buffer[0] = static_cast<char>(flag + '0');
    buffer[1] = '\0';
  }
  NetWorkWriteKey(path, setting.key, buffer);
  return true;
}

int32_t SaveToCmos(const Setting &setting, const char *value) {
  if (setting.nvramWidth == 1) {
    const auto digit = static_cast<uint8_t>(value[0] - '0');
    return NvramWrite(setting.nvramAddress, &digit, 1);
  }
  const in_addr_t address = inet_addr(value);
  uint8_t bytes[4];
  memcpy(bytes, &address, sizeof bytes);
  return NvramWrite(setting.nvramAddress, bytes, sizeof bytes);
}

// The factory's values; eth0 stores all of them.
int32_t GetDefault(const char *interfaceName, const Setting &setting, char *buffer) {
  const size_t interface = IsEth0(interfaceName) ? 0 : 1;
  memcpy(buffer, setting.defaults[interface], kValueSize);
  if (interface != 0) return 0;
  int32_t result = 0;
  for (size_t type = 0; type < kSettings.size(); ++type) {
    result |= NetWorkSaveAttributes(interfaceName, static_cast<int32_t>(type),
                                    kSettings[type].defaults[interface]);
  }
  return result | NvramWrite(kFlagAddress, &kFlagValid, 1);
}

// Goes to where the line of a key begins, or else to the end of the file.
void SeekLine(FILE *file, const char *key) {
  char line[kLineSize];
  long start = 0;
  while (fgets(line, sizeof line, file) != nullptr) {
    if (strstr(line, key) != nullptr) {
      fseek(file, start, SEEK_SET);
      return;
    }
    start = ftell(file);
  }
  fseek(file, 0, SEEK_END);
}

bool IsUsable(const char *interfaceName) {
  return interfaceName != nullptr && NetWorkCheckDevice(interfaceName) == 0;
}

}  // namespace

int32_t NetWorkGetConfigFileName(const char *interfaceName, char *buffer, int32_t length) {
  if (interfaceName == nullptr || buffer == nullptr) return network::InvalidParameter();
  const bool eth1 = strcmp(interfaceName, "eth1") == 0;
  if (!eth1 && !IsEth0(interfaceName)) {
    base::PrintAt({network::kSource, 169}, "Unsupport %s\n", interfaceName);
    return -1;
  }
  const size_t size = length < 0 ? 0 : static_cast<size_t>(length);
  const int written = snprintf(buffer, size, "%s%s", kConfigFile, eth1 ? "1" : "");
  if (written < length) return 0;
  base::PrintAt({network::kSource, 175}, "NameLength too short\n");
  return -1;
}

int32_t NetWorkGetKeyNameFromType(int32_t type, char *buffer, int32_t length) {
  const Setting *setting = Find(type);
  if (setting == nullptr || buffer == nullptr) return network::InvalidParameter();
  const size_t size = strlen(setting->key) + 1;
  if (length < 0 || static_cast<size_t>(length) < size) {
    puts("LIBDVR : Length is too short");
    return -1;
  }
  memcpy(buffer, setting->key, size);
  return 0;
}

int32_t NetWorkCheckDevice(const char *interfaceName) {
  if (interfaceName == nullptr) return network::InvalidParameter();
  for (const char *name : {"eth0", "eth1", "eth2", "lo"}) {
    if (strcmp(interfaceName, name) == 0) return 0;
  }
  base::PrintAt({network::kSource, 1822}, "Not supported device %s\n", interfaceName);
  return -1;
}

int32_t NetWorkReadKey(const char *path, const char *key, char *buffer, int32_t length) {
  if (path == nullptr || key == nullptr || buffer == nullptr) return network::InvalidParameter();
  base::TextFile file(path);
  char line[kLineSize];
  if (!FindLine(file, key, line)) return -1;
  char value[kLineSize];
  if (!TakeValue(line, value)) return -1;
  const auto needed = static_cast<int32_t>(strlen(value));
  if (length < needed + 1) {
    printf("LIBDVR : Buffer length too short, must longer than %d\n", needed);
    return -1;
  }
  memcpy(buffer, value, static_cast<size_t>(needed) + 1);
  return 0;
}

int32_t NetWorkWriteKey(const char *path, const char *key, const char *value) {
  if (path == nullptr || key == nullptr || value == nullptr) return network::InvalidParameter();
  FILE *file = base::OpenFile(path, "r+e");
  if (file == nullptr) file = base::OpenFile(path, "w+e");
  if (file == nullptr) {
    base::PrintAt({network::kSource, 500}, "Open %s failed\n", path);
    return -1;
  }
  // In place, on purpose: the file is neither shortened nor shifted.
  SeekLine(file, key);
  fprintf(file, "%s = %.*s\n", key, network::LineLength(value, strlen(value)), value);
  return fclose(file) == 0 ? 0 : -1;
}

int32_t NetWorkSaveAttributes(const char *interfaceName, int32_t type, const char *value) {
  if (value == nullptr || !IsUsable(interfaceName)) return network::InvalidParameter();
  char path[32], key[32];
  if (NetWorkGetConfigFileName(interfaceName, path, sizeof path) != 0) return -1;
  if (NetWorkGetKeyNameFromType(type, key, sizeof key) != 0) return -1;
  NetWorkWriteKey(path, key, value);
  return IsEth0(interfaceName) ? SaveToCmos(*Find(type), value) : 0;
}

int32_t NetWorkGetAttributes(const char *interfaceName, int32_t type, char *buffer,
                             int32_t length) {
  const Setting *setting = Find(type);
  if (buffer == nullptr || setting == nullptr || length < kValueSize)
    return network::InvalidParameter();
  if (!IsUsable(interfaceName)) return network::InvalidParameter();
  char path[128], key[32];
  if (NetWorkGetConfigFileName(interfaceName, path, sizeof path) != 0) {
    puts("LIBDVR : NetWorkGetConfigFileName failed");
    return -1;
  }
  const Dhcp dhcp = ReadDhcpState(path);
  if (dhcp == Dhcp::kNoAddress) puts("LIBDVR : Cann't get by DHCP");
  if (dhcp == Dhcp::kHasAddress) {
    // A value that DHCP did not give is not looked for among the file's own, on purpose.
    if (GetFromDhcp(path, *setting, buffer)) return 0;
  } else {
    if (NetWorkGetKeyNameFromType(type, key, sizeof key) != 0) {
      puts("LIBDVR : NetWorkGetKeyNameFromType failed");
      return -1;
    }
    if (NetWorkReadKey(path, key, buffer, kValueSize) == 0) return 0;
  }
  if (NetWorkGetFromCmos(path, *setting, buffer)) return 0;
  return GetDefault(interfaceName, *setting, buffer);
}

int32_t NetWorkGetDefaultAddress(const char *interfaceName, char *address, int32_t addressLength,
                                 char *netmask, int32_t netmaskLength) {
  if (NetWorkGetAttributes(interfaceName, HOSTIP, address, addressLength) != 0) {
    base::PrintAt({network::kSource, 649}, "Get default ip failed\n");
    return -1;
  }
  if (NetWorkGetAttributes(interfaceName, SUBMASK, netmask, netmaskLength) != 0) {
    base::PrintAt({network::kSource, 655}, "Get default netmask failed\n");
    return -1;
  }
  return 0;
}

int32_t NetWorkGetEth0Address(char *address, int32_t addressLength, char *netmask,
                              int32_t netmaskLength) {
  return NetWorkGetDefaultAddress("eth0", address, addressLength, netmask, netmaskLength);
}

int32_t NetWorkGetDefaultGateway(const char *interfaceName, char *gateway, int32_t length) {
  if (NetWorkGetAttributes(interfaceName, GATEWAYIP, gateway, length) == 0) return 0;
  base::PrintAt({network::kSource, 762}, "Get default gateway failed\n");
  return -1;
}
