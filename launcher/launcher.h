// The stretches of the launcher's start-up road, one file each.
#pragma once

namespace launcher {

// The switches that service staff set in the boot loader, as text of up to 8 characters. A
// value that fills the field has no terminator.
struct BootSwitches {
  char xuart[8];
  char xapp[8];
  bool xappFound;
};

enum class StartMode { kExit, kIdle, kStart, kCaptureAndStart };

// Reads and prints the switches, and what they mean.
BootSwitches ReadBootSwitches();
StartMode ChooseStartMode(const BootSwitches &switches);

// Mounts the configuration partition on /opt/sav. One that does not mount is erased and a
// reboot is requested, while the launcher goes on. False: there is no such partition, or the
// flash cannot be read, and the launcher has to end.
bool MountConfigPartition();

// Reads the application's log of the last run. False: out of memory, the launcher has to end.
bool ReadLog();

// Finds the service stick and sends everything that is printed from now on, by the launcher
// and by the application, to a file on it. Without a usable stick nothing changes.
void CaptureOnServiceStick();

// True on boards where the launcher stays beside the application and supervises it.
bool IsSupervised();

// Replaces this process with a program that has no further arguments. Sleeps for good when
// it does not start.
[[noreturn]] void Become(const char *program);

// Starts the application, waits until it hands control back, reads the front panel until the
// service keys are pressed, and begins again. Ends the process only on fatal errors.
[[noreturn]] void Supervise();

// What is left to do where nothing is started: sleeps for good.
[[noreturn]] void Idle();

}  // namespace launcher
