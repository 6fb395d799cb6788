// What the boot variables "xuart" and "xapp" say about this start.
#include <stdio.h>
#include <string.h>

#include "launcher/launcher.h"
#include "libsys/boot.h"

namespace launcher {
namespace {

bool Is(const char (&value)[8], const char *text) {
  return strncmp(value, text, sizeof value) == 0;
}

}  // namespace

BootSwitches ReadBootSwitches() {
  BootSwitches switches = {};
  BootEnvGet("xuart", switches.xuart, sizeof switches.xuart);
  switches.xappFound = BootEnvGet("xapp", switches.xapp, sizeof switches.xapp) >= 0;
  printf("xapp = %.8s, xuart  = %.8s\n", switches.xapp, switches.xuart);
  return switches;
}

StartMode ChooseStartMode(const BootSwitches &switches) {
  const bool noApplication = !switches.xappFound || Is(switches.xapp, "0");
  if (noApplication && Is(switches.xuart, "0")) return StartMode::kExit;
  if (!Is(switches.xapp, "1")) return StartMode::kIdle;
  return Is(switches.xuart, "1") ? StartMode::kCaptureAndStart : StartMode::kStart;
}

}  // namespace launcher
