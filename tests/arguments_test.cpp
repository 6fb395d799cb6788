// Pointers that an application forgot: what allows none answers, and touches nothing.
#include "libsys/boot.h"
#include "libsys/disk.h"
#include "libsys/flash.h"
#include "libsys/frontboard.h"
#include "libsys/network.h"
#include "libsys/system.h"
#include "libsys/uart.h"
#include "libsys/version.h"
#include "tests/support/daemon_files.h"

namespace {

class ArgumentsTest : public test::BoardTest {};

TEST_F(ArgumentsTest, NullPointersAreRefused) {
  UseBoard("summary = \"any board\"\n[network.eth0]\nmac = \"00:00:5e:00:53:01\"\n");
  const std::string invalid = "LIBDVR : Invalid parameter\n";
  const std::string noMac = "LIBDVR : NetWorkGetMACAddress faield\n";
  const std::string noMode = "LIBDVR : NetGetMode: Invalid parameter\n";
  const std::string uart = "-1 LIBDVR : FILE -> Uart/uart.c, LINE -> ";
  const std::string noIdentifier = "-1 LIBDVR : Get hwid failed, length must > 16\n";
  char text[64] = "";
  uint8_t bytes[16] = {};
  int32_t number = 0;
  const struct {
    const char *name;
    std::function<int32_t()> call;
    std::string answer;
  } kRows[] = {
      {"BootEnvMatchName", [] { return BootEnvMatchName(nullptr, "a=1"); }, "-1 "},
      {"and its entry", [] { return BootEnvMatchName("a", nullptr); }, "-1 "},
      {"BootEnvGet", [&] { return BootEnvGet(nullptr, text, 1); }, "-1 "},
      {"BootEnvForEach", [] { return BootEnvForEach(nullptr, nullptr); }, "-1 "},
      {"BootEnvSet", [] { return BootEnvSet(nullptr, "1"); }, "-1 "},
      {"BootEnvSetText", [] { return BootEnvSetText(nullptr); }, "-1 "},
      {"DiskGetPath", [] { return DiskGetPath(0, nullptr, 16); }, "-1 "},
      {"FlashGetPartitionTable", [] { return FlashGetPartitionTable(nullptr); }, "-1 "},
      {"FlashGetSectorSize", [] { return FlashGetSectorSize(nullptr); }, "-1 "},
      {"FlashGetToolPartitionStart", [] { return FlashGetToolPartitionStart(nullptr); }, "-1 "},
      {"FrontKeyQueueGet", [] { return FrontKeyQueueGet(nullptr, 4); }, "0 "},
      {"NetWorkGetHwAddr", [&] { return NetWorkGetHwAddr(nullptr, bytes, 6); }, "-1 " + invalid},
      {"and its bytes", [] { return NetWorkGetHwAddr("eth0", nullptr, 6); }, "-1 " + invalid},
      {"NetWorkGetMACAddress", [&] { return NetWorkGetMACAddress(nullptr, text, 18); },
       "-1 " + invalid + noMac},
      {"and its text", [] { return NetWorkGetMACAddress("eth0", nullptr, 18); }, "-1 " + noMac},
      {"NetWorkSetMACAddress", [] { return NetWorkSetMACAddress(nullptr, "02:00:00:00:00:77"); },
       "-1 " + invalid},
      {"and its text", [] { return NetWorkSetMACAddress("eth0", nullptr); }, "-1 " + invalid},
      {"NetGetEthName", [] { return NetGetEthName(nullptr, 1); }, "0 " + invalid},
      {"NetGetEthNameList", [&] { return NetGetEthNameList(nullptr, 64, &number); },
       "-1 " + invalid},
      {"and its count", [&] { return NetGetEthNameList(text, 64, nullptr); }, "-1 " + invalid},
      {"NetWorkReadKey", [&] { return NetWorkReadKey(nullptr, "IP", text, 32); }, "-1 " + invalid},
      {"and its key", [&] { return NetWorkReadKey("x", nullptr, text, 32); }, "-1 " + invalid},
      {"and its text", [] { return NetWorkReadKey("x", "IP", nullptr, 32); }, "-1 " + invalid},
      {"NetWorkWriteKey", [] { return NetWorkWriteKey(nullptr, "IP", "1"); }, "-1 " + invalid},
      {"and its key", [] { return NetWorkWriteKey("x", nullptr, "1"); }, "-1 " + invalid},
      {"and its value", [] { return NetWorkWriteKey("x", "IP", nullptr); }, "-1 " + invalid},
      {"NetWorkCheckDevice", [] { return NetWorkCheckDevice(nullptr); }, "-1 " + invalid},
      {"NetWorkGetConfigFileName", [&] { return NetWorkGetConfigFileName(nullptr, text, 64); },
       "-1 " + invalid},
      {"and its text", [] { return NetWorkGetConfigFileName("eth0", nullptr, 64); },
       "-1 " + invalid},
      {"NetWorkGetKeyNameFromType", [] { return NetWorkGetKeyNameFromType(HOSTIP, nullptr, 32); },
       "-1 " + invalid},
      {"NetWorkSetPriority", [] { return NetWorkSetPriority(nullptr); }, "-1 " + invalid},
      {"NetWorkGetPriorityDevice", [] { return NetWorkGetPriorityDevice(nullptr); },
       "-1 " + invalid},
      {"NetSetMode", [] { return NetSetMode(nullptr, 0); },
       "-1 LIBDVR : FILE -> Network/network.c, LINE -> 2249: NetSetMode : Invalid prama\n"},
      {"NetGetMode", [&] { return NetGetMode(nullptr, &number); }, "-1 " + noMode},
      {"and its mode", [] { return NetGetMode("eth0", nullptr); }, "-1 " + noMode},
      {"NetWorkSetInterface", [] { return NetWorkSetInterface(nullptr, HOSTIP, "10.0.0.1"); },
       "-1 " + invalid},
      {"and its value", [] { return NetWorkSetInterface("eth0", HOSTIP, nullptr); },
       "-1 " + invalid},
      {"NetWorkSetAddress", [] { return NetWorkSetAddress("eth0", nullptr, "255.0.0.0", 1); },
       "-1 "},
      {"NetWorkGetDns", [&] { return NetWorkGetDns(nullptr, 16, text, 16); }, "-1 " + invalid},
      {"and its second", [&] { return NetWorkGetDns(text, 16, nullptr, 16); }, "-1 " + invalid},
      {"NetSetPPPoEConfig", [] { return NetSetPPPoEConfig(nullptr); }, "-1 "},
      {"NetGetPPPoEConfig", [] { return NetGetPPPoEConfig(nullptr); }, "-1 "},
      {"NetWorkSetDdns", [] { return NetWorkSetDdns(nullptr); }, "-1 " + invalid},
      {"NetWorkGetDdns", [] { return NetWorkGetDdns(nullptr); }, "-1 " + invalid},
      {"NetWorkSetDialRoute", [] { return NetWorkSetDialRoute(nullptr); }, "-1 "},
      {"Net3gSetConfig", [] { return Net3gSetConfig(nullptr, sizeof(Wireless3gConfig)); }, "-1 "},
      {"Net3gGetConfig", [] { return Net3gGetConfig(nullptr, sizeof(Wireless3gConfig)); }, "-1 "},
      {"Net3gSetEnable", [] { return Net3gSetEnable(nullptr); }, "-1 "},
      {"Net3gGetEnable", [] { return Net3gGetEnable(nullptr); }, "-1 "},
      {"SystemGetCaps", [] { return SystemGetCaps(nullptr); },
       "-1 LIBDVR : FILE -> System/system.c, LINE -> 258: SystemGetCaps Failed\n"},
      {"UartDeviceRead", [] { return UartDeviceRead(2, nullptr, 4); },
       uart + "218: UartDeviceRead : Input params invailed\n"},
      {"UartDeviceWriteOnce", [] { return UartDeviceWriteOnce(2, nullptr, 4); },
       uart + "733: UartDeviceWrite : Input params invailed\n"},
      {"DvrGetHwidString", [] { return DvrGetHwidString(nullptr, 17); }, noIdentifier},
      {"DvrGetHwidStringByPointer", [&] { return DvrGetHwidStringByPointer(text, nullptr); },
       noIdentifier},
      {"SystemGetDeviceType", [] { return SystemGetDeviceType(nullptr, 16); },
       "-1 LIBDVR : SystemGetDeviceType==>size < 16!\n"},
  };
  for (const auto &row : kRows) EXPECT_EQ(row.answer, test::Call(row.call)) << row.name;
}

}  // namespace
