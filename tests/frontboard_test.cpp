// The front panel's operations: which panel a board has, its keys, remote control and LEDs.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <map>

#include "libsys/uart.h"
#include "tests/support/panel_test.h"
#include "tests/support/table.h"

namespace {

using test::Event;
using test::Finding;
using test::Hex;
using test::ReadKey;

class FrontboardTest : public test::PanelTest {};

void SetVariants(int32_t value) {
  FrontboardVariantA = FrontboardVariantB = FrontboardVariantC = value;
}

// A port that is none makes everything fail that uses the front board's port.
TEST_F(FrontboardTest, EveryBoardHasItsPanel) {
  UseBoard("summary = \"a board of any identity\"\n");
  const auto lines = Lines("front_choice.txt");
  EXPECT_EQ(24U, lines.size());
  for (const std::string &line : lines) {
    SCOPED_TRACE(line);
    int product = 0, variants = 0;
    ASSERT_EQ(2, sscanf(line.c_str(), "%d %d", &product, &variants));
    const uint64_t identifier = test::IdentifierOf(std::to_string(product), product <= 7);
    const Finding finding = FindOn(identifier, 0, [&] {
      SetVariants(variants);
      UartFrontboardIndex = 9;
      std::string read, write, init, exit;
      for (uint32_t oem = 0; oem <= 20; ++oem) {
        test::WriteIdentity(identifier, oem);
        DvrReadBootParameters();
        Event event = {0xff, 0xdd, 0x09, 0};
        read += FrontboardRead(event.data(), 3) < 0 ? '.' : '+';
        write += FrontboardWrite(event.data(), 3) < 0 ? '.' : '+';
        init += FrontboardInit() < 0 ? '.' : '+';
        exit += FrontboardExit() < 0 ? '.' : '+';
      }
      return read + " " + write + " " + init + " " + exit;
    });
    EXPECT_EQ(line.substr(line.find_first_of("+.")), finding.result);
  }
}

// Events of the keys that the first scan reports, then of each key pressed and released.
std::string EveryKey(int subType) {
  if (subType != 0) FrontboardSubType = subType;
  test::Thread scanner(FrontScanProc);
  std::string events;
  vboard::Act("ir send 0 7");  // comes after the first scan
  for (std::string event = ReadKey(); !event.ends_with("07"); event = ReadKey()) {
    events += event + " ";
  }
  for (int key = 0; key < 25; ++key) {
    vboard::Act("key press " + std::to_string(key));
    events += ReadKey() + " ";
    vboard::Act("key release " + std::to_string(key));
    events += ReadKey() + " ";
  }
  FrontboardStop();
  return events + scanner.Join();
}

std::string ExpectedEvents(const std::vector<std::string> &keys) {
  std::string atFirst, later;
  for (const std::string &key : keys) {
    const std::string event = "ff" + (key.starts_with("--") ? "ffff" : key.substr(0, 4));
    if (key.ends_with('?')) atFirst += event + "00 ";
    later += event + "01 " + event + "00 ";
  }
  return atFirst + later + "expect\n";
}

TEST_F(FrontboardTest, EveryKeyOfEveryMatrix) {
  auto tables = Tables("front_keys.txt");
  ASSERT_EQ(16U, tables.size());
  const std::map<std::string, std::vector<std::string>> keys(tables.begin(), tables.end());
  struct Row {
    std::string panel;
    int subType;  // 0: as the board's file says
    std::string keys;
    std::string more;
  };
  std::vector<Row> rows = {{"oem9-8-channels", 2, "oem9-2", ""},
                           {"oem9-8-channels", 3, "oem9-3", ""},
                           {"oem9-8-channels", 4, "oem9-3", ""},
                           // The product's pins too.
                           {"product30", 0, "product30", "identity.oem = 0x8\n"}};
  for (const auto &[panel, unused] : tables) rows.push_back({panel, 0, panel, ""});
  for (const Row &row : rows) {
    SCOPED_TRACE(row.panel + " " + std::to_string(row.subType) + row.more);
    ASSERT_EQ(25U, keys.at(row.keys).size());
    UsePanel(row.panel, row.more);
    const Finding finding = Find([&] { return EveryKey(row.subType); });
    EXPECT_EQ(ExpectedEvents(keys.at(row.keys)), finding.result);
    // Only this panel shows its keys on the console.
    EXPECT_EQ(row.panel == "product30",
              finding.printed.find("..........255 26 239.........\n") != std::string::npos);
  }
}

TEST_F(FrontboardTest, PanelOfUnknownSubType) {
  struct {
    const char *panel;
    int subType;
    const char *printed;
  } const rows[] = {
      {"oem9-1", 0, "xka frondboard type error!!#\n"},
      {"oem9-1", 5, "xka frondboard type error!!#\n"},
      {"oem9-8-channels", 0, "xka frondboard type error!!@\n"},
      {"oem9-8-channels", 5, "xka frondboard type error!!@\n"},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.printed);
    UsePanel(row.panel);
    const Finding finding = Find([&] {
      FrontboardSubType = row.subType;
      test::Thread scanner(FrontScanProc);
      vboard::Act("ir send 12 7");  // comes after the first scan, which reports no key
      std::string events = ReadKey();
      for (const char *change : {"key press 3", "key release 3"}) {
        vboard::Act(change);
        events += " " + ReadKey({0xaa, 0xbb, 0xcc, 0xdd});
      }
      FrontboardStop();
      return events + " " + scanner.Join();
    });
    EXPECT_EQ("ff1afe07 aabbcc01 aabbcc00 expect\n", finding.result);
    EXPECT_EQ(std::string("hiir read(7 , c)......OK\n") + row.printed + row.printed,
              finding.printed);
  }
}

// Codes that are keys of the panel.
const std::map<std::string, std::map<int, std::string>> kPanelKeys = {
    {"oem4", {{10, "1ffd"}, {12, "1afe"}, {16, "1eef"}, {19, "1ffb"}, {22, "1ebf"}, {23, "1ff7"}}},
    {"oem6", {{15, "1afe"}}},
    {"oem9", {{12, "1afe"}}},
    {"oem11", {{12, "1afe"}}},
    {"oem15", {{192, "1afe"}}},
};

std::string ExpectedCode(const std::string &panel, int rawCode, const std::string &translated) {
  const auto keys = kPanelKeys.find(panel);
  if (keys != kPanelKeys.end() && keys->second.contains(rawCode)) {
    return "ff" + keys->second.at(rawCode);
  }
  return "ff01" + translated;
}

TEST_F(FrontboardTest, EveryCodeOfEveryRemoteControl) {
  std::map<std::string, std::vector<std::string>> codes;
  for (const auto &[panel, words] : Tables("front_infrared.txt")) {
    codes[panel].assign(256, "00");
    size_t code = 0;
    for (const std::string &word : words) {
      if (word.ends_with(':')) {
        code = std::stoul(word, nullptr, 16);
      } else if (word != "--") {
        codes[panel].at(code++) = word;
      } else {
        ++code;
      }
    }
  }
  ASSERT_EQ(4U, codes.size());
  codes["oem13"].assign(256, "00");  // it has none and passes none on
  for (const char *panel : {"oem2", "oem4", "oem6", "oem8", "oem9-1", "oem9-8-channels", "oem11",
                            "oem13", "oem14", "oem14-model92", "oem15", "oem20", "product30"}) {
    SCOPED_TRACE(panel);
    const std::string name = std::string(panel).substr(0, std::string(panel).find('-'));
    std::string expected;
    for (int code = 0; code < 256; ++code) {
      const std::string raw = Hex(std::array{static_cast<uint8_t>(code)});
      const auto table = codes.find(name);
      const std::string &translated = table != codes.end() ? table->second.at(code) : raw;
      expected += ExpectedCode(name, code, translated) + "07 ";
    }
    UsePanel(panel);
    const Finding finding = Find([] {
      FrontboardInit();
      test::Thread scanner(FrontScanProc);
      std::string events;
      for (int code = 0; code < 256; ++code) {
        vboard::Act("ir send " + std::to_string(code) + " 7");
        std::string event;
        while (!event.ends_with("07")) event = ReadKey();  // the first scan comes before
        events += event + " ";
      }
      FrontboardStop();
      scanner.Join();
      return events;
    });
    EXPECT_EQ(expected, finding.result);
    EXPECT_THAT(finding.printed, testing::HasSubstr("hiir read(7 , ff)......OK\n"));
  }
}

using Levels = std::array<uint32_t, 64>;

Levels ReadLevels(int gpio) {
  Levels levels = {};
  for (uint32_t line = 0; line < levels.size(); ++line) {
    uint32_t record[3] = {line / 8, line % 8, 0};
    ioctl(gpio, 3, record);
    levels[line] = record[2];
  }
  return levels;
}

// What a command with the values 1, 0, 1, 2 does: "1,6:1011:4;", the levels that the line took
// and the result; empty when nothing happened and the result was 0.
std::string Effect(int gpio, Event command, int32_t length) {
  std::map<uint32_t, std::string> changed;
  int32_t result = 0;
  Levels before = ReadLevels(gpio);
  std::vector<Levels> after;
  for (const uint8_t value : std::to_array<uint8_t>({1, 0, 1, 2})) {
    command[3] = value;
    result = FrontboardWrite(command.data(), length);
    after.push_back(ReadLevels(gpio));
  }
  std::string text;
  for (uint32_t line = 0; line < before.size(); ++line) {
    std::string levels;
    for (const Levels &each : after) levels += std::to_string(each[line]);
    if (levels == std::string(4, static_cast<char>('0' + before[line]))) continue;
    text += std::to_string(line / 8) + "," + std::to_string(line % 8) + ":" + levels + ":";
  }
  return text.empty() && result == 0 ? "" : text + std::to_string(result) + ";";
}

std::string EveryLed() {
  const int gpio = open("/dev/hi_gpio", O_RDWR | O_CLOEXEC);
  std::string text;
  for (int code = 0; code < 256; ++code) {
    const Event command = {0xff, 0xdd, static_cast<uint8_t>(code), 0};
    const std::string effect = Effect(gpio, command, 4);
    if (!effect.empty()) text += Hex(std::array{command[2]}) + ":" + effect;
    if (code < 0x08 || code > 0x0f) continue;
    text += Effect(gpio, command, 3) + Effect(gpio, command, 5);
    text += Effect(gpio, {0xfe, 0xdd, command[2], 0}, 4);
    text += Effect(gpio, {0xff, 0xdc, command[2], 0}, 4);
  }
  if (FrontboardWrite(nullptr, 4) != 0) text += "null";
  close(gpio);
  return text;
}

TEST_F(FrontboardTest, EveryLedOfEveryPanel) {
  for (test::Row &row : test::Table("front_board.txt", "LEDs")) {
    SCOPED_TRACE(row["panel"] + ": " + row["effects"]);
    const int model = std::stoi(row["model"]), variantD = std::stoi(row["variant-D"]);
    UsePanel(row["panel"]);
    const Finding finding = Find([&] {
      DvrBoardByte = static_cast<uint8_t>(std::stoi(row["board-byte"]));
      if (model >= 0) FrontboardPanelModel = model;
      if (variantD >= 0) FrontboardVariantD = variantD;
      return EveryLed();
    });
    EXPECT_EQ(row["effects"] + ";", finding.result);
  }
}

TEST_F(FrontboardTest, FrontBoardsEventsBecomeTheCommonOnes) {
  UseBoard("summary = \"a board of any identity\"\n");
  for (test::Row &row : test::Table("front_board.txt", "events")) {
    SCOPED_TRACE(row["events"]);
    const uint64_t identifier = test::IdentifierOf(row["type"], row["generation"] == "1") |
                                test::First({.alarmInputs = std::stoul(row["inputs"])});
    const Finding finding = FindOn(identifier, test::Numbers(row["OEM"])[0], [&] {
      SetVariants(std::stoi(row["variants"]));
      DvrBoardByte = static_cast<uint8_t>(std::stoi(row["board-byte"]));
      FrontboardInit();
      std::string found;
      std::istringstream events(row["events"]);
      for (std::string event; std::getline(events, event, ',');) {
        const std::string sent = event.substr(0, 8);
        vboard::Act("frontboard send " + sent);
        Events();
        found += (found.empty() ? "" : ",") + sent + ":" + ReadKey();
        for (const std::string &answer : Events()) {
          found += answer == "uart2: sent ff 09 00 " + sent.substr(6) ? "*" : " " + answer;
        }
      }
      return found;
    });
    EXPECT_EQ(row["events"], finding.result);
  }
}

TEST_F(FrontboardTest, ShortBuffersStayBounded) {
  UseBoard(test::SmallBoard(4, 0));
  FrontboardInit();
  vboard::Act("frontboard send ff1afe01ff1bfe00");
  Event event = {1, 2, 3, 4};
  EXPECT_EQ(2, FrontboardRead(event.data(), 2));
  EXPECT_EQ("ff1a0304", Hex(event));
  EXPECT_EQ(2, FrontboardRead(event.data() + 2, 2));
  EXPECT_EQ("ff1afe01", Hex(event));
  std::array<uint8_t, 5> longer = {};
  EXPECT_EQ(4, FrontboardRead(longer.data(), 5));
  EXPECT_EQ("ff1bfe0000", Hex(longer));
  EXPECT_EQ(-1, FrontboardRead(event.data(), -1));
  EXPECT_EQ(0, FrontKeyQueueGet(event.data(), 3));
  Events();
  EXPECT_EQ(4, FrontboardWrite(longer.data(), 5));
  EXPECT_THAT(Events(), testing::ElementsAre("uart2: sent ff 1b fe 00"));
}

TEST_F(FrontboardTest, StartAndEndOfTheFrontBoardsPort) {
  const std::string open = "uart2: 9600 baud, 8 data bits, no parity, 1 stop bit";
  const std::string line = "LIBDVR : Frontboard use ttyAMA2 Uart/frontboard.c1774\n";
  UseBoard("summary = \"a board of any identity\"\n");
  for (test::Row &row : test::Table("front_board.txt", "start")) {
    SCOPED_TRACE("product type " + row["type"] + ", OEM " + row["OEM"] + ", " + row["variants"]);
    const uint64_t identifier = test::IdentifierOf(row["type"], row["generation"] == "1");
    const Finding finding = FindOn(identifier, test::Numbers(row["OEM"])[0], [&] {
      SetVariants(std::stoi(row["variants"]));
      Events();
      const bool isDone = FrontboardInit() == 0 && FrontboardExit() == 0;
      const auto events = Events();
      const bool opened = std::find(events.begin(), events.end(), open) != events.end();
      Event event = {};
      // After the end the port is closed.
      const bool closed = !opened || UartDeviceWrite(2, event.data(), 4) < 0;
      return std::string(isDone ? "done" : "failed") + (opened ? " opened" : "") +
             (closed ? " closed" : "");
    });
    EXPECT_EQ(row["opens"] == "yes" ? "done opened closed" : "done closed", finding.result);
    EXPECT_EQ(row["says-so"] == "yes", finding.printed.starts_with(line));
    EXPECT_EQ(row["says-so"] == "yes", finding.printed.find("use ttyAMA") != std::string::npos);
  }
}

// No port is open: the message of each attempt names the port that was chosen.
TEST_F(FrontboardTest, AttributesGoToTheFrontBoardsPort) {
  const auto failed = [](int port) {
    return "LIBDVR : FILE -> Uart/uart.c, LINE -> 883: UartSetAttribute failed, Index  = " +
           std::to_string(port) + ", fd = -1\n";
  };
  struct {
    uint64_t identifier;
    int32_t onUart;
    uint8_t xapp;
    std::string printed, result;
  } const rows[] = {
      {0x4, 1, 0, "200000000000000\n" + failed(3), "-1"},
      {0x4, 1, 2, "", "0"},
      {0x4, 0, 2, "800000000000000\n" + failed(0), "-1"},
      {0x1000000000000108, 0, 0, "300000000000000\n" + failed(2) + "800000000000000\n" + failed(0),
       "-1"},
  };
  EXPECT_EQ((std::array<int, 3>{1, 0, 0}),
            (std::array<int, 3>{UartFrontboardOnUart, UartXuartSetting, UartXappSetting}));
  UseBoard("summary = \"a board of any identity\"\n");
  for (const auto &row : rows) {
    SCOPED_TRACE(row.printed);
    const Finding finding = FindOn(row.identifier, 0, [&] {
      UartFrontboardOnUart = row.onUart;
      UartXappSetting = row.xapp;
      const UartAttribute attribute = {9600, 8, 0, 0};
      return std::to_string(FrontboardSetAttribute(&attribute));
    });
    EXPECT_EQ(row.result, finding.result);
    EXPECT_EQ(row.printed, finding.printed);
  }
  EXPECT_THAT(Events(), testing::Contains("sleep: 1 s"));
}

}  // namespace
