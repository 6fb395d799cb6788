// The front panel's threads: the scanner of keys and remote control, and the receiver of the
// microcontroller's frames.
#include <errno.h>
#include <math.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <set>
#include <thread>

#include "libsys/uart.h"
#include "tests/support/panel_test.h"

namespace {

using test::Finding;
using test::Hex;
using test::ReadKey;

std::string Milliseconds(double seconds) {
  return std::to_string(lround(seconds * 1000));
}

class FrontThreadsTest : public test::PanelTest {
 protected:
  static void Send(int code, int state) {
    vboard::Act("ir send " + std::to_string(code) + " " + std::to_string(state));
  }
  // All that the receiver took has been read; once the scanner has ended it is in the queue.
  static void WaitForReader() {
    while (test::Waiting("/dev/Hi_IR") > 0) usleep(1000);
  }
};

TEST_F(FrontThreadsTest, HeldKeyIsReportedOnce) {
  UsePanel("oem2");
  const Finding finding = Find([] {
    FrontboardInit();
    test::Thread scanner(FrontScanProc);
    vboard::Act("key press 7");
    std::string events = ReadKey();
    // Each record of the receiver comes after a scan of its own.
    for (int code = 0; code < 3; ++code) {
      Send(code, 5);
      events += " " + ReadKey();
    }
    vboard::Act("key press 12");
    events += " " + ReadKey();
    vboard::Act("key release 7");
    events += " " + ReadKey();
    FrontboardStop();
    return events + " " + scanner.Join();
  });
  EXPECT_EQ("ff147f01 ff019305 ff010005 ff01a105 ff1a7f01 ff147f00 expect\n", finding.result);
}

TEST_F(FrontThreadsTest, QueueWrapsAndIsLapped) {
  struct {
    int unread;            // records that come while nobody reads
    std::string expected;  // what is read then
  } const rows[] = {
      {1, "00 "},
      {127, "00 01 02 "},
      // Full to the brim it looks empty.
      {128, ""},
      {130, "80 81 "},
      {255, "80 81 82 "},
      {259, "00 01 02 "},
  };
  UsePanel("oem8");
  for (const auto &row : rows) {
    SCOPED_TRACE(row.unread);
    const Finding finding = Find([&] {
      test::Thread scanner(FrontScanProc);
      for (int code = 0; code < row.unread; ++code) Send(code % 256, 1);
      WaitForReader();
      FrontboardStop();
      scanner.Join();
      std::string read;
      for (int i = 0; i < row.unread % 128; ++i) {
        const std::string event = ReadKey();
        if (i < 3) read += event.substr(4, 2) + " ";
      }
      // The queue is empty now.
      test::Thread again(FrontScanProc);
      Send(0xee, 9);
      read += ReadKey();
      FrontboardStop();
      again.Join();
      return read;
    });
    EXPECT_EQ(row.expected + "ff01ee09", finding.result);
  }
}

TEST_F(FrontThreadsTest, RecordsOfAnotherSizeAreDropped) {
  UsePanel("oem8");
  const Finding finding = Find([] {
    test::Thread scanner(FrontScanProc);
    Send(1, 1);
    std::string events = ReadKey();
    std::ofstream(vboard::RootPath("/dev/Hi_IR")) << "short";
    WaitForReader();
    Send(2, 0);
    events += " " + ReadKey();
    FrontboardStop();
    return events + " " + scanner.Join();
  });
  EXPECT_EQ("ff010101 ff010200 expect\n", finding.result);
  EXPECT_EQ("hiir read(1 , 1)......OK\nhiir read(0 , 2)......OK\n", finding.printed);
}

TEST_F(FrontThreadsTest, KeysWorkWithoutReceiver) {
  UsePanel("oem4", "infrared.fitted = false\n");
  const Finding finding = Find([] {
    test::Thread scanner(FrontScanProc);
    vboard::Act("key press 2");
    std::string events = ReadKey();
    vboard::Act("key release 2");
    events += " " + ReadKey();
    FrontboardStop();
    return events + " " + scanner.Join();
  });
  EXPECT_EQ("ff1afe01 ff1afe00 expect\n", finding.result);
  EXPECT_EQ("LIBDVR : open /dev/Hi_IR failed\n", finding.printed);
}

// The scanner passes ten times a second: it waits for the receiver, or pauses where there is none
// or it is gone. The faults tell the passes apart: a line's driver is asked twice in each.
TEST_F(FrontThreadsTest, APassTakesATenthOfASecond) {
  constexpr struct {
    const char *receiver, *call, *device;
    int outcome;
    size_t faultsAPass;
    bool gone;
    const char *microseconds;  // of seven passes; a look at the receiver has one besides
  } kRows[] = {{"true", "open", "/dev/hi_gpio", ENODEV, 2, false, "700000"},
               {"false", "open", "/dev/hi_gpio", ENODEV, 2, false, "700000"},
               // Lines that fail are passed over.
               {"true", "ioctl", "/dev/hi_gpio", EIO, 50, false, "700000"},
               {"true", "read", "/dev/Hi_IR", ENODEV, 1, true, "700007"},
               {"true", "read", "/dev/Hi_IR", vboard::kNothing, 1, true, "700007"}};
  constexpr size_t kPasses = 7;
  for (const auto &row : kRows) {
    SCOPED_TRACE(std::string(row.receiver) + " " + row.device);
    UsePanel("oem2", std::string("infrared.fitted = ") + row.receiver + "\n");
    const Finding finding = FindOn(4, 2, [&] {
      vboard::PlanFault(row.call, row.device, row.outcome, 1, true);
      test::Thread scanner(FrontScanProc);
      if (row.gone) Send(1, 1);
      const size_t last = kPasses * row.faultsAPass;
      while (Times("fault").size() <= last) usleep(20'000);
      FrontboardStop();
      scanner.Join();
      return std::to_string(lround((Times("fault")[last] - Times("fault")[0]) * 1e6));
    });
    EXPECT_EQ(row.microseconds, finding.result);
  }
}

// A reader looks for keys every 10 ms. Whoever stops the scanner looks every 50 ms whether it has
// ended, which it does when the receiver has been silent for 100 ms.
TEST_F(FrontThreadsTest, ReaderAndStopLookNowAndThen) {
  UsePanel("oem8");
  const Finding finding = Find([] {
    test::Thread scanner(FrontScanProc);
    std::thread person([] {
      usleep(305'000);
      Send(1, 1);
    });
    const double begin = vboard::BoardTime();
    ReadKey();
    std::string waits = Milliseconds(vboard::BoardTime() - begin);
    person.join();
    usleep(60'000);
    const double asked = vboard::BoardTime();
    FrontboardStop();
    waits += " " + Milliseconds(vboard::BoardTime() - asked);
    scanner.Join();
    return waits;
  });
  EXPECT_EQ("310 50", finding.result);
}

TEST_F(FrontThreadsTest, StartBesideAReaderOfKeys) {
  UsePanel("oem2");
  const Finding finding = Find([] {
    FrontboardInit();
    test::Thread scanner(FrontScanProc);
    std::atomic<bool> enough{false};
    std::thread other([&] {
      while (!enough) {
        FrontboardInit();
        usleep(1000);
      }
    });
    std::set<std::string> events;
    for (int i = 0; i < 200; ++i) {
      Send(68, 1);
      events.insert(ReadKey());
    }
    enough = true;
    other.join();
    FrontboardStop();
    scanner.Join();
    return std::to_string(events.size()) + " " + *events.begin();
  });
  EXPECT_EQ("1 ff018e01", finding.result);
}

// No line of the main board is touched where a front board has the keys.
TEST_F(FrontThreadsTest, PanelWithoutMatrixIsNotScanned) {
  UseBoard(test::SmallBoard(4, 6, "[infrared]\nfitted = true\n"));
  const Finding finding = Find([this] {
    FrontboardVariantA = -1;
    Events();
    test::Thread scanner(FrontScanProc);
    Send(1, 1);
    WaitForReader();
    FrontboardStop();
    scanner.Join();
    std::string events;
    for (const std::string &event : Events()) events += event + "; ";
    return events;
  });
  EXPECT_EQ("infrared: code 0x01, state 1; ", finding.result);
}

TEST_F(FrontThreadsTest, ScannerEndsAndStartsAgain) {
  UsePanel("oem4");
  const Finding finding = Find([] {
    FrontboardInit();
    std::string events;
    for (int round = 0; round < 3; ++round) {
      test::Thread scanner(FrontScanProc);
      Send(12, 1);
      events += ReadKey() + " ";
      FrontboardStop();
      FrontboardStop();  // has ended already
      events += scanner.Join();
    }
    // A key pressed meanwhile is seen by the next scanner.
    vboard::Act("key press 2");
    test::Thread scanner(FrontScanProc);
    events += ReadKey();
    FrontboardStop();
    scanner.Join();
    return events;
  });
  EXPECT_EQ("ff1afe01 expect\nff1afe01 expect\nff1afe01 expect\nff1afe01", finding.result);
}

std::atomic<int> caught{0};

TEST_F(FrontThreadsTest, SignalsDoNotEndTheScanner) {
  UsePanel("oem8");
  const Finding finding = Find([] {
    struct sigaction action = {};
    action.sa_handler = [](int) { ++caught; };
    sigaction(SIGUSR1, &action, nullptr);
    test::Thread scanner(FrontScanProc);
    std::string events;
    for (int code = 1; code <= 3; ++code) {
      for (int goal = caught + 20; caught < goal;) {
        pthread_kill(scanner.Id(), SIGUSR1);
        usleep(1000);
      }
      Send(code, 1);
      events += ReadKey() + " ";
    }
    FrontboardStop();
    return events + scanner.Join();
  });
  EXPECT_EQ("ff010101 ff010201 ff010301 expect\n", finding.result);
}

// ---- the microcontroller ----

constexpr const char *kMcuBoard =
    "summary = \"a board with a microcontroller\"\n"
    "identity.product = \"1004000000000050\"\nidentity.oem = 0\nclock.fitted = false\n";
constexpr const char *kPortIsOpen = "uart1: 9600 baud, 8 data bits, no parity, 1 stop bit";

std::string Frame(size_t payload) {
  pthread_mutex_lock(&FrontMcuMutex);
  const std::string text =
      Hex(std::span(FrontMcuFrame).first(2 + payload)) + " " + Hex(FrontMcuFlags);
  pthread_mutex_unlock(&FrontMcuMutex);
  return text + " " + std::to_string(__atomic_load_n(&FrontMcuIdle, __ATOMIC_SEQ_CST));
}

std::string Counting(int from, int to) {
  std::string hex;
  for (int step = from < to ? 1 : -1; from != to; from += step) {
    hex += Hex(std::array{static_cast<uint8_t>(from)});
  }
  return hex;
}

TEST_F(FrontThreadsTest, MicrocontrollersFrames) {
  const std::string unsupported = "LIBDVR : unsupport now!!!\n";
  const std::string failed = "LIBDVR : read failed\n";
  const std::string tooMuch = "too much uart 1 data! will get 8\n";
  const std::string uartFailed =
      "LIBDVR : FILE -> Uart/uart.c, LINE -> 284: UartDeviceRead : readlength < 0, index = 1\n";
  const std::string badLength =
      "LIBDVR : FILE -> Uart/uart.c, LINE -> 218: UartDeviceRead : Input params invailed\n";
  struct {
    std::string sent;     // in pieces
    std::string payload;  // of the last frame
    std::string printed;
    unsigned failing = 0;  // the read that fails
  } const rows[] = {
      {"ff5a0203112233", "332211", ""},
      {"ff5a020107", "07", ""},
      {"ff 5a 02 04 01 02 03 04", "04030201", ""},
      {"00ff005aff00 ff5a020107", "07", ""},
      // A second FF is no start.
      {"ffff5a010107 ff5a020108", "08", ""},
      {"ff5a010199 ff5a020108", "08", unsupported},
      // Of an unknown type nothing but type and length is taken.
      {"ff5a0304ff5a020108", "08", ""},
      {"ff5a0004ff5a020108", "08", ""},
      {"ff5aff04ff5a020108", "08", ""},
      {"ff5a0208" + Counting(1, 9), Counting(8, 0), ""},
      {"ff5a0209" + Counting(1, 10), Counting(9, 0), tooMuch},
      {"ff5a02ff" + Counting(1, 256), Counting(255, 0), tooMuch},
      {"ff5a0109" + Counting(1, 10) + " ff5a020108", "08", tooMuch + unsupported},
      {"ff5a0200 ff5a020108", "08", badLength + failed},
      {"ff5a020107", "07", uartFailed + failed, 1},
      {"ff5a020107", "07", uartFailed + failed, 2},
      {"ff5a020107 ff5a020108", "08", uartFailed + failed, 3},
      {"ff5a020107 ff5a020108", "08", uartFailed + failed, 4},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.sent);
    UseBoard(kMcuBoard);
    const std::string expected =
        Hex(std::array{uint8_t{2}, static_cast<uint8_t>(row.payload.size() / 2)}) + row.payload +
        " 0100 0";
    const Finding finding = Find([&] {
      if (row.failing > 0) vboard::PlanFault("read", "/dev/ttyAMA1", EIO, row.failing, false);
      std::string start = Frame(0);
      FrontMcuFlags[1] = 9;  // which a frame of type 2 takes back
      test::Thread receiver(McuProc);
      for (auto events = Events();
           std::find(events.begin(), events.end(), kPortIsOpen) == events.end();
           events = Events()) {
        usleep(1000);
      }
      std::istringstream pieces(row.sent);
      for (std::string piece; pieces >> piece;) vboard::Act("mcu send " + piece);
      while (Frame(row.payload.size() / 2) != expected) usleep(1000);
      return start + " pid " + std::to_string(getpid());
    });
    ASSERT_THAT(finding.result, testing::StartsWith("0000 0000 1 pid "));
    EXPECT_EQ(
        "LIBDVR : McuProc = " + finding.result.substr(16) + "\nLIBDVR : Reset Mcu\n" + row.printed,
        finding.printed);
  }
}

// The microcontroller gets 400 ms to reset; its bytes are looked for every 10 ms, and there are 10
// ms behind a frame. A frame that cannot be read leaves three bytes to be looked at.
TEST_F(FrontThreadsTest, TheMicrocontrollerIsReadAtItsPace) {
  UseBoard(kMcuBoard);
  const Finding finding = Find([] {
    vboard::PlanFault("read", "/dev/ttyAMA1", EIO, 3, false);
    const double start = vboard::BoardTime();
    test::Thread receiver(McuProc);
    usleep(200'000);
    puts("half of the reset");
    while (Times(kPortIsOpen).empty()) usleep(20'000);
    const double sent = vboard::BoardTime();
    vboard::Act("mcu send ff5a020101ff5a020102ff5a0304ff5a0200ff5a020103ff5a020104ff5a020105");
    while (Frame(1) != "020105 0100 0") usleep(1000);
    const double read = vboard::BoardTime() - sent;
    return Milliseconds(Times(kPortIsOpen)[0] - start) + " " + Milliseconds(read);
  });
  EXPECT_EQ("400 210", finding.result);
  EXPECT_LT(finding.printed.find("McuProc = "), finding.printed.find("half of the reset"));
}

TEST_F(FrontThreadsTest, BoardWithoutMicrocontrollersPort) {
  const std::string noPort = "LIBDVR : FILE -> Uart/uart.c, LINE -> 145: Open /dev/ttyAMA";
  const struct {
    uint32_t port;
    const char *ports;
    std::string printed;
  } rows[] = {
      {1, "[0, 2, 3]", noPort + "1 failed\nLIBDVR : Create uart1 failed\n"},
      // Made with the console's driver alone.
      {0, "[1, 2, 3]", "LIBDVR : Reset Mcu\n" + noPort + "0 failed\nLIBDVR : open uart0 failed\n"}};
  for (const auto &row : rows) {
    UseBoard(std::string(kMcuBoard) + "serial.ports = " + row.ports + "\n");
    const Finding finding = Find([&] {
      const rlimit bound = {2, 2};  // a receiver that goes on prints without a pause
      setrlimit(RLIMIT_CPU, &bound);
      UartMcuIndex = row.port;
      return test::Thread(McuProc).Join();
    });
    ASSERT_EQ("McuProc exit\n", finding.result);
    EXPECT_THAT(finding.printed, testing::EndsWith(row.printed));
  }
}

}  // namespace
