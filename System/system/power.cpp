// The ways out: reboot, power off, the application's exit.
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "System/system/application_flag.h"
#include "System/version/products.h"
#include "libsys/disk.h"
#include "libsys/frontboard.h"
#include "libsys/gpio.h"
#include "libsys/system.h"
#include "libsys/version.h"
#include "libsys/watchdog.h"

using namespace libsys;

namespace {

constexpr int32_t kStandbyMinutes = 1;
constexpr uint32_t kDiskTime = 2000;  // milliseconds that the disks get to write and to stop

constexpr uint8_t kRebootPanel[4] = {0xff, 0x05, 0x00, 0x00};
constexpr uint8_t kPowerOffPanel[4] = {0xff, 0x09, 0x00, 0x00};
// OEM type 8 with the alarm board.
constexpr uint8_t kRebootAlarmBoard[4] = {0xaa, 0x01, 0x00, 0x00};
constexpr uint8_t kPowerOffAlarmBoard[4] = {0xaa, 0x02, 0x00, 0x00};

// The ARM watchdog's registers and what goes into them, little-endian.
constexpr uint32_t kArmWatchdogLock = 0x20040c00;
constexpr uint32_t kArmWatchdogControl = 0x20040008;
constexpr uint8_t kArmWatchdogUnlock[4] = {0x51, 0xe5, 0xcc, 0x1a};
constexpr uint8_t kArmWatchdogResetAndInterrupt[4] = {0x03, 0x00, 0x00, 0x00};

int32_t Oem() {
  return DvrGetHwidInformation(OEM_TYPE);
}

// A disk that does not answer must not keep the board from going down.
void StopDisks(bool flush) {
  const int32_t disks = DiskGetCount();
  for (int32_t disk = 0; disk < disks; ++disk) {
    DiskSetStandby(disk, kStandbyMinutes);
    if (flush) DiskFlush(disk);
  }
  SystemSleepMsec(kDiskTime);
}

int32_t SendToPanel(const uint8_t (&panel)[4], const uint8_t (&alarmBoard)[4]) {
  const bool hasAlarmBoard = Oem() == 8 && FrontboardVariantB == 1;
  return FrontboardWrite(hasAlarmBoard ? alarmBoard : panel, 4);
}

bool RebootsThroughWatchdog() {
  const int32_t type = DvrGetProductType();
  return product::OemHas(product::kRebootsByWatchdog) ||
         product::Get(&product::Product::rebootsByWatchdog, type, Oem()) != 0;
}

int32_t WriteRegister(uint32_t address, const uint8_t (&value)[4]) {
  uint8_t bytes[4] = {value[0], value[1], value[2], value[3]};
  return DvrPhysicalMemoryAccess(address, bytes, sizeof bytes, 1);
}

bool HandsBackToLauncher() {
  return DvrGetBoardType() == 2 && product::OemHas(product::kHandsBack);
}

}  // namespace

int32_t SystemReboot() {
  StopDisks(true);
  if (RebootsThroughWatchdog()) return WatchdogVendorCommand();
  SendToPanel(kRebootPanel, kRebootAlarmBoard);
  // The raw product code itself is the result, on purpose.
  const int32_t product = DvrGetHwidInformation(PRODUCT_TYPE);
  if (product != 1) return product;
  WriteRegister(kArmWatchdogLock, kArmWatchdogUnlock);
  return WriteRegister(kArmWatchdogControl, kArmWatchdogResetAndInterrupt);
}

int32_t SystemShutdown() {
  StopDisks(false);
  return SendToPanel(kPowerOffPanel, kPowerOffAlarmBoard);
}

int32_t ApplicationExit() {
  if (!HandsBackToLauncher()) return SystemShutdown();
  puts("ApplicationExit-->");
  WatchdogStop();
  application::WriteFlag(APPLICATION_HANDED_BACK);
  FrontboardStop();
  sync();
  exit(0);
}
