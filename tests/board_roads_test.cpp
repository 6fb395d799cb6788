// What depends on the board in the system services: whether it uses a watchdog, where its buzzer
// and its fan are, how it reboots, what its application's end is.
#include <pthread.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <set>
#include <sstream>

#include "libsys/frontboard.h"
#include "libsys/system.h"
#include "libsys/uart.h"
#include "libsys/watchdog.h"
#include "tests/support/identity_test.h"

namespace {

class BoardRoadsTest : public test::IdentityTest {
 protected:
  // What comes behind the first of these beginnings that an event of the operation has, without
  // the beginning.
  std::string Seen(const std::function<void()> &operation,
                   const std::vector<std::pair<std::string, std::string>> &beginnings) {
    Events();
    operation();
    const std::vector<std::string> events = Events();
    for (const auto &[beginning, meaning] : beginnings) {
      for (const std::string &event : events) {
        if (event.starts_with(beginning)) return meaning;
      }
    }
    return "nothing";
  }

  std::string Watchdog() {
    return Seen([] { WatchdogStart(); }, {{"watchdog: running", "yes"}}) == "yes" ? "yes" : "no";
  }

  // The line that is switched on, and for how long without being asked to.
  std::string Buzzer() {
    Events();
    SystemBeep(0, 0);
    const std::vector<std::string> events = Events();
    const bool fixed = std::ranges::count(events, "sleep: 1 s") == 1;
    for (const std::string &event : events) {
      const size_t end = event.find(" = 1");
      if (event.starts_with("gpio: ") && end != std::string::npos) {
        return event.substr(6, end - 6) + (fixed ? "/1s" : "");
      }
      if (event.starts_with("uart1: sent ff 5a 04")) return "microcontroller";
    }
    return "nowhere";
  }

  // Both operations have to know of it.
  std::string Fan() {
    const std::string fan =
        Seen([] { SystemFanControl(3); },
             {{"gpio: 0,6", "0,6"}, {"uart1: sent ff 5a 05", "microcontroller"}});
    return (SystemHasFan() != 0) == (fan != "nothing") ? fan : "unknown";
  }

  std::string Reboot() {
    return Seen([] { SystemReboot(); }, {{"watchdog: restart requested", "watchdog"},
                                         {"register: 0x20040c00", "registers"},
                                         {"uart2: sent ff 05 00 00", "panel"},
                                         {"uart2: sent aa 01 00 00", "alarm-board"},
                                         {"gpio: ", "LED"}});
  }

  // The exit path ends the process once a scanner has answered; SystemShutdown comes back.
  static void PrintExit() {
    pthread_t scanner;
    pthread_create(&scanner, nullptr, FrontScanProc, nullptr);
    atexit([] {
      const double begin = vboard::BoardTime();
      FrontboardStop();  // at once, where the scanner has stopped
      fputs(vboard::BoardTime() - begin < 1e-6 ? "hands-back" : "scans-on", stdout);
    });
    ApplicationExit();
    fputs("shuts-down", stdout);
    fflush(stdout);
    _exit(0);
  }
};

TEST_F(BoardRoadsTest, EveryBoardTakesItsOwn) {
  for (test::Row &row : test::Table("board_roads.txt", "roads")) {
    SCOPED_TRACE("generation " + row["generation"] + ", product type " + row["type"] + ", field " +
                 row["field-42"] + ", OEM " + row["OEM"] + ", A " + row["A"] + ", B " + row["B"]);
    UseBoard("summary = \"a board of any identity\"\n");
    const auto run = [&] {
      ReadIdentity(test::IdentifierOf(row["type"], row["generation"] == "1") |
                       std::stoull(row["field-42"]) << 42,
                   test::Numbers(row["OEM"])[0]);
      FrontboardVariantA = std::stoi(row["A"]);
      FrontboardVariantB = std::stoi(row["B"]);
      UartDeviceOpen(2);
      const std::string watchdog = Watchdog(), buzzer = Buzzer(), fan = Fan(), reboot = Reboot();
      printf("\n%d %s %s %s %s ", DvrGetProductType(), watchdog.c_str(), buzzer.c_str(),
             fan.c_str(), reboot.c_str());
      PrintExit();
      return 0;
    };
    const std::string printed = test::InChild(run, {"/dev/hi_gpio", "/dev/ttyAMA2"}).printed;
    EXPECT_THAT(printed,
                testing::HasSubstr("\n" + row["type"] + " " + row["watchdog"] + " " +
                                   row["buzzer"] + " " + row["fan"] + " " + row["reboot"] + " "));
    EXPECT_THAT(printed, testing::EndsWith(row["exit"]));
    std::string end;
    for (const std::string &event : Events()) {
      if (event == "watchdog: stopped" || event == "sync" || event.ends_with("Config3")) {
        end += event + ";";
      }
    }
    EXPECT_EQ(row["exit"] == "hands-back"
                  ? "watchdog: stopped;missing: /opt/sav/Config/Config3;sync;"
                  : "",
              end);
  }
}

// What a new product type needs beside its identifier.
TEST(ExpectationsTest, EveryProductTypeHasItsRows) {
  const auto types = [](const char *file, const char *table) {
    std::set<std::string> found;
    for (test::Row &row : test::Table(file, table)) found.insert(row["type"]);
    return found;
  };
  const auto roads = types("board_roads.txt", "roads");
  const auto flash = types("identity.txt", "flash and boot variables");
  std::set<std::string> all = types("identity.txt", "first generation");
  for (const test::Row &row : test::Table("identity.txt", "second generation")) {
    for (const auto &[heading, cell] : row) {
      if (heading == "product" || heading == "sub-type" || cell == "-1") continue;
      std::istringstream cells(cell);
      for (std::string type; std::getline(cells, type, '/');) all.insert(type);
    }
  }
  for (const std::string &type : all) {
    EXPECT_TRUE(roads.contains(type)) << "board_roads.txt: no row of product type " << type;
    EXPECT_TRUE(flash.contains(type)) << "identity.txt: no flash of product type " << type;
  }
}

}  // namespace
