// Name servers, the PPPoE account, the dynamic-DNS account and the dial-up route.
#include <string.h>

#include <algorithm>
#include <vector>

#include "fuzz/fuzz.h"
#include "libsys/network.h"

namespace fuzz {
namespace {

const BoardFile resolv("/opt/sav/Config/resolv.conf"), ddns("/opt/sav/Config/ddns-server");
const BoardFile dial("/mnt/mtd/Config/dial-ip"), systemEnable("/mnt/mtd/Config/ppp/pppoe-enable");
const BoardFile chap("/opt/sav/Config/ppp/chap-secrets"), pap("/opt/sav/Config/ppp/pap-secrets");
const BoardFile pppoe("/opt/sav/Config/ppp/pppoe.conf"), own("/opt/sav/Config/ppp/pppoe-enable");

struct {
  int32_t answer = 0;
  std::string command;
} shell;

// As far as a line goes.
template <size_t N>
std::string LineOf(const char (&field)[N]) {
  const auto *end = std::find_if(
      field, field + N, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7f; });
  return {field, end};
}

void TryNameServers(Input &input) {
  const int32_t length = input.Below(40);
  const auto size = static_cast<size_t>(length);
  const std::string primary = input.Word(40), secondary = input.Word(40);
  resolv.Put(input.Rest());
  const bool writes = !primary.empty() && !secondary.empty();
  if (writes) NetWorkSetDns(primary.c_str(), secondary.c_str());
  if (primary == "_") resolv.Remove();
  std::vector<char> first(size), second(size);
  const int32_t result = NetWorkGetDns(first.data(), length, second.data(), length);
  Expect(result == (length < 16 ? -1 : 0), "a buffer that is too short");
  if (result != 0 || !writes || primary == "_") return;
  Expect(primary.substr(0, size - 1) == first.data(), "the first name server is read");
  Expect(secondary.substr(0, size - 1) == second.data(), "the second name server is read");
}

void TryPppoe(Input &input) {
  PppoeConfig config = {}, read;
  memset(&read, 0xa5, sizeof read);
  config.enable = input.Below(4) - 1;
  input.Text(32).copy(config.user, sizeof config.user);
  input.Text(32).copy(config.password, sizeof config.password);
  const int32_t way = input.Below(4);
  const bool valid = config.enable == 0 || config.enable == 1;
  if (way != 3) systemEnable.Put("1\n");
  chap.Put(input.Rest());
  if (way == 1) Expect(NetSetPPPoEConfig(&config) == (valid ? 0 : -1), "an account is written");
  const int32_t result = NetGetPPPoEConfig(&read);
  Expect(way != 3 || result == -1, "without the system's file the account is none");
  if (way != 1 || !valid) return;
  const std::string content = chap.Content();
  Expect(content == pap.Content() && Count(content, "\n") == 1, "one line of secrets");
  Expect(result == 0 && read.enable == 1, "an account that is written is read");
  Expect(LineOf(read.user) == LineOf(config.user), "the user that is written is read");
  Expect(LineOf(read.password) == LineOf(config.password), "the password that is written is read");
}

void TryDdns(Input &input) {
  DdnsConfig config = {}, read;
  memset(&read, 0xa5, sizeof read);
  config.enable = input.Below(2);
  const std::string host = "1" + input.Word(12), server = "2" + input.Word(12);
  host.copy(config.host, sizeof config.host);
  server.copy(config.server, sizeof config.server);
  const bool writes = input.Below(2) == 1;
  ddns.Put(writes ? "" : input.Rest());
  if (writes) NetWorkSetDdns(&config);
  const int32_t result = NetWorkGetDdns(&read);
  Expect(result != 0 || (IsPadded(read.host) && IsPadded(read.server)), "texts are terminated");
  Expect(result != 0 || read.enable == 0 || read.enable == 1, "on or off");
  // A text that holds a key's would be found where that key is looked for.
  const std::string both = host + server;
  if (!writes || both.find("en") != both.npos || both.find("na") != both.npos) return;
  Expect(result == 0 && read.host == host && read.server == server && read.enable == config.enable,
         "an account that is written is read");
}

// Nothing but an address gets into the shell.
void TryDialRoute(Input &input) {
  shell = {input.Below(2) - 1, ""};
  dial.Put(input.Rest());
  std::vector<char> address(32, 'x');
  const int32_t result = NetWorkSetDialRoute(address.data());
  Expect(IsTerminated(address), "the address is terminated");
  if (shell.command.empty()) return Expect(result == -1, "what is no address is refused");
  const std::string text = address.data();
  Expect(shell.command == "route add default gw " + text, "the command");
  Expect(result == shell.answer && text.size() <= 15, "the address is set");
  Expect(text.find_first_not_of("0123456789.") == text.npos && Count(text, ".") == 3,
         "four numbers");
}

}  // namespace

void Try(Input &input) {
  constexpr void (*kWays[])(Input &) = {TryNameServers, TryPppoe, TryDdns, TryDialRoute};
  kWays[input.Below(std::size(kWays))](input);
}

}  // namespace fuzz

extern "C" int __wrap_system(const char *command) {
  fuzz::shell.command = command;
  return fuzz::shell.answer;
}
