// The files for the system's daemons as the real chat and pppd read them, where the board has
// them, on a modem at the other end of a pseudo terminal.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>

#include <sstream>
#include <vector>

#include "libsys/network.h"
#include "tests/support/real_kernel.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr const char *kChat =
    "/sbin/chat -s -v -f /etc/ppp/peers/wcdma-chat-connect 2>&1 "
    "</dev/ttyUSB0 >/dev/ttyUSB0";
constexpr const char *kNoPppd = "pppd is not there, or this user may not run it";

// A modem on /dev/ttyUSB0. It accepts every command and connects; some time after that the line
// fails, which ends whatever talks to it next.
class Modem {
 public:
  Modem() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
    grantpt(master_);
    unlockpt(master_);
    unlink("/dev/ttyUSB0");
    EXPECT_EQ(0, symlink(ptsname(master_), "/dev/ttyUSB0"));
    slave_ = open("/dev/ttyUSB0", O_RDWR | O_NOCTTY | O_CLOEXEC);
  }
  Modem(const Modem &) = delete;
  Modem &operator=(const Modem &) = delete;
  ~Modem() {
    close(slave_);
    close(master_);
  }

  // Serves a program until its end; returns what it printed.
  std::string Serve(const std::string &command) {
    FILE *program = popen(command.c_str(), "re");
    std::string printed;
    pollfd ends[] = {{fileno(program), POLLIN, 0}, {master_, POLLIN, 0}};
    for (char piece[256];;) {
      if (poll(ends, 2, 100) == 0 && connected_) Answer("ERROR");
      if (ends[1].revents != 0) Receive();
      if (ends[0].revents == 0) continue;
      const ssize_t length = read(ends[0].fd, piece, sizeof piece);
      if (length <= 0) break;
      printed.append(piece, static_cast<size_t>(length));
    }
    return printed + "exit status " + std::to_string(WEXITSTATUS(pclose(program)));
  }

  const std::vector<std::string> &Commands() const { return commands_; }

 private:
  void Receive() {
    char byte = 0;
    while (read(master_, &byte, 1) == 1) {
      if (byte != '\r') {
        line_ += byte;
      } else if (!connected_ && !line_.empty()) {
        connected_ = line_.starts_with("ATDT");
        Answer(connected_ ? "CONNECT 7200000" : "OK");
        commands_.push_back(std::exchange(line_, ""));
      }
    }
  }
  void Answer(const std::string &text) {
    // What does not fit is lost, as on a real line.
    [[maybe_unused]] const ssize_t written =
        write(master_, (text + "\r\n").data(), text.size() + 2);
  }

  int master_, slave_ = -1;
  bool connected_ = false;
  std::string line_;
  std::vector<std::string> commands_;
};

class DaemonsTest : public testing::Test {
 protected:
  // Devices of the PC, the modem, and a file for the kernel's PPP, which need not be there: pppd
  // gets as far as it can without.
  void SetUp() override {
    if (access("/sbin/chat", X_OK) != 0) GTEST_SKIP() << "chat is not there";
    if (!test::EnterNamespaces()) GTEST_SKIP() << "no namespaces: " << strerror(errno);
    const std::string answer = test::Shell(
        "set -e; mount --make-rprivate /; mount -t tmpfs none /opt; mount -t tmpfs none /run;"
        "mkdir -p /run/lock /opt/dev /opt/sav/Config/ppp/peers; mount --rbind /dev /opt/dev;"
        "mount -t tmpfs none /dev; ln -s /opt/dev/* /dev/; rm -f /dev/ppp; touch /dev/ppp;"
        "mount --bind /opt/sav/Config/ppp /etc/ppp");
    if (!answer.empty()) GTEST_SKIP() << "no mounts: " << answer;
    setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
  }

  static bool MayRunPppd() { return access("/usr/sbin/pppd", X_OK) == 0; }

  // The texts are those of APN, ISP, user and password.
  static void Configure(int32_t mode, const std::array<std::string, 4> &texts) {
    Wireless3gConfig config = {};
    config.mode = mode;
    texts[0].copy(config.apn, sizeof config.apn);
    texts[1].copy(config.isp, sizeof config.isp);
    texts[2].copy(config.user, sizeof config.user);
    texts[3].copy(config.password, sizeof config.password);
    testing::internal::CaptureStdout();
    EXPECT_EQ(0, Net3gSetConfig(&config, sizeof config));
    testing::internal::GetCapturedStdout();
  }
};

// In every mode, with texts that chat would take for more than texts, were they written as they
// are.
TEST_F(DaemonsTest, ChatSendsEveryTextAsItIs) {
  const std::string texts[][2] = {{"x\" @/etc/passwd '\\T^Q", "*99# -AT- @/etc/passwd"},
                                  {"", ""},
                                  {"", ""},
                                  {"\xfc\x80$HOME \\", "^ TIMEOUT 1\\\\q"}};
  for (int32_t mode = 0; mode < 4; ++mode) {
    SCOPED_TRACE(mode);
    const auto &[apn, isp] = texts[mode];
    Configure(mode, {apn, isp, "al", "secret"});
    std::vector<std::string> commands = {"AT", "ATZ", "ATDT#777"};
    if (mode != 1) {
      commands = {"AT", "ATZ", "AT+CGDCONT=1,\"IP\",\"" + apn + "\",,0,0", "ATDT" + isp};
    }
    Modem modem;
    const std::string printed = modem.Serve(kChat);
    EXPECT_THAT(printed, HasSubstr("expect (CONNECT)\n"));
    EXPECT_THAT(printed, HasSubstr("send (\\d)\nexit status 0"));
    EXPECT_EQ(commands, modem.Commands());
  }
}

// With accounts of which pppd would take a part, or the next option, for something else.
TEST_F(DaemonsTest, PppdTakesEveryOption) {
  if (!MayRunPppd()) GTEST_SKIP() << kNoPppd;
  const std::pair<std::string, std::string> users[] = {
      // as they are, and as pppd shows them
      {"#al connect '/bin/sh\"\\", "#al connect '/bin/sh\\\"\\\\"},
      {"", ""}};
  const Modem modem;
  const std::string from = "\t\t# (from /etc/ppp/peers/wcdma)";
  for (const auto &[user, shown] : users) {
    Configure(0, {"internet", "*99#", user, user});
    std::istringstream stream(test::Shell("pppd call wcdma dryrun"));
    std::vector<std::string> options;
    for (std::string line; std::getline(stream, line);) {
      if (line.ends_with(from)) options.push_back(line.substr(0, line.size() - from.size()));
    }
    EXPECT_THAT(
        options,
        testing::UnorderedElementsAre(
            "nodetach", "lock", "/dev/ttyUSB0", "115200", "user " + shown, "password ??????",
            "crtscts", "show-password", "usepeerdns", "noauth", "noipdefault", "novj", "novjccomp",
            "noccp", "defaultroute", "ipcp-accept-local", "ipcp-accept-remote",
            "connect /sbin/chat -s -v -f /etc/ppp/peers/wcdma-chat-connect",
            "disconnect /sbin/chat -s -v -f /etc/ppp/peers/wcdma-chat-disconnect"));
  }
}

TEST_F(DaemonsTest, PppdRunsBothScripts) {
  if (!MayRunPppd()) GTEST_SKIP() << kNoPppd;
  Configure(0, {"internet", "*99#", "al", "secret"});
  Modem modem;
  const std::string printed = modem.Serve("pppd call wcdma 2>&1");
  EXPECT_THAT(modem.Commands(), ElementsAre("AT", "ATZ", HasSubstr("\"internet\""), "ATDT*99#"));
  // The line that lacks a blank is one to wait for: nothing is sent before it comes.
  EXPECT_THAT(printed.substr(printed.find("Serial connection established.\n")),
              HasSubstr("abort on (ERROR)\nabort on (NO DIALTONE)\nexpect (SAY\"^JSending)\n"));
}

TEST_F(DaemonsTest, PppdFindsTheAccountInBothSecretsFiles) {
  if (!MayRunPppd()) GTEST_SKIP() << kNoPppd;
  // A secret that is found does not name an address, and that is what is missed then.
  const std::string found = "(None of the available passwords would let it use an IP address.)";
  for (const std::string text : {"al b@isp", "DOMAIN\\al", "\"#'\\\\\""}) {
    PppoeConfig config = {};
    text.copy(config.user, sizeof config.user);
    text.copy(config.password, sizeof config.password);
    ASSERT_EQ(0, NetSetPPPoEConfig(&config));
    setenv("USER", text.c_str(), 1);
    for (const char *protocol : {"chap", "pap"}) {
      SCOPED_TRACE(protocol + text);
      const std::string command =
          std::string("pppd dryrun nodetach notty auth require-") + protocol + " remotename ";
      const std::string answer = test::Shell(command + "\"$USER\"");
      EXPECT_THAT(answer, HasSubstr(found));
      EXPECT_THAT(answer, Not(HasSubstr("warning")));
      const std::string other = test::Shell(command + "al");
      EXPECT_THAT(other, HasSubstr("couldn't find any suitable secret"));
      EXPECT_THAT(other, Not(HasSubstr(found)));
    }
  }
}

}  // namespace
