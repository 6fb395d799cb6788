// The files of the 3G modem's dial-up.
#include <string.h>

#include "fuzz/fuzz.h"
#include "libsys/network.h"

namespace fuzz {
namespace {

constexpr uint32_t kSize = sizeof(Wireless3gConfig);
constexpr size_t kReadable = 27;  // characters of a text

const BoardFile enableFile("/opt/sav/Config/ppp/pppoe-enable-3g");
const BoardFile systemEnable("/mnt/mtd/Config/ppp/pppoe-enable-3g");
const BoardFile summary("/opt/sav/Config/ppp/infor-3g-config");
const BoardFile peers("/opt/sav/Config/ppp/peers/wcdma");
const BoardFile connectChat("/opt/sav/Config/ppp/peers/wcdma-chat-connect");
const BoardFile disconnectChat("/opt/sav/Config/ppp/peers/wcdma-chat-disconnect");

void TryRecord(Input &input) {
  Wireless3gConfig config = {}, read = {};
  config.enable = input.Get<int16_t>();
  config.mode = input.Below(6) - 1;
  const bool words = input.Below(2) == 0;
  const auto text = [&] { return words ? input.Word(kReadable) : input.Text(32); };
  text().copy(config.apn, sizeof config.apn);
  text().copy(config.isp, sizeof config.isp);
  text().copy(config.user, sizeof config.user);
  text().copy(config.password, sizeof config.password);
  const bool valid = config.mode >= 0 && config.mode <= 3;
  Expect(Net3gSetConfig(&config, kSize) == (valid ? 0 : -1), "a record is written");
  if (!valid) return;
  Expect(Count(peers.Content(), "\n") == 19 && Count(summary.Content(), "\n") == 3 &&
             Count(connectChat.Content(), "\n") == (config.mode == 1 ? 9 : 10),
         "a text adds no line to a file, whatever it holds");
  Expect(Net3gGetConfig(&read, kSize) == 0 && read.enable == config.enable, "a record is read");
  Expect(read.mode == config.mode, "the mode");
  if (!words) return;
  Expect(memcmp(read.apn, config.apn, 32) == 0, "the access point that is written is read");
  Expect(memcmp(read.isp, config.isp, 32) == 0, "the number that is written is read");
}

void TryFiles(Input &input) {
  const int32_t missing = input.Below(4);
  const std::string enable = input.Take(input.Byte() % 20U);
  if (missing != 1) enableFile.Put(enable);
  if (missing != 2) summary.Put(input.Rest());
  Wireless3gConfig config = {};
  const bool exists = missing != 1 && missing != 2;
  Expect(Net3gGetConfig(&config, kSize) == (exists ? 0 : -1), "the files are read");
  Expect(config.mode >= 0 && config.mode <= 3, "the mode");
  Expect(IsTerminated(config.apn) && IsTerminated(config.isp), "texts are terminated");
  Expect(config.user[0] == '\0' && config.password[0] == '\0', "the account is not read");
}

void TryEnable(Input &input) {
  int32_t written = input.Get<int32_t>(), enable = -1;
  if (input.Below(2) == 0) {
    Expect(Net3gSetEnable(&written) == 0 && Net3gGetEnable(&enable) == 0, "the switch");
    Expect(enable == (written != 0 ? 1 : 0), "the switch that is written is read");
  } else {
    systemEnable.Put(input.Rest());
    Expect(Net3gGetEnable(&enable) == 0 && (enable == 0 || enable == 1), "the switch is on or off");
  }
}

}  // namespace

void Try(Input &input) {
  constexpr void (*kWays[])(Input &) = {TryRecord, TryFiles, TryEnable};
  kWays[input.Below(std::size(kWays))](input);
  Wireless3gConfig config = {};
  Expect(Net3gGetConfig(&config, kSize - 1) == -1, "a record of another size");
}

}  // namespace fuzz
