// The files of the 3G modem's dial-up.
#include <string.h>

#include <algorithm>

#include "fuzz/fuzz.h"
#include "libsys/network.h"

namespace fuzz {

const std::vector<const char *> kMessages = {
    "LIBDVR : 3g begin\n",
    "+++%s\n",
    "3Gmode error !! please check your  pcfg.adapt  !!",
    "LIBSYS:3G mode error !! please check !!\n",
    "open file /opt/sav/Config/ppp/infor-3g-config filed !!\n",
    "open file /opt/sav/Config/ppp/pppoe-enable-3g failed !!\n",
    "open file fail: /mnt/mtd/Config/ppp/pppoe-enable-3g\n",
    "Libsys:Array size not right!! Please check!!\n ",
};

namespace {

constexpr uint32_t kSize = sizeof(Wireless3gConfig);
constexpr size_t kReadable = 27;  // characters of a text

struct Files {
  BoardFile enable{"/opt/sav/Config/ppp/pppoe-enable-3g"};
  BoardFile system{"/mnt/mtd/Config/ppp/pppoe-enable-3g"};
  BoardFile summary{"/opt/sav/Config/ppp/infor-3g-config"};
  BoardFile peers{"/opt/sav/Config/ppp/peers/wcdma"};
  BoardFile connect{"/opt/sav/Config/ppp/peers/wcdma-chat-connect"};
  BoardFile disconnect{"/opt/sav/Config/ppp/peers/wcdma-chat-disconnect"};
};

size_t Lines(const BoardFile &file) {
  const std::string content = file.Content();
  return static_cast<size_t>(std::count(content.begin(), content.end(), '\n'));
}

// A text of a record adds no line to a file, whatever it holds.
void CheckLines(const Files &files, int32_t mode) {
  Expect(Lines(files.peers) == 19, "the lines of the options");
  Expect(Lines(files.summary) == 3, "the lines of the summary");
  Expect(Lines(files.connect) == (mode == 1 ? 9 : 10), "the lines of the chat");
}

void TryRecord(Input &input, const Files &files) {
  Wireless3gConfig config = {}, read = {};
  config.enable = input.Get<int16_t>();
  config.mode = static_cast<int32_t>(input.Below(6)) - 1;
  const bool words = input.Below(2) == 0;
  const auto text = [&] { return words ? input.Word(kReadable) : input.Text(32); };
  Fill(config.apn, text());
  Fill(config.isp, text());
  Fill(config.user, text());
  Fill(config.password, text());
  const bool valid = config.mode >= 0 && config.mode <= 3;
  Expect(Net3gSetConfig(&config, kSize) == (valid ? 0 : -1), "a record is written");
  if (!valid) return;
  CheckLines(files, config.mode);
  Expect(Net3gGetConfig(&read, kSize) == 0 && read.enable == config.enable, "a record is read");
  Expect(read.mode == config.mode, "the mode");
  Expect(
      !words || (strncmp(read.apn, config.apn, 32) == 0 && strncmp(read.isp, config.isp, 32) == 0),
      "the texts that are written are read");
}

void TryFiles(Input &input, const Files &files) {
  const uint32_t missing = input.Below(4);
  files.enable.Put(input.Take(input.Below(20)));
  files.summary.Put(input.Rest());
  if (missing == 1) files.enable.Remove();
  if (missing == 2) files.summary.Remove();
  Wireless3gConfig config = {};
  const bool exists = missing != 1 && missing != 2;
  Expect(Net3gGetConfig(&config, kSize) == (exists ? 0 : -1), "the files are read");
  Expect(config.mode >= 0 && config.mode <= 3, "the mode");
  Expect(IsTerminated(config.apn) && IsTerminated(config.isp), "texts are terminated");
  Expect(config.user[0] == '\0' && config.password[0] == '\0', "the account is not read");
}

void TryEnable(Input &input, const Files &files) {
  int32_t written = input.Get<int32_t>(), enable = -1;
  if (input.Below(2) == 0) {
    Expect(Net3gSetEnable(&written) == 0 && Net3gGetEnable(&enable) == 0, "the switch");
    Expect(enable == (written != 0 ? 1 : 0), "the switch that is written is read");
  } else {
    files.system.Put(input.Rest());
    Expect(Net3gGetEnable(&enable) == 0 && (enable == 0 || enable == 1), "the switch is on or off");
  }
}

}  // namespace

void Try(Input &input) {
  static const Files files;
  for (const BoardFile *file : {&files.enable, &files.system, &files.summary, &files.peers,
                                &files.connect, &files.disconnect}) {
    file->Put(std::string_view());
  }
  constexpr void (*kWays[])(Input &, const Files &) = {TryRecord, TryFiles, TryEnable};
  kWays[input.Below(std::size(kWays))](input, files);
  Wireless3gConfig config = {};
  Expect(Net3gGetConfig(&config, kSize - 1) == -1, "a record of another size");
}

}  // namespace fuzz
