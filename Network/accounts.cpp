// Name servers, the PPPoE account, the dynamic-DNS account, the dial-up route.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <span>

#include "Base/standard_descriptors.h"
#include "Base/text_file.h"
#include "Network/message.h"
#include "Network/network_text.h"
#include "Network/output_file.h"
#include "libsys/network.h"

using namespace libsys;

namespace {

using network::LineLength;
using network::OutputFile;
using network::Readers;

constexpr const char *kResolvConf = "/opt/sav/Config/resolv.conf";
constexpr const char *kPppoeConf = "/opt/sav/Config/ppp/pppoe.conf";
constexpr const char *kChapSecrets = "/opt/sav/Config/ppp/chap-secrets";
constexpr const char *kPapSecrets = "/opt/sav/Config/ppp/pap-secrets";
// Written here and read there, on purpose: the second one is the system's.
constexpr const char *kPppoeEnable = "/opt/sav/Config/ppp/pppoe-enable";
constexpr const char *kSystemPppoeEnable = "/mnt/mtd/Config/ppp/pppoe-enable";
constexpr const char *kDdnsServer = "/opt/sav/Config/ddns-server";
constexpr const char *kDialIp = "/mnt/mtd/Config/dial-ip";

constexpr int32_t kAddressSize = 16;
constexpr const char *kSpace = " \t\r\n";

// The records' layouts are shared with the application.
static_assert(sizeof(PppoeConfig) == 68);
static_assert(sizeof(DdnsConfig) == 136);

int32_t OpenFailed(const char *path) {
  printf("open file fail: %s\n", path);
  return -1;
}

void Copy(std::span<char> to, const char *text) {
  snprintf(to.data(), to.size(), "%s", text);
}

// Reads the next line; the buffer stays as it is when that line is missing or another one.
void ReadNameServer(base::TextFile &file, std::span<char> buffer) {
  char line[128], address[sizeof line];
  if (file.ReadPiece(line) && sscanf(line, "nameserver %127s", address) == 1) {
    Copy(buffer, address);
  }
}

void WriteNameServer(OutputFile &file, const char *address) {
  if (address == nullptr) return;
  file.Print("nameserver %.*s\n", LineLength(address, strlen(address)), address);
}

// The scripts read this file with the shell, which expands PIDFILE, and would run what follows
// a quote in the user's name.
int32_t WritePppoeConf(const PppoeConfig &config) {
  constexpr network::Escape kInSingleQuotes[] = {{'\'', "'\\''"}};
  OutputFile file(kPppoeConf);
  if (!file) return OpenFailed(kPppoeConf);
  file.Print("ETH='%s'\nUSER='", "eth0");
  file.PrintEscaped(config.user, sizeof config.user, kInSingleQuotes);
  file.Print("'\nPIDFILE=%s\n", "/var/run/`basename $CONFIG`-pppoe.pid");
  puts("/etc/pppoe-start");
  return 0;
}

// A line "user" * "password".
void WriteSecrets(OutputFile &file, const PppoeConfig &config) {
  constexpr network::Escape kInDoubleQuotes[] = {{'"', "\\\""}, {'\\', "\\\\"}};
  file.Print("\"");
  file.PrintEscaped(config.user, sizeof config.user, kInDoubleQuotes);
  file.Print("\"\t*\t\"");
  file.PrintEscaped(config.password, sizeof config.password, kInDoubleQuotes);
  file.Print("\"\n");
}

int32_t WriteBothSecrets(const PppoeConfig &config) {
  OutputFile chap(kChapSecrets, Readers::kOwner);
  if (!chap) return OpenFailed(kPapSecrets);  // names the other file, on purpose
  WriteSecrets(chap, config);
  OutputFile pap(kPapSecrets, Readers::kOwner);
  if (pap) WriteSecrets(pap, config);
  return 0;
}

bool IsOneOf(char character, const char *characters) {
  return strchr(characters, character) != nullptr;  // or the end of the text
}

// Whether the character after this backslash is the text's own. A quote behind which the line or
// the field ends is not: earlier versions wrote no backslash in front of the text's characters, and
// this one is the text's last.
bool IsEscape(const char *at) {
  return *at == '\\' && (at[1] == '\\' || (at[1] == '"' && !IsOneOf(at[2], "\t\r\n")));
}

// Reads a word of a secrets file into a field, which it may fill. Between double quotes it may
// have blanks, and a quote that no white space follows does not end it.
bool ReadWord(const char *&at, std::span<char> field) {
  at += strspn(at, kSpace);
  const bool quoted = *at == '"';
  if (quoted) ++at;
  size_t length = 0;
  while (quoted ? *at != '"' || !IsOneOf(at[1], kSpace) : !IsOneOf(*at, kSpace)) {
    if (*at == '\0' || length == field.size()) return false;
    if (quoted && IsEscape(at)) ++at;
    field[length++] = *at++;
  }
  if (quoted) ++at;
  return quoted || length > 0;
}

bool ReadSecrets(const char *at, PppoeConfig *config) {
  if (!ReadWord(at, config->user)) return false;
  at += strspn(at, kSpace);
  return *at == '*' && ReadWord(++at, config->password);
}

}  // namespace

int32_t NetWorkSetDns(const char *primary, const char *secondary) {
  OutputFile file(kResolvConf);
  if (!file) {
    puts("LIBDVR : fopen resolv.conf failed");
    return -1;
  }
  WriteNameServer(file, primary);
  WriteNameServer(file, secondary);
  return 0;
}

int32_t NetWorkGetDns(char *primary, int32_t primaryLength, char *secondary,
                      int32_t secondaryLength) {
  if (primary == nullptr || secondary == nullptr) return network::InvalidParameter();
  if (primaryLength < kAddressSize || secondaryLength < kAddressSize) {
    puts("LIBDVR : len < 16");
    return -1;
  }
  const std::span<char> first(primary, static_cast<size_t>(primaryLength));
  const std::span<char> second(secondary, static_cast<size_t>(secondaryLength));
  base::TextFile file(kResolvConf);
  if (!file) {
    Copy(first, "8.8.8.8");
    Copy(second, "192.168.1.1");
    return 0;
  }
  ReadNameServer(file, first);
  ReadNameServer(file, second);
  return 0;
}

int32_t NetSetPPPoEConfig(const PppoeConfig *config) {
  if (config == nullptr) return -1;
  if (config->enable == 1) {
    if (WritePppoeConf(*config) != 0) return -1;
  } else if (config->enable == 0) {
    puts("/etc/pppoe-stop");
  } else {
    puts("NetSetPPPoEConfig param error");
    return -1;
  }
  if (WriteBothSecrets(*config) != 0) return -1;
  OutputFile enable(kPppoeEnable);
  if (!enable) return OpenFailed(kPppoeEnable);
  enable.Print("%c", config->enable == 1 ? '1' : '0');
  return 0;
}

int32_t NetGetPPPoEConfig(PppoeConfig *config) {
  if (config == nullptr) return -1;
  *config = {};
  FILE *secrets = base::OpenFile(kChapSecrets, "re");
  if (secrets == nullptr) return OpenFailed(kChapSecrets);
  char text[256];
  text[fread(text, 1, sizeof text - 1, secrets)] = '\0';
  fclose(secrets);
  if (!ReadSecrets(text, config)) {
    *config = {};
    return -1;
  }
  base::TextFile enable(kSystemPppoeEnable);
  if (!enable) return OpenFailed(kSystemPppoeEnable);
  char digits[4] = {};
  enable.ReadPiece(digits);
  config->enable = atoi(digits);
  return 0;
}

int32_t NetWorkSetDdns(const DdnsConfig *config) {
  if (config == nullptr) return network::InvalidParameter();
  char server[sizeof config->server + 1], host[sizeof config->host + 1], enable[12];
  snprintf(server, sizeof server, "%.*s", static_cast<int>(sizeof config->server), config->server);
  snprintf(host, sizeof host, "%.*s", static_cast<int>(sizeof config->host), config->host);
  snprintf(enable, sizeof enable, "%d", config->enable);
  if (NetWorkWriteKey(kDdnsServer, "ddnsserverip", server) != 0) return -1;
  if (NetWorkWriteKey(kDdnsServer, "hostname", host) != 0) return -1;
  return NetWorkWriteKey(kDdnsServer, "enable", enable);
}

int32_t NetWorkGetDdns(DdnsConfig *config) {
  constexpr int32_t kLimit = 32;
  if (config == nullptr) return network::InvalidParameter();
  *config = {};
  char enable[kLimit];
  if (NetWorkReadKey(kDdnsServer, "ddnsserverip", config->server, kLimit) != 0 ||
      NetWorkReadKey(kDdnsServer, "hostname", config->host, kLimit) != 0 ||
      NetWorkReadKey(kDdnsServer, "enable", enable, kLimit) != 0) {
    return -1;
  }
  config->enable = atoi(enable) & 1;
  return 0;
}

int32_t NetWorkSetDialRoute(char *address) {
  if (address == nullptr) return -1;
  base::TextFile file(kDialIp);
  if (!file) return OpenFailed(kDialIp);
  char line[32] = {};
  file.ReadPiece(line);
  line[strcspn(line, "\n")] = '\0';
  memcpy(address, line, sizeof line);
  if (!network::IsIpv4Text(line)) return network::InvalidParameter();
  char command[sizeof line + 32];
  snprintf(command, sizeof command, "route add default gw %s", line);
  fflush(stdout);
  if (system(command) != -1) return 0;
  printf("LIBDVR : %s faield\n", command);
  return -1;
}
