// These commands show the network interfaces and set their addresses.
#include <arpa/inet.h>
#include <errno.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "boardctl/command.h"
#include "boardctl/messages.h"
#include "boardctl/network_backup.h"
#include "boardctl/output.h"
#include "boardctl/text_file.h"
#include "libsys/network.h"

namespace boardctl {
namespace {

constexpr int32_t kTextSize = 16;

void ShowInterface(const char *name) {
  char mac[18] = "", text[kTextSize];
  struct {
    const char *title;
    int32_t type;
  } const settings[] = {{"address", HOSTIP}, {"netmask", SUBMASK}, {"gateway", GATEWAYIP}};
  output::BeginRecord();
  output::Text("interface", name);
  NetWorkGetMACAddress(name, mac, sizeof mac);
  output::Text("mac", mac);
  for (const auto &setting : settings) {
    text[0] = '\0';
    NetWorkGetAttributes(name, setting.type, text, sizeof text);
    output::Text(setting.title, text);
  }
  output::Text("link", LinkState(name));
  output::EndRecord();
}

struct Addresses {
  const char *address;
  const char *netmask;
  const char *gateway;  // null where none is given
};

bool ReadAddress(const char *text, uint32_t *number) {
  in_addr address;
  if (inet_pton(AF_INET, text, &address) != 1) {
    UsageError("'%s' is no address", text);
    return false;
  }
  *number = ntohl(address.s_addr);
  return true;
}

// A network has addresses for hosts: neither the whole Internet nor one address is one.
bool IsNetmask(uint32_t number) {
  const uint32_t hosts = ~number;
  return number != 0 && hosts != 0 && (hosts & (hosts + 1)) == 0;
}

// A network keeps its first and its last address to itself, unless it has only these two
// (RFC 3021); all others can be a host's.
bool IsHost(uint32_t number, uint32_t netmask) {
  const uint32_t hosts = ~netmask;
  const bool ownToNetwork = (number & hosts) == 0 || (number & hosts) == hosts;
  const bool unicast = number >> 24 != 0 && number >> 24 != 127 && number >> 28 < 14;
  return unicast && (hosts == 1 || !ownToNetwork);
}

// Returns kDone, or what UsageError returns.
int Check(const Addresses &words) {
  uint32_t address = 0, netmask = 0, gateway = 0;
  if (!ReadAddress(words.address, &address) || !ReadAddress(words.netmask, &netmask)) return kUsage;
  if (words.gateway != nullptr && !ReadAddress(words.gateway, &gateway)) return kUsage;
  if (!IsNetmask(netmask)) return UsageError("'%s' is no netmask", words.netmask);
  if (!IsHost(address, netmask)) return UsageError("'%s' is no host's address", words.address);
  const bool near = ((gateway ^ address) & netmask) == 0 && gateway != address;
  if (words.gateway == nullptr || (near && IsHost(gateway, netmask))) return kDone;
  return UsageError("'%s' is no other host in the network of %s", words.gateway, words.address);
}

bool IsReplaced(const char *line, const Addresses &words) {
  return strstr(line, "HOSTIP") != nullptr || strstr(line, "SUBMASK") != nullptr ||
         (words.gateway != nullptr && strstr(line, "GATEWAYIP") != nullptr);
}

bool WriteSettings(const char *path, TextFile &before, const Addresses &words) {
  FILE *file = fopen(path, "we");
  if (file == nullptr) return false;
  char line[4096];  // as long as a file of which there is a backup
  while (before.ReadLine(line)) {
    if (!IsReplaced(line, words)) fprintf(file, "%s\n", line);
  }
  fprintf(file, "HOSTIP = %s\nSUBMASK = %s\n", words.address, words.netmask);
  if (words.gateway != nullptr) fprintf(file, "GATEWAYIP = %s\n", words.gateway);
  const bool written = fflush(file) == 0 && ferror(file) == 0 && fsync(fileno(file)) == 0;
  return fclose(file) == 0 && written && !before.Failed();
}

// The library writes a setting over its old line, and a longer one over the head of the next
// setting too. So the file is made with room for the new ones, which are in it already then.
bool MakeRoom(const char *name, const Addresses &words) {
  char path[64], made[sizeof path + 4];
  if (NetWorkGetConfigFileName(name, path, sizeof path) != 0) return false;
  TextFile before(path);
  if (!before && errno != ENOENT) return false;
  snprintf(made, sizeof made, "%s.new", path);
  if (WriteSettings(made, before, words) && rename(made, path) == 0) return true;
  remove(made);
  return false;
}

// The library does not tell what happens to the settings file, so it is read again.
bool IsStored(const char *name, int32_t type, const char *expected) {
  char path[64], key[32], stored[kTextSize] = "";
  return NetWorkGetConfigFileName(name, path, sizeof path) == 0 &&
         NetWorkGetKeyNameFromType(type, key, sizeof key) == 0 &&
         NetWorkReadKey(path, key, stored, sizeof stored) == 0 && strcmp(stored, expected) == 0;
}

// Returns null when all went well, otherwise what went wrong.
const char *Set(const char *name, const Addresses &words) {
  if (!MakeRoom(name, words)) return "this could not be stored";
  if (NetWorkSetAddress(name, words.address, words.netmask, 1) != 0) {
    return "the interface does not take this address";
  }
  messages::Forget();
  if (words.gateway != nullptr) {
    if (NetWorkSetInterface(name, GATEWAYIP, words.gateway) != 0) {
      return "the interface does not take this gateway";
    }
    NetWorkSaveAttributes(name, GATEWAYIP, words.gateway);
  }
  const bool stored = IsStored(name, HOSTIP, words.address) &&
                      IsStored(name, SUBMASK, words.netmask) &&
                      (words.gateway == nullptr || IsStored(name, GATEWAYIP, words.gateway));
  return stored ? nullptr : "this could not be stored";
}

}  // namespace

const char *LinkState(const char *name) {
  const int32_t link = NetGetLinkState(name);
  return link == 0 ? "up" : link == -1 ? "down" : "unknown";
}

int NetShow(const Arguments &) {
  NetDeviceEntry entries[NET_MAX_DEVICES];
  OpenBus();  // the settings may be in the clock chip's memory
  const int32_t count = NetGetEthName(entries, NET_MAX_DEVICES);
  if (count == 0) return Failure("there are no network interfaces");
  output::BeginList();
  for (int32_t i = 0; i < count; ++i) ShowInterface(entries[i].name);
  output::EndList();
  return kDone;
}

int NetSet(const Arguments &arguments) {
  const char *name = arguments[0];
  const Addresses words = {arguments[1], arguments[2], arguments.Or(3, nullptr)};
  if (strcmp(name, "eth0") != 0 && strcmp(name, "eth1") != 0) {
    return UsageError("INTERFACE is eth0 or eth1");
  }
  if (const int status = Check(words); status != kDone) return status;
  OpenBus();
  NetworkBackup before;
  if (!before.Take(name)) return Failure("%s is not there, or its settings cannot be read", name);
  messages::Forget();
  const char *fault = Set(name, words);
  if (fault == nullptr) return kDone;
  return Failure("%s; %s", fault,
                 before.PutBack() ? "everything is as it was"
                                  : "what was there before could not be put back entirely");
}

}  // namespace boardctl
