// The ways out: reboot, power off, the application's exit.
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "System/system/application_flag.h"
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
  const int32_t oem = Oem(), product = DvrGetProductType();
  const bool product30Or31 = product == 30 || product == 31;
  if (oem == 2 || oem == 4 || oem == 14 || oem == 20) return true;
  if (oem == 15 && (product == 2 || product == 3 || product30Or31)) return true;
  if (oem == 8 && FrontboardVariantB == 0) return true;
  if (DvrGetBoardType() == 2 && oem == 9) return true;
  if (oem == 6 && FrontboardVariantA == 1) return true;
  if (product30Or31) return true;
  if (product == 32 && oem != 6) return true;
  return product >= 27 && product <= 29;
}

int32_t WriteRegister(uint32_t address, const uint8_t (&value)[4]) {
  uint8_t bytes[4] = {value[0], value[1], value[2], value[3]};
  return DvrPhysicalMemoryAccess(address, bytes, sizeof bytes, 1);
}

bool HandsBackToLauncher() {
  if (DvrGetBoardType() != 2) return false;
  const int32_t oem = Oem();
  if (oem == 4 || oem == 9 || oem == 14) return true;
  if (oem == 15) return DvrGetProductType() != 4;
  return oem == 6 && FrontboardVariantA == 1;
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
