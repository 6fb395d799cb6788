// Name servers, the PPPoE and dynamic-DNS accounts, the dial-up route: the files as the system's
// daemons find them, and what is read back.
#include <errno.h>

#include "libsys/network.h"
#include "tests/support/daemon_files.h"

namespace {

using test::Call;
using test::Content;
using test::Put;

const std::string kFolder = "/opt/sav/Config/";
const std::string kResolv = kFolder + "resolv.conf";
const std::string kDdns = kFolder + "ddns-server";
const std::string kConf = kFolder + "ppp/pppoe.conf";
const std::string kChap = kFolder + "ppp/chap-secrets";
const std::string kPap = kFolder + "ppp/pap-secrets";
const std::string kEnable = kFolder + "ppp/pppoe-enable";
const std::string kSystemEnable = "/mnt/mtd/Config/ppp/pppoe-enable";
const std::string kDialIp = "/mnt/mtd/Config/dial-ip";

class AccountsTest : public test::BoardTest {
 protected:
  void SetUp() override {
    UseBoard("summary = \"a board with a network\"\n[network]\n");
    Put(kFolder + "ppp/", "");
  }
};

TEST_F(AccountsTest, NameServersAreWritten) {
  const std::string kLong(200, '1'), kLongLine = "nameserver " + kLong + "\n";
  const struct {
    const char *primary, *secondary, *content;
  } kRows[] = {
      {"10.0.0.1", "10.0.0.2", "nameserver 10.0.0.1\nnameserver 10.0.0.2\n"},
      {nullptr, "10.0.0.2", "nameserver 10.0.0.2\n"},
      {"10.0.0.1\noptions debug", nullptr, "nameserver 10.0.0.1\n"},
      {kLong.c_str(), nullptr, kLongLine.c_str()},
  };
  for (const auto &row : kRows) {
    EXPECT_EQ("0 ", Call([&] { return NetWorkSetDns(row.primary, row.secondary); }));
    EXPECT_EQ(row.content, Content(kResolv));
  }
  vboard::PlanFault("fopen", kResolv, EROFS, 1, false);
  EXPECT_EQ("-1 LIBDVR : fopen resolv.conf failed\n",
            Call([] { return NetWorkSetDns("1.1.1.1", nullptr); }));
}

TEST_F(AccountsTest, NameServersAreReadLineByLine) {
  const auto read = [](int32_t firstLength, int32_t secondLength) {
    char first[20] = "old1", second[20] = "old2";
    const std::string answer =
        Call([&] { return NetWorkGetDns(first, firstLength, second, secondLength); });
    return answer + first + " " + second;
  };
  EXPECT_EQ("0 8.8.8.8 192.168.1.1", read(16, 16));
  EXPECT_EQ("-1 LIBDVR : len < 16\nold1 old2", read(15, 16));
  EXPECT_EQ("-1 LIBDVR : len < 16\nold1 old2", read(16, 15));
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"nameserver 1.2.3.4\nnameserver 5.6.7.8\n", "1.2.3.4 5.6.7.8"},
      {"nameserver 1.2.3.4", "1.2.3.4 old2"},
      {"search home\nnameserver 5.6.7.8\n", "old1 5.6.7.8"},
      {"# nameserver 1.2.3.4\nnameserver\n", "old1 old2"},
      {"\n\nnameserver 1.2.3.4\n", "old1 old2"},
      {"nameserver 123.123.123.1234\n", "123.123.123.123 old2"},
      // The rest of a line that fills the buffer is what counts as the second one.
      {"nameserver" + std::string(110, ' ') + "1.2.3.4" + "nameserver 9.9.9.9", "1.2.3.4 9.9.9.9"},
  };
  for (const auto &[content, expected] : rows) {
    Put(kResolv, content);
    EXPECT_EQ("0 " + expected, read(16, 16)) << content;
  }
}

PppoeConfig Pppoe(int32_t enable, const std::string &user, const std::string &password) {
  PppoeConfig config = {.enable = enable, .user = {}, .password = {}};
  test::Fill(config.user, user);
  test::Fill(config.password, password);
  return config;
}

TEST_F(AccountsTest, PppoeFilesAreWritten) {
  const std::string full = "abcdefghijklmnopqrstuvwxyz012345";
  const struct {
    PppoeConfig config;
    std::string user, password;  // in the files
    std::string quoted = user;   // for the shell
  } kRows[] = {
      {Pppoe(1, "al@isp", "a b"), "al@isp", "a b"},
      {Pppoe(1, "eve\nroot * *", "x\r\n"), "eve", "x"},  // no account can add a line
      {Pppoe(1, full, full), full, full},
      {Pppoe(0, "bob", "pw"), "bob", "pw"},
      {Pppoe(1, "a'; reboot; '", "pw"), "a'; reboot; '", "pw", "a'\\''; reboot; '\\''"},
      {Pppoe(1, "DOMAIN\\al", "\"#\\"), "DOMAIN\\\\al", "\\\"#\\\\", "DOMAIN\\al"},
  };
  Put(kPap, "an older file that everybody can read, and longer than all of those that follow it\n");
  test::SetRights(kPap, 0644);
  for (const auto &row : kRows) {
    SCOPED_TRACE(row.user);
    const bool on = row.config.enable == 1;
    std::filesystem::remove(vboard::RootPath(kConf));
    EXPECT_EQ(on ? "0 /etc/pppoe-start\n" : "0 /etc/pppoe-stop\n",
              Call([&] { return NetSetPPPoEConfig(&row.config); }));
    EXPECT_EQ(on ? "ETH='eth0'\nUSER='" + row.quoted +
                       "'\nPIDFILE=/var/run/`basename $CONFIG`-pppoe.pid\n"
                 : "none",
              Content(kConf));
    for (const std::string &path : {kChap, kPap}) {
      EXPECT_EQ("\"" + row.user + "\"\t*\t\"" + row.password + "\"\n", Content(path));
      EXPECT_EQ(0600U, test::Rights(path)) << path;
    }
    EXPECT_EQ(on ? "1" : "0", Content(kEnable));
  }
}

TEST_F(AccountsTest, PppoeFilesThatCannotBeWritten) {
  const std::string start = "/etc/pppoe-start\n", fail = "open file fail: ";
  const std::string account = "\"al\"\t*\t\"pw\"\n";
  const struct {
    std::string path, answer, contents;  // contents: of the secrets files and the enable file
  } kRows[] = {
      {kConf, "-1 " + fail + kConf + "\n", "none,none,none"},
      {kChap, "-1 " + start + fail + kPap + "\n", "none,none,none"},
      {kPap, "0 " + start, account + ",none,1"},
      {kEnable, "-1 " + start + fail + kEnable + "\n", account + "," + account + ",none"},
  };
  for (const auto &row : kRows) {
    SCOPED_TRACE(row.path);
    SetUp();
    Put(row.path + "/", "");
    EXPECT_EQ(row.answer, Call([&] {
                const PppoeConfig config = Pppoe(1, "al", "pw");
                return NetSetPPPoEConfig(&config);
              }));
    EXPECT_EQ(row.contents, Content(kChap) + "," + Content(kPap) + "," + Content(kEnable));
  }
  // What cannot be cut is not left open either.
  SetUp();
  std::filesystem::remove(vboard::RootPath(kChap));
  mkfifo(vboard::RootPath(kChap).c_str(), 0600);
  EXPECT_EQ("-1 " + start + fail + kPap + "\n", Call([] {
              const PppoeConfig config = Pppoe(1, "al", "pw");
              return NetSetPPPoEConfig(&config);
            }));
  SetUp();
  for (const int32_t enable : {2, -1}) {
    const PppoeConfig config = Pppoe(enable, "al", "pw");
    EXPECT_EQ("-1 NetSetPPPoEConfig param error\n",
              Call([&] { return NetSetPPPoEConfig(&config); }));
  }
  EXPECT_EQ("-1 ", Call([] { return NetSetPPPoEConfig(nullptr); }));
  EXPECT_EQ("nonenone", Content(kConf) + Content(kChap));
}

TEST_F(AccountsTest, PppoeAccountIsReadBack) {
  const auto read = [] {
    PppoeConfig config = Pppoe(9, "old", "old");
    const std::string answer = Call([&] { return NetGetPPPoEConfig(&config); });
    return answer + test::Field(config.user) + "," + test::Field(config.password) + "," +
           std::to_string(config.enable);
  };
  EXPECT_EQ("-1 open file fail: " + kChap + "\n,,0", read());
  Put(kChap, "\"al\"\t*\t\"pw\"\n");
  EXPECT_EQ("-1 open file fail: " + kSystemEnable + "\nal,pw,0", read());
  const std::string a31(31, 'a'), b32(32, 'b');
  const struct {
    std::string secrets, enable, answer;
  } kRows[] = {
      {"\"al\"\t*\t\"pw\"\n", "1", "0 al,pw,1"},
      {"\"al\"\t*\t\"pw\"\n" + std::string(300, '#'), "1", "0 al,pw,1"},
      {"al\t*\n", "1", "-1 ,,0"},
      {"al\r* \"p\\\"\r\n", "1", "0 al,p\\,1"},
      {"\n al\n* \"\"pw\"\"\n", "1234\n", "0 al,\"pw\",123"},
      {"\"\"\t*\t\"\"\n", "", "0 ,,0"},
      {"al\t*\tpw *", "x", "0 al,pw,0"},
      {"\"a b\" * \"p \\\" w\" *\n", "1", "0 a b,p \" w,1"},
      {"\"\t*\tpw\n", "1", "-1 ,,0"},
      // As earlier versions wrote it.
      {"\"DOMAIN\\al\\\"\t*\t\"p\"w\\\"\n", "1", "0 DOMAIN\\al\\,p\"w\\,1"},
      {"\"al\"\tserver\t\"pw\"\n", "1", "-1 ,,0"},
      {"", "1", "-1 ,,0"},
      {"\"" + a31 + "\"\t*\t" + b32 + "\n", "0", "0 " + a31 + "," + b32 + ",0"},
      {"\"" + a31 + "\"\t*\t\"" + b32 + "b\"\n", "0", "-1 ,,0"},
  };
  for (const auto &row : kRows) {
    Put(kChap, row.secrets);
    Put(kSystemEnable, row.enable);
    EXPECT_EQ(row.answer, read()) << row.secrets;
  }
}

TEST_F(AccountsTest, PppoeAccountIsWhatWasStored) {
  Put(kSystemEnable, "1");
  for (const std::string text : {"", "a b", "DOMAIN\\al", "\\", "\"", "\\\"", " \"\" * ",
                                 "#'\xfc\\\\", "abcdefghijklmnopqrstuvwxyz012345"}) {
    const PppoeConfig stored = Pppoe(1, text, text);
    PppoeConfig read;
    Call([&] { return NetSetPPPoEConfig(&stored); });
    EXPECT_EQ("0 ", Call([&] { return NetGetPPPoEConfig(&read); })) << text;
    EXPECT_EQ(0, memcmp(&stored, &read, sizeof read)) << text;
  }
}

TEST_F(AccountsTest, DynamicDnsAccount) {
  const auto read = [] {
    DdnsConfig config = {};
    const std::string answer = Call([&] { return NetWorkGetDdns(&config); });
    return answer + config.server + "," + config.host + "," + std::to_string(config.enable);
  };
  EXPECT_EQ("-1 ,,0", read());
  const DdnsConfig config = {.enable = 3, .host = "box.example.org", .server = "dns.example.org"};
  EXPECT_EQ("0 ", Call([&] { return NetWorkSetDdns(&config); }));
  EXPECT_EQ("ddnsserverip = dns.example.org\nhostname = box.example.org\nenable = 3\n",
            Content(kDdns));
  EXPECT_EQ("0 dns.example.org,box.example.org,1", read());
  Put(kDdns, "hostname = h\nenable = 2\nddnsserverip = " + std::string(31, 'c') + "\n");
  EXPECT_EQ("0 " + std::string(31, 'c') + ",h,0", read());
  Put(kDdns, "ddnsserverip = s\nhostname = h\nenable = " + std::string(32, '1') + "\n");
  EXPECT_EQ("-1 LIBDVR : Buffer length too short, must longer than 32\ns,h,0", read());
  DdnsConfig full = {.enable = INT32_MIN, .host = {}, .server = {}};
  test::Fill(full.host, std::string(96, 'h'));
  test::Fill(full.server, std::string(36, 's'));
  Put(kDdns, "");
  EXPECT_EQ("0 ", Call([&] { return NetWorkSetDdns(&full); }));
  EXPECT_EQ("ddnsserverip = " + std::string(36, 's') + "\nhostname = " + std::string(96, 'h') +
                "\nenable = -2147483648\n",
            Content(kDdns));
  for (const unsigned key : {1U, 2U, 3U}) {  // is neither opened nor made
    vboard::PlanFault("fopen", kDdns, EROFS, key, false);
    vboard::PlanFault("fopen", kDdns, EROFS, key, false);
    EXPECT_EQ("-1 LIBDVR : FILE -> Network/network.c, LINE -> 500: Open " + kDdns + " failed\n",
              Call([&] { return NetWorkSetDdns(&config); }));
  }
  EXPECT_EQ("-1 LIBDVR : Invalid parameter\n", Call([] { return NetWorkSetDdns(nullptr); }));
  EXPECT_EQ("-1 LIBDVR : Invalid parameter\n", Call([] { return NetWorkGetDdns(nullptr); }));
}

TEST_F(AccountsTest, DialRouteGoesThroughACheckedAddressOnly) {
  char address[32] = "";
  const auto set = [&] { return Call([&] { return NetWorkSetDialRoute(address); }); };
  EXPECT_EQ("-1 open file fail: /mnt/mtd/Config/dial-ip\n", set());
  Events();
  for (const char *text :
       {"", "\n", "10.0.0.1;reboot\n", "10.0.0.256\n", "10.0.0\n", "10.0.0.1 \n", "10.0.0.1.2\n",
        "1000.0.0.1\n", "10..0.1\n", "`reboot`\n", "10.0.0.1\r\n", "010.64.0.1\n", "10.64.0.00\n",
        "0000000000000000000000010.0.0.1\n"}) {
    Put(kDialIp, text);
    EXPECT_EQ("-1 LIBDVR : Invalid parameter\n", set()) << text;
  }
  EXPECT_THAT(Events(), testing::IsEmpty());
  Put(kDialIp, "10.9.0.255\nand more\n");
  EXPECT_THAT(set(), testing::StartsWith("0 "));  // whatever the command says
  EXPECT_STREQ("10.9.0.255", address);
  EXPECT_EQ("command: route add default gw 10.9.0.255", Events().at(0));
  vboard::PlanFault("system", "", EAGAIN, 1, false);
  EXPECT_EQ("-1 LIBDVR : route add default gw 10.9.0.255 faield\n", set());
}

}  // namespace
