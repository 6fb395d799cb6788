// The 3G modem: the files that pppd and chat read, and the record they are made from.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <array>
#include <span>

#include "Base/message.h"
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

constexpr const char *kEnable = "/opt/sav/Config/ppp/pppoe-enable-3g";
constexpr const char *kSystemEnable = "/mnt/mtd/Config/ppp/pppoe-enable-3g";
constexpr const char *kSummary = "/opt/sav/Config/ppp/infor-3g-config";
constexpr const char *kPeers = "/opt/sav/Config/ppp/peers/wcdma";
constexpr const char *kConnect = "/opt/sav/Config/ppp/peers/wcdma-chat-connect";
constexpr const char *kDisconnect = "/opt/sav/Config/ppp/peers/wcdma-chat-disconnect";
constexpr const char *kApplyScript = "/opt/app/etc/3g_config.sh";

static_assert(sizeof(Wireless3gConfig) == 168);

struct Mode {
  const char *name;
  size_t matched;  // characters of the name that are compared when it is read back
  int dialClass;
};

// The modes by the number that the record has for each.
constexpr std::array<Mode, 4> kModes = {{
    {"wcdma", 4, 1},
    {"cdma2000", 7, 2},
    {"td-scdma", 7, 3},
    {"unknow", 5, 4},
}};

struct {
  char modeName[64] = {};
  char apn[64] = {};
  char isp[64] = {};
  int dialClass = 0;
  int storedMode = 0;
} state;

constexpr const char *kConnectStart =
    "ABORT 'NO CARRIER'\n"
    "ABORT 'ERROR'\n"
    "ABORT 'NO DIALTONE'\n"
    "ABORT 'BUSY'\n"
    "ABORT  'NO ANSWER'\n"
    "'' \\rAT\n"
    "OK \\rATZ\n";

constexpr const char *kConnectCdma2000 =
    "OK ATDT#777\n"
    "CONNECT \\d\\c\n";

constexpr const char *kDisconnectScript =
    "ABORT \"ERROR\"\n"
    "ABORT \"NO DIALTONE\"\n"
    "SAY\"\\nSending break to the modem\\n\"\n"
    "'' \"\\K\"\n"
    "''  \"+++ATH\"\n"
    "SAY  \"\\nGoodbay\\n\"\n";

// pppd would take the word behind a blank for an option, and dial with it as it says.
constexpr network::Escape kOptionEscapes[] = {
    {' ', "\\ "}, {'\'', "\\'"}, {'"', "\\\""}, {'\\', "\\\\"}, {'#', "\\#"},
};

// chat would wait for the word behind a blank as for an answer, or send the file that it names
// behind an @. It takes quotes within a word as they are.
constexpr network::Escape kChatEscapes[] = {{' ', "\\s"}, {'\\', "\\\\"}, {'^', "\\136"}};

template <size_t N>
void CopyLine(char (&to)[N], const char *text, size_t size) {
  snprintf(to, N, "%.*s", LineLength(text, size), text);
}

bool IsRecordSize(uint32_t size) {
  if (size == sizeof(Wireless3gConfig)) return true;
  printf("Libsys:Array size not right!! Please check!!\n ");
  return false;
}

void OpenFailed(const char *path) {
  printf("Open file %s failed!!\n", path);
}

void WriteOption(OutputFile &file, const char *name, std::span<const char> text) {
  file.Print("%s  ", name);
  file.PrintEscaped(text.data(), text.size(), kOptionEscapes);
  // Without a word of its own the option would take the next line's.
  file.Print("%s\n", LineLength(text.data(), text.size()) == 0 ? "\"\"" : "");
}

bool WritePeers(const Wireless3gConfig &config) {
  OutputFile file(kPeers, Readers::kOwner);
  if (!file) {
    OpenFailed(kPeers);
    return false;
  }
  file.Print("nodetach\nlock\n/dev/ttyUSB0\n115200\n");
  WriteOption(file, "user", config.user);
  WriteOption(file, "password", config.password);
  file.Print(
      "crtscts\nshow-password\nusepeerdns\nnoauth\nnoipdefault\nnovj\nnovjccomp\nnoccp\n"
      "defaultroute\nipcp-accept-local\nipcp-accept-remote\n"
      "connect '/sbin/chat -s -v -f /etc/ppp/peers/wcdma-chat-connect'\n"
      "disconnect '/sbin/chat -s -v -f /etc/ppp/peers/wcdma-chat-disconnect'\n");
  return true;
}

void WriteConnectScript(OutputFile &file) {
  switch (state.dialClass) {
    case 2:
      file.Print("%s%s", kConnectStart, kConnectCdma2000);
      break;
    case 1:
    case 3:
    case 4:
      file.Print("%sOK \\rAT+CGDCONT=1,\"IP\",\"", kConnectStart);
      file.PrintEscaped(state.apn, sizeof state.apn, kChatEscapes);
      file.Print("\",,0,0\nOK-AT-OK ATDT");
      file.PrintEscaped(state.isp, sizeof state.isp, kChatEscapes);
      file.Print("\nCONNECT \\d\\c\n");
      break;
    default:
      base::PrintAt({network::kSource, 2917}, "Please check you 3G MODE -----!!!\n");
  }
}

void WriteConnectAndSummary() {
  OutputFile connect(kConnect);
  if (!connect) return OpenFailed(kConnect);
  OutputFile summary(kSummary);
  if (!summary) return OpenFailed(kSummary);
  summary.Print("TYPE:%s\n", state.modeName);
  printf("+++%s\n", state.modeName);
  summary.Print("APN:%s\nISP:%s\n", state.apn, state.isp);
  memset(state.modeName, 0, sizeof state.modeName);
  WriteConnectScript(connect);
}

void WriteDisconnect() {
  OutputFile file(kDisconnect);
  if (!file) return OpenFailed(kDisconnect);
  file.Print("%s", kDisconnectScript);
}

// The text behind a prefix, or null.
const char *Behind(const char *line, const char *prefix) {
  const size_t length = strlen(prefix);
  return strncmp(line, prefix, length) == 0 ? line + length : nullptr;
}

void ReadMode(const char *name, Wireless3gConfig *config) {
  for (size_t mode = 0; mode < kModes.size(); ++mode) {
    if (strncmp(name, kModes[mode].name, kModes[mode].matched) == 0) {
      config->mode = static_cast<int32_t>(mode);
      return;
    }
  }
  puts("LIBSYS:3G mode error !! please check !!");
}

void ReadSummaryLine(const char *line, Wireless3gConfig *config) {
  // The copies are not terminated, on purpose: the caller has zeroed the record.
  if (const char *apn = Behind(line, "APN:")) memcpy(config->apn, apn, strlen(apn));
  if (const char *isp = Behind(line, "ISP:")) memcpy(config->isp, isp, strlen(isp));
  if (const char *type = Behind(line, "TYPE:")) ReadMode(type, config);
}

int32_t EnableFailed() {
  printf("open file fail: %s\n", kSystemEnable);
  return -1;
}

}  // namespace

int32_t Net3gSetConfig(const Wireless3gConfig *config, uint32_t size) {
  if (!IsRecordSize(size) || config == nullptr) return -1;
  {
    OutputFile enable(kEnable);
    if (enable) {
      enable.Print("%d\n", config->enable);
    } else {
      printf("open file %s failed !!\n", kEnable);
    }
  }
  CopyLine(state.apn, config->apn, sizeof config->apn);
  CopyLine(state.isp, config->isp, sizeof config->isp);
  const auto mode = static_cast<uint32_t>(config->mode);
  if (mode >= kModes.size()) {
    printf("3Gmode error !! please check your  pcfg.adapt  !!");
    return -1;
  }
  snprintf(state.modeName, sizeof state.modeName, "%s", kModes[mode].name);
  state.dialClass = kModes[mode].dialClass;
  puts("LIBDVR : 3g begin");
  // What cannot be written is reported and is no failure, on purpose.
  if (!WritePeers(*config)) return 0;
  WriteConnectAndSummary();
  WriteDisconnect();
  return 0;
}

int32_t Net3gGetConfig(Wireless3gConfig *config, uint32_t size) {
  if (!IsRecordSize(size) || config == nullptr) return -1;
  base::TextFile summary(kSummary);
  if (!summary) {
    printf("open file %s filed !!\n", kSummary);
    return -1;
  }
  base::TextFile enable(kEnable);
  if (!enable) {
    printf("open file %s failed !!\n", kEnable);
    return -1;
  }
  char line[32] = {};
  enable.ReadPiece(line);
  config->enable = atoi(line);
  while (summary.ReadPiece(line)) {
    line[strcspn(line, "\n")] = '\0';
    ReadSummaryLine(line, config);
  }
  return 0;
}

int32_t Net3gSetEnable(const int32_t *enable) {
  if (enable == nullptr) return -1;
  OutputFile file(kSystemEnable);
  if (!file) return EnableFailed();
  file.Print("%d\n", *enable != 0 ? 1 : 0);
  return 0;
}

int32_t Net3gGetEnable(int32_t *enable) {
  if (enable == nullptr) return -1;
  base::TextFile file(kSystemEnable);
  if (!file) return EnableFailed();
  char digits[4] = {};
  file.ReadPiece(digits);
  *enable = atoi(digits) != 0 ? 1 : 0;
  return 0;
}

int32_t Net3gSetMode(int32_t mode) {
  if (mode == 0) {
    printf("3G set mode failed  mode=%d\n", mode);
    return -1;
  }
  state.storedMode = mode;
  return 0;
}

int32_t Net3gApply() {
  fflush(stdout);
  // Whether the script is there and what it says is the system's business.
  [[maybe_unused]] const int status = system(kApplyScript);
  return 0;
}
