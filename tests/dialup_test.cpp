// The 3G modem's files on the board: what is written for pppd and chat, and what is read back.
#include <errno.h>
#include <string.h>

#include "libsys/network.h"
#include "tests/support/daemon_files.h"

namespace {

using test::Call;
using test::Content;
using test::Put;

const std::string kFolder = "/opt/sav/Config/ppp/";
const std::string kEnable = kFolder + "pppoe-enable-3g";
const std::string kSummary = kFolder + "infor-3g-config";
const std::string kPeers = kFolder + "peers/wcdma";
const std::string kConnect = kPeers + "-chat-connect";
const std::string kDisconnect = kPeers + "-chat-disconnect";
const std::string kSystemEnable = "/mnt/mtd/Config/ppp/pppoe-enable-3g";

// What stands around the account's texts in the files of the dialler.
std::string Around(const char *name) {
  return vboard::ReadFile(std::string(SOURCE_FOLDER "/tests/data/dialup/") + name);
}
constexpr const char *kPeersStart = "nodetach\nlock\n/dev/ttyUSB0\n115200\nuser  ";
const std::string kPeersEnd = Around("peers-end");
const std::string kConnectStart = Around("connect-start");
const std::string kDisconnectText = Around("disconnect");

// The texts are those of APN, ISP, user and password.
Wireless3gConfig Config(int32_t enable, int32_t mode, const std::array<std::string, 4> &texts) {
  Wireless3gConfig config = {};
  config.enable = enable;
  config.mode = mode;
  test::Fill(config.apn, texts[0]);
  test::Fill(config.isp, texts[1]);
  test::Fill(config.user, texts[2]);
  test::Fill(config.password, texts[3]);
  return config;
}

std::string Set(const Wireless3gConfig &config, uint32_t size = sizeof(Wireless3gConfig)) {
  return Call([&] { return Net3gSetConfig(&config, size); });
}

// "result printed", then "enable mode apn isp" of a record that was zero but for the mode 9.
std::string Get(uint32_t size = sizeof(Wireless3gConfig)) {
  Wireless3gConfig config = Config(0, 9, {});
  const std::string answer = Call([&] { return Net3gGetConfig(&config, size); });
  return answer + std::to_string(config.enable) + " " + std::to_string(config.mode) + " " +
         config.apn + " " + config.isp;
}

class DialupTest : public test::BoardTest {
 protected:
  void SetUp() override {
    UseBoard("summary = \"a board with a modem\"\n");
    Put(kFolder + "peers/", "");
    Put("/mnt/mtd/Config/ppp/", "");
  }
};

TEST_F(DialupTest, FilesAreWrittenAndReadBack) {
  const std::string full = "abcdefghijklmnopqrstuvwxyz012345";
  const struct {
    Wireless3gConfig config;
    std::string name;
    std::array<std::string, 4> texts;  // in the files
    std::string chatApn = texts[0], chatIsp = texts[1];
  } kRows[] = {
      {Config(1, 0, {full, full, full, full}), "wcdma", {full, full, full, full}},
      // pppd splits its options at blanks and takes quotes, # and backslashes as its own.
      {Config(-7, 1, {"internet", "*99#", "a b", "#'\"\\"}),
       "cdma2000",
       {"internet", "*99#", "a\\ b", "\\#\\'\\\"\\\\"}},
      {Config(0, 2, {}), "td-scdma", {"", "", "\"\"", "\"\""}},
      // And chat its answers at blanks, where an @ then names a file to send.
      {Config(3, 3, {"a\" @b\\T", "'1^Q-#2 ", "", "x"}),
       "unknow",
       {"a\" @b\\T", "'1^Q-#2 ", "\"\"", "x"},
       "a\"\\s@b\\\\T",
       "'1\\136Q-#2\\s"},
      // No field can add a line.
      {Config(2, 3, {"a\nISP:1", "9\rAT", "al\nconnect /bin/sh", "pw\x7fx"}),
       "unknow",
       {"a", "9", "al", "pw"}},
  };
  Put(kPeers, "open to everybody\n");
  test::SetRights(kPeers, 0644);
  for (const auto &[config, name, texts, chatApn, chatIsp] : kRows) {
    SCOPED_TRACE(name);
    const auto &[apn, isp, user, password] = texts;
    const std::string enable = std::to_string(config.enable);
    EXPECT_EQ("0 LIBDVR : 3g begin\n+++" + name + "\n", Set(config));
    EXPECT_EQ(enable + "\n", Content(kEnable));
    EXPECT_EQ("TYPE:" + name + "\nAPN:" + apn + "\nISP:" + isp + "\n", Content(kSummary));
    EXPECT_EQ(kPeersStart + user + "\npassword  " + password + kPeersEnd, Content(kPeers));
    EXPECT_EQ(kConnectStart + (config.mode == 1
                                   ? "OK ATDT#777\nCONNECT \\d\\c\n"
                                   : "OK \\rAT+CGDCONT=1,\"IP\",\"" + chatApn +
                                         "\",,0,0\nOK-AT-OK ATDT" + chatIsp + "\nCONNECT \\d\\c\n"),
              Content(kConnect));
    EXPECT_EQ(kDisconnectText, Content(kDisconnect));
    // A line of the summary is read back in pieces of 31 characters.
    EXPECT_EQ("0 " + enable + " " + std::to_string(config.mode) + " " + apn.substr(0, 27) + " " +
                  isp.substr(0, 27),
              Get());
  }
  EXPECT_EQ(0600U, test::Rights(kPeers));
}

TEST_F(DialupTest, RecordsThatAreRefused) {
  for (const uint32_t size : {0U, 167U, 169U}) {
    const std::string refused = "-1 Libsys:Array size not right!! Please check!!\n ";
    EXPECT_EQ(refused, Set(Config(1, 0, {}), size));
    EXPECT_EQ(refused + "0 9  ", Get(size));
  }
  EXPECT_EQ("none", Content(kEnable));
  for (const int32_t mode : {4, -1}) {
    EXPECT_EQ("-1 3Gmode error !! please check your  pcfg.adapt  !!", Set(Config(mode, mode, {})));
    EXPECT_EQ(std::to_string(mode) + "\n", Content(kEnable));
    EXPECT_EQ("none", Content(kPeers));
  }
}

TEST_F(DialupTest, FilesThatCannotBeWritten) {
  const std::string begin = "0 LIBDVR : 3g begin\n", type = "+++cdma2000\n";
  const struct {
    std::string path, answer, missing;  // missing: initials of the files that are not written
  } kRows[] = {
      {kEnable, "0 open file " + kEnable + " failed !!\n" + begin.substr(2) + type, "E"},
      {kPeers, begin + "Open file " + kPeers + " failed!!\n", "PCSD"},
      {kConnect, begin + "Open file " + kConnect + " failed!!\n", "CS"},
      {kSummary, begin + "Open file " + kSummary + " failed!!\n", "S"},
      {kDisconnect, begin + type + "Open file " + kDisconnect + " failed!!\n", "D"},
  };
  const std::pair<char, std::string> files[] = {
      {'E', kEnable}, {'P', kPeers}, {'C', kConnect}, {'S', kSummary}, {'D', kDisconnect}};
  for (const auto &row : kRows) {
    SCOPED_TRACE(row.path);
    SetUp();
    Put(row.path + "/", "");
    EXPECT_EQ(row.answer, Set(Config(1, 1, {})));
    std::string missing;
    for (const auto &[initial, path] : files) {
      if (Content(path) == "none") missing += initial;
    }
    EXPECT_EQ(row.missing, missing);
  }
}

TEST_F(DialupTest, RecordIsReadBack) {
  EXPECT_EQ("-1 open file " + kSummary + " filed !!\n0 9  ", Get());
  Put(kSummary, "TYPE:wcdma\n");
  EXPECT_EQ("-1 open file " + kEnable + " failed !!\n0 9  ", Get());
  const std::string wrong = "LIBSYS:3G mode error !! please check !!\n";
  const struct {
    const char *summary, *enable;
    std::string answer;
  } kRows[] = {
      {"TYPE:wcdma\nAPN:a\nISP:1\n", "1\n", "0 1 0 a 1"},
      {"ISP:1\nnothing\nAPN:\nTYPE:td-scdmX\n", " 42 \n", "0 42 2  1"},
      {"TYPE:wcdm\n", "", "0 0 0  "},
      {"TYPE:cdma200X\n", "x", "0 0 1  "},
      {"TYPE:unkno", "-1", "0 -1 3  "},
      {"TYPE:wcdX\nTYPE:cdma20X\nTYPE:td-scdX\nTYPE:unknX\nAPN:a\n", "1\n",
       "0 " + wrong + wrong + wrong + wrong + "1 9 a "},
  };
  for (const auto &row : kRows) {
    Put(kSummary, row.summary);
    Put(kEnable, row.enable);
    EXPECT_EQ(row.answer, Get()) << row.summary;
  }
}

TEST_F(DialupTest, SwitchAndMode) {
  int32_t value = 9;
  const auto set = [&] { return Call([&] { return Net3gSetEnable(&value); }); };
  const auto get = [&] { return Call([&] { return Net3gGetEnable(&value); }); };
  const std::string failed = "-1 open file fail: " + kSystemEnable + "\n";
  EXPECT_EQ(failed, get());
  for (const auto &[content, read, written] :
       {std::tuple("-2", 1, "1\n"), {"", 0, "0\n"}, {"0001", 0, "0\n"}, {"9\n", 1, "1\n"}}) {
    Put(kSystemEnable, content);
    EXPECT_EQ("0 ", get());
    EXPECT_EQ(read, value) << content;
    value *= -5;
    EXPECT_EQ("0 ", set());
    EXPECT_EQ(written, Content(kSystemEnable));
  }
  vboard::PlanFault("fopen", kSystemEnable, EROFS, 1, false);
  EXPECT_EQ(failed, set());
  EXPECT_EQ("-1 3G set mode failed  mode=0\n", Call([] { return Net3gSetMode(0); }));
  EXPECT_EQ("0 ", Call([] { return Net3gSetMode(-3); }));
  Events();
  EXPECT_EQ("0 ", Call(Net3gApply));
  EXPECT_EQ("command: /opt/app/etc/3g_config.sh", Events().at(0));
}

}  // namespace
