// What the ports make of the events and commands of front panels: every code in every group that
// a panel uses, on boards of every kind.
#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <map>

#include "libsys/frontboard.h"
#include "libsys/uart.h"
#include "tests/support/serial_test.h"

namespace {

using Strings = std::vector<std::string>;

constexpr uint8_t kState = 0x5a;

struct Expectation {
  Strings boards;
  std::map<std::string, std::string> any, remote, pairs, back;
  bool commands = false;
};

std::vector<Expectation> ReadExpectations() {
  std::ifstream file(SOURCE_FOLDER "/tests/data/translation.txt");
  std::vector<Expectation> found;
  for (std::string line; std::getline(file, line);) {
    Strings words = test::Words(line);
    if (words.empty() || words[0] == "#") continue;
    if (words[0] == "boards") {
      found.emplace_back().boards.assign(words.begin() + 1, words.end());
      continue;
    }
    Expectation &row = found.back();
    row.commands |= words[0] == "commands";
    auto &map = words[0] == "any"      ? row.any
                : words[0] == "remote" ? row.remote
                : words[0] == "back"   ? row.back
                                       : row.pairs;
    for (size_t i = 1; i < words.size(); ++i) {
      map[words[i].substr(0, words[i].find('='))] = words[i].substr(words[i].find('=') + 1);
    }
  }
  return found;
}

std::string Hex(std::initializer_list<unsigned> bytes) {
  return test::Hex(std::vector<uint8_t>(bytes.begin(), bytes.end()));
}

// What comes after byte 0 of an event of this group and code.
std::string Expected(const Expectation &row, unsigned group, unsigned code) {
  const std::string pair = Hex({group, code});
  for (const auto *map : {&row.pairs, &row.back}) {
    if (const auto found = map->find(pair); found != map->end()) {
      return found->second + Hex({kState});
    }
  }
  const auto &codes = group == 1 && !row.remote.empty() ? row.remote : row.any;
  const auto found = codes.find(Hex({code}));
  if (found == codes.end()) return pair + Hex({kState});
  const bool whole = found->second.size() > 2;
  return whole ? found->second : Hex({group}) + found->second + Hex({kState});
}

// The commands that are tried: all of the group DD, and some beside the rules.
constexpr uint8_t kCommands[][3] = {{0xcc, 0x0d, 0x06}, {0xcc, 0x0d, 0x07}, {0xcc, 0x0e, 0x06},
                                    {0xcd, 0x0d, 0x06}, {0xdc, 0x09, 0x01}, {0x0d, 0x09, 0x06}};

std::string ExpectedCommand(const Expectation &row, unsigned group, unsigned code, unsigned value) {
  static const std::map<unsigned, unsigned> kGroups = {
      {0x09, 0x0d}, {0x0a, 0x11}, {0x0b, 0x10}, {0x0c, 0x12}, {0x0d, 0x23}};
  if (row.commands && group == 0xdd && kGroups.contains(code)) {
    return Hex({0xff, kGroups.at(code), value, value});
  }
  if (row.commands && group == 0xcc && code == 0x0d && value == 6) return "ff0a0000";
  return Hex({0xff, group, code, value});
}

// On the board: prints what each event becomes, a group at a time.
void ReadEvents(const std::vector<unsigned> &groups) {
  const int wire = open(vboard::RootPath("/dev/ttyAMA2").c_str(), O_RDWR | O_CLOEXEC);
  for (const unsigned group : groups) {
    std::string events;
    for (unsigned code = 0; code < 256; ++code) {
      for (const unsigned byte : {0xffU, group, code, unsigned{kState}}) {
        events += static_cast<char>(byte);
      }
    }
    if (write(wire, events.data(), events.size()) < 0) return;
    for (unsigned code = 0; code < 256; ++code) {
      uint8_t event[4] = {};
      if (UartDeviceRead(2, event, 4) != 4 || event[0] != 0xff) return;
      printf("%02x%02x%02x\n", event[1], event[2], event[3]);
    }
  }
  close(wire);
}

void WriteCommand(uint8_t group, uint8_t code, uint8_t value) {
  const uint8_t command[] = {0xff, group, code, value};
  uint8_t buffer[] = {0xff, group, code, value};
  if (UartDeviceWrite(2, buffer, 4) != 4 || memcmp(buffer, command, 4) != 0) puts("changed");
}

class TranslationTest : public test::SerialTest {
 protected:
  // The bytes that went to the front board since the last call.
  Strings Sent() {
    constexpr std::string_view kSent = "uart2: sent ";
    Strings sent;
    for (const std::string &event : Wires()) {
      if (!event.starts_with(kSent)) continue;
      std::string bytes = event.substr(kSent.size(), event.find(" (") - kSent.size());
      std::erase(bytes, ' ');
      sent.push_back(bytes);
    }
    return sent;
  }

  // Runs the function on the board PRODUCT/OEM/VARIANT-A.
  static std::string On(const std::string &board, const std::function<void()> &function) {
    int product = 0;
    int variant = 0;
    unsigned oem = 0;
    if (sscanf(board.c_str(), "%d/%u/%d", &product, &oem, &variant) != 3) return "no board";
    return OnBoard(test::IdentifierOf(std::to_string(product), product <= 4), oem, [&] {
      if (DvrGetProductType() != product) printf("product %d\n", DvrGetProductType());
      FrontboardVariantA = variant;
      UartDeviceCreate(2);
      function();
    });
  }
};

TEST_F(TranslationTest, EventsOfEveryGroupAndCode) {
  std::vector<unsigned> groups = {0x00, 0x01, 0x02, 0x03, 0x09, 0xdd};
  for (unsigned group = 0x10; group < 0x20; ++group) groups.push_back(group);
  for (const Expectation &row : ReadExpectations()) {
    std::string expected;
    for (const unsigned group : groups) {
      for (unsigned code = 0; code < 256; ++code) expected += Expected(row, group, code) + "\n";
    }
    const Strings back(row.back.size(), Hex({0xff, 0x09, 0x00, kState}));
    for (const std::string &board : row.boards) {
      SCOPED_TRACE(board);
      EXPECT_EQ(expected, On(board, [&] { ReadEvents(groups); }));
      EXPECT_EQ(back, Sent());
    }
  }
}

TEST_F(TranslationTest, CommandsOfEveryCode) {
  for (const Expectation &row : ReadExpectations()) {
    Strings expected;
    for (unsigned code = 0; code < 256; ++code) {
      expected.push_back(ExpectedCommand(row, 0xdd, code, 0x06));
    }
    for (const auto &[group, code, value] : kCommands) {
      expected.push_back(ExpectedCommand(row, group, code, value));
    }
    for (const std::string &board : row.boards) {
      SCOPED_TRACE(board);
      EXPECT_EQ("", On(board, [&] {
                  for (unsigned code = 0; code < 256; ++code) {
                    WriteCommand(0xdd, static_cast<uint8_t>(code), 0x06);
                  }
                  for (const auto &[group, code, value] : kCommands) {
                    WriteCommand(group, code, value);
                  }
                }));
      EXPECT_EQ(expected, Sent());
    }
  }
}

TEST_F(TranslationTest, OnlyTheFirstFourBytesAreTranslated) {
  const std::string printed = On("40/0/0", [] {
    vboard::Act("frontboard send ff1ffdff1ffd005aff1ffd00fd");
    for (const uint32_t length : {3U, 3U, 2U, 5U}) {
      uint8_t bytes[6] = {0, 0, 0, 0, 0, 0xa5};
      printf("%d:", UartDeviceRead(2, bytes, length));
      for (const uint8_t byte : bytes) printf(" %02x", byte);
      puts("");
    }
    UartDeviceWrite(2, "\xff\xdd\x09", 3);
    UartDeviceWrite(2, "\xff\xdd\x09\x07\xdd\x09", 6);
    UartDeviceWriteOnce(2, "\xff\xdd\x09\x07", 4);
  });
  EXPECT_EQ(
      "3: ff 1f fd 00 00 a5\n3: ff 1f fd 00 00 a5\n2: 00 5a 00 00 00 a5\n"
      "5: ff 1f fe 00 fd a5\n",
      printed);
  EXPECT_EQ((Strings{"ffdd09", "ff0d0707dd09", "ffdd0907"}), Sent());
}

TEST_F(TranslationTest, ATranslatedCommandGoesOutInOnePiece) {
  const std::string command = "\xff\xdd\x09\x07" + std::string(1000, 'x');
  const std::pair<const char *, std::string> rows[] = {
      {"13/11/0", "WritePosition  :6 \nWritePosition  :256 \nWritePosition  :1004 \n"},
      {"13/0/0", "WritePosition  :6 \nWritePosition  :1004 \n"}};
  for (const auto &[board, positions] : rows) {
    EXPECT_EQ(positions + "WritePosition  :1000 \n", On(board, [&] {
                UartDeviceCreate(0);
                UartDeviceOpen(0);
                UartDeviceWrite(0, command.data(), 6);
                UartDeviceWrite(0, command.data(), 1004);
                UartDeviceWrite(0, command.data() + 4, 1000);  // no command
              }));
  }
}

}  // namespace
