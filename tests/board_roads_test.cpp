// What depends on the board in the system services: whether it has a watchdog, where its buzzer
// is, how it reboots, what its application's end is. Every kind of board, by its product type, its
// chip/board type, its OEM type and its wiring, against the rules as its makers state them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "libsys/frontboard.h"
#include "libsys/system.h"
#include "libsys/watchdog.h"
#include "tests/support/identity_test.h"

namespace {

using std::set;

struct Board {
  uint64_t identifier;
  int32_t oem, variantA, variantB;
};

// What the rules go by.
struct Facts {
  int32_t product, type, oem, raw, field42, variantA, variantB;
};

bool UsesWatchdog(const Facts &b) {
  if (b.raw == 1) return false;
  return set{2, 4, 8, 13, 14, 15, 20}.contains(b.oem) || (b.type == 2 && b.oem == 9) ||
         (b.oem == 6 && b.variantA == 1) || set{27, 28, 29, 30, 31}.contains(b.product) ||
         (b.product == 32 && b.oem != 6);
}

bool RebootsThroughWatchdog(const Facts &b) {
  return set{2, 4, 14, 20}.contains(b.oem) ||
         (b.oem == 15 && set{2, 3, 30, 31}.contains(b.product)) ||
         (b.oem == 8 && b.variantB == 0) || (b.type == 2 && b.oem == 9) ||
         (b.oem == 6 && b.variantA == 1) || set{27, 28, 29, 30, 31}.contains(b.product) ||
         (b.product == 32 && b.oem != 6);
}

bool HandsBack(const Facts &b) {
  return b.type == 2 && (set{4, 9, 14}.contains(b.oem) || (b.oem == 15 && b.product != 4) ||
                         (b.oem == 6 && b.variantA == 1));
}

std::string BuzzerLine(const Facts &b) {
  const std::map<int32_t, std::string> byProduct = {
      {27, "0,5"}, {28, "0,5"}, {29, "0,4"}, {30, "0,5"}, {31, "0,5"}, {32, "0,5"}, {40, "3,3"},
      {41, "3,3"}, {42, "3,3"}, {43, "3,3"}, {45, "3,3"}, {46, "3,3"}, {47, "3,3"}, {49, "6,3"}};
  if (byProduct.contains(b.product)) return byProduct.at(b.product);
  if (b.type == 0) return "the microcontroller";
  if (b.oem == 2) return "5,5";
  if (set{6, 11, 14, 15, 20}.contains(b.oem)) return "0,5";
  if (b.type == 2 && b.oem == 9) return "0,7";
  if (b.oem == 8) return b.product == 4 ? "0,5" : "5,0";
  if (b.field42 == 1) return "1,7";
  if (b.product != 4) return "5,5";
  return b.oem == 4 ? "0,6" : "0,5";
}

class BoardRoadsTest : public test::IdentityTest {
 protected:
  void SetUp() override {
    UseBoard("summary = \"a board of any identity\"\nspeed = 100000\n");
    vboard::PowerOn();
  }

  bool Happened(const std::string &what) {
    for (const std::string &event : Events()) {
      if (event.find(what) != std::string::npos) return true;
    }
    return false;
  }

  // The GPIO line that the buzzer's switching shows.
  std::string Buzzer() {
    Events();
    SystemBeep(0, 0);
    for (const std::string &event : Events()) {
      const size_t end = event.find(" = 1");
      if (event.starts_with("gpio: ") && end != std::string::npos) return event.substr(6, end - 6);
      if (event.starts_with("uart1: ")) return "the microcontroller";
    }
    return "nowhere";
  }

  // Prints what is not as it should be.
  void Check(const Board &board) {
    ReadIdentity(board.identifier, static_cast<uint32_t>(board.oem));
    FrontboardVariantA = board.variantA;
    FrontboardVariantB = board.variantB;
    const Facts facts = {DvrGetProductType(),
                         DvrGetBoardType(),
                         board.oem,
                         DvrGetHwidInformation(PRODUCT_TYPE),
                         DvrGetHwidInformation(HWID_FIELD_42),
                         board.variantA,
                         board.variantB};
    Events();
    EXPECT_EQ(0, WatchdogStart());
    EXPECT_EQ(UsesWatchdog(facts), Happened("watchdog: running"));
    EXPECT_EQ(0, WatchdogStop());
    EXPECT_EQ(BuzzerLine(facts), Buzzer());
    const bool restarts = RebootsThroughWatchdog(facts) && UsesWatchdog(facts);
    const int32_t rebooted = SystemReboot();
    EXPECT_EQ(restarts, Happened("watchdog: restart requested"));
    if (!RebootsThroughWatchdog(facts) && facts.raw != 1) {
      EXPECT_EQ(facts.raw, rebooted);
    }
    WatchdogStop();
    CheckExit(facts);
  }

  // The exit path ends the process once a scanner has answered; SystemShutdown comes back.
  void CheckExit(const Facts &facts) {
    pthread_t scanner;
    ASSERT_EQ(0, pthread_create(&scanner, nullptr, FrontScanProc, nullptr));
    expected_ = HandsBack(facts) ? "handed back" : "shut down";
    atexit([] { Report("handed back"); });
    ApplicationExit();
    Report("shut down");
  }

  static void Report(const char *what) {
    if (!testing::Test::HasFailure() && expected_ == what) _exit(0);
    fprintf(stderr, "%s instead of %s\n", what, expected_.c_str());
    _exit(1);
  }

  static inline std::string expected_;
};

// Identifiers of all product types and both chip/board types.
std::vector<uint64_t> Identifiers() {
  std::vector<uint64_t> identifiers = {test::First("0 4"), test::First("0 8"), test::First("0 16"),
                                       test::First("1 4"), test::First("4 4")};
  for (const uint64_t product : {1, 2, 3, 4, 5, 6, 9, 10}) {
    for (const uint64_t channels : {4, 8, 16, 24, 32}) {
      for (const uint64_t subType : {0, 1}) {
        identifiers.push_back(test::Second(product, channels, subType));
      }
    }
  }
  return identifiers;
}

TEST_F(BoardRoadsTest, EveryBoardTakesItsOwn) {
  const int32_t oems[] = {0, 2, 3, 4, 6, 8, 9, 11, 13, 14, 15, 20};
  set<int32_t> products;
  set<std::string> seen;
  for (const uint64_t identifier : Identifiers()) {
    const std::string types =
        OnBoard(identifier, 0, [] { printf("\n%d %d", DvrGetProductType(), DvrGetBoardType()); });
    if (!seen.insert(types).second) continue;
    products.insert(std::stoi(types.substr(types.rfind('\n'))));
    for (const int32_t oem : oems) {
      for (const int32_t variant : {-1, 0, 1}) {
        if (variant >= 0 && oem != 6 && oem != 8) continue;
        const Board board = {identifier, oem, variant, variant};
        const test::Child child = test::InChild([&] {
          Check(board);
          return 1;
        });
        EXPECT_EQ(0, child.exitStatus)
            << std::hex << identifier << " OEM " << oem << " variant " << variant << "\n"
            << child.printed;
      }
    }
  }
  EXPECT_THAT(products,
              testing::IsSupersetOf({2, 3, 4, 27, 28, 29, 30, 31, 32, 40, 41, 42, 43, 46, 49}));
}

}  // namespace
