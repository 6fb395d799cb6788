// Programs that are started with their standard descriptors closed: nothing that they print ends up
// in a device or a file.
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "libsys/boot.h"
#include "libsys/flash.h"
#include "libsys/frontboard.h"
#include "libsys/gpio.h"
#include "libsys/network.h"
#include "libsys/serial.h"
#include "libsys/system.h"
#include "libsys/uart.h"
#include "libsys/version.h"
#include "libsys/watchdog.h"
#include "tests/support/flash_board.h"
#include "vboard/machine.h"

namespace {

constexpr const char *kBoard = "base = \"" SOURCE_FOLDER "/boards/panel-oem2.toml\"\n";

class StandardDescriptorsTest : public test::BoardTest {};

void CloseStandardDescriptors() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) close(fd);
}

// What the test itself has inherited goes no further.
void KeepToOneself() {
  for (const auto &[fd, file] : test::OpenFiles()) fcntl(fd, F_SETFD, FD_CLOEXEC);
}

// Closed all three, or all /dev/null for reading and writing.
bool LeadNowhere(bool closed) {
  struct stat null = {};
  stat("/dev/null", &null);
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    struct stat status = {};
    if ((fstat(fd, &status) != 0) != closed) return false;
    if (closed) continue;
    const bool both = (fcntl(fd, F_GETFL) & O_ACCMODE) == O_RDWR;
    if (status.st_rdev != null.st_rdev || !both) return false;
  }
  return true;
}

// A program that is started then inherits the standard descriptors and nothing else.
TEST_F(StandardDescriptorsTest, TheLibraryKeepsNoDeviceOpenAsOneNorForPrograms) {
  UseBoard(kBoard);
  uint8_t byte = 0;
  const std::function<bool()> operations[] = {
      [] { return FlashInit() == 0; },
      [] { return BootEnvInit() == 0; },
      [] { return GpioWrite(3, 1, 0) == 0; },
      [&] { return DvrPhysicalMemoryAccess(0x200A0018, &byte, 1, 0) == 1; },
      [&] { return DvrPhysicalMemoryAccess(0x2005005C, &byte, 1, 0) == 1; },
      [] { return I2cOpen() == 0; },
      [] { return UartDeviceOpen(1) == 0; },
      [] { return UartDeviceOpen(2) == 0; },
      [] { return UartDeviceCreate(0) == 0; },
      [] { return UartDeviceOpen(0) == 0; },
      [] { return SerialInit() == 1; },
      [] { return WatchdogStart() == 0; },
      [] { return NetWorkWriteKey("/tool/any", "PRIO", "1") == 0; },
      [] {
        DvrReadBootParameters();
        pthread_t scanner;
        pthread_create(&scanner, nullptr, FrontScanProc, nullptr);
        while (test::Descriptors("/dev/Hi_IR") == 0) usleep(1000);
        return true;
      },
  };
  const test::Child child = test::InChild([&] {
    KeepToOneself();
    const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 100);
    DvrReadBootParameters();
    for (size_t i = 0; i < std::size(operations); ++i) {
      CloseStandardDescriptors();
      // What is only read from fills no gap.
      const bool fills = i + 1 < std::size(operations);
      if (!operations[i]() || !LeadNowhere(!fills)) return static_cast<int>(i) + 1;
    }
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) dup2(output, fd);
    vboard::ExecuteOnBoard(PROGRAMS_FOLDER "/descriptors", {"descriptors"});
    return -1;
  });
  EXPECT_EQ(3, child.exitStatus);  // else which operation, from 1, or else how many descriptors
  EXPECT_THAT(child.printed, testing::EndsWith("descriptors: 0 1 2\n"));
}

// Where the power goes while the launcher works, all that it has printed is in the file.
TEST_F(StandardDescriptorsTest, TheLaunchersOutputReachesAFileLineByLine) {
  UseBoard(kBoard);
  vboard::PlanFault("mount", "/dev/mtdblock3", -SIGKILL, 1, false);
  const std::string file = Folder() + "/console";
  test::InChild([&] {
    dup2(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), STDOUT_FILENO);
    vboard::ExecuteOnBoard(PROGRAMS_FOLDER "/sentrel", {"sentrel", "/opt/app/none"});
    return 1;
  });
  EXPECT_THAT(vboard::ReadFile(file), testing::EndsWith("xapp = 1, xuart  = 0\n"));
}

// The operation names the script that it does not run while the file is open.
TEST_F(StandardDescriptorsTest, MessagesStayOutOfTheFilesThatAreWritten) {
  UseBoard(kBoard);
  const std::string folder = vboard::RootPath("/opt/sav/Config/ppp/");
  const PppoeConfig config = {1, "user", "password"};
  const auto store = [&](bool closed) {
    vboard::WriteFile(folder, "");
    const auto run = [&] {
      if (closed) CloseStandardDescriptors();
      DvrReadBootParameters();
      return NetSetPPPoEConfig(&config) + 1;
    };
    EXPECT_EQ(1, test::InChild(run).exitStatus);
    return vboard::ReadFile(folder + "pppoe.conf");
  };
  const std::string usual = store(false);
  EXPECT_NE("", usual);
  EXPECT_EQ(usual, store(true));
}

TEST_F(StandardDescriptorsTest, ProgramsLeaveTheFlashAlone) {
  const std::vector<std::string> commands[] = {
      {"sentrel", "/opt/app/descriptors"},
      {"boardctl", "env", "list"},
      {"boardctl", "nothing"},
      {"boardctl", "flash", "list"},
      {"boardctl", "flash", "dump", "config"},
      {"recorder"},
  };
  for (const std::vector<std::string> &command : commands) {
    SCOPED_TRACE(command.back());
    UseBoard(std::string(kBoard) + "[programs]\n\"/opt/app/descriptors\" = \"descriptors\"\n");
    // It would run for ever.
    vboard::PlanFault("ioctl", "/dev/watchdog", -SIGKILL, 3, false);
    const std::string boot = test::FlashBytes(0), config = test::FlashBytes(3);
    test::InChild([&] {
      KeepToOneself();
      CloseStandardDescriptors();
      vboard::ExecuteOnBoard(PROGRAMS_FOLDER "/" + command[0], command);
      return 0;
    });
    EXPECT_TRUE(boot == test::FlashBytes(0));
    EXPECT_TRUE(config == test::FlashBytes(3));
    // The launcher's application has the three, closed ones or not.
    if (command[0] == "sentrel") {
      EXPECT_THAT(Events(), testing::Contains("exit: status 3"));
    }
  }
}

}  // namespace
