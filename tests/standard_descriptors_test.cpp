// Programs that are started with their standard descriptors closed: nothing that they print ends up
// in a device or a file.
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "libsys/boot.h"
#include "libsys/flash.h"
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

// Closed, or /dev/null.
bool LeadNowhere() {
  struct stat null = {};
  stat("/dev/null", &null);
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    struct stat status = {};
    if (fstat(fd, &status) == 0 && status.st_rdev != null.st_rdev) return false;
  }
  return true;
}

TEST_F(StandardDescriptorsTest, TheLibraryKeepsNoDeviceOpenAsOne) {
  UseBoard(kBoard);
  uint8_t byte = 0;
  const std::function<bool()> operations[] = {
      [] { return FlashInit() == 0; },
      [] { return BootEnvInit() == 0; },
      [] { return GpioWrite(3, 1, 0) == 0; },
      [&] { return DvrPhysicalMemoryAccess(0x200A0018, &byte, 1, 0) == 1; },
      [] { return I2cOpen() == 0; },
      [] { return UartDeviceOpen(2) == 0; },
      [] { return SerialInit() == 1; },
      [] { return WatchdogStart() == 0; },
  };
  const test::Child child = test::InChild([&] {
    DvrReadBootParameters();
    for (size_t i = 0; i < std::size(operations); ++i) {
      CloseStandardDescriptors();
      if (!operations[i]() || !LeadNowhere()) return static_cast<int>(i) + 1;
    }
    return 0;
  });
  EXPECT_EQ(0, child.exitStatus);  // else which of them
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
      {"sentrel", "/opt/app/none"},
      {"boardctl", "env", "list"},
      {"boardctl", "nothing"},
      {"boardctl", "flash", "list"},
      {"boardctl", "flash", "dump", "config"},
      {"recorder"},
  };
  for (const std::vector<std::string> &command : commands) {
    SCOPED_TRACE(command.back());
    UseBoard(kBoard);
    // Two would run for ever.
    vboard::PlanFault("exec", "/opt/app/none", -SIGKILL, 1, false);
    vboard::PlanFault("ioctl", "/dev/watchdog", -SIGKILL, 3, false);
    const std::string boot = test::FlashBytes(0), config = test::FlashBytes(3);
    test::InChild([&] {
      CloseStandardDescriptors();
      vboard::ExecuteOnBoard(PROGRAMS_FOLDER "/" + command[0], command);
      return 0;
    });
    EXPECT_TRUE(boot == test::FlashBytes(0));
    EXPECT_TRUE(config == test::FlashBytes(3));
  }
}

}  // namespace
