// The serial ports: opening, line attributes, reading and writing, start and stop.
#include "libsys/uart.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <map>
#include <thread>

#include "libsys/gpio.h"
#include "libsys/serial.h"
#include "tests/support/serial_test.h"

namespace {

constexpr uint64_t kOrdinary = 4;

std::string Device(unsigned port) {
  return "/dev/ttyAMA" + std::to_string(port);
}

// The ports and the console that this process has open: path and flags.
void PrintDevices() {
  for (const auto &[fd, path] : test::OpenFiles()) {
    if (!path.starts_with("/dev/tty") && !path.starts_with("/dev/console")) continue;
    const int flags = fcntl(fd, F_GETFL);
    const bool inherited = (fcntl(fd, F_GETFD) & FD_CLOEXEC) == 0;
    printf("%s%s%s%s\n", path.c_str(), (flags & O_ACCMODE) == O_RDWR ? " rw" : "",
           (flags & O_SYNC) == O_SYNC ? " sync" : "", inherited ? " inherited" : "");
  }
}

void PrintResult(int32_t result, const uint8_t *bytes = nullptr) {
  printf("= %d", result);
  for (int32_t i = 0; bytes != nullptr && i < result; ++i) {
    printf("%s %02x", i == 0 ? ":" : "", bytes[i]);
  }
  puts("");
}

// Makes a call of a transcript.
void Call(const std::vector<std::string> &words) {
  static const std::map<std::string, int32_t (*)(uint32_t)> kOpening = {
      {"open", UartDeviceOpen},
      {"close", UartDeviceClose},
      {"create", UartDeviceCreate},
      {"destroy", UartDeviceDestroy}};
  static const std::map<std::string, int32_t (*)(uint32_t, const void *, uint32_t)> kWriting = {
      {"write", UartDeviceWrite}, {"once", UartDeviceWriteOnce}};
  const std::string &name = words[0];
  const auto number = [&](size_t i) { return static_cast<uint32_t>(std::stoll(words.at(i))); };
  const auto byte = [&](size_t i) { return static_cast<uint8_t>(number(i)); };
  uint8_t bytes[16] = {};
  if (kOpening.contains(name)) return PrintResult(kOpening.at(name)(number(1)));
  if (name == "init") return PrintResult(SerialInit());
  if (name == "exit") return PrintResult(SerialExit());
  if (name == "devices") return PrintDevices();
  if (name == "read") return PrintResult(UartDeviceRead(number(1), bytes, number(2)), bytes);
  if (name == "timed") {
    const auto length = static_cast<int32_t>(number(2));
    return PrintResult(UartDeviceReadTimed(number(1), bytes, length), bytes);
  }
  if (name == "set") {
    const UartAttribute attribute = {number(2), byte(3), byte(4), byte(5)};
    return PrintResult(UartSetAttribute(number(1), &attribute));
  }
  const size_t length = words.at(2).size() / 2;
  for (size_t i = 0; i < length; ++i) {
    bytes[i] = static_cast<uint8_t>(std::stoul(words[2].substr(2 * i, 2), nullptr, 16));
  }
  PrintResult(kWriting.at(name)(number(1), bytes, static_cast<uint32_t>(length)));
}

// Every 2 ms a signal interrupts what the program waits in. The third brings four bytes.
int wire = -1;
volatile sig_atomic_t ticks;

void Tick(int) {
  ticks = ticks + 1;
  if (ticks == 3 && write(wire, "\xff\x01\x02\x03", 4) < 0) _exit(9);
}

void StartTicking(unsigned port) {
  wire = open(vboard::RootPath(Device(port)).c_str(), O_RDWR | O_CLOEXEC);
  struct sigaction action = {};
  action.sa_handler = Tick;
  sigaction(SIGALRM, &action, nullptr);
  const itimerval interval = {{0, 2000}, {0, 2000}};
  setitimer(ITIMER_REAL, &interval, nullptr);
}

void StopTicking() {
  const itimerval none = {};
  setitimer(ITIMER_REAL, &none, nullptr);
  close(wire);
}

termios Terminal(unsigned port) {
  termios settings = {};
  const int fd = open(Device(port).c_str(), O_RDWR | O_CLOEXEC | O_NOCTTY);
  tcgetattr(fd, &settings);
  close(fd);
  return settings;
}

void SetTerminal(unsigned port, const termios &settings) {
  const int fd = open(Device(port).c_str(), O_RDWR | O_CLOEXEC | O_NOCTTY);
  tcsetattr(fd, TCSANOW, &settings);
  close(fd);
}

class UartTest : public test::SerialTest {
 protected:
  // Makes the calls of a transcript on a board; what came of them, calls included.
  std::string Replay(const std::string &product, const std::string &transcript) {
    return OnBoard(test::IdentifierOf(product, product == "2"), 0, [&] {
      std::istringstream lines(transcript);
      for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("> ")) continue;
        puts(line.c_str());
        const std::vector<std::string> words = test::Words(line.substr(2));
        if (words[0] == "act") {
          vboard::Act(line.substr(line.find("act") + 4));
        } else if (words[0] == "log") {
          for (const std::string &event : Wires()) puts(event.c_str());
        } else {
          Call(words);
        }
      }
    });
  }
};

TEST_F(UartTest, Transcripts) {
  const std::string text = vboard::ReadFile(SOURCE_FOLDER "/tests/data/serial.txt");
  size_t count = 0;
  for (size_t start = text.find("\n== "); start != std::string::npos; ++count) {
    const size_t body = text.find('\n', start + 1) + 1;
    const size_t next = text.find("\n\n== ", body);
    const std::string heading = text.substr(start + 4, body - start - 5);
    const std::string transcript =
        text.substr(body, next == std::string::npos ? next : next + 1 - body);
    SCOPED_TRACE(heading);
    for (const std::string &word : test::Words(heading)) {
      if (isdigit(word[0]) == 0) break;
      UseBoard("summary = \"s\"\n[serial]\nchunk = 3\n");
      EXPECT_EQ(transcript, Replay(word, transcript));
    }
    start = next == std::string::npos ? next : next + 1;
  }
  EXPECT_EQ(7U, count);
}

TEST_F(UartTest, PortsByTheDescription) {
  UseBoard("summary = \"s\"\n[serial]\nports = [1, 3]\n[console]\nfitted = false\n");
  for (const uint32_t port : {1, 2, 3}) EXPECT_EQ(port == 2 ? -1 : 0, UartDeviceOpen(port));
  EXPECT_EQ(-1, UartDeviceCreate(0));
  for (const char *action : {"uart send 2 00", "uart send 1 0", "uart send 1 0x", "uart send 9 00",
                             "uart unplug 2", "frontboard send zz", "uart send 1 000"}) {
    EXPECT_THROW(vboard::Act(action), std::invalid_argument) << action;
  }
  for (const uint32_t port : {1, 3}) UartDeviceClose(port);
  for (const std::string ports : {"[4]", "[-1]", "[1, 1]", "1", "[\"1\"]"}) {
    EXPECT_THROW(UseBoard("summary = \"s\"\n[serial]\nports = " + ports), vboard::DescriptionError)
        << ports;
  }
}

constexpr tcflag_t kAllFlags = PARENB | PARODD | CSIZE | CSTOPB;

TEST_F(UartTest, EveryLineAttribute) {
  constexpr struct {
    uint32_t baudRate;
    speed_t speed;
  } kSpeeds[] = {{50, B50},       {75, B75},        {110, B110},   {134, B134},     {150, B150},
                 {200, B200},     {300, B300},      {600, B600},   {1200, B1200},   {1800, B1800},
                 {2400, B2400},   {4800, B4800},    {9600, B9600}, {19200, B19200}, {38400, B38400},
                 {57600, B57600}, {115200, B115200}};
  // Which flags a parity keeps, and which it sets.
  constexpr struct {
    tcflag_t keptInput, setInput, kept, set;
  } kParities[] = {{0, 0, PARODD, 0},
                   {0, INPCK, 0, PARENB | PARODD},
                   {0, INPCK, 0, PARENB},
                   {INPCK, 0, 0, PARENB | PARODD},
                   {INPCK, 0, PARODD, PARENB}};
  constexpr tcflag_t kSizes[] = {CS5, CS6, CS7, CS8};
  ASSERT_EQ(0, UartDeviceOpen(2));
  for (unsigned i = 0; i < 17 * 5 * 4 * 3 * 2; ++i) {
    const auto &[baudRate, speed] = kSpeeds[i % 17];
    const auto parity = static_cast<uint8_t>(i / 17 % 5);
    const auto size = static_cast<uint8_t>(i / 85 % 4);
    const auto stop = static_cast<uint8_t>(i / 340 % 3);
    const bool flagsAreSet = i >= 1020;
    SCOPED_TRACE(testing::Message() << flagsAreSet << " " << baudRate << " " << +parity << +stop);
    termios before = Terminal(2);
    before.c_iflag = flagsAreSet ? ~tcflag_t{0} : 0;
    before.c_cflag = flagsAreSet ? kAllFlags | CREAD : CREAD;
    before.c_lflag = ICANON | ECHO | ISIG;
    before.c_oflag = OPOST;
    before.c_cc[VMIN] = before.c_cc[VTIME] = 9;
    SetTerminal(2, before);
    const UartAttribute attribute = {baudRate, static_cast<uint8_t>(5 + size), parity, stop};
    ASSERT_EQ(0, UartSetAttribute(2, &attribute));
    const termios after = Terminal(2);
    EXPECT_EQ(speed, cfgetispeed(&after));
    EXPECT_EQ(speed, cfgetospeed(&after));
    const auto &[keptInput, setInput, kept, set] = kParities[parity];
    EXPECT_EQ((before.c_iflag & keptInput) | setInput, after.c_iflag & INPCK);
    const tcflag_t expected =
        (before.c_cflag & kept) | set | kSizes[size] | (stop == 2 ? tcflag_t{CSTOPB} : 0) | CREAD;
    EXPECT_EQ(expected, after.c_cflag & (kAllFlags | CREAD));
    EXPECT_EQ(0U, after.c_iflag & (ICRNL | IXON | ISTRIP | BRKINT));
    EXPECT_EQ(0U, after.c_lflag & (ICANON | ECHO | ISIG));
    EXPECT_EQ(0U, after.c_oflag & OPOST);
    EXPECT_EQ(1, after.c_cc[VMIN]);
    EXPECT_EQ(0, after.c_cc[VTIME]);
  }
}

TEST_F(UartTest, TheConsoleKeepsItsOtherSettings) {
  termios before = Terminal(3);
  before.c_cflag |= PARENB;
  before.c_cc[VTIME] = 9;
  SetTerminal(3, before);
  const auto onConsole = [] {
    const int port = open(Device(3).c_str(), O_RDWR | O_CLOEXEC | O_NOCTTY);
    dup2(port, STDOUT_FILENO);
    close(port);
    SerialInit();
    const UartAttribute attribute = {115200, 7, 0, 2};
    const int32_t set = UartSetAttribute(3, &attribute);
    SerialExit();
    return set == 0 ? 0 : 1;
  };
  EXPECT_EQ(0, test::InChild(onConsole).exitStatus);
  const termios after = Terminal(3);
  EXPECT_EQ(tcflag_t{ICANON | ECHO}, after.c_lflag & (ICANON | ECHO));
  EXPECT_EQ(tcflag_t{CS7 | CSTOPB}, after.c_cflag & kAllFlags);
  EXPECT_EQ(speed_t{B115200}, cfgetospeed(&after));
  EXPECT_EQ(1, after.c_cc[VMIN]);
  EXPECT_EQ(0, after.c_cc[VTIME]);
}

TEST_F(UartTest, NullPointersAndBadIndicesTouchNothing) {
  UartDeviceOpen(2);
  const std::string printed = test::Printed([] {
    UartDeviceSetFd(4, 1);
    PrintResult(UartDeviceRead(2, nullptr, 4));
    PrintResult(UartDeviceReadTimed(2, nullptr, 4));
    PrintResult(UartDeviceWrite(2, nullptr, 4));
    PrintResult(UartDeviceWriteOnce(2, nullptr, 4));
    PrintResult(UartDeviceWrite(2, "", 0));
    PrintResult(UartSetAttribute(2, nullptr));
  });
  EXPECT_THAT(test::Words(printed), testing::Contains("-1").Times(testing::Ge(6)));
  EXPECT_EQ(0, UartDeviceCreate(0));
  EXPECT_EQ(1U, test::Descriptors("/dev/consoledev"));
  UartDeviceSetFd(1, 0);  // which is no open port
  EXPECT_EQ(0, UartDeviceOpen(1));
  EXPECT_EQ(1U, test::Descriptors("/dev/ttyAMA1"));
}

TEST_F(UartTest, SignalsInterruptNoRead) {
  const std::string expected = "= 4: ff 01 02 03\n= 4: ff 01 02 03\n= -1\n";
  EXPECT_EQ(expected, OnBoard(test::Second(4, 8), 0, [] {
                        for (const uint32_t port : {0, 2}) UartDeviceOpen(port);
                        for (const uint32_t index : {0, 2}) {
                          ticks = 0;
                          StartTicking(index);
                          Call({"read", std::to_string(index), "4"});
                          StopTicking();
                        }
                        // Silences end all the same.
                        StartTicking(2);
                        Call({"timed", "2", "4"});
                        StopTicking();
                      }).substr(std::string("LIBDVR : 2CONSOLE_SUSPEND failed\n").size()));
}

TEST_F(UartTest, WhatTwoThreadsOpenTogetherIsOpenOnce) {
  for (int round = 0; round < 50; ++round) {
    uint8_t level = 0;
    vboard::PlanFault("ioctl", "/dev/hi_gpio", EIO, 1, false);
    EXPECT_EQ(-1, GpioRead(0, 0, &level));
    UartDeviceClose(1);
    std::atomic<int> ready = 0;
    const auto together = [&ready](int threads) {
      ++ready;
      while (ready < threads) std::this_thread::yield();
    };
    const auto open = [&] {
      uint8_t own = 0;
      together(2);
      EXPECT_EQ(0, GpioRead(0, 0, &own));
      together(4);
      EXPECT_EQ(0, UartDeviceOpen(1));
    };
    std::thread other(open);
    open();
    other.join();
    ASSERT_EQ(1U, test::Descriptors("/dev/hi_gpio"));
    ASSERT_EQ(1U, test::Descriptors("/dev/ttyAMA1"));
  }
}

// Of 90 ms each. What comes between them gives no more.
TEST_F(UartTest, TimedReadsWaitForThreeSilences) {
  UartDeviceOpen(2);
  std::thread sender([] {
    usleep(200'000);
    vboard::Act("uart send 2 01");
  });
  const double start = vboard::BoardTime();
  uint8_t bytes[2] = {};
  EXPECT_EQ(-1, UartDeviceReadTimed(2, bytes, 2));
  EXPECT_NEAR(0.2 + 0.09, vboard::BoardTime() - start, 0.001);
  sender.join();
}

TEST_F(UartTest, TimedReadsLeaveDescriptorsAloneThatNoSetHolds) {
  const auto read = [] {
    const rlimit enough = {FD_SETSIZE + 1, FD_SETSIZE + 1};
    setrlimit(RLIMIT_NOFILE, &enough);
    const int fd = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, FD_SETSIZE);
    UartDeviceSetFd(2, fd);
    uint8_t byte = 0;
    const int32_t result = UartDeviceReadTimed(2, &byte, 1);
    close(fd);
    return fd == FD_SETSIZE && result == -1 ? 0 : 1;
  };
  EXPECT_EQ(0, test::InChild(read).exitStatus);
}

TEST_F(UartTest, AReaderWakesWhenItsPortIsUnplugged) {
  UartDeviceOpen(1);
  std::thread person([] { vboard::Act("uart unplug 1"); });
  uint8_t byte = 0;
  EXPECT_EQ(-1, UartDeviceRead(1, &byte, 1));
  person.join();
}

TEST_F(UartTest, SerialStartAndStop) {
  const struct {
    const char *variables;
    const char *settings;
  } rows[] = {
      {"{ xuart = \"1\", xapp = \"2\" }", "1 2"}, {"{ xuart = \"0\", xapp = \"3\" }", "0 3"},
      {"{ xuart = \"3\", xapp = \"7\" }", "1 3"}, {"{ xuart = \"2\", xapp = \"4\" }", "0 0"},
      {"{ xuart = \"1000000000\" }", "1 0"},      {"{ xapp = \"1\" }", "0 1"}};
  for (const auto &[variables, settings] : rows) {
    SCOPED_TRACE(variables);
    std::string description = test::SmallBoard(kOrdinary, 0);
    const size_t place = description.find("{ xuart");
    UseBoard(description.replace(place, description.find('}') + 1 - place, variables));
    const std::string printed = OnBoard(kOrdinary, 0, [] {
      SerialInit();
      SerialExit();
      const size_t before = test::OpenFiles().size();
      SerialInit();
      printf("settings %d %d, %zu more\n", UartXuartSetting, UartXappSetting,
             test::OpenFiles().size() - before);
      fflush(stdout);
      UartDeviceWriteOnce(3, "on the console\n", 15);
      Call({"create", "0"});
      Call({"exit"});
      Call({"set", "3", "9600", "8", "0", "0"});
      Call({"open", "3"});  // which is no longer standard output
      // Besides, the console's driver.
      printf("%zu more open\n", test::OpenFiles().size() - before);
      Call({"init"});
      Call({"exit"});
    });
    EXPECT_THAT(printed, testing::HasSubstr("settings " + std::string(settings) + ", 4 more\n" +
                                            "on the console\n= 0\n= 0\n"
                                            "LIBDVR : FILE -> Uart/uart.c, LINE -> 883: "
                                            "UartSetAttribute failed, Index  = 3, fd = -1\n"
                                            "= -1\n= 0\n2 more open\n"));
    EXPECT_THAT(printed, testing::EndsWith("= 1\n= 0\n"));
  }
}

// The number of a closed port belongs to whoever opens something next.
TEST_F(UartTest, SerialStopClosesItsOwnDescriptorsOnly) {
  EXPECT_THAT(OnBoard(kOrdinary, 0,
                      [] {
                        SerialInit();
                        SerialExit();
                        const size_t before = test::OpenFiles().size();
                        SerialInit();
                        UartDeviceClose(3);
                        const int others[] = {dup(1), dup(1), dup(1), dup(1)};
                        UartDeviceSetFd(3, others[0]);
                        SerialExit();
                        Call({"once", "3", "2b"});  // still the other's
                        printf("%zu more open", test::OpenFiles().size() - before);
                        for (const int other : others) close(other);
                      }),
              testing::EndsWith("= 1\n4 more open"));
}

TEST_F(UartTest, SerialStartsThatLeaveSomethingOut) {
  EXPECT_EQ("LIBDVR : FILE -> Uart/serial.c, LINE -> 71: Open /dev/null failed\n= -1\n",
            OnBoard(kOrdinary, 0, [] {
              rlimit limit = {};
              getrlimit(RLIMIT_NOFILE, &limit);
              const rlimit none = {0, limit.rlim_max};
              setrlimit(RLIMIT_NOFILE, &none);
              Call({"init"});
              setrlimit(RLIMIT_NOFILE, &limit);
            }));
  // On a dual-port board standard output is no port.
  EXPECT_THAT(
      OnBoard(test::Second(4, 8), 0,
              [] {
                for (const char *call : {"init", "init"}) Call({call});
                Call({"once", "3", "01"});
                for (const uint32_t port : {0, 2}) UartDeviceSetFd(port, FD_SETSIZE);
                Call({"read", "0", "1"});
                Call({"exit"});
              }),
      testing::EndsWith("= 1\n= 0\nLIBDVR : FILE -> Uart/uart.c, LINE -> 862: UartDeviceWrite : "
                        "writelength < 0, Index = 3, Length = 1\n= -1\n"
                        "UartDeviceRead : readlength < 0, index = 1\n= -1\n"
                        "LIBDVR : 1CONSOLE_RESUME failed\n= -1\n"));
}

}  // namespace
